#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tarnwell/targeting/detail/rule_evaluation.h"
#include "tests/targeting/identity_fixture.h"

namespace tarnwell::detail {
namespace {

using Value = std::optional<JSONValue>;
const Value absent = std::nullopt;

JSONValue list(JSONArray elements) { return JSONValue(std::move(elements)); }

// ---- Field resolution ----------------------------------------------------------------------

struct ResolveFieldTest : testing::IdentityFixture {
  Value resolve(const std::optional<std::string>& field) { return resolveField(field, properties, sessions); }
};

TEST_F(ResolveFieldTest, ReservedNamesInAnyCaseNameTheIdentityNotAProperty) {
  properties.setAppProperty("User_Id", "from-app");
  properties.setAppProperty("device_id", "from-app");
  properties.setCustomProperty("session_id", "from-custom");

  EXPECT_EQ(resolve("USER_ID"), JSONValue(properties.getAnonymousId()));
  properties.setUserId("user-42");
  EXPECT_EQ(resolve("user_id"), JSONValue("user-42"));
  EXPECT_EQ(resolve("Device_Id"), JSONValue(properties.getDeviceId()));

  EXPECT_EQ(resolve("session_id"), JSONValue(nullptr));  // null, not absent
  sessions.startSession("user-42");
  EXPECT_EQ(resolve("SESSION_ID"), JSONValue(*sessions.getCurrentSessionId()));
}

TEST_F(ResolveFieldTest, ApplicationThenDeviceThenUserThenCustomIgnoringCase) {
  properties.setUserProperty("Plan", "user");
  properties.setAppProperty("plan", "app");
  properties.setUserProperty("PLATFORM", "user");
  properties.setCustomProperty("tier", "custom");
  properties.setUserProperty("Tier", "user");
  properties.setCustomProperty("cart_value", 42.5);

  EXPECT_EQ(resolve("PLAN"), JSONValue("app"));
  EXPECT_EQ(resolve("platform"), JSONValue("ios"));  // a user property never shadows a device fact
  EXPECT_EQ(resolve("tier"), JSONValue("user"));
  EXPECT_EQ(resolve("Cart_Value"), JSONValue(42.5));
  EXPECT_EQ(resolve("bundle_id"), JSONValue("com.example.notes"));
}

TEST_F(ResolveFieldTest, AbsentForNoNameAnEmptyNameAnUntrimmedNameOrAnUnknownOne) {
  properties.setUserProperty("plan", "pro");
  EXPECT_EQ(resolve(std::nullopt), absent);
  EXPECT_EQ(resolve(""), absent);
  EXPECT_EQ(resolve(" plan"), absent);
  EXPECT_EQ(resolve(" user_id"), absent);
  EXPECT_EQ(resolve("plans"), absent);
}

TEST_F(ResolveFieldTest, ReadsTheDeviceFactsAsTheyAreNow) {
  EXPECT_EQ(resolve("locale"), JSONValue("en_US"));
  deviceLocale = "de_DE";
  EXPECT_EQ(resolve("locale"), JSONValue("de_DE"));
}

// ---- Operators -----------------------------------------------------------------------------

TEST(EvaluateOperatorTest, EqualityIsStrictAcrossTypesAndNotEqualsIsItsNegation) {
  struct Case {
    Value actual;
    Value expected;
    bool equal;
  };
  const Case cases[] = {
      {JSONValue(1), JSONValue("1"), false},
      {JSONValue(true), JSONValue("true"), false},
      {JSONValue(0), JSONValue(false), false},
      {JSONValue("Pro"), JSONValue("pro"), false},
      {JSONValue("pro "), JSONValue("pro"), false},
      {JSONValue("pro"), JSONValue("pro"), true},
      {JSONValue(3), JSONValue(3.0), true},
      {JSONValue(JSONObject{{"a", 1}, {"b", "x"}}), JSONValue(JSONObject{{"b", "x"}, {"a", 1}}), true},
      {JSONValue(JSONObject{{"a", 1}}), JSONValue(JSONObject{{"a", "1"}}), false},
      {list({1, "a"}), list({1, "a"}), true},
      {list({1, "a"}), list({"a", 1}), false},
      {list({1}), list({1, 1}), false},
      {JSONValue(nullptr), JSONValue(nullptr), true},
      {JSONValue(nullptr), absent, false},
      {absent, JSONValue(nullptr), false},
      {absent, JSONValue(""), false},
      {absent, absent, true},
  };
  for (const Case& c : cases) {
    const std::string shown =
        (c.actual ? c.actual->encode() : "absent") + " vs " + (c.expected ? c.expected->encode() : "absent");
    EXPECT_EQ(evaluateOperator(c.actual, "equals", c.expected), c.equal) << shown;
    EXPECT_EQ(evaluateOperator(c.actual, "not_equals", c.expected), !c.equal) << shown;
  }
  EXPECT_FALSE(evaluateOperator(JSONValue(std::nan("")), "equals", JSONValue(std::nan(""))));
}

TEST(EvaluateOperatorTest, OperatorNamesIgnoreCaseButNotBlanksAndUnknownOnesAreFalse) {
  EXPECT_TRUE(evaluateOperator(JSONValue(5), "Greater_Than", JSONValue(4)));
  EXPECT_FALSE(evaluateOperator(JSONValue("a"), " equals", JSONValue("a")));
  EXPECT_FALSE(evaluateOperator(JSONValue("a"), "", JSONValue("a")));
  // An unknown operator is false even where negation would say true.
  EXPECT_FALSE(evaluateOperator(JSONValue("a"), "not_in", list({"b"})));
}

TEST(EvaluateOperatorTest, ContainsReadsScalarsAsTextIgnoringCase) {
  EXPECT_TRUE(evaluateOperator(JSONValue("Hello World"), "contains", JSONValue("WORLD")));
  EXPECT_TRUE(evaluateOperator(JSONValue(42), "contains", JSONValue("2")));
  EXPECT_TRUE(evaluateOperator(JSONValue("v2.5-beta"), "contains", JSONValue(2.5)));
  EXPECT_FALSE(evaluateOperator(JSONValue("42"), "contains", JSONValue(42)));  // 42 reads "42.0"
  EXPECT_TRUE(evaluateOperator(JSONValue(true), "contains", JSONValue("RU")));
  EXPECT_TRUE(evaluateOperator(JSONValue("is true"), "contains", JSONValue(true)));
}

TEST(EvaluateOperatorTest, InLooksForAStrictlyEqualElementAndAbsentAsNull) {
  EXPECT_TRUE(evaluateOperator(JSONValue("pro"), "in", list({"free", "pro"})));
  EXPECT_TRUE(evaluateOperator(JSONValue(2), "in", list({1, 2.0})));
  EXPECT_TRUE(evaluateOperator(absent, "in", list({"x", nullptr})));
  EXPECT_FALSE(evaluateOperator(absent, "in", list({"x"})));
  EXPECT_FALSE(evaluateOperator(JSONValue(1), "in", list({"1", true})));
  EXPECT_FALSE(evaluateOperator(JSONValue(nullptr), "in", list({})));
  EXPECT_FALSE(evaluateOperator(JSONValue("pro"), "in", JSONValue("pro")));  // not a list
}

TEST(EvaluateOperatorTest, NumericOperatorsCompareNumbersAndWholeNumericTexts) {
  EXPECT_TRUE(evaluateOperator(JSONValue("10"), "greater_than", JSONValue(9)));
  EXPECT_TRUE(evaluateOperator(JSONValue(9), "less_than", JSONValue("1e1")));
  EXPECT_TRUE(evaluateOperator(JSONValue("-2.5"), "less_than_equals", JSONValue("-2.5")));
  EXPECT_TRUE(evaluateOperator(JSONValue(3), "greater_than_equals", JSONValue("+3.0")));
  EXPECT_FALSE(evaluateOperator(JSONValue(3), "greater_than", JSONValue(3)));
  EXPECT_FALSE(evaluateOperator(JSONValue(3), "less_than", JSONValue(3)));
  EXPECT_TRUE(evaluateOperator(JSONValue("0x10"), "greater_than", JSONValue(15)));  // strtod reads hexadecimal
  EXPECT_TRUE(evaluateOperator(JSONValue(".5"), "less_than", JSONValue("1.")));
  // Past the double range the text still reads, as the infinity strtod makes of it.
  EXPECT_TRUE(evaluateOperator(JSONValue("1e400"), "greater_than", JSONValue(1e308)));
  EXPECT_TRUE(evaluateOperator(JSONValue("-1e400"), "less_than", JSONValue(-1e308)));
  EXPECT_TRUE(evaluateOperator(JSONValue("1e-400"), "less_than_equals", JSONValue(0)));
  EXPECT_TRUE(evaluateOperator(JSONValue("Infinity"), "greater_than", JSONValue(1e308)));
}

TEST(EvaluateOperatorTest, NumericOperatorsAreFalseForAnythingThatIsNotANumber) {
  const char* ops[] = {"greater_than", "greater_than_equals", "less_than", "less_than_equals"};
  const Value unreadable[] = {JSONValue(" 10"),
                              JSONValue("10 "),
                              JSONValue("10abc"),
                              JSONValue(""),
                              JSONValue("1,5"),
                              JSONValue("1e"),
                              JSONValue("0x"),
                              JSONValue(true),
                              JSONValue(nullptr),
                              list({10}),
                              JSONValue(JSONObject{{"n", 10}}),
                              JSONValue(std::string("10\0", 3)),
                              absent};
  for (const char* op : ops) {
    for (const Value& value : unreadable) {
      const std::string shown = std::string(op) + " with " + (value ? value->encode() : "absent");
      EXPECT_FALSE(evaluateOperator(value, op, JSONValue(-1e300))) << shown << " as actual";
      EXPECT_FALSE(evaluateOperator(JSONValue(1e300), op, value)) << shown << " as expected";
    }
    EXPECT_FALSE(evaluateOperator(JSONValue("nan"), op, JSONValue(0))) << op;
    EXPECT_FALSE(evaluateOperator(JSONValue(0), op, JSONValue(std::nan("")))) << op;
  }
}

// ---- Conditions ----------------------------------------------------------------------------

struct EvaluateConditionTest : testing::IdentityFixture {
  bool holds(std::optional<std::string> field, std::optional<std::string> op, Value value) {
    return evaluateCondition(field, op, value, properties, sessions);
  }
};

TEST_F(EvaluateConditionTest, AnAbsentOperatorMeansEquals) {
  properties.setUserProperty("plan", "pro");
  EXPECT_TRUE(holds("plan", std::nullopt, JSONValue("pro")));
  EXPECT_FALSE(holds("plan", std::nullopt, JSONValue("free")));
  EXPECT_TRUE(holds("Plan", "CONTAINS", JSONValue("R")));
}

TEST_F(EvaluateConditionTest, AMissingFieldEqualsOnlyAMissingValue) {
  EXPECT_TRUE(holds("no_such_field", "equals", absent));
  EXPECT_FALSE(holds("no_such_field", "not_equals", absent));
  EXPECT_FALSE(holds("no_such_field", "equals", JSONValue(nullptr)));
  EXPECT_TRUE(holds("no_such_field", "in", list({nullptr})));
}

TEST_F(EvaluateConditionTest, NoSessionEqualsNullButNotAMissingValue) {
  EXPECT_TRUE(holds("session_id", "equals", JSONValue(nullptr)));
  EXPECT_FALSE(holds("session_id", "equals", absent));
  sessions.startSession("u");
  EXPECT_FALSE(holds("session_id", "equals", JSONValue(nullptr)));
  EXPECT_TRUE(holds("session_id", "contains", JSONValue("SESSION_")));
}

// ---- Behavioral triggers -------------------------------------------------------------------

struct BehavioralTriggerTest : testing::IdentityFixture {
  BehavioralEventTracker tracker{store, properties};

