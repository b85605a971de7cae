// When batches go out, what they carry, and what happens to them when the gateway fails.
#include <limits>
#include <thread>
#include <vector>

#include "tests/events/runtime_telemetry_fixture.h"

namespace tarnwell::testing {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;

using RuntimeTelemetryBatchingTest = RuntimeTelemetryTest;

TEST_F(RuntimeTelemetryBatchingTest, FirstItemSchedulesOneDelayedFlushThatSendsTheBatchOnceInOrder) {
  track(1, 1);
  EXPECT_EQ(clock.pendingTimerCount(), 1u);
  track(2, 3);
  EXPECT_EQ(clock.pendingTimerCount(), 1u) << "later items join the scheduled flush";

  advance(seconds(120) - milliseconds(1));
  EXPECT_EQ(sentCount(), 0u);
  advance(milliseconds(1));
  ASSERT_EQ(sentCount(), 1u);
  EXPECT_EQ(gatewayInput(0), R"({"action":"track_runtime_telemetry_batch","payload":{"items":)" + itemsJson(1, 3) +
                                 R"(},"sessionToken":"tok"})");
  EXPECT_EQ(stored(), std::nullopt);

  advance(hours(1));
  EXPECT_EQ(sentCount(), 1u);
  EXPECT_EQ(clock.pendingTimerCount(), 0u);
}

TEST_F(RuntimeTelemetryBatchingTest, TheBatchIsOneExecutionOfTheGatewayFunction) {
  track(1, 1);
  advance(seconds(120));
  ASSERT_EQ(sentCount(), 1u);
  const HttpRequest request = transport->requests().at(0);
  EXPECT_EQ(request.url, "https://api.example.com/v1/functions/fn_gateway/executions");
  EXPECT_EQ(request.body,
            R"({"body":"{\"action\":\"track_runtime_telemetry_batch\",\"payload\":{\"items\":[{\"action\":)"
            R"(\"track_feature_flag_evaluation\",\"payload\":{\"flagKey\":\"f1\"}}]},\"sessionToken\":\"tok\"}",)"
            R"("async":false,"path":"/","method":"POST"})");
}

TEST_F(RuntimeTelemetryBatchingTest, FortiethItemFlushesAtOnceAndTheDelayedFlushTakesWhatCameAfter) {
  track(1, 39);
  EXPECT_EQ(sentCount(), 0u);
  track(40, 40);
  ASSERT_EQ(sentCount(), 1u);
  EXPECT_EQ(sentItems(0), itemsJson(1, 40));
  EXPECT_EQ(stored(), std::nullopt);

  advance(seconds(10));
  track(41, 42);          // a new batch, with a delayed flush of its own
  advance(seconds(110));  // the first item's flush falls due and finds the newer items
  ASSERT_EQ(sentCount(), 2u);
  EXPECT_EQ(sentItems(1), itemsJson(41, 42));
  advance(seconds(10));  // the 41st item's flush finds an empty queue
  EXPECT_EQ(sentCount(), 2u);
}

TEST_F(RuntimeTelemetryBatchingTest, FortyFirstItemQueuedBeforeTheFlushRunsDropsTheOldest) {
  track(1, 41, /*settleEach=*/false);
  ASSERT_EQ(sentCount(), 1u) << "the second immediate flush finds the queue already taken";
  EXPECT_EQ(sentItems(0), itemsJson(2, 41));
  EXPECT_EQ(stored(), std::nullopt);
}

TEST_F(RuntimeTelemetryBatchingTest, ExplicitFlushSendsNowAndTheScheduledFlushThenFindsNothing) {
  track(1, 2);
  flush();
  ASSERT_EQ(sentCount(), 1u);
  EXPECT_EQ(sentItems(0), itemsJson(1, 2));
  advance(seconds(120));
  EXPECT_EQ(sentCount(), 1u);
}

TEST_F(RuntimeTelemetryBatchingTest, FlushOfAnEmptyQueueMakesNoCall) {
  flush();
  track(1, 1);
  flush();
  flush();
  EXPECT_EQ(sentCount(), 1u);
  EXPECT_TRUE(logs.lines().empty());
}

TEST_F(RuntimeTelemetryBatchingTest, FlushReachesOnlyTheCurrentTenantsQueue) {
  track(1, 1);
  client->setTeamId("t2");
  track(2, 2);
  flush();
  ASSERT_EQ(sentCount(), 1u);
  EXPECT_EQ(sentItems(0), itemsJson(2, 2));
  EXPECT_EQ(stored(), itemsJson(1, 1));

  advance(seconds(120));  // t1's own delayed flush still sends its item
  ASSERT_EQ(sentCount(), 2u);
  EXPECT_EQ(sentItems(1), itemsJson(1, 1));
  EXPECT_EQ(stored(), std::nullopt);
}

TEST_F(RuntimeTelemetryBatchingTest, AnAnswerOfFailureStillEndsTheBatch) {
  transport->setResponder(
      [](const HttpRequest&) { return testing::httpResponse(R"({"ok":true,"data":{"success":false}})"); });
  track(1, 2);
  flush();
  flush();
  EXPECT_EQ(sentCount(), 1u);
  EXPECT_EQ(stored(), std::nullopt);
  EXPECT_TRUE(logs.lines().empty());
}

TEST_F(RuntimeTelemetryBatchingTest, FailedFlushOfFortyKeepsTheNewestOfTheBatchInFrontOfNewerItems) {
  transport->holdResponses(true);
  track(1, 40);
  ASSERT_EQ(transport->pendingCount(), 1u);
  track(41, 45);  // queued while the batch is on its way
  EXPECT_EQ(stored(), itemsJson(41, 45));

  transport->completeNext(TransportError{TransportErrorCode::cannotConnect, "Connection refused"});
  settle();
  EXPECT_EQ(logs.lines(), std::vector<std::string>{"[Tarnwell][ERROR] Failed to flush runtime telemetry batch :: "
                                                   "TransportFailure(cannotConnect: Connection refused)"});
  EXPECT_EQ(stored(), itemsJson(6, 45));

  transport->holdResponses(false);
  advance(seconds(120));  // the delayed flush the 41st item scheduled
  ASSERT_EQ(sentCount(), 2u);
  EXPECT_EQ(sentItems(1), itemsJson(6, 45));
  EXPECT_EQ(stored(), std::nullopt);
}

TEST_F(RuntimeTelemetryBatchingTest, FailedFlushSchedulesNothingAndTheNextItemRetriesTheBatch) {
  transport->enqueue(testing::httpResponse(R"({"ok":false,"error":"Invalid session"})"));
  track(1, 3);
  advance(seconds(120));
  ASSERT_EQ(sentCount(), 1u);
  EXPECT_TRUE(
      logs.contains(R"([Tarnwell][ERROR] Failed to flush runtime telemetry batch :: gatewayError("Invalid session"))"));
  EXPECT_EQ(stored(), itemsJson(1, 3));

  advance(hours(1));
  EXPECT_EQ(sentCount(), 1u);
  EXPECT_EQ(clock.pendingTimerCount(), 0u);

  track(4, 4);
  advance(seconds(120));
  ASSERT_EQ(sentCount(), 2u);
  EXPECT_EQ(sentItems(1), itemsJson(1, 4));
}

TEST_F(RuntimeTelemetryBatchingTest, ItemThatCannotBeEncodedIsLoggedAndNeverCrashes) {
  batcher.enqueue("track_feature_flag_evaluation", JSONObject{{"value", std::numeric_limits<double>::quiet_NaN()}});
  settle();
  const std::string encodingError = "Unable to encode the non-finite number nan in JSON";
  EXPECT_TRUE(logs.contains("[Tarnwell][ERROR] Failed to persist runtime telemetry queue :: " + encodingError));
  EXPECT_EQ(stored(), std::nullopt);

  flush();
  EXPECT_EQ(sentCount(), 0u);
  EXPECT_TRUE(logs.contains("[Tarnwell][ERROR] Failed to flush runtime telemetry batch :: " + encodingError));
}

TEST_F(RuntimeTelemetryBatchingTest, EnqueuesFromOtherThreadsKeepEachThreadsOrder) {
  std::vector<std::thread> threads;
  for (int base : {0, 100}) {
    threads.emplace_back([this, base] {
      for (int n = base + 1; n <= base + 20; ++n) {
        batcher.enqueue("track_feature_flag_evaluation", JSONObject{{"flagKey", "f" + std::to_string(n)}});
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  settle();

  ASSERT_EQ(sentCount(), 1u);
  const JSONValue items = JSONValue::decode(sentItems(0));
  ASSERT_EQ(items.asArray()->size(), 40u);
  std::vector<std::string> first, second;
  for (const JSONValue& item : *items.asArray()) {
    std::string key = item["payload"]["flagKey"].asString()->str();
    (std::stoi(key.substr(1)) > 100 ? second : first).push_back(key);
  }
  std::vector<std::string> expectedFirst, expectedSecond;
  for (int n = 1; n <= 20; ++n) {
    expectedFirst.push_back("f" + std::to_string(n));
    expectedSecond.push_back("f" + std::to_string(100 + n));
  }
  EXPECT_EQ(first, expectedFirst);
  EXPECT_EQ(second, expectedSecond);
}

}  // namespace
}  // namespace tarnwell::testing
