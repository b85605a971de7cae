#include <gtest/gtest.h>

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include "tarnwell/flags/detail/feature_flag_manager.h"
#include "tarnwell/platform/main_context.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/virtual_clock.h"
#include "tests/support/scripted_gateway.h"

namespace tarnwell::detail {
namespace {

using namespace std::chrono_literals;

struct TrackedEvent {
  std::string name;
  JSONObject properties;
  std::string type;
};

// A flag document as the backend sends it; `extra` adds members ("\"type\":\"experiment\"").
std::string flagDocument(std::string_view id, std::string_view key, std::string_view extra = "") {
  std::string document = R"({"$id":")" + std::string(id) + R"(","key":")" + std::string(key) +
                         R"(","status":"active","organizationId":"org","projectId":"prj","appId":"app")";
  if (!extra.empty()) document += "," + std::string(extra);
  return document + "}";
}

// Text of a nested document as a JSON string member value.
std::string asText(std::string_view json) { return JSONValue(json).encode(); }

struct FeatureFlagManagerTest : ::testing::Test {
  MainContext main{MainContext::Mode::hostPumped};
  testing::VirtualClock clock;
  MemoryKeyValueStore store;
  UuidGenerator uuids{11};
  PropertyManager properties{store, AppInfo{}, iosDeviceProfile, uuids};
  SessionManager sessions{clock, uuids};
  testing::LogRecorder log;
  StringHasher hasher{1, 2};
  std::shared_ptr<AppwriteClient> client = std::make_shared<AppwriteClient>("https://gw.test/v1", "p", "d", "fn");
  std::shared_ptr<testing::ScriptedHttpTransport> transport = std::make_shared<testing::ScriptedHttpTransport>();
  RuntimeTelemetryBatcher telemetry{client, transport,
                                    RuntimeTelemetryQueue::create(store, clock, main.ioContext().get_executor())};
  std::vector<TrackedEvent> events;
  std::shared_ptr<FeatureFlagManager> flags = FeatureFlagManager::create(
      main.ioContext().get_executor(),
      FeatureFlagRepository(RuntimeGatewayRepository(client, transport),
                            RuntimeBundleRepository(RuntimeGatewayRepository(client, transport), client, store, clock),
                            telemetry),
      properties, sessions, clock, hasher,
      [this](std::string name, JSONObject props, std::string type) {
        events.push_back({std::move(name), std::move(props), std::move(type)});
      },
      "ios");

  FeatureFlagManagerTest() {
    client->setTeamId("t1");
    client->setEnvironment("stage");
  }

  template <typename T>
  T run(asio::awaitable<T> work) {
    auto future = asio::co_spawn(main.ioContext(), std::move(work), asio::use_future);
    while (future.wait_for(0s) != std::future_status::ready) main.poll();
    main.poll();
    return future.get();
  }
  // Serves `documents` as the flag list of a fresh runtime bundle and refreshes.
  void serve(const std::vector<std::string>& documents) {
    std::string list = "[";
    for (const std::string& document : documents) list += (list.size() > 1 ? "," : "") + document;
    testing::answerData(*transport, R"({"items":{"featureFlags":)" + list + "]}}");
    store.remove("tarnwell.runtimeBundle.t1.stage");
    run(flags->refresh());
  }
  FeatureFlagResolution resolve(const std::string& key) { return run(flags->resolveValue(key)); }
  // The payloads queued as telemetry under `action`, oldest first.
  std::vector<JSONValue> reports(std::string_view action) {
    std::vector<JSONValue> found;
    const std::optional<Bytes> stored = store.getBytes("com.tarnwell.runtimeTelemetryQueue.t1_stage.v1");
    if (!stored) return found;
    const JSONValue items =
        JSONValue::decode(std::string_view(reinterpret_cast<const char*>(stored->data()), stored->size()));
    for (const JSONValue& item : *items.asArray()) {
      if (item["action"] == JSONValue(action)) found.push_back(item["payload"]);
    }
    return found;
  }
  std::int64_t bucketFor(const std::string& key) {
    return std::llabs(static_cast<std::int64_t>(hasher(properties.getUserId() + "::" + key)) % 10000);
  }
};

TEST_F(FeatureFlagManagerTest, UnknownKeyIsAnErrorAndReportsNothing) {
  serve({flagDocument("f1", "known", R"("defaultValue":"1")")});
  EXPECT_EQ(resolve("missing"), (FeatureFlagResolution{std::nullopt, EvaluationSource::error}));
  EXPECT_TRUE(reports("track_feature_flag_evaluation").empty());
}