  static BehavioralTrigger trigger(std::optional<std::string> name, std::optional<std::string> op,
                                   std::optional<std::int64_t> count, bool enabled = true) {
    return BehavioralTrigger{enabled, std::move(name), std::move(op), count};
  }
  void record(std::string_view name, int times) {
    for (int i = 0; i < times; ++i) tracker.recordEvent(name, clock.now());
  }
  std::optional<BehavioralTriggerMatch> evaluate(const BehavioralTrigger& t, std::optional<std::string> current,
                                                 bool includePending = false) {
    return evaluateBehavioralTrigger(t, current, tracker, includePending);
  }
};

TEST_F(BehavioralTriggerTest, EveryNthInCapitalsFiresAtEachMultiple) {
  const BehavioralTrigger everyThird = trigger("checkout", "EVERY_NTH", 3);
  std::vector<std::int64_t> fired;
  for (int occurrence = 0; occurrence <= 10; ++occurrence) {
    if (auto match = evaluate(everyThird, "checkout")) {
      EXPECT_EQ(match->op, "every_nth");
      fired.push_back(match->count);
    }
    record("checkout", 1);
  }
  EXPECT_EQ(fired, (std::vector<std::int64_t>{3, 6, 9}));
}

TEST_F(BehavioralTriggerTest, ThresholdOperatorsAndUnknownOnesActingAsEquals) {
  record("checkout", 2);
  EXPECT_TRUE(evaluate(trigger("checkout", "greater_than_equals", 2), "checkout"));
  EXPECT_FALSE(evaluate(trigger("checkout", "greater_than", 2), "checkout"));
  EXPECT_EQ(evaluate(trigger("checkout", std::nullopt, 2), "checkout"),
            (BehavioralTriggerMatch{"checkout", 2, "equals"}));
  EXPECT_FALSE(evaluate(trigger("checkout", "equals", 3), "checkout"));
  // "less_than" is no trigger operator: it counts as equals and is reported, lower-cased.
  EXPECT_EQ(evaluate(trigger("checkout", "LESS_THAN", 2), "checkout"),
            (BehavioralTriggerMatch{"checkout", 2, "less_than"}));
  EXPECT_FALSE(evaluate(trigger("checkout", "less_than", 5), "checkout"));
}

TEST_F(BehavioralTriggerTest, APendingOccurrenceCountsOnce) {
  record("checkout", 2);
  EXPECT_FALSE(evaluate(trigger("checkout", "equals", 3), "checkout", false));
  EXPECT_EQ(evaluate(trigger("checkout", "equals", 3), "checkout", true),
            (BehavioralTriggerMatch{"checkout", 3, "equals"}));
}

TEST_F(BehavioralTriggerTest, TheTriggerNameIsTrimmedAndMatchedIgnoringCaseButTheEventNameIsNot) {
  record("checkout", 1);
  EXPECT_EQ(evaluate(trigger("  Checkout\n", std::nullopt, 1), "CHECKOUT"),
            (BehavioralTriggerMatch{"Checkout", 1, "equals"}));
  EXPECT_FALSE(evaluate(trigger("checkout", std::nullopt, 1), " checkout"));
  EXPECT_FALSE(evaluate(trigger("checkout", std::nullopt, 1), "checkout_started"));
}

TEST_F(BehavioralTriggerTest, NeverFiresWhenDisabledUnnamedOrWithoutAPositiveCount) {
  record("checkout", 3);
  EXPECT_FALSE(evaluate(trigger("checkout", std::nullopt, 3, false), "checkout"));
  EXPECT_FALSE(evaluate(trigger(std::nullopt, std::nullopt, 3), "checkout"));
  EXPECT_FALSE(evaluate(trigger(" \n", std::nullopt, 3), " \n"));
  EXPECT_FALSE(evaluate(trigger("checkout", std::nullopt, 3), std::nullopt));
  for (std::optional<std::int64_t> count :
       {std::optional<std::int64_t>(0), std::optional<std::int64_t>(-3), std::optional<std::int64_t>()}) {
    EXPECT_FALSE(evaluate(trigger("checkout", "every_nth", count), "checkout", true));
    EXPECT_FALSE(evaluate(trigger("checkout", "greater_than_equals", count), "checkout", true));
  }
}

// ---- Schedule ------------------------------------------------------------------------------

TEST(ScheduleTest, BoundsAreInclusiveWithOrWithoutFractionalSeconds) {
  const Timestamp now = Timestamp(std::chrono::milliseconds(1767225600250));  // 2026-01-01T00:00:00.250Z
  EXPECT_TRUE(isWithinSchedule("2026-01-01T00:00:00.250Z", "2026-01-01T00:00:00.250Z", now));
  EXPECT_TRUE(isWithinSchedule("2025-12-31T00:00:00Z", "2026-01-02T00:00:00Z", now));
  EXPECT_FALSE(isWithinSchedule("2026-01-01T00:00:00.251Z", std::nullopt, now));
  EXPECT_FALSE(isWithinSchedule(std::nullopt, "2026-01-01T00:00:00.249Z", now));
  EXPECT_FALSE(isWithinSchedule(std::nullopt, "2026-01-01T00:00:00Z", now));
  EXPECT_TRUE(isWithinSchedule("2026-01-01T00:00:00Z", std::nullopt, Timestamp(std::chrono::seconds(1767225600))));
}

TEST(ScheduleTest, AnAbsentEmptyOrUnreadableBoundIsNoBound) {
  const Timestamp now = Timestamp(std::chrono::seconds(1767225600));
  EXPECT_TRUE(isWithinSchedule(std::nullopt, std::nullopt, now));
  EXPECT_TRUE(isWithinSchedule("next tuesday", std::nullopt, now));
  EXPECT_TRUE(isWithinSchedule("", "", now));
  // One unreadable bound leaves the other in force.
  EXPECT_FALSE(isWithinSchedule("garbage", "2025-12-31T23:59:59Z", now));
  EXPECT_FALSE(isWithinSchedule("2026-01-01T00:00:01Z", "garbage", now));
}

}  // namespace
}  // namespace tarnwell::detail
