// The identity and event commands against a scripted gateway that answers every action.
#include <gtest/gtest.h>

#include "tarnwell/testing/virtual_clock.h"
#include "tests/cli/cli_test_support.h"

namespace tarnwell::cli {
namespace {

using Lines = std::vector<std::string>;

struct EventCommandsTest : testing::CommandHostFixture {
  void SetUp() override { start(testing::scriptedHostOptions(transport)); }

  void start(HostOptions options, std::chrono::milliseconds waitLimit = CommandHost::kDefaultWaitLimit) {
    transport->setResponder([](const HttpRequest& request) -> HttpResult {
      const std::optional<std::string> action = testing::gatewayInput(request)["action"].stringValue();
      if (action == "bootstrap") return tarnwell::testing::httpResponse(testing::kGoodBootstrap);
      if (action == "identify_user")
        return tarnwell::testing::httpResponse(R"({"ok":true,"data":{"profileId":"prf-server"}})");
      return tarnwell::testing::httpResponse(R"({"ok":true,"data":{}})");
    });
    startHost(std::move(options), waitLimit);
    host->execute("init");
  }

  std::vector<JSONValue> sentEvents() {
    std::vector<JSONValue> events;
    for (const HttpRequest& request : transport->requests()) {
      const JSONValue input = testing::gatewayInput(request);
      if (input["action"] != JSONValue("track_event_batch")) continue;
      for (const JSONValue& item : *input["payload"]["items"].asArray()) events.push_back(item);
    }
    return events;
  }
};

TEST_F(EventCommandsTest, TrackQueueAndFlushSendTheEventsWithTheirTypesAndProperties) {
  EXPECT_EQ(run({"track app_opened", R"(track purchase commerce {"amount": 9.5})", R"(track refund {"id": "r1"})",
                 "queue", "flush", "queue"}),
            (Lines{R"({"cmd":"track","ok":true})", R"({"cmd":"track","ok":true})", R"({"cmd":"track","ok":true})",
                   R"({"cmd":"queue","count":4})", R"({"cmd":"flush","ok":true})", R"({"cmd":"queue","count":0})"}));
  const std::vector<JSONValue> events = sentEvents();
  ASSERT_EQ(events.size(), 4u);  // the session's start comes first
  EXPECT_EQ(events[1]["event_name"], JSONValue("app_opened"));
  EXPECT_EQ(events[1]["event_type"], JSONValue("custom"));
  EXPECT_EQ(events[2]["event_type"], JSONValue("commerce"));
  EXPECT_EQ(events[2]["properties"], JSONValue(R"({"amount":9.5})"));
  EXPECT_EQ(events[3]["properties"], JSONValue(R"({"id":"r1"})"));
}

TEST_F(EventCommandsTest, IdentifyWaitsForTheUserAndProfileCommandsTakeOneObject) {
  // A quoted user carries its blank; the traits object with blanks inside is one argument.
  EXPECT_EQ(run({R"(identify "user 1" {"plan": "gold"})"}), Lines{R"({"cmd":"identify","ok":true})"});
  EXPECT_EQ(host->sdk().getUserId(), "user 1");
  EXPECT_EQ(host->sdk().getUserDebugState().profileId, "prf-server");
  EXPECT_EQ(run({R"(set-user-profile {"userId": "user-2", "userType": "pro", "customProperties": {"tier": 2}})"}),
            Lines{R"({"cmd":"set-user-profile","ok":true})"});
  EXPECT_EQ(host->sdk().getUserId(), "user-2");
  const std::string anonymous = host->sdk().getUserDebugState().anonymousId;
  EXPECT_EQ(run({"reset-user logout"}), Lines{R"({"cmd":"reset-user","ok":true})"});
  EXPECT_EQ(host->sdk().getUserId(), std::nullopt);
  EXPECT_NE(host->sdk().getUserDebugState().anonymousId, anonymous);
}

TEST_F(EventCommandsTest, BadArgumentsAreErrorLinesAndChangeNothing) {
  EXPECT_EQ(
      run({"track", "track x custom [1]", "identify", R"(identify u [1])", R"(set-user-profile {"userType": "pro"})",
           R"(set-user-profile {"userId": "u", "userType": "t", "appProperties": 3})", R"(identify " ")", "flush now"}),
      (Lines{R"({"cmd":"track","error":"missing event name"})",
             R"({"cmd":"track","error":"properties must be a JSON object"})",
             R"({"cmd":"identify","error":"missing user id"})",
             R"({"cmd":"identify","error":"traits must be a JSON object"})",
             R"({"cmd":"set-user-profile","error":"profile needs the text \"userId\""})",
             R"({"cmd":"set-user-profile","error":"profile's \"appProperties\" must be an object"})",
             R"({"cmd":"identify","error":"missing user id"})", R"({"cmd":"flush","error":"takes no arguments"})"}));
  EXPECT_EQ(host->sdk().getUserId(), std::nullopt);
}

