// Identity through the facade: debounced sync, identify, profiles, reset and sessions, in
// virtual time.
#include <gtest/gtest.h>

#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/sdk_harness.h"

namespace tarnwell {
namespace {

using std::chrono::milliseconds;
using testing::SdkHarness;

struct TarnwellIdentityTest : ::testing::Test {
  testing::LogRecorder log;
  SdkHarness sdk;
};

TEST_F(TarnwellIdentityTest, ReadyStartsASessionAndSyncsTheUserOnce) {
  ASSERT_EQ(sdk.start(), SDKState::ready());
  const auto starts = sdk.sent("start_session");
  ASSERT_EQ(starts.size(), 1u);
  const std::string sessionId = *sdk->getUserDebugState().sessionId;
  EXPECT_EQ(starts[0]["snapshot"]["sessionId"], JSONValue(sessionId));
  EXPECT_EQ(starts[0]["snapshot"]["teamId"], JSONValue("team_1"));
  EXPECT_EQ(sdk.sent("sync_user_state").size(), 1u);
  EXPECT_EQ(sdk.sent("sync_user_state")[0]["incrementSessionCount"], JSONValue(false));
  EXPECT_TRUE(
      log.contains("[Tarnwell][INFO] Started session " + sessionId + " for " + sdk->getUserDebugState().anonymousId));
}

TEST_F(TarnwellIdentityTest, ABurstOfSettersSendsOneSync750MsAfterTheLast) {
  sdk.start();
  const std::size_t before = sdk.sent("sync_user_state").size();
  for (int i = 0; i < 5; ++i) {
    sdk->setUserProperty("step", JSONValue(i));
    sdk.settle();
    sdk.advance(milliseconds(100));
  }
  // The last setter came 100 ms ago.
  sdk.advance(milliseconds(649));
  EXPECT_EQ(sdk.sent("sync_user_state").size(), before);
  sdk.advance(milliseconds(1));
  const auto syncs = sdk.sent("sync_user_state");
  ASSERT_EQ(syncs.size(), before + 1);
  EXPECT_EQ(syncs.back()["snapshot"]["userProperties"]["step"], JSONValue(4));
}

TEST_F(TarnwellIdentityTest, SettersBeforeReadyChangeLocallyAndSendNothing) {
  sdk->setUserType("pro");
  sdk->identify("  early-user ");
  sdk.settle();
  sdk.advance(milliseconds(1000));
  EXPECT_EQ(sdk->getUserId(), "early-user");
  EXPECT_TRUE(sdk.inputs().empty());
}

TEST_F(TarnwellIdentityTest, IdentifyAdoptsTheBackendsProfileSyncsAndReattachesTheSession) {
  sdk.start();
  sdk.answer("identify_user", R"({"ok":true,"data":{"profileId":"prf_server","mergedFromProfileId":"prf_old"}})");
  const std::string anonymousProfile = sdk->getUserDebugState().profileId;
  const std::size_t syncsBefore = sdk.sent("sync_user_state").size();
  sdk->identify(" user-7 ", JSONObject{{"plan", "gold"}});
  ASSERT_TRUE(sdk.waitUntil([&] { return sdk.sent("start_session").size() == 2; }));

  const JSONValue identify = sdk.sent("identify_user").at(0);
  EXPECT_EQ(identify["identifiedUserId"], JSONValue("user-7"));
  EXPECT_EQ(identify["traits"], JSONValue(JSONObject{{"plan", "gold"}}));
  EXPECT_EQ(identify["snapshot"]["profileId"], JSONValue(anonymousProfile));  // taken before the change
  EXPECT_TRUE(identify["snapshot"]["identifiedUserId"].isNull());
  EXPECT_EQ(sdk->getUserDebugState().profileId, "prf_server");
  EXPECT_EQ(sdk->getUserId(), "user-7");
  const JSONValue sync = sdk.sent("sync_user_state").at(syncsBefore);
  EXPECT_EQ(sync["snapshot"]["identifiedUserId"], JSONValue("user-7"));
  EXPECT_EQ(sync["snapshot"]["isRegistered"], JSONValue(true));
  EXPECT_EQ(sdk.sent("start_session").back()["snapshot"]["profileId"], JSONValue("prf_server"));
}

TEST_F(TarnwellIdentityTest, IdentifyFailureKeepsTheUserLocallyAndRetriesBySync) {
  sdk.start();
  sdk.fail("identify_user");
  const std::string profile = sdk->getUserDebugState().profileId;
  const std::size_t syncsBefore = sdk.sent("sync_user_state").size();
  sdk->identify("user-8");
  ASSERT_TRUE(sdk.waitUntil([&] { return log.containsSubstring("Failed to identify user :: "); }));
  EXPECT_EQ(sdk->getUserId(), "user-8");
  EXPECT_EQ(sdk->getUserDebugState().profileId, profile);
  sdk.advance(milliseconds(750));
  EXPECT_EQ(sdk.sent("sync_user_state").size(), syncsBefore + 1);
  EXPECT_TRUE(
      log.contains("[Tarnwell][ERROR] Failed to identify user :: TransportFailure(cannotConnect: scripted failure)"));
}

TEST_F(TarnwellIdentityTest, BlankIdentifyChangesNothingNotEvenTraits) {
  sdk.start();
  sdk->identify(" \n", JSONObject{{"plan", "gold"}});
  sdk.settle();
  EXPECT_TRUE(sdk.sent("identify_user").empty());
  EXPECT_EQ(sdk->getUserId(), std::nullopt);
}

TEST_F(TarnwellIdentityTest, ResetEndsTheSessionForgetsTheUserAndStartsAgain) {
  sdk.start();
  sdk->identify("user-9");
  ASSERT_TRUE(sdk.waitUntil([&] { return sdk->getUserId().has_value(); }));
  sdk.settle();
  const UserDebugState before = sdk->getUserDebugState();
  sdk->resetUser("logout");
  ASSERT_TRUE(
      sdk.waitUntil([&] { return sdk.sent("end_session").size() == 1 && sdk.sent("start_session").size() >= 3; }));
  const UserDebugState after = sdk->getUserDebugState();
  EXPECT_EQ(after.identifiedUserId, std::nullopt);
  EXPECT_NE(after.anonymousId, before.anonymousId);
  EXPECT_NE(after.profileId, before.profileId);
  EXPECT_EQ(after.deviceId, before.deviceId);
  EXPECT_NE(after.sessionId, before.sessionId);
  const JSONValue ended = sdk.sent("end_session").at(0);
  EXPECT_EQ(ended["sessionData"]["sessionId"], JSONValue(*before.sessionId));
  EXPECT_EQ(ended["snapshot"]["sessionId"], JSONValue(*before.sessionId));
  EXPECT_EQ(ended["sessionData"]["deviceInfo"]["platform"], JSONValue("ios"));
}

TEST_F(TarnwellIdentityTest, ResetBeforeReadyChangesTheIdentityOnly) {
  const std::string anonymous = sdk->getUserDebugState().anonymousId;
  sdk->resetUser();
  sdk.settle();
  EXPECT_NE(sdk->getUserDebugState().anonymousId, anonymous);
  EXPECT_EQ(sdk->getUserDebugState().sessionId, std::nullopt);
  EXPECT_TRUE(sdk.inputs().empty());
}

TEST_F(TarnwellIdentityTest, FailedSessionCallsAreLoggedAndChangeNothing) {
  sdk.fail("start_session", TransportErrorCode::timedOut);
  sdk.fail("sync_user_state", TransportErrorCode::cancelled);
  sdk.start();
  EXPECT_TRUE(log.contains(
      "[Tarnwell][ERROR] Failed to persist session start :: TransportFailure(timedOut: scripted failure)"));
  EXPECT_TRUE(log.contains("[Tarnwell][WARN] User sync cancelled before completion"));
  EXPECT_TRUE(sdk->getUserDebugState().sessionId.has_value());
}

}  // namespace
}  // namespace tarnwell
