// The runtime bundle's cost: decoding a 500 KB bundle (200 surveys, 100 live cards, 300 flags)
// into typed records against simdjson's own DOM parse of the same bytes, and the fresh path of
// loadBundle, which reads and decodes the stored bundle on every call.
#include <simdjson.h>

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include <string>

#include "bench/ratio_reporter.h"
#include "tarnwell/content/detail/runtime_bundle_repository.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tarnwell/testing/virtual_clock.h"

namespace {

using tarnwell::JSONArray;
using tarnwell::JSONObject;
using tarnwell::JSONValue;

std::string text(const JSONValue& value) { return value.encode(); }

JSONValue survey(int i) {
  JSONArray questions;
  for (int q = 0; q < 3; ++q) {
    questions.push_back(JSONObject{{"id", "q" + std::to_string(q)},
                                   {"type", "single_choice"},
                                   {"title", "How likely are you to recommend us to a friend?"},
                                   {"required", q == 0},
                                   {"options", JSONArray{"Very likely", "Somewhat likely", "Not at all"}}});
  }
  const JSONObject structure{{"type", "nps"},
                             {"title", "Tell us what you think"},
                             {"questions", questions},
                             {"buttons", JSONObject{{"primary", JSONObject{{"text", "Submit"}}}}}};
  const JSONObject targeting{
      {"rules",
       JSONArray{JSONObject{
           {"conditions",
            JSONArray{JSONObject{{"field", "plan"}, {"operator", "equals"}, {"value", "pro"}, {"enabled", true}}}},
           {"enabled", true},
           {"requireAllConditions", true}}}},
      {"audience", "all"},
      {"percentage", 100},
      {"priority", i % 10}};
  return JSONObject{{"$id", "survey_" + std::to_string(i)},
                    {"name", "Survey number " + std::to_string(i)},
                    {"status", "published"},
                    {"eventTriggerId", "checkout_completed"},
                    {"structure", text(structure)},
                    {"targeting", text(targeting)},
                    {"config", text(JSONObject{{"behavior", JSONObject{{"showProgress", true}}}})},
                    {"scheduleStart", "2026-01-01T00:00:00.000Z"},
                    {"$createdAt", "2026-01-01T00:00:00.000Z"},
                    {"$updatedAt", "2026-02-01T00:00:00.000Z"}};
}

JSONValue liveCard(int i) {
  const JSONObject structure{{"type", "carousel"},
                             {"title", "Spring sale"},
                             {"subtitle", "Up to 30% off"},
                             {"carouselItems", JSONArray{JSONObject{{"id", "a"}, {"title", "First slide"}},
                                                         JSONObject{{"id", "b"}, {"title", "Second slide"}}}}};
  const JSONObject config{{"style", JSONObject{{"backgroundColor", "#FFEEDD"},
                                               {"borderRadius", 12},
                                               {"cornerRadius", 8.5},
                                               {"gradientColors", JSONArray{"#000", "#FFF"}}}}};
  return JSONObject{{"$id", "card_" + std::to_string(i)},
                    {"name", "Card " + std::to_string(i)},
                    {"title", "Spring sale"},
                    {"eventTriggerId", "home_banner"},
                    {"status", "live"},
                    {"impressionCount", 10 * i},
                    {"tapCount", i},
                    {"version", 3},
                    {"priority", i % 5},
                    {"structure", text(structure)},
                    {"config", text(config)},
                    {"targeting", text(JSONObject{{"rules", JSONArray{}}, {"audience", "all"}, {"percentage", 100}})}};
}

JSONValue flag(int i) {
  const JSONArray variations{JSONObject{{"id", "control"}, {"value", false}, {"weight", 50}},
                             JSONObject{{"id", "treatment"}, {"value", true}, {"weight", 50}}};
  const JSONArray rules{JSONObject{{"field", "plan"}, {"operator", "in"}, {"value", JSONArray{"pro", "team"}}}};
  return JSONObject{{"$id", "flag_" + std::to_string(i)},
                    {"key", "feature_key_" + std::to_string(i)},
                    {"name", "Feature " + std::to_string(i)},
                    {"type", i % 3 == 0 ? "experiment" : "boolean"},
                    {"defaultValue", "false"},
                    {"status", "active"},
                    {"variations", text(variations)},
                    {"targetingRules", text(rules)},
                    {"tags", JSONArray{"checkout", "beta"}},
                    {"organizationId", "org_1"},
                    {"projectId", "proj_1"},
                    {"appId", "app_1"},
                    {"environment", "production"},
                    {"$createdAt", "2026-01-01T00:00:00.000Z"}};
}

const std::string& bundleText() {
  static const std::string bytes = [] {
    JSONArray surveys, cards, flags;
    for (int i = 0; i < 200; ++i) surveys.push_back(survey(i));
    for (int i = 0; i < 100; ++i) cards.push_back(liveCard(i));
    for (int i = 0; i < 300; ++i) flags.push_back(flag(i));
    return JSONValue(JSONObject{{"versions", JSONObject{{"surveys", "v1"}, {"featureFlags", "v1"}}},
                                {"loadedAt", 1.8e9},
                                {"surveys", surveys},
                                {"announcements", JSONArray{}},
                                {"liveCards", cards},
                                {"featureFlags", flags}})
        .encode();
  }();
  return bytes;
}

void BM_SimdjsonDomParse(benchmark::State& state) {
  simdjson::dom::parser parser;
  const std::string& bytes = bundleText();
  for (auto _ : state) {
    simdjson::dom::element root;
    if (parser.parse(bytes.data(), bytes.size(), true).get(root)) state.SkipWithError("parse failed");
    benchmark::DoNotOptimize(root);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_SimdjsonDomParse);

void BM_RuntimeBundleDecode(benchmark::State& state) {
  const std::string& bytes = bundleText();
  for (auto _ : state) {
    tarnwell::RuntimeBundle bundle = tarnwell::RuntimeBundle::decodeText(bytes);
    benchmark::DoNotOptimize(bundle);
    state.PauseTiming();  // freeing the records is not decoding
    bundle = {};
    state.ResumeTiming();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_RuntimeBundleDecode);

void BM_LoadBundleFreshPath(benchmark::State& state) {
  tarnwell::MemoryKeyValueStore store;
  tarnwell::testing::VirtualClock clock(tarnwell::fromEpochSeconds(1.8e9 + 10));
  auto client = std::make_shared<tarnwell::detail::AppwriteClient>("https://gw.invalid/v1", "p", "d", "fn");
  auto transport = std::make_shared<tarnwell::testing::ScriptedHttpTransport>();
  tarnwell::detail::RuntimeBundleRepository bundles(tarnwell::detail::RuntimeGatewayRepository(client, transport),
                                                    client, store, clock);
  store.setBytes(bundles.bundleCacheKey(), tarnwell::asBytes(bundleText()));
  asio::io_context io;
  for (auto _ : state) {
    auto loaded = asio::co_spawn(io, bundles.loadBundle(false), asio::use_future);
    io.restart();
    io.run();
    std::optional<tarnwell::RuntimeBundle> bundle = loaded.get();
    if (!bundle || !transport->requests().empty()) state.SkipWithError("the stored bundle was not served");
    state.PauseTiming();
    bundle.reset();
    state.ResumeTiming();
  }
}
BENCHMARK(BM_LoadBundleFreshPath);

}  // namespace

int main(int argc, char** argv) {
  return tarnwell::bench::runWithRatios(
      argc, argv,
      {{"BM_RuntimeBundleDecode", "BM_SimdjsonDomParse", 3.0}, {"BM_LoadBundleFreshPath", "BM_SimdjsonDomParse", 0}},
      {});
}
