// What asking for a live card costs the main context: hasLiveCard over 100 live cards whose
// matching one comes last, beside evaluating that card's already-parsed targeting (five rules of
// two conditions each, and a behavioural trigger that fires) by hand. Finding that card among the
// other 99 and the coroutine around its check should add at most half again.
#include <asio/co_spawn.hpp>

#include <string>

#include "bench/delivery_world.h"
#include "bench/ratio_reporter.h"
#include "tarnwell/livecards/detail/live_card_manager.h"
#include "tarnwell/targeting/detail/rule_evaluation.h"

namespace {

using namespace tarnwell;
using namespace tarnwell::detail;

constexpr int kCards = 100;
constexpr const char* kTrigger = "home_top";

// Five rules that hold for the benchmark's user and a trigger that fires, so the check of the
// matching card runs to its last step.
std::string targetingFor(const std::string& trigger) {
  return R"({"rules":)" + bench::fiveRulesThatHold() + R"(,"audience":"all","percentage":100,)" +
         R"("behavioralTrigger":{"enabled":true,"eventName":")" + trigger +
         R"(","count":1,"operator":"greater_than_equals"}})";
}

LiveCard benchCard(int index, const std::string& trigger) {
  LiveCard card;
  card.id = "lc" + std::to_string(index);
  card.status = "live";
  card.eventTriggerId = trigger;
  card.targetingJSON = targetingFor(trigger);
  return card;
}

struct LiveCards : bench::DeliveryWorld {
  RuntimeTelemetryBatcher telemetry{client, transport,
                                    RuntimeTelemetryQueue::create(store, clock, main.ioContext().get_executor())};
  std::unique_ptr<LiveCardManager> manager;
  LiveCardTargeting parsed;

  LiveCards() {
    RuntimeBundle bundle;
    // 99 other triggers of the same length as the one asked for.
    for (int i = 0; i + 1 < kCards; ++i) {
      bundle.liveCards.push_back(benchCard(i, "home_t" + std::to_string(10 + i % 90)));
    }
    bundle.liveCards.push_back(benchCard(kCards - 1, kTrigger));
    storeFresh(bundle);
    DeliveryManagerParts reporting = parts();
    reporting.reporting = {.device = iosDeviceProfile, .newId = [this] { return uuids.next(); }};
    manager = std::make_unique<LiveCardManager>(reporting, LiveCardRepository(gateway(), bundles(), telemetry));
    run(manager->refresh());
    parsed = *bundle.liveCards.back().targeting();
    tracker.recordEvent(kTrigger, clock.now());
  }
  using DeliveryWorld::run;
  bool run(asio::awaitable<bool> work) {
    bool answer = false;
    asio::co_spawn(main.ioContext(), std::move(work), [&answer](std::exception_ptr, bool value) { answer = value; });
    main.poll();
    return answer;
  }
};

LiveCards& liveCards() {
  static LiveCards instance;
  return instance;
}

void BM_ParsedTargetingOfTheMatchingCard(benchmark::State& state) {
  LiveCards& cards = liveCards();
  const std::optional<std::string> trigger = std::string(kTrigger);
  for (auto _ : state) {
    const bool passes =
        enabledRulesHold(cards.parsed.rules, cards.parsed.matchType, cards.properties, cards.sessions) &&
        evaluateBehavioralTrigger(*cards.parsed.behavioralTrigger, trigger, cards.tracker, false);
    benchmark::DoNotOptimize(passes);
  }
}
BENCHMARK(BM_ParsedTargetingOfTheMatchingCard);

void BM_HasLiveCardOverOneHundredCards(benchmark::State& state) {
  LiveCards& cards = liveCards();
  bool found = false;
  for (auto _ : state) {
    found = cards.run(cards.manager->hasLiveCard(kTrigger));
    benchmark::DoNotOptimize(found);
  }
  if (!found) state.SkipWithError("no card was found: the walk stopped short of the last check");
}
BENCHMARK(BM_HasLiveCardOverOneHundredCards);

}  // namespace

int main(int argc, char** argv) {
  return bench::runWithRatios(argc, argv,
                              {{"BM_HasLiveCardOverOneHundredCards", "BM_ParsedTargetingOfTheMatchingCard", 1.5}});
}
