// A typed getFeatureFlag round trip from the host's thread through the main context to the flag
// manager's strand and back, for flags with 0, 5 and 20 targeting rules, beside the same round
// trip for a key the manager does not know (nothing evaluated, nothing reported): what the
// rules and the reporting add on top of the hops.
#include <condition_variable>
#include <future>
#include <mutex>
#include <string>

#include "bench/ratio_reporter.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/sdk/facade.h"
#include "tarnwell/testing/scripted_http_transport.h"

namespace {

using tarnwell::JSONArray;
using tarnwell::JSONObject;
using tarnwell::JSONValue;

// Flag "rules_N" holds N rules on user properties that all hold for the benchmark's user.
JSONValue flagWithRules(int count) {
  JSONArray rules;
  for (int i = 0; i < count; ++i) {
    rules.push_back(JSONObject{
        {"field", "trait_" + std::to_string(i)}, {"operator", "equals"}, {"value", "value_" + std::to_string(i)}});
  }
  return JSONObject{{"$id", "flag_" + std::to_string(count)},
                    {"key", "rules_" + std::to_string(count)},
                    {"status", "active"},
                    {"defaultValue", "true"},
                    {"targetingRules", JSONValue(rules).encode()}};
}

tarnwell::HttpResponse answer(const JSONValue& data) {
  tarnwell::HttpResponse response;
  response.status = 200;
  response.body = JSONValue(JSONObject{{"ok", true}, {"data", data}}).encode();
  return response;
}

// Answers the bootstrap and the runtime bundle; everything else succeeds with no data.
tarnwell::HttpResponse respond(const tarnwell::HttpRequest& request) {
  const JSONValue execution = JSONValue::decode(request.body);
  const JSONValue input = JSONValue::decode(execution["body"].asString()->view());
  const std::string action = *input["action"].stringValue();
  if (action == "bootstrap") {
    return answer(JSONObject{{"config", JSONObject{{"organizationId", "org"},
                                                   {"projectId", "prj"},
                                                   {"appId", "app"},
                                                   {"teamId", "team"},
                                                   {"apiKeyId", "kid"}}},
                             {"sessionToken", "token"}});
  }
  if (action == "get_runtime_bundle") {
    return answer(JSONObject{
        {"versions", JSONObject{{"featureFlags", "1"}}},
        {"items", JSONObject{{"featureFlags", JSONArray{flagWithRules(0), flagWithRules(5), flagWithRules(20)}}}}});
  }
  return answer(JSONObject{{"success", true}});
}

tarnwell::Tarnwell& sdk() {
  static tarnwell::Tarnwell* instance = [] {
    auto transport = std::make_shared<tarnwell::testing::ScriptedHttpTransport>();
    transport->setResponder(respond);
    tarnwell::HostOptions options;
    options.store = std::make_shared<tarnwell::MemoryKeyValueStore>();
    options.transport = transport;
    options.logSink = [](tarnwell::LogLevel, std::string_view) {};
    auto* sdk = new tarnwell::Tarnwell(std::move(options));
    for (int i = 0; i < 20; ++i)
      sdk->setUserProperty("trait_" + std::to_string(i), JSONValue("value_" + std::to_string(i)));
    std::promise<void> ready;
    sdk->initialize("tw_bench_key", tarnwell::Environment::production,
                    [&ready](const tarnwell::SDKState&) { ready.set_value(); });
    ready.get_future().wait();
    return sdk;
  }();
  return *instance;
}

// One typed read, waited for on this thread.
bool readFlag(const std::string& key) {
  std::mutex mutex;
  std::condition_variable answered;
  std::optional<bool> value;
  sdk().getFeatureFlag<bool>(key, false, [&](bool flag) {
    std::lock_guard lock(mutex);
    value = flag;
    answered.notify_one();
  });
  std::unique_lock lock(mutex);
  answered.wait(lock, [&] { return value.has_value(); });
  return *value;
}

void BM_UnknownFlagRoundTrip(benchmark::State& state) {
  for (auto _ : state) {
    if (readFlag("no_such_flag")) state.SkipWithError("an unknown flag answered true");
  }
}
BENCHMARK(BM_UnknownFlagRoundTrip)->UseRealTime();

void BM_GetFeatureFlag(benchmark::State& state) {
  const std::string key = "rules_" + std::to_string(state.range(0));
  for (auto _ : state) {
    if (!readFlag(key)) state.SkipWithError("the flag's rules did not hold");
  }
}
BENCHMARK(BM_GetFeatureFlag)->Arg(0)->Arg(5)->Arg(20)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  return tarnwell::bench::runWithRatios(argc, argv,
                                        {{"BM_GetFeatureFlag/0/real_time", "BM_UnknownFlagRoundTrip/real_time", 0},
                                         {"BM_GetFeatureFlag/5/real_time", "BM_UnknownFlagRoundTrip/real_time", 0},
                                         {"BM_GetFeatureFlag/20/real_time", "BM_UnknownFlagRoundTrip/real_time", 2.0}},
                                        {});
}