TEST_F(FeatureFlagManagerTest, StatusAndScheduleTurnAFlagOffAndThatIsReported) {
  serve({R"({"$id":"f1","key":"capital","status":"Active","defaultValue":"1"})",
         flagDocument("f2", "later",
                      R"("defaultValue":"1","scheduleConfig":)" +
                          asText(R"({"enabled":false,"startDate":"2099-01-01T00:00:00Z"})")),
         flagDocument("f3", "open",
                      R"("defaultValue":"1","scheduleConfig":)" +
                          asText(R"({"startDate":"garbage","endDate":"2099-01-01T00:00:00Z"})"))});
  EXPECT_EQ(resolve("capital").source, EvaluationSource::inactive);
  EXPECT_EQ(resolve("later").source, EvaluationSource::inactive);
  EXPECT_EQ(resolve("open"), (FeatureFlagResolution{JSONValue(1), EvaluationSource::cache}));
  const std::vector<JSONValue> sent = reports("track_feature_flag_evaluation");
  ASSERT_EQ(sent.size(), 3u);
  EXPECT_EQ(sent[0]["reason"], JSONValue("Flag inactive"));
  EXPECT_EQ(sent[0]["value"], JSONValue("null"));
  EXPECT_EQ(sent[2]["reason"], JSONValue("Flag evaluated"));
  EXPECT_EQ(sent[2]["value"], JSONValue("1.0"));
}

TEST_F(FeatureFlagManagerTest, DefaultValueTextParsesInItsOrder) {
  const auto parsed = [](std::optional<std::string> text, std::optional<std::string> type = std::nullopt) {
    FeatureFlag flag;
    flag.defaultValue = std::move(text);
    flag.type = std::move(type);
    return FeatureFlagManager::parseDefaultValue(flag);
  };
  EXPECT_EQ(parsed(std::nullopt), std::nullopt);
  EXPECT_EQ(parsed("true"), JSONValue(true));
  EXPECT_EQ(parsed("42", "string"), JSONValue(42));
  EXPECT_EQ(parsed("1e3", "number"), JSONValue(1000));
  EXPECT_EQ(parsed(R"("quoted")"), JSONValue("quoted"));
  EXPECT_EQ(parsed("null"), JSONValue());
  EXPECT_EQ(parsed(R"({"a":[1]})"), JSONValue(JSONObject{{"a", JSONArray{1}}}));
  EXPECT_EQ(parsed("+5"), JSONValue(5));  // not JSON, but a floating-point number
  EXPECT_EQ(parsed("abc"), JSONValue("abc"));
  EXPECT_EQ(parsed("True"), JSONValue("True"));
}

TEST_F(FeatureFlagManagerTest, AFailingRuleGivesTheDefaultWithoutAssigningAVariation) {
  serve({flagDocument("f1", "exp",
                      R"("type":"experiment","defaultValue":"off","targetingRules":)" +
                          asText(R"([{"field":"plan","value":"pro"}])") + R"(,"variations":)" +
                          asText(R"([{"id":"a","value":"A"},{"id":"b","value":"B"}])"))});
  EXPECT_EQ(resolve("exp").value, JSONValue("off"));
  EXPECT_TRUE(reports("track_feature_flag_exposure").empty());

  properties.setUserProperty("plan", JSONValue("pro"));
  const FeatureFlagResolution assigned = resolve("exp");
  ASSERT_TRUE(assigned.value);
  const std::string expected = bucketFor("exp") % 2 == 0 ? "A" : "B";  // no weights: bucket modulo count
  EXPECT_EQ(assigned.value, JSONValue(expected));
  ASSERT_EQ(reports("track_feature_flag_exposure").size(), 1u);
  EXPECT_EQ(reports("track_feature_flag_exposure")[0]["context"]["plan"], JSONValue("pro"));
  EXPECT_EQ(reports("track_feature_flag_evaluation").back()["variationId"], JSONValue(expected == "A" ? "a" : "b"));
}

TEST_F(FeatureFlagManagerTest, AudienceGroupsDecideInPriorityOrderAndMayServeNoValue) {
  const std::string metadata = asText(R"({"deliveryMode":"audience_variants","audienceVariants":[
      {"id":"empty","priority":9},
      {"id":"pro","priority":1,"value":"express","rules":[{"field":"plan","operator":"equals","value":"pro"}]}]})");
  serve({flagDocument("f1", "checkout", R"("defaultValue":"classic","metadata":)" + metadata)});
  // Nobody is "pro", so the rule-less group of priority 9 matches and serves no value at all.
  EXPECT_EQ(resolve("checkout"), (FeatureFlagResolution{std::nullopt, EvaluationSource::cache}));
  properties.setUserProperty("PLAN", JSONValue("pro"));
  EXPECT_EQ(resolve("checkout").value, JSONValue("express"));
}

