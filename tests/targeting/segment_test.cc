#include <gtest/gtest.h>

#include "tarnwell/core/coding_error.h"
#include "tarnwell/targeting/detail/rule_evaluation.h"
#include "tarnwell/targeting/segment.h"
#include "tests/targeting/identity_fixture.h"

namespace tarnwell {
namespace {

Segment withConditions(std::optional<std::string> conditionsJSON) {
  return Segment{"seg_1", "Pros", std::nullopt, std::move(conditionsJSON), std::nullopt};
}

TEST(SegmentTest, DecodesTheBackendRecordAndKeepsItsConditionsAsText) {
  const std::string conditions = R"([{"id":"c1","field":"plan","operator":"equals","value":"pro","type":"user"},)"
                                 R"({"field":"age","operator":"greater_than","value":null}])";
  const Segment segment = Segment::decode(JSONValue(JSONObject{{"id", "seg_1"},
                                                               {"name", "Pros"},
                                                               {"description", "Paying users"},
                                                               {"conditions", conditions},
                                                               {"isActive", false},
                                                               {"$createdAt", "2026-01-01T00:00:00.000Z"}}));
  EXPECT_EQ(segment, (Segment{"seg_1", "Pros", "Paying users", conditions, false}));
  EXPECT_EQ(segment.conditions(),
            (std::vector<SegmentCondition>{{"c1", "plan", "equals", JSONValue("pro"), "user"},
                                           {std::nullopt, "age", "greater_than", std::nullopt, std::nullopt}}));
  EXPECT_EQ(segment.encode().encode(), R"({"id":"seg_1","name":"Pros","description":"Paying users","conditions":)" +
                                           JSONValue(conditions).encode() + R"(,"isActive":false})");
  EXPECT_EQ(Segment::decode(JSONValue::decode(R"({"id":"s","name":"n","description":null})")),
            (Segment{"s", "n", std::nullopt, std::nullopt, std::nullopt}));
}

TEST(SegmentTest, RejectsRecordsMissingRequiredKeysOrWithMistypedOnes) {
  EXPECT_THROW(Segment::decode(JSONValue::decode(R"({"name":"n"})")), DecodingError);
  EXPECT_THROW(Segment::decode(JSONValue::decode(R"({"id":"s"})")), DecodingError);
  // The conditions come as text; a list in their place is a record the SDK can't read.
  EXPECT_THROW(Segment::decode(JSONValue::decode(R"({"id":"s","name":"n","conditions":[]})")), DecodingError);
  EXPECT_THROW(SegmentCondition::decode(JSONValue::decode(R"({"field":"plan","value":1})")), DecodingError);
  EXPECT_THROW(SegmentCondition::decode(JSONValue::decode(R"({"operator":"equals"})")), DecodingError);
}

TEST(SegmentTest, ConditionsThatCannotBeReadAreNoConditions) {
  for (const char* text : {"", "not json", "{}", R"({"field":"plan","operator":"equals"})", "[1]",
                           R"([{"field":"plan","operator":"equals"},{"field":"age"}])", "null"}) {
    EXPECT_TRUE(withConditions(text).conditions().empty()) << text;
  }
  EXPECT_TRUE(withConditions(std::nullopt).conditions().empty());
  EXPECT_TRUE(withConditions("[]").conditions().empty());
}

// ---- Membership ----------------------------------------------------------------------------

struct SegmentMembershipTest : testing::IdentityFixture {
  bool contains(const std::string& conditionsJSON) {
    return detail::isInSegment(withConditions(conditionsJSON), properties, sessions);
  }
};

TEST_F(SegmentMembershipTest, HoldsTheUsersWhoMeetEveryCondition) {
  properties.setUserProperty("plan", "pro");
  properties.setCustomProperty("seats", 12);
  EXPECT_TRUE(contains(R"([{"field":"plan","operator":"equals","value":"pro"},)"
                       R"({"field":"SEATS","operator":"greater_than_equals","value":"10"}])"));
  EXPECT_FALSE(contains(R"([{"field":"plan","operator":"equals","value":"pro"},)"
                        R"({"field":"seats","operator":"less_than","value":10}])"));
  EXPECT_FALSE(contains(R"([{"field":"plan","operator":"in","value":["free","trial"]},)"
                        R"({"field":"seats","operator":"greater_than","value":1}])"));
}

TEST_F(SegmentMembershipTest, TheOperatorIsTakenAsWrittenWithNoDefault) {
  properties.setUserProperty("plan", "pro");
  EXPECT_TRUE(contains(R"([{"field":"plan","operator":"EQUALS","value":"pro"}])"));
  EXPECT_FALSE(contains(R"([{"field":"plan","operator":"","value":"pro"}])"));
  EXPECT_TRUE(contains(R"([{"field":"nickname","operator":"equals"}])"));  // missing equals missing
}

TEST_F(SegmentMembershipTest, ASegmentWithoutReadableConditionsHoldsEverybody) {
  EXPECT_TRUE(contains("[]"));
  EXPECT_TRUE(contains(R"([{"field":"plan","operator":"equals","value":"pro"},{"operator":"equals"}])"));
}

}  // namespace
}  // namespace tarnwell
