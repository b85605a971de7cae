#include <gtest/gtest.h>

#include <regex>

#include "tarnwell/identity/detail/session_manager.h"
#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/virtual_clock.h"

namespace tarnwell::detail {
namespace {

using std::chrono::seconds;

struct SessionManagerTest : ::testing::Test {
  testing::VirtualClock clock;
  UuidGenerator uuids{11};
  SessionManager sessions{clock, uuids};
  testing::LogRecorder log;
};

TEST_F(SessionManagerTest, StartIsIdempotentAndAnnouncedOnce) {
  sessions.startSession("user-1");
  const auto id = sessions.getCurrentSessionId();
  ASSERT_TRUE(id);
  EXPECT_TRUE(
      std::regex_match(*id, std::regex("session_[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}")));
  clock.advance(seconds(5));
  sessions.startSession("user-2");
  EXPECT_EQ(sessions.getCurrentSessionId(), id);
  EXPECT_EQ(log.lines(), std::vector<std::string>{"[Tarnwell][INFO] Started session " + *id + " for user-1"});
  EXPECT_EQ(sessions.endSession()->duration, 5.0);  // the start time did not move
}

TEST_F(SessionManagerTest, ForegroundTimeStopsAtTheBackgroundAndDurationRunsToTheEnd) {
  const Timestamp start = clock.now();
  sessions.startSession("u");
  clock.advance(seconds(30));
  sessions.appDidEnterBackground();
  clock.advance(seconds(10));
  sessions.appDidEnterBackground();  // a second background adds nothing
  clock.advance(seconds(2000));      // far past any inactivity limit: still the same session
  const auto snapshot = sessions.endSession();
  ASSERT_TRUE(snapshot);
  EXPECT_EQ(snapshot->foregroundTime, 30.0);
  EXPECT_EQ(snapshot->duration, 2040.0);
  EXPECT_EQ(snapshot->backgroundTime, 0.0);
  EXPECT_EQ(snapshot->startedAt, start);
  EXPECT_EQ(snapshot->endedAt, start + seconds(2040));
  EXPECT_FALSE(sessions.endSession());
  EXPECT_FALSE(sessions.getCurrentSessionId());
}

TEST_F(SessionManagerTest, ForegroundStretchesAddUpAcrossBackgrounds) {
  sessions.startSession("u");
  clock.advance(seconds(10));
  sessions.appDidEnterBackground();
  clock.advance(seconds(100));
  sessions.appDidEnterForeground();
  clock.advance(seconds(7));
  sessions.addBackgroundTime(1.5);
  const auto snapshot = sessions.endSession();
  EXPECT_EQ(snapshot->foregroundTime, 17.0);
  EXPECT_EQ(snapshot->backgroundTime, 1.5);
}

TEST_F(SessionManagerTest, SessionDataCarriesMillisecondsAndDeviceLabels) {
  SessionSnapshot snapshot{"session_X", fromEpochSeconds(1000.5), fromEpochSeconds(1010.25), 9.75, 4.5, 0};
  EXPECT_EQ(JSONValue(makeSessionData(snapshot, iosDeviceProfile())).encode(),
            R"j({"sessionId":"session_X","startTime":1000500,"endTime":1010250,"duration":9750,)j"
            R"j("foregroundTime":4500,"backgroundTime":0,"deviceInfo":{"platform":"ios","model":"iPhone",)j"
            R"j("deviceModel":"iPhone15,2","displayModel":"iPhone (iPhone15,2)","manufacturer":"Apple",)j"
            R"j("osVersion":"Version 17.2 (Build 21C62)"},"appInfo":{}})j");
}

}  // namespace
}  // namespace tarnwell::detail