TEST_F(FeatureFlagManagerTest, WeightedAssignmentWalksTheRunningSumAndIsKeptForTheProcess) {
  const std::string variations = asText(R"([{"id":"zero","weight":0},{"id":"small","weight":10},
                                            {"id":"big","weight":90}])");
  serve({flagDocument("f1", "multi", R"("type":"multi_variant","variations":)" + variations)});
  const double target = static_cast<double>(bucketFor("multi")) / 10000.0 * 100;
  const std::string expected = target <= 0 ? "zero" : target <= 10 ? "small" : "big";
  const std::optional<Variation> first = run(flags->getExperimentVariation("multi"));
  ASSERT_TRUE(first);
  EXPECT_EQ(first->id, expected);

  properties.setUserId("someone-else");  // the assignment outlives an identity change
  EXPECT_EQ(run(flags->getExperimentVariation("multi")), first);
  resolve("multi");
  EXPECT_TRUE(reports("track_feature_flag_exposure").empty());  // multi_variant: no exposure
}

TEST_F(FeatureFlagManagerTest, EvaluationReportsCoolDownUnlessTheAnswerChanges) {
  serve({flagDocument(
      "f1", "plan_flag",
      R"("defaultValue":"classic","metadata":)" + asText(R"({"deliveryMode":"audience_variants","audienceVariants":[
                              {"priority":1,"value":"express","rules":[{"field":"plan","value":"pro"}]}]})"))});
  resolve("plan_flag");
  clock.advance(899s);
  resolve("plan_flag");
  EXPECT_EQ(reports("track_feature_flag_evaluation").size(), 1u);

  properties.setUserProperty("plan", JSONValue("pro"));
  resolve("plan_flag");  // a changed value reports at once
  ASSERT_EQ(reports("track_feature_flag_evaluation").size(), 2u);
  EXPECT_EQ(reports("track_feature_flag_evaluation")[1]["value"], JSONValue("express"));

  clock.advance(900s);  // counted from the last report
  resolve("plan_flag");
  EXPECT_EQ(reports("track_feature_flag_evaluation").size(), 3u);
}

TEST_F(FeatureFlagManagerTest, ExposureAndConversionBecomeBusinessEvents) {
  serve({flagDocument("f1", "plain", R"("variations":)" + asText(R"([{"id":"v1","name":"One"}])")),
         flagDocument("f2", "novariations")});
  run(flags->trackExperimentExposure("unknown", {}));
  run(flags->trackExperimentExposure("novariations", {}));
  EXPECT_TRUE(events.empty());

  run(flags->trackExperimentExposure("plain", JSONObject{{"flag_key", "mine"}, {"screen", "cart"}}));
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].name, "experiment_exposure");
  EXPECT_EQ(events[0].type, "business");
  EXPECT_EQ(
      JSONValue(events[0].properties).encode(),
      R"({"flag_key":"plain","screen":"cart","variation_id":"v1","variation_name":"One","event_type":"experiment_exposure"})");
  EXPECT_EQ(reports("track_feature_flag_exposure").size(), 1u);

  run(flags->trackExperimentConversion("plain", std::nullopt, std::nullopt, {}));
  run(flags->trackExperimentConversion("plain", "purchase", JSONValue(9.5), {}));
  ASSERT_EQ(events.size(), 3u);
  EXPECT_FALSE(events[1].properties.contains("goal_id"));
  EXPECT_FALSE(events[1].properties.contains("value"));
  EXPECT_EQ(*events[2].properties.find("goal_id"), JSONValue("purchase"));
  EXPECT_EQ(*events[2].properties.find("value"), JSONValue(9.5));
  EXPECT_EQ(reports("track_feature_flag_exposure").size(), 1u);  // conversions make no telemetry
}

TEST_F(FeatureFlagManagerTest, DuplicateKeysKeepTheFirstAndAFailedFetchEmptiesTheFlags) {
  serve({flagDocument("first", "dup", R"("defaultValue":"1")"), flagDocument("second", "dup", R"("defaultValue":"2")"),
         R"({"$id":"nokey"})"});
  EXPECT_TRUE(log.contains("[Tarnwell][ERROR] Duplicate values for key: 'dup'"));
  EXPECT_EQ(run(flags->getFlag("dup"))->id, "first");

  store.remove("tarnwell.runtimeBundle.t1.stage");
  testing::answerStatus(*transport, 503);
  testing::answerStatus(*transport, 503);
  run(flags->refresh());
  EXPECT_FALSE(run(flags->getFlag("dup")));
  EXPECT_TRUE(log.containsSubstring("[Tarnwell][ERROR] Failed to fetch feature flags :: "));
}

TEST_F(FeatureFlagManagerTest, HostileFlagListsAreSurvived) {
  // Ten thousand flags, and metadata nested far deeper than any decoder goes: the deep text only
  // costs its own view, so the flag falls back to its default.
  std::vector<std::string> documents;
  for (int i = 0; i < 10'000; ++i) documents.push_back(flagDocument("f" + std::to_string(i), "k" + std::to_string(i)));
  const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
  documents.push_back(flagDocument("deep", "deep", R"("defaultValue":"safe","metadata":)" + asText(deep)));
  serve(documents);
  EXPECT_EQ(resolve("k9999").source, EvaluationSource::cache);
  EXPECT_EQ(resolve("deep").value, JSONValue("safe"));
}

}  // namespace
}  // namespace tarnwell::detail
