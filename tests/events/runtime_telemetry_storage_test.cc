// Where each tenant's queue is kept, and how a stored queue comes back after a restart.
#include <vector>

#include "tests/events/runtime_telemetry_fixture.h"

namespace tarnwell::testing {
namespace {

using std::chrono::seconds;

using RuntimeTelemetryStorageTest = RuntimeTelemetryTest;

TEST_F(RuntimeTelemetryStorageTest, EveryItemIsStoredUnderTheTenantsKey) {
  track(1, 1);
  EXPECT_EQ(store.keysWithPrefix(kStoragePrefix), std::vector<std::string>{std::string(kStorageKey)});
  EXPECT_EQ(stored(), itemsJson(1, 1));
  track(2, 3);
  EXPECT_EQ(stored(), itemsJson(1, 3));
}

TEST_F(RuntimeTelemetryStorageTest, MissingOrEmptyTeamAndEnvironmentFallBackToDefaults) {
  auto keyAfterTracking = [&](std::shared_ptr<detail::AppwriteClient> tenant) {
    detail::RuntimeTelemetryBatcher other(std::move(tenant), transport, queue);
    other.enqueue("track_live_card_impression", JSONObject{});
    settle();
    std::vector<std::string> keys = store.keysWithPrefix(kStoragePrefix);
    for (const std::string& key : keys) store.remove(key);
    return keys;
  };
  auto fresh = [] { return std::make_shared<detail::AppwriteClient>("https://api.example.com/v1", "p", "d", "fn"); };

  EXPECT_EQ(keyAfterTracking(fresh()),
            std::vector<std::string>{"com.tarnwell.runtimeTelemetryQueue.unknown_team_production.v1"});
  auto blank = fresh();
  blank->setTeamId("");
  blank->setEnvironment("");
  EXPECT_EQ(keyAfterTracking(blank),
            std::vector<std::string>{"com.tarnwell.runtimeTelemetryQueue.unknown_team_production.v1"});
  auto colons = fresh();
  colons->setTeamId("t:1");
  colons->setEnvironment("eu:west");
  EXPECT_EQ(keyAfterTracking(colons), std::vector<std::string>{"com.tarnwell.runtimeTelemetryQueue.t_1_eu_west.v1"});
}

TEST_F(RuntimeTelemetryStorageTest, TenantKeysJoinTeamAndEnvironment) {
  detail::AppwriteClient tenant("https://api.example.com/v1", "p", "d", "fn");
  EXPECT_EQ(detail::runtimeTelemetryQueueKey(tenant), "unknown_team:production");
  tenant.setEnvironment("stage");
  EXPECT_EQ(detail::runtimeTelemetryQueueKey(tenant), "unknown_team:stage");
  tenant.setTeamId("t1");
  EXPECT_EQ(detail::runtimeTelemetryQueueKey(tenant), "t1:stage");
}

TEST_F(RuntimeTelemetryStorageTest, RestoredQueueKeepsTheNewestFortyAndIsSentByAnExplicitFlush) {
  storeText(itemsJson(1, 45));
  flush();
  EXPECT_EQ(logs.lines(), std::vector<std::string>{"[Tarnwell][INFO] Restored 40 runtime telemetry item(s) from disk"});
  ASSERT_EQ(sentCount(), 1u);
  EXPECT_EQ(sentItems(0), itemsJson(6, 45));
  EXPECT_EQ(stored(), std::nullopt);
}

TEST_F(RuntimeTelemetryStorageTest, RestoredQueueWaitsForTheNextItemToScheduleItsFlush) {
  storeText(itemsJson(1, 3));
  EXPECT_EQ(clock.pendingTimerCount(), 0u);
  track(4, 4);
  EXPECT_EQ(logs.lines(), std::vector<std::string>{"[Tarnwell][INFO] Restored 3 runtime telemetry item(s) from disk"});
  EXPECT_EQ(stored(), itemsJson(1, 4));
  track(5, 5);  // restored once: the stored value is not read again
  EXPECT_EQ(logs.lines().size(), 1u);

  advance(seconds(120));
  ASSERT_EQ(sentCount(), 1u);
  EXPECT_EQ(sentItems(0), itemsJson(1, 5));
}

TEST_F(RuntimeTelemetryStorageTest, RestoredFullQueueFlushesWithTheNextItem) {
  storeText(itemsJson(1, 40));
  track(41, 41);
  ASSERT_EQ(sentCount(), 1u);
  EXPECT_EQ(sentItems(0), itemsJson(2, 41));
}

TEST_F(RuntimeTelemetryStorageTest, StoredEmptyQueueRestoresSilently) {
  storeText("[]");
  track(1, 1);
  EXPECT_TRUE(logs.lines().empty());
  EXPECT_EQ(stored(), itemsJson(1, 1));
}

TEST_F(RuntimeTelemetryStorageTest, StoredValueThatIsNotJSONIsRemovedAndNewItemsGoOn) {
  storeText("{not json");
  flush();
  ASSERT_EQ(logs.lines().size(), 1u);
  EXPECT_TRUE(logs.lines()[0].starts_with("[Tarnwell][ERROR] Failed to restore runtime telemetry queue :: Unable to "))
      << logs.lines()[0];
  EXPECT_EQ(stored(), std::nullopt);
  EXPECT_EQ(sentCount(), 0u);

  track(1, 1);
  EXPECT_EQ(stored(), itemsJson(1, 1));
  advance(seconds(120));
  ASSERT_EQ(sentCount(), 1u);
  EXPECT_EQ(sentItems(0), itemsJson(1, 1));
}

TEST_F(RuntimeTelemetryStorageTest, StoredValueOfTheWrongShapeIsRemovedWithTheReason) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {itemJson(1), R"(Expected an array at the top level but found an object)"},
      {"[" + itemJson(1) + ",7]", R"(Expected an object at "[1]" but found a number)"},
  };
  for (const auto& [value, reason] : cases) {
    SCOPED_TRACE(value);
    logs.clear();
    storeText(value);
    // A fresh queue, as after a restart: each restores the key once.
    auto restarted = detail::RuntimeTelemetryQueue::create(store, clock, main.ioContext().get_executor());
    detail::RuntimeTelemetryBatcher(client, transport, restarted)
        .enqueue("track_feature_flag_evaluation", JSONObject{{"flagKey", "f2"}});
    settle();
    EXPECT_EQ(logs.lines(),
              std::vector<std::string>{"[Tarnwell][ERROR] Failed to restore runtime telemetry queue :: " + reason});
    EXPECT_EQ(stored(), "[" + itemJson(2) + "]");
    store.remove(kStorageKey);
  }
}

}  // namespace
}  // namespace tarnwell::testing
