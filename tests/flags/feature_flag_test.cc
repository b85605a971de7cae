#include <gtest/gtest.h>

#include "tarnwell/core/coding_error.h"
#include "tarnwell/flags/feature_flag.h"
#include "tarnwell/flags/feature_flag_report.h"
#include "tarnwell/flags/flag_value.h"

namespace tarnwell {
namespace {

FeatureFlag flagWithMetadata(std::string metadata) {
  FeatureFlag flag;
  flag.metadata = std::move(metadata);
  return flag;
}

TEST(FeatureFlagTest, DecodesBackendKeysAndRoundTrips) {
  const FeatureFlag flag = FeatureFlag::decode(JSONValue::decode(
      R"({"$id":"ff1","key":"checkout","variations":"[{\"id\":\"a\",\"weight\":30,\"value\":{\"x\":1}}]",
          "tags":["beta"],"archived":false,"$createdAt":"2026-01-01T00:00:00.000Z","unknown":1})"));
  EXPECT_EQ(flag.id, "ff1");
  EXPECT_EQ(flag.createdAt, "2026-01-01T00:00:00.000Z");
  ASSERT_EQ(flag.variations().size(), 1u);
  EXPECT_EQ(flag.variations().at(0).weight, 30.0);
  EXPECT_EQ(flag.variations().at(0).value, JSONValue(JSONObject{{"x", 1}}));
  EXPECT_EQ(FeatureFlag::decode(flag.encode()), flag);
  // Without "$id" a flag still decodes (evaluation then reports nothing for it).
  EXPECT_FALSE(FeatureFlag::decode(JSONValue::decode(R"({"key":"k"})")).id);
}

TEST(FeatureFlagTest, StructuredFieldsMustBeTextsAndBadTextsOnlyDegradeTheirView) {
  EXPECT_THROW(FeatureFlag::decode(JSONValue::decode(R"({"key":"k","variations":[{"id":"a"}]})")), DecodingError);
  FeatureFlag flag;
  flag.targetingRulesJSON = "[{\"field\":";
  flag.scheduleConfigJSON = "";
  flag.experimentConfigJSON = R"({"goals":"not a list"})";
  flag.rolloutConfigJSON = R"({"percentage":25,"seed":"s"})";
  EXPECT_TRUE(flag.targetingRules().empty());
  EXPECT_FALSE(flag.scheduleConfig());
  EXPECT_FALSE(flag.experimentConfig());
  EXPECT_EQ(flag.rolloutConfig()->percentage, 25);
}

TEST(FeatureFlagTest, DeliveryModeReadsScalarsAsText) {
  EXPECT_EQ(flagWithMetadata(R"({"deliveryMode":true})").deliveryMode(), "true");
  EXPECT_EQ(flagWithMetadata(R"({"deliveryMode":"audience_variants"})").deliveryMode(), "audience_variants");
  EXPECT_EQ(flagWithMetadata(R"({"deliveryMode":["x"]})").deliveryMode(), "standard");
  EXPECT_EQ(flagWithMetadata("[1]").deliveryMode(), "standard");
  EXPECT_EQ(FeatureFlag{}.deliveryMode(), "standard");
}

TEST(FeatureFlagTest, AudienceGroupsSkipBadOnesAndSortByPriorityKeepingTies) {
  const FeatureFlag flag = flagWithMetadata(R"({"audienceVariants":[
      {"id":"five","priority":5},{"id":"nopriority"},{"id":"one","priority":1,"rules":[{"field":"plan"}]},
      {"id":"three","priority":3},{"id":"oneToo","priority":1}]})");
  std::vector<std::string> order;
  for (const AudienceVariantGroup& group : flag.audienceVariants()) order.push_back(*group.id);
  EXPECT_EQ(order, (std::vector<std::string>{"one", "oneToo", "three", "five"}));
  EXPECT_TRUE(flagWithMetadata(R"({"audienceVariants":{"id":"x"}})").audienceVariants().empty());
}

TEST(FeatureFlagReportTest, PayloadsKeepEveryKeyInOrderWithNulls) {
  const FeatureFlagEvaluation evaluation{.flagId = "f",
                                         .flagKey = "k",
                                         .userId = "u",
                                         .deviceId = "d",
                                         .value = "true",
                                         .latency = 3,
                                         .evaluatedAt = Timestamp{}};
  const JSONObject payload = evaluation.payload();
  std::vector<std::string> keys;
  for (const auto& [key, value] : payload) keys.push_back(key);
  EXPECT_EQ(keys,
            (std::vector<std::string>{"flagId", "flagKey", "userId", "deviceId", "sessionId", "value", "variationId",
                                      "variationName", "reason", "context", "latency", "evaluatedAt", "organizationId",
                                      "projectId", "teamId", "appId", "environment"}));
  EXPECT_TRUE(payload.find("sessionId")->isNull());
  EXPECT_EQ(*payload.find("evaluatedAt"), JSONValue("1970-01-01T00:00:00.000Z"));
  EXPECT_EQ(FeatureFlagExposure{.flagId = "f"}.payload().size(), 12u);
}

TEST(FlagValueTest, ReadsTheValueAsTheDefaultsType) {
  EXPECT_TRUE(flagValueAs(JSONValue("true"), false));
  EXPECT_FALSE(flagValueAs(JSONValue("yes"), false));
  EXPECT_EQ(flagValueAs(JSONValue(3.9), std::int64_t{0}), 3);
  EXPECT_EQ(flagValueAs(JSONValue("12"), 0), 12);
  EXPECT_EQ(flagValueAs(JSONValue(1e12), std::int32_t{7}), 7);  // does not fit
  EXPECT_EQ(flagValueAs(JSONValue("2.5"), 0.0), 2.5);
  EXPECT_EQ(flagValueAs(JSONValue(true), 1.0), 1.0);
  EXPECT_EQ(flagValueAs(JSONValue(42), std::string("d")), "42.0");
  EXPECT_EQ(flagValueAs(JSONValue(JSONArray{}), std::string("d")), "d");
  EXPECT_EQ(flagValueAs(JSONValue(JSONObject{{"a", 1}}), JSONValue()), JSONValue(JSONObject{{"a", 1}}));
  using Plain = std::map<std::string, std::any>;
  EXPECT_EQ(flagValueAs(JSONValue(JSONObject{{"a", "b"}}), Plain{}).size(), 1u);
  EXPECT_TRUE(flagValueAs(JSONValue("text"), Plain{}).empty());
}

}  // namespace
}  // namespace tarnwell
