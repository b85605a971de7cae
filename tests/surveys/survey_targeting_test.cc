#include "tarnwell/surveys/survey_targeting.h"

#include <gtest/gtest.h>

#include <string>

#include "tarnwell/surveys/survey.h"

namespace tarnwell {
namespace {

std::optional<SurveyTargeting> targetingOf(std::string text) {
  Survey survey;
  survey.targetingJSON = std::move(text);
  return survey.targeting();
}

TEST(SurveyTargetingTest, RoundTripsRulesTriggersAndLimits) {
  const auto targeting = targetingOf(R"({
      "rules":[{"id":"r1","name":"Pro users","enabled":true,"requireAllConditions":false,
                "conditions":[{"field":"plan","operator":"equals","value":"pro","enabled":true},
                              {"field":"age","operator":"gt","value":30,"enabled":false}]}],
      "matchType":"ANY","schedule":{"enabled":true,"timezone":"UTC"},"segmentId":"seg1",
      "behavioralTrigger":{"enabled":true,"eventName":"open","operator":"gte","count":2},
      "audience":"everyone","percentage":40,"samplingPercentage":25,"priority":3,
      "frequency":{"showOncePerUser":true,"maxImpressions":2,"cooldownMinutes":60},
      "triggerCountRule":{"enabled":true,"eventName":"checkout","count":3,"operator":"gte"}})");
  ASSERT_TRUE(targeting.has_value());
  ASSERT_EQ(targeting->rules.size(), 1u);
  EXPECT_EQ(targeting->rules[0].conditions[1].value, JSONValue(30));
  EXPECT_FALSE(targeting->rules[0].requireAllConditions);
  EXPECT_EQ(targeting->behavioralTrigger->op, "gte");
  EXPECT_EQ(targeting->frequency->cooldownMinutes, 60);
  EXPECT_EQ(targeting->triggerCountRule, (SurveyTriggerCountRule{true, "checkout", 3, "gte"}));

  const JSONValue encoded = targeting->encode();
  EXPECT_EQ(encoded["triggerCountRule"].encode(),
            R"({"enabled":true,"eventName":"checkout","count":3,"operator":"gte"})");
  EXPECT_EQ(SurveyTargeting::decode(encoded), *targeting);
}

TEST(SurveyTargetingTest, RulesAudienceAndPercentageAreRequiredButZeroIsAPercentage) {
  EXPECT_EQ(targetingOf(R"({"rules":[],"audience":"all"})"), std::nullopt);
  EXPECT_EQ(targetingOf(R"({"rules":[],"percentage":10})"), std::nullopt);
  EXPECT_EQ(targetingOf(R"({"audience":"all","percentage":10})"), std::nullopt);
  EXPECT_EQ(targetingOf(R"({"rules":[],"audience":"all","percentage":null})"), std::nullopt);
  // A rule missing one of its own required keys takes the whole document with it.
  EXPECT_EQ(targetingOf(R"({"rules":[{"conditions":[],"enabled":true}],"audience":"all","percentage":10})"),
            std::nullopt);

  const auto zero = targetingOf(R"({"rules":[],"audience":"all","percentage":0})");
  ASSERT_TRUE(zero.has_value());
  EXPECT_EQ(zero->percentage, 0);
  EXPECT_EQ(zero->samplingPercentage, std::nullopt);
  EXPECT_EQ(zero->priority, std::nullopt);
}

TEST(SurveyTargetingTest, TriggerCountRuleReadsOperatorAndIgnoresAKeyNamedOp) {
  const auto targeting =
      targetingOf(R"({"rules":[],"audience":"all","percentage":1,"triggerCountRule":{"enabled":false,"op":"lt"}})");
  ASSERT_TRUE(targeting.has_value());
  EXPECT_EQ(targeting->triggerCountRule->op, std::nullopt);
  EXPECT_EQ(targetingOf(R"({"rules":[],"audience":"all","percentage":1,"triggerCountRule":{"operator":"lt"}})"),
            std::nullopt);  // "enabled" is required
}

}  // namespace
}  // namespace tarnwell
