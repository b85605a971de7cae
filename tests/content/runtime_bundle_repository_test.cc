#include <gtest/gtest.h>

#include <asio/experimental/awaitable_operators.hpp>

#include "tarnwell/content/detail/runtime_bundle_repository.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/virtual_clock.h"
#include "tests/support/run_sync.h"
#include "tests/support/scripted_gateway.h"

namespace tarnwell::detail {
namespace {

using testing::answerData;
using testing::answerStatus;
using testing::sentInput;

constexpr std::string_view kSurvey = R"({"$id":"s1","name":"NPS","status":"published"})";
constexpr std::string_view kCard = R"({"$id":"c1","impressionCount":0,"tapCount":0,"version":1,"priority":2})";
constexpr std::string_view kFlag = R"({"$id":"f1","key":"checkout","defaultValue":"classic","status":"active"})";

std::string itemsReply(std::string_view versions, std::string_view items) {
  return R"({"versions":)" + std::string(versions) + R"(,"items":)" + std::string(items) + "}";
}

std::string fullItems() {
  return R"({"surveys":[)" + std::string(kSurvey) + R"(],"announcements":[],"liveCards":[)" + std::string(kCard) +
         R"(],"featureFlags":[)" + std::string(kFlag) + "]}";
}

struct RuntimeBundleRepositoryTest : ::testing::Test {
  MemoryKeyValueStore store;
  testing::VirtualClock clock{fromEpochSeconds(1'800'000'000)};
  std::shared_ptr<AppwriteClient> client = std::make_shared<AppwriteClient>("https://gw.test/v1", "p", "d", "fn");
  std::shared_ptr<testing::ScriptedHttpTransport> transport = std::make_shared<testing::ScriptedHttpTransport>();
  RuntimeBundleRepository bundles{RuntimeGatewayRepository(client, transport), client, store, clock};
  testing::LogRecorder log;

  RuntimeBundleRepositoryTest() {
    client->setTeamId("team-7");
    client->setEnvironment("stage");
  }
  std::optional<RuntimeBundle> load(bool force = false) { return testing::runSync(bundles.loadBundle(force)); }
  // A first load from an empty store, answered with every list.
  RuntimeBundle seed() {
    answerData(*transport, itemsReply(R"({"surveys":"v1","featureFlags":7,"liveCards":true})", fullItems()));
    return *load();
  }
};

TEST_F(RuntimeBundleRepositoryTest, FirstLoadAsksWithNoVersionsAndStoresUnderTheTenantsKey) {
  const RuntimeBundle bundle = seed();
  const JSONValue input = sentInput(*transport, 0);
  EXPECT_EQ(input["action"], JSONValue("get_runtime_bundle"));
  EXPECT_EQ(input["payload"].encode(), R"({"knownVersions":{}})");
  // Scalar marks are kept as their text.
  EXPECT_EQ(bundle.versions,
            (std::map<std::string, std::string>{{"surveys", "v1"}, {"featureFlags", "7.0"}, {"liveCards", "true"}}));
  EXPECT_EQ(bundle.loadedAt, 1'800'000'000.0);
  ASSERT_EQ(bundle.surveys.size(), 1u);
  EXPECT_EQ(bundle.liveCards.at(0).priority, 2);
  EXPECT_EQ(bundle.featureFlags.at(0).key, "checkout");
  EXPECT_EQ(bundles.bundleCacheKey(), "tarnwell.runtimeBundle.team-7.stage");
  EXPECT_EQ(bundles.readCachedBundle(), bundle);
}

TEST_F(RuntimeBundleRepositoryTest, StoredBundleServesWithoutARequestFor900Seconds) {
  seed();
  clock.advance(std::chrono::seconds(899));
  EXPECT_TRUE(load());
  EXPECT_EQ(transport->requests().size(), 1u);

  clock.advance(std::chrono::seconds(2));  // 901 seconds old
  answerData(*transport, R"({"notModified":true})");
  EXPECT_TRUE(load());
  ASSERT_EQ(transport->requests().size(), 2u);
  EXPECT_EQ(sentInput(*transport, 1)["payload"].encode(),
            R"({"knownVersions":{"featureFlags":"7.0","liveCards":"true","surveys":"v1"}})");
}

TEST_F(RuntimeBundleRepositoryTest, NotModifiedKeepsContentAndConfirmsTheBundleAgain) {
  const RuntimeBundle first = seed();
  for (const std::string_view flag : {"true", R"("true")"}) {
    clock.advance(std::chrono::seconds(1000));
    answerData(*transport, R"({"notModified":)" + std::string(flag) + R"(,"versions":{"surveys":"v2"}})");
    const std::optional<RuntimeBundle> confirmed = load();
    ASSERT_TRUE(confirmed);
    EXPECT_EQ(confirmed->surveys, first.surveys);
    EXPECT_EQ(confirmed->versions, (std::map<std::string, std::string>{{"surveys", "v2"}}));
    EXPECT_EQ(confirmed->loadedAt, toEpochSeconds(clock.now()));
    EXPECT_EQ(bundles.readCachedBundle(), confirmed);
  }
  const std::size_t asked = transport->requests().size();
  clock.advance(std::chrono::seconds(899));
  load();
  EXPECT_EQ(transport->requests().size(), asked);
}

TEST_F(RuntimeBundleRepositoryTest, AnAnswerWithNothingUsableLeavesTheStaleBundleUntouched) {
  const RuntimeBundle first = seed();
  clock.advance(std::chrono::seconds(1000));
  answerData(*transport, R"({"notModified":"TRUE","items":[]})");  // neither flag nor object
  EXPECT_EQ(load(), first);
  EXPECT_EQ(bundles.readCachedBundle(), first);  // loadedAt stays old, so the next read asks again
  answerData(*transport, R"({"notModified":true})");
  load();
  EXPECT_EQ(transport->requests().size(), 3u);
}

TEST_F(RuntimeBundleRepositoryTest, NotModifiedWithoutAStoredBundleIsNoBundle) {
  answerData(*transport, R"({"notModified":true})");
  EXPECT_FALSE(load());
  EXPECT_FALSE(bundles.readCachedBundle());
}

TEST_F(RuntimeBundleRepositoryTest, ItemsReplaceEveryListAndDropOnlyTheRecordsThatFail) {
  seed();
  clock.advance(std::chrono::seconds(1000));
  // No "liveCards": cached cards go too. One survey of five has a number where text belongs.
  answerData(*transport, itemsReply("{}", R"({"surveys":[{"$id":"a"},{"$id":"b"},{"$id":3},{"$id":"d"},{"$id":"e"}],
                                              "announcements":{"not":"a list"},"featureFlags":[]})"));
  const std::optional<RuntimeBundle> bundle = load();
  ASSERT_TRUE(bundle);
  ASSERT_EQ(bundle->surveys.size(), 4u);
  EXPECT_EQ(bundle->surveys.at(2).id, "d");
  EXPECT_TRUE(bundle->announcements.empty());
  EXPECT_TRUE(bundle->liveCards.empty());
  EXPECT_TRUE(bundle->versions.empty());  // "versions" was sent, empty
}

TEST_F(RuntimeBundleRepositoryTest, FailureServesTheStoredBundleHoweverOldAndLogs) {
  const RuntimeBundle first = seed();
  clock.advance(std::chrono::hours(24 * 30));
  testing::answerStatus(*transport, 500);
  EXPECT_EQ(load(), first);
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_EQ(log.lines().at(0).rfind("[Tarnwell][ERROR] Runtime bundle refresh failed :: ", 0), 0u);

  testing::answerStatus(*transport, 500);
  client->setTeamId("other-team");  // another tenant has nothing stored
  EXPECT_FALSE(load());
}

TEST_F(RuntimeBundleRepositoryTest, AStoredValueThatNoLongerDecodesCountsAsNone) {
  store.setBytes(bundles.bundleCacheKey(), asBytes(R"({"versions":{"a":"1"},"loadedAt":"yesterday"})"));
  EXPECT_FALSE(bundles.readCachedBundle());
  answerData(*transport, itemsReply(R"({"a":"2"})", fullItems()));
  EXPECT_TRUE(load());
  EXPECT_EQ(sentInput(*transport, 0)["payload"].encode(), R"({"knownVersions":{}})");
}

TEST_F(RuntimeBundleRepositoryTest, ForceAsksEvenWhenFreshAndStillSendsTheVersions) {
  seed();
  answerData(*transport, R"({"notModified":true})");
  EXPECT_TRUE(load(true));
  EXPECT_EQ(sentInput(*transport, 1)["payload"]["knownVersions"]["surveys"], JSONValue("v1"));
}

TEST(RuntimeBundleKeyTest, MissingTenantFallsBackToPlaceholders) {
  MemoryKeyValueStore store;
  testing::VirtualClock clock;
  auto client = std::make_shared<AppwriteClient>("https://gw.test/v1", "p", "d", "fn");
  RuntimeBundleRepository bundles{RuntimeGatewayRepository(client, std::make_shared<testing::ScriptedHttpTransport>()),
                                  client, store, clock};
  EXPECT_EQ(bundles.bundleCacheKey(), "tarnwell.runtimeBundle.unknown_team.production");
  client->setEnvironment("");
  client->setTeamId("t");
  EXPECT_EQ(bundles.bundleCacheKey(), "tarnwell.runtimeBundle.t.production");
}

TEST_F(RuntimeBundleRepositoryTest, RepositoriesSharingAGateAskOnceForAStaleBundle) {
  auto gate = std::make_shared<detail::BundleLoadGate>();
  RuntimeBundleRepository surveys{RuntimeGatewayRepository(client, transport), client, store, clock, gate};
  RuntimeBundleRepository flags{RuntimeGatewayRepository(client, transport), client, store, clock, gate};
  auto loadBoth = [&]() -> asio::awaitable<std::size_t> {
    using namespace asio::experimental::awaitable_operators;
    auto [first, second] = co_await (surveys.loadBundle(false) && flags.loadBundle(false));
    co_return (first ? first->surveys.size() : 0) + (second ? second->featureFlags.size() : 0);
  };
  answerData(*transport, itemsReply("{}", fullItems()));
  EXPECT_EQ(testing::runSync(loadBoth()), 2u);
  EXPECT_EQ(transport->requests().size(), 1u);

  // When the shared load fails, the one that waited asks on its own.
  clock.advance(std::chrono::seconds(901));
  answerStatus(*transport, 503);
  answerData(*transport, R"({"notModified":true})");
  EXPECT_EQ(testing::runSync(loadBoth()), 2u);
  EXPECT_EQ(transport->requests().size(), 3u);
  EXPECT_EQ(store.keysWithPrefix("tarnwell.runtimeBundle.").size(), 1u);
  EXPECT_EQ(bundles.readCachedBundle()->loadedAt, toEpochSeconds(clock.now()));
}

}  // namespace
}  // namespace tarnwell::detail
