// What one rule costs: resolving a field from the property store (a user property, a reserved
// identity name), each operator on a typical operand, and a flag's twenty conditions, beside an
// empty round trip through a strand, the hop every flag read already makes.
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/strand.hpp>

#include <string>

#include "bench/ratio_reporter.h"
#include "tarnwell/core/log.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/targeting/detail/rule_evaluation.h"
#include "tarnwell/testing/virtual_clock.h"

namespace {

using namespace tarnwell;

// Identity stores with property maps of the size a host fills: the SDK's own application,
// device and identity entries plus a handful of user and custom properties.
struct Stores {
  MemoryKeyValueStore store;
  detail::UuidGenerator uuids{1};
  testing::VirtualClock clock;
  detail::PropertyManager properties{store, AppInfo{"com.example.notes", "2.4.0", "412", "Notes", "Notes"},
                                     iosDeviceProfile, uuids};
  detail::SessionManager sessions{clock, uuids};

  Stores() {
    setLogSink([](LogLevel, std::string_view) {});  // the session's start line would break the table
    properties.setUserId("user-8431");
    for (int i = 0; i < 8; ++i) properties.setUserProperty("trait_" + std::to_string(i), i);
    properties.setUserProperty("plan", "pro");
    properties.setCustomProperty("cart_value", 42.5);
    properties.setCustomProperty("currency", "EUR");
    sessions.startSession("user-8431");
  }
};

Stores& stores() {
  static Stores instance;
  return instance;
}

void BM_EmptyStrandRoundTrip(benchmark::State& state) {
  asio::io_context io;
  auto strand = asio::make_strand(io);
  for (auto _ : state) {
    asio::post(strand, [] {});
    io.run();
    io.restart();
  }
}
BENCHMARK(BM_EmptyStrandRoundTrip);

void BM_ResolveFieldUserProperty(benchmark::State& state) {
  Stores& s = stores();
  const std::optional<std::string> field = "Plan";
  for (auto _ : state) benchmark::DoNotOptimize(detail::resolveField(field, s.properties, s.sessions));
}
BENCHMARK(BM_ResolveFieldUserProperty);

void BM_ResolveFieldReservedName(benchmark::State& state) {
  Stores& s = stores();
  const std::optional<std::string> field = "user_id";
  for (auto _ : state) benchmark::DoNotOptimize(detail::resolveField(field, s.properties, s.sessions));
}
BENCHMARK(BM_ResolveFieldReservedName);

void measureOperator(benchmark::State& state, std::string_view op, const std::optional<JSONValue>& actual,
                     const std::optional<JSONValue>& expected) {
  for (auto _ : state) benchmark::DoNotOptimize(detail::evaluateOperator(actual, op, expected));
}

void BM_EvaluateOperatorEqualsString(benchmark::State& state) {
  measureOperator(state, "equals", JSONValue("pro"), JSONValue("pro"));
}
BENCHMARK(BM_EvaluateOperatorEqualsString);

void BM_EvaluateOperatorGreaterThanNumericText(benchmark::State& state) {
  measureOperator(state, "greater_than", JSONValue("42.5"), JSONValue(10));
}
BENCHMARK(BM_EvaluateOperatorGreaterThanNumericText);

void BM_EvaluateOperatorContains(benchmark::State& state) {
  measureOperator(state, "contains", JSONValue("Notes for iPhone, build 412"), JSONValue("IPHONE"));
}
BENCHMARK(BM_EvaluateOperatorContains);

void BM_EvaluateOperatorIn(benchmark::State& state) {
  measureOperator(state, "in", JSONValue("pro"), JSONValue(JSONArray{"free", "trial", "team", "pro"}));
}
BENCHMARK(BM_EvaluateOperatorIn);

// A flag's worth of rules: twenty conditions over user and custom properties, each resolved and
// compared as a consumer does.
void BM_EvaluateTwentyConditions(benchmark::State& state) {
  Stores& s = stores();
  std::vector<TargetingRule> rules;
  for (int i = 0; i < 20; ++i) {
    if (i % 2 == 0) {
      rules.push_back(
          {std::nullopt, "trait_" + std::to_string(i % 8), "greater_than_equals", JSONValue(0), std::nullopt});
    } else {
      rules.push_back({std::nullopt, "plan", "in", JSONValue(JSONArray{"team", "pro"}), std::nullopt});
    }
  }
  for (auto _ : state) {
    bool all = true;
    for (const TargetingRule& rule : rules) {
      all = detail::evaluateCondition(rule.field, rule.op, rule.value, s.properties, s.sessions) && all;
    }
    benchmark::DoNotOptimize(all);
  }
}
BENCHMARK(BM_EvaluateTwentyConditions);

}  // namespace

int main(int argc, char** argv) {
  // No targets: each cost is reported beside the empty strand hop.
  std::vector<tarnwell::bench::Ratio> ratios;
  for (const char* measured : {"BM_ResolveFieldUserProperty", "BM_ResolveFieldReservedName",
                               "BM_EvaluateOperatorEqualsString", "BM_EvaluateOperatorGreaterThanNumericText",
                               "BM_EvaluateOperatorContains", "BM_EvaluateOperatorIn", "BM_EvaluateTwentyConditions"}) {
    ratios.push_back({measured, "BM_EmptyStrandRoundTrip", 0});
  }
  return tarnwell::bench::runWithRatios(argc, argv, ratios);
}
