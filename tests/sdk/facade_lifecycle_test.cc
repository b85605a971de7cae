// Events and the lifecycle through the facade: tracking, the flush loop, background, flush and
// shutdown, in virtual time.
#include <gtest/gtest.h>

#include "tarnwell/core/iso8601.h"
#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/sdk_harness.h"

namespace tarnwell {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::SdkHarness;

// Records what the SDK asks of the host's background tasks.
struct RecordingBackgroundTasks : BackgroundTaskHost {
  TaskId begin(std::string_view name, std::function<void()> onExpiry) override {
    names.emplace_back(name);
    expiry = std::move(onExpiry);
    return ++last;
  }
  void end(TaskId id) override { ended.push_back(id); }

  std::vector<std::string> names;
  std::vector<TaskId> ended;
  std::function<void()> expiry;
  TaskId last = invalidTask;
};

std::vector<std::string> eventNames(const std::vector<JSONValue>& batches) {
  std::vector<std::string> names;
  for (const JSONValue& batch : batches) {
    for (const JSONValue& item : *batch["items"].asArray()) names.push_back(item["event_name"].asString()->str());
  }
  return names;
}

// A bootstrap reply whose runtime config asks for `flushIntervalMs` between flushes.
std::string bootstrapWithFlushInterval(std::string_view flushIntervalMs) {
  return R"({"ok":true,"data":{"config":{"organizationId":"o","projectId":"p","appId":"a",)"
         R"("teamId":"t","apiKeyId":"k"},"runtimeConfig":{"cache":{"featureFlagsTtlMs":1,)"
         R"("surveysTtlMs":1,"announcementsTtlMs":1,"liveCardsTtlMs":1,"messageCenterSettingsTtlMs":1},)"
         R"("events":{"enabled":true,"flushIntervalMs":)" +
         std::string(flushIntervalMs) +
         R"(,"batchSize":50,"maxQueueSize":500,)"
         R"("maxRetryAttempts":2,"dedupeWindowMs":0,"maxEventsPerMinute":120,"sampling":{)"
         R"("defaultPercent":100,"sdkPercent":100,"sessionPercent":100,"surveyPercent":100,)"
         R"("announcementPercent":100,"liveCardPercent":100,"featureFlagPercent":100,)"
         R"("warningPercent":100,"errorPercent":100}},"messageCenter":{"passivePollingEnabled":false,)"
         R"("listPollingIntervalMs":1,"chatPollingIntervalMs":1,"foregroundRefreshTtlMs":1},)"
         R"("killSwitches":{"disableEventLogs":false,"disableSurveyImpressions":false,)"
         R"("disableAnnouncementImpressions":false,"disableLiveCardImpressions":false,)"
         R"("disableFeatureFlagExposureLogs":false,"disablePassiveMessagePolling":true}}}})";
}

struct TarnwellLifecycleTest : ::testing::Test {
  testing::LogRecorder log;
  std::shared_ptr<RecordingBackgroundTasks> tasks = std::make_shared<RecordingBackgroundTasks>();
  SdkHarness sdk{[this](HostOptions& options) { options.backgroundTasks = tasks; }};
};

TEST_F(TarnwellLifecycleTest, EventsBeforeReadyAreDroppedWithAWarning) {
  sdk->trackEvent("purchase");
  sdk.settle();
  EXPECT_TRUE(log.contains("[Tarnwell][WARN] Ignoring event purchase before SDK ready"));
  sdk.start();
  sdk->flush();
  // The batch goes out from the worker pool: on a loaded machine it may come after the main
  // context has gone quiet.
  ASSERT_TRUE(sdk.waitUntil([&] { return !sdk.sent("track_event_batch").empty(); }));
  EXPECT_EQ(eventNames(sdk.sent("track_event_batch")), (std::vector<std::string>{"session_started"}));
}

TEST_F(TarnwellLifecycleTest, TrackedEventsCarryTheIdentityOfTheirMoment) {
  sdk.start();
  sdk->trackEvent("purchase", JSONObject{{"amount", 9.5}}, "commerce");
  sdk->flush();
  ASSERT_TRUE(sdk.waitUntil([&] { return !sdk.sent("track_event_batch").empty(); }));
  const JSONValue item = sdk.sent("track_event_batch").at(0)["items"].asArray()->back();
  EXPECT_EQ(item["event_name"], JSONValue("purchase"));
  EXPECT_EQ(item["event_type"], JSONValue("commerce"));
  EXPECT_EQ(item["properties"], JSONValue(R"({"amount":9.5})"));
  EXPECT_EQ(item["session_id"], JSONValue(*sdk->getUserDebugState().sessionId));
  EXPECT_EQ(item["user_id"], JSONValue(sdk->getUserDebugState().anonymousId));
  EXPECT_EQ(item["timestamp"], JSONValue(formatISO8601Date(sdk.clock().now())));
  // Counted once by trackEvent and once more by the survey manager that sees every event.
  EXPECT_EQ(sdk.store().getInt64("count::" + sdk->getUserDebugState().profileId + "::purchase"), 2);
}

TEST_F(TarnwellLifecycleTest, TheFlushLoopRunsEveryIntervalAndNeverFasterThanASecond) {
  sdk.answer("bootstrap", bootstrapWithFlushInterval("0"));
  sdk.start();
  ASSERT_EQ(sdk->getRuntimeConfig().events.flushIntervalMs, 0);
  sdk.advance(milliseconds(999));
  EXPECT_TRUE(sdk.sent("track_event_batch").empty());
  sdk.advance(milliseconds(1));
  ASSERT_EQ(sdk.sent("track_event_batch").size(), 1u);
  sdk->trackEvent("tick");
  sdk.settle();
  sdk.advance(seconds(1));
  EXPECT_EQ(eventNames(sdk.sent("track_event_batch")), (std::vector<std::string>{"session_started", "tick"}));
}

// An interval beyond the clock's range means the loop never comes round, not a loop that spins.
TEST_F(TarnwellLifecycleTest, AnIntervalTooLargeForTheClockNeverFlushes) {
  sdk.answer("bootstrap", bootstrapWithFlushInterval("10000000000000"));
  sdk.start();
  ASSERT_EQ(sdk->getRuntimeConfig().events.flushIntervalMs, 10000000000000);
  sdk.advance(std::chrono::hours(24 * 365));
  EXPECT_TRUE(sdk.sent("track_event_batch").empty());
}

TEST_F(TarnwellLifecycleTest, DefaultIntervalFlushesAfterTwoMinutes) {
  sdk.start();
  sdk.advance(seconds(119));
  EXPECT_TRUE(sdk.sent("track_event_batch").empty());
  sdk.advance(seconds(1));
  EXPECT_EQ(sdk.sent("track_event_batch").size(), 1u);
}

TEST_F(TarnwellLifecycleTest, BackgroundSyncsFlushesInsideABackgroundTaskAndKeepsTheSession) {
  sdk.start();
  sdk->onStart();
  sdk.settle();
  EXPECT_TRUE(sdk->isApplicationInForeground());
  const std::string session = *sdk->getUserDebugState().sessionId;
  const std::size_t syncs = sdk.sent("sync_user_state").size();
  sdk->trackEvent("before_background");
  sdk->onStop();
  ASSERT_TRUE(sdk.waitUntil([&] { return !tasks->ended.empty(); }));
  EXPECT_FALSE(sdk->isApplicationInForeground());
  EXPECT_EQ(tasks->names, std::vector<std::string>{"com.tarnwell.eventFlush"});
  EXPECT_EQ(tasks->ended, std::vector<BackgroundTaskHost::TaskId>{1});
  EXPECT_GT(sdk.sent("sync_user_state").size(), syncs);
  EXPECT_EQ(eventNames(sdk.sent("track_event_batch")).back(), "before_background");
  EXPECT_EQ(sdk->getUserDebugState().sessionId, session);  // background ends no session

  sdk.advance(seconds(3600));
  sdk->onStart();
  sdk.settle();
  EXPECT_EQ(sdk->getUserDebugState().sessionId, session);
}

TEST_F(TarnwellLifecycleTest, ForegroundBeforeInitializeOnlyMarksTheApp) {
  sdk->onStart();
  sdk.settle();
  EXPECT_TRUE(sdk->isApplicationInForeground());
  EXPECT_EQ(sdk->getUserDebugState().sessionId, std::nullopt);
  EXPECT_TRUE(sdk.inputs().empty());
}

TEST_F(TarnwellLifecycleTest, ShutdownEndsTheSessionFlushesAndStopsTheLoop) {
  sdk.start();
  sdk->trackEvent("last_words");
  sdk->shutdown();
  ASSERT_TRUE(sdk.waitUntil([&] { return sdk->getState() == SDKState::shutdown(); }));
  sdk.settle();
  EXPECT_EQ(sdk.sent("end_session").size(), 1u);
  EXPECT_EQ(eventNames(sdk.sent("track_event_batch")),
            (std::vector<std::string>{"session_started", "last_words", "session_ended"}));
  sdk->trackEvent("after");
  sdk.advance(seconds(600));
  EXPECT_TRUE(log.contains("[Tarnwell][WARN] Ignoring event after before SDK ready"));
  EXPECT_EQ(sdk.sent("track_event_batch").size(), 1u);  // the loop is gone
}

TEST_F(TarnwellLifecycleTest, ShutdownBeforeReadySendsNothing) {
  sdk->shutdown();
  sdk.settle();
  EXPECT_EQ(sdk->getState(), SDKState::shutdown());
  EXPECT_TRUE(log.contains("[Tarnwell][WARN] Ignoring event session_ended before SDK ready"));
  EXPECT_TRUE(sdk.inputs().empty());
}

TEST_F(TarnwellLifecycleTest, TimedOutSendsKeepEveryEventAndTheLoopWaitsForANewOne) {
  sdk.start();
  sdk.fail("track_event_batch", TransportErrorCode::timedOut);
  sdk->trackEvent("first");
  sdk->trackEvent("second");
  sdk.settle();
  sdk.advance(std::chrono::minutes(2));  // the loop's flush times out and pauses the loop
  const std::size_t attempts = sdk.sent("track_event_batch").size();
  EXPECT_TRUE(
      log.contains("[Tarnwell][ERROR] Failed to submit events :: TransportFailure(timedOut: scripted failure)"));
  sdk.advance(std::chrono::minutes(2));  // paused after a failure: no new attempt
  EXPECT_EQ(sdk.sent("track_event_batch").size(), attempts);

  sdk.answer("track_event_batch", R"({"ok":true,"data":{}})");
  sdk->trackEvent("third");  // an admitted event re-arms the loop
  sdk.settle();
  sdk.advance(std::chrono::minutes(2));
  EXPECT_EQ(eventNames({sdk.sent("track_event_batch").back()}),
            (std::vector<std::string>{"session_started", "first", "second", "third"}));
}

TEST_F(TarnwellLifecycleTest, FlushAndWaitReturnsOnceTheQueueIsSent) {
  sdk.start();
  sdk->trackEvent("checkout");
  sdk.settle();
  EXPECT_TRUE(sdk->flushAndWait(seconds(30)));
  EXPECT_EQ(eventNames(sdk.sent("track_event_batch")).back(), "checkout");
  std::optional<std::size_t> queued;
  sdk->getQueuedEventCount([&](std::size_t count) { queued = count; });
  ASSERT_TRUE(sdk.waitUntil([&] { return queued.has_value(); }));
  EXPECT_EQ(queued, 0u);
}

}  // namespace
}  // namespace tarnwell