TEST_F(EventCommandsTest, ForegroundAndBackgroundFollowTheHostsLifecycle) {
  EXPECT_EQ(run({"foreground"}), Lines{R"({"cmd":"foreground","ok":true})"});
  host->waitUntil([&] { return host->sdk().isApplicationInForeground(); });
  EXPECT_TRUE(host->sdk().isApplicationInForeground());
  EXPECT_EQ(run({"background"}), Lines{R"({"cmd":"background","ok":true})"});
  host->waitUntil([&] { return !host->sdk().isApplicationInForeground(); });
  EXPECT_FALSE(host->sdk().isApplicationInForeground());
}

// On a virtual clock time moves only with `advance`, which runs what falls due: the flush loop
// sends the queue, whether the host pumps the main context or the SDK runs it on its own thread.
struct VirtualClockTest : EventCommandsTest, ::testing::WithParamInterface<MainContext::Mode> {
  void SetUp() override { startVirtual(); }

  void startVirtual(std::chrono::milliseconds waitLimit = CommandHost::kDefaultWaitLimit) {
    HostOptions options = testing::scriptedHostOptions(transport, GetParam());
    options.clock = std::make_shared<tarnwell::testing::VirtualClock>();
    start(std::move(options), waitLimit);
  }
};

TEST_P(VirtualClockTest, AdvanceRunsTheFlushLoopOnceItsIntervalHasPassedBeforeItAnswers) {
  EXPECT_EQ(run({"track app_opened", "advance 119000"}),
            (Lines{R"({"cmd":"track","ok":true})", R"({"cmd":"advance","ok":true})"}));
  EXPECT_TRUE(sentEvents().empty());
  EXPECT_EQ(run({"advance 1000"}), Lines{R"({"cmd":"advance","ok":true})"});
  const std::vector<JSONValue> events = sentEvents();
  ASSERT_EQ(events.size(), 2u);  // the session's start, then the event
  EXPECT_EQ(events[1]["event_name"], JSONValue("app_opened"));
  EXPECT_EQ(run({"queue", "advance soon"}),
            (Lines{R"({"cmd":"queue","count":0})",
                   R"({"cmd":"advance","error":"not a whole number of milliseconds: soon"})"}));
}

// A year of a two-minute flush loop would hold the host for hours: advance gives up at the wait
// limit, and the host goes on.
TEST_P(VirtualClockTest, AnAdvanceThatKeepsTheSdkBusyPastTheWaitLimitIsAnErrorLine) {
  startVirtual(std::chrono::milliseconds(1000));
  EXPECT_EQ(
      run({"advance 31536000000", "state"}),
      (Lines{
          R"({"cmd":"advance","error":"the SDK's timers kept it busy past 1000 ms; the clock stopped at the last one that fired"})",
          R"({"cmd":"state","state":"ready"})"}));
}

INSTANTIATE_TEST_SUITE_P(BothContextModes, VirtualClockTest,
                         ::testing::Values(MainContext::Mode::hostPumped, MainContext::Mode::ownThread),
                         [](const auto& info) {
                           return info.param == MainContext::Mode::hostPumped ? "hostPumped" : "ownThread";
                         });

}  // namespace
}  // namespace tarnwell::cli
