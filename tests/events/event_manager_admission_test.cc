#include <limits>
#include <thread>

#include "tarnwell/events/detail/event_sampling.h"
#include "tarnwell/platform/detail/async.h"
#include "tests/events/event_manager_fixture.h"
#include "tests/support/run_sync.h"

namespace tarnwell::detail {
namespace {

using testing::EventManagerTest;
using testing::namedEvent;
using testing::numberedNames;

using EventAdmissionTest = EventManagerTest;

TEST_F(EventAdmissionTest, TheHundredAndTwentyFirstEventOfAClockMinuteIsRefused) {
  auto events = quietConfig();
  events.maxEventsPerMinute = 120;
  configure(events);
  clock.advance(std::chrono::seconds(30));  // 00:00:30
  trackAll(numberedNames(120));
  EXPECT_EQ(queued(), 120u);
  track("late");
  clock.advance(std::chrono::milliseconds(29'999));  // 00:00:59.999, still the same minute
  track("later");
  EXPECT_EQ(queued(), 120u);
  clock.advance(std::chrono::milliseconds(1));  // 00:01:00.000: a fresh window, not a sliding one
  track("next minute");
  EXPECT_EQ(queued(), 121u);
  EXPECT_EQ(storedText(), arrayOf([] {
              auto names = numberedNames(120);
              names.push_back("next minute");
              return names;
            }()));
}

TEST_F(EventAdmissionTest, RefusedEventsCountAgainstTheRateLimit) {
  auto events = quietConfig();
  events.maxEventsPerMinute = 2;
  events.sampling.defaultPercent = 50;
  configure(events);
  track("purchase");  // sampled out (bucket 87), but counted
  track("purchase");
  track("checkout");  // bucket 32 would pass sampling; the limit refuses it first
  EXPECT_EQ(queued(), 0u);
  clock.advance(std::chrono::minutes(1));
  track("checkout");
  EXPECT_EQ(queued(), 1u);
}

TEST_F(EventAdmissionTest, ALimitOfZeroOrBelowSilencesEveryEvent) {
  for (const std::int64_t limit : {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
    auto events = quietConfig();
    events.maxEventsPerMinute = limit;
    configure(events);
    track("checkout");
    clock.advance(std::chrono::minutes(1));
    track("checkout");
    EXPECT_EQ(queued(), 0u) << limit;
  }
  EXPECT_EQ(storedText(), std::nullopt);
}

TEST_F(EventAdmissionTest, TheSwitchAndTheKillSwitchRefuseEverything) {
  auto disabled = quietConfig();
  disabled.enabled = false;
  configure(disabled);
  track("checkout");
  EXPECT_EQ(queued(), 0u);

  RuntimeConfig::KillSwitchConfig killSwitches;
  killSwitches.disableEventLogs = true;
  configure(quietConfig(), killSwitches);
  track("checkout");
  EXPECT_EQ(queued(), 0u);

  configure(quietConfig());
  track("checkout");
  EXPECT_EQ(queued(), 1u);
}

TEST_F(EventAdmissionTest, SamplingAtZeroFiftyAndHundredPercent) {
  auto events = quietConfig();
  events.sampling.defaultPercent = 0;
  configure(events);
  trackAll({"checkout", "signup", "purchase"});
  EXPECT_EQ(queued(), 0u);

  events.sampling.defaultPercent = 50;
  configure(events);
  trackAll({"checkout", "purchase", "signup", "logout", "checkout", "purchase"});
  EXPECT_EQ(storedText(), arrayOf({"checkout", "signup", "checkout"}));  // buckets 32, 4, 32 pass; 87, 98 never

  events.sampling.defaultPercent = 100;
  configure(events);
  trackAll({"purchase", "logout"});
  EXPECT_EQ(queued(), 5u);
}

TEST_F(EventAdmissionTest, AtTheBoundTheOldestMakeRoom) {
  auto events = quietConfig();
  events.maxQueueSize = 3;
  events.batchSize = 1000;  // eager threshold min(1000, 3) = 3: keep the sends failing
  configure(events);
  answerAll(false);
  trackAll({"a", "b", "c", "d"});
  EXPECT_EQ(queued(), 3u);
  EXPECT_EQ(storedText(), arrayOf({"b", "c", "d"}));
}

TEST_F(EventAdmissionTest, EveryAdmissionPersistsTheArrayOfRecords) {
  configure(quietConfig());
  track("a");
  EXPECT_EQ(storedText(), arrayOf({"a"}));
  track("b", "survey");
  JSONArray expected{namedEvent("a").encode(), namedEvent("b", "survey").encode()};
  EXPECT_EQ(storedText(), JSONValue(std::move(expected)).encode());
  EXPECT_EQ(run(manager->hasQueuedEvents()), true);
}

TEST_F(EventAdmissionTest, AQueueThatCannotBeEncodedIsLoggedAndTheStoreKeepsItsValue) {
  configure(quietConfig());
  track("a");
  EventRecord broken = namedEvent("broken");
  broken.customProperties.set("ratio", std::numeric_limits<double>::quiet_NaN());
  const std::string reason = EncodedEventRecord(broken).encodingError();
  run(manager->queueEvent(broken));
  EXPECT_EQ(queued(), 2u);
  EXPECT_EQ(storedText(), arrayOf({"a"}));
  EXPECT_EQ(logs.lines(), std::vector<std::string>{"[Tarnwell][ERROR] Failed to persist event queue :: " + reason});
}

TEST_F(EventAdmissionTest, EagerThresholdIsTheSmallerOfBatchSizeAndBound) {
  auto events = quietConfig();
  events.batchSize = 50;
  events.maxQueueSize = 10;
  configure(events);
  answerAll(true);
  trackAll(numberedNames(9));
  EXPECT_TRUE(transport->requests().empty());
  track("e9");
  EXPECT_EQ(sentNames(), (std::vector<std::vector<std::string>>{numberedNames(10)}));
  EXPECT_EQ(queued(), 0u);
  EXPECT_EQ(storedText(), std::nullopt);
}

TEST_F(EventAdmissionTest, AdmissionsFromSeveralThreadsAllArrive) {
  detail::WorkerPool pool(2);
  auto events = quietConfig();
  auto pooled = EventManager::create(
      pool.executor(), EventRepository(RuntimeGatewayRepository(client, transport), clock, uuids, std::nullopt), clock,
      store);
  testing::runSync(pooled->configure(events, {}));
  auto trackMany = [&](const std::string& prefix) {
    for (const std::string& name : numberedNames(100, prefix)) testing::runSync(pooled->queueEvent(namedEvent(name)));
  };
  std::thread first(trackMany, "a");
  std::thread second(trackMany, "b");
  first.join();
  second.join();
  EXPECT_EQ(testing::runSync(pooled->queuedEventCount()), 200u);
  EXPECT_EQ(decodeEventArray(*storedText()).size(), 200u);
}

}  // namespace
}  // namespace tarnwell::detail
