#include <gtest/gtest.h>

#include <any>
#include <cmath>
#include <limits>
#include <map>
#include <vector>

#include "tarnwell/core/json_value.h"
#include "tarnwell/testing/log_recorder.h"

namespace tarnwell {
namespace {

TEST(JSONValueTest, EqualityIsByCaseAndPayloadAndIgnoresMemberOrder) {
  EXPECT_NE(JSONValue(1), JSONValue("1"));
  EXPECT_NE(JSONValue(true), JSONValue(1));
  EXPECT_NE(JSONValue(), JSONValue(0));
  EXPECT_EQ(JSONValue(JSONObject{{"a", 1}, {"b", JSONArray{1, "x"}}}),
            JSONValue(JSONObject{{"b", JSONArray{1, "x"}}, {"a", 1}}));
  EXPECT_NE(JSONValue(JSONObject{{"a", 1}}), JSONValue(JSONObject{{"a", 1}, {"b", 2}}));
  EXPECT_NE(JSONValue(JSONArray{1, 2}), JSONValue(JSONArray{2, 1}));
}

TEST(JSONValueTest, ObjectSetReplacesInPlaceAndKeepsInsertionOrder) {
  JSONObject object{{"z", 1}, {"a", 2}};
  object.set("z", 3);
  object["m"] = "new";
  EXPECT_EQ(JSONValue(object).encode(), R"({"z":3,"a":2,"m":"new"})");
  EXPECT_TRUE(object.erase("a"));
  EXPECT_FALSE(object.erase("a"));
  EXPECT_EQ(JSONValue(object).encode(), R"({"z":3,"m":"new"})");
}

TEST(JSONValueTest, SubscriptOfMissingKeyOrNonObjectIsNull) {
  const JSONValue value = JSONObject{{"a", JSONObject{{"b", "deep"}}}};
  EXPECT_EQ(value["a"]["b"].stringValue(), "deep");
  EXPECT_TRUE(value["missing"]["b"].isNull());
  EXPECT_TRUE(JSONValue(5)["a"].isNull());
}

TEST(JSONValueTest, BoolValueTakesExactTextOnly) {
  EXPECT_EQ(JSONValue(true).boolValue(), true);
  EXPECT_EQ(JSONValue("true").boolValue(), true);
  EXPECT_EQ(JSONValue("false").boolValue(), false);
  EXPECT_EQ(JSONValue("True").boolValue(), std::nullopt);
  EXPECT_EQ(JSONValue(" true").boolValue(), std::nullopt);
  EXPECT_EQ(JSONValue(1).boolValue(), std::nullopt);
  EXPECT_EQ(JSONValue().boolValue(), std::nullopt);
}

TEST(JSONValueTest, IntValueParsesDecimalTextAndTruncatesNumbers) {
  EXPECT_EQ(JSONValue(1.5).intValue(), 1);
  EXPECT_EQ(JSONValue(-1.5).intValue(), -1);
  EXPECT_EQ(JSONValue("+42").intValue(), 42);
  EXPECT_EQ(JSONValue("-7").intValue(), -7);
  EXPECT_EQ(JSONValue("9223372036854775807").intValue(), INT64_MAX);
  EXPECT_EQ(JSONValue("-9223372036854775808").intValue(), INT64_MIN);
  for (const char* bad : {"", "+", "-", " 42", "42 ", "4 2", "4.0", "1e3", "0x10", "9223372036854775808",
                          "-9223372036854775809", "++1"}) {
    EXPECT_EQ(JSONValue(bad).intValue(), std::nullopt) << bad;
  }
  EXPECT_EQ(JSONValue(true).intValue(), std::nullopt);
  EXPECT_EQ(JSONValue(JSONArray{}).intValue(), std::nullopt);
}

TEST(JSONValueTest, IntValueOfAnOutOfRangeNumberLogsAndIsAbsent) {
  testing::LogRecorder log;
  EXPECT_EQ(JSONValue(1e19).intValue(), std::nullopt);
  EXPECT_EQ(JSONValue(9223372036854775808.0).intValue(), std::nullopt);
  EXPECT_EQ(JSONValue(std::numeric_limits<double>::infinity()).intValue(), std::nullopt);
  EXPECT_EQ(JSONValue(std::nan("")).intValue(), std::nullopt);
  EXPECT_EQ(JSONValue(-9223372036854775808.0).intValue(), INT64_MIN);
  ASSERT_EQ(log.lines().size(), 4u);
  EXPECT_EQ(log.lines()[0],
            "[Tarnwell][ERROR] intValue of a number outside the signed 64-bit range, or not finite :: 1e+19");
}

TEST(JSONValueTest, DoubleValueIsStrictAboutTheWholeText) {
  EXPECT_EQ(JSONValue("1e3").doubleValue(), 1000.0);
  EXPECT_EQ(JSONValue("+2.5").doubleValue(), 2.5);
  EXPECT_EQ(JSONValue("-.5").doubleValue(), -0.5);
  EXPECT_EQ(JSONValue("0x1p3").doubleValue(), 8.0);
  EXPECT_EQ(JSONValue(3).doubleValue(), 3.0);
  for (const char* bad : {"", " 1", "1 ", "1,5", "abc", "+-1", "1e", "."}) {
    EXPECT_EQ(JSONValue(bad).doubleValue(), std::nullopt) << bad;
  }
  EXPECT_EQ(JSONValue(true).doubleValue(), std::nullopt);
}

TEST(JSONValueTest, StringValueAlwaysShowsTheFraction) {
  EXPECT_EQ(JSONValue(7).stringValue(), "7.0");
  EXPECT_EQ(JSONValue(7).stringifyScalar(), "7.0");
  EXPECT_EQ(JSONValue(-3).stringValue(), "-3.0");
  EXPECT_EQ(JSONValue(0.1).stringValue(), "0.1");
  EXPECT_EQ(JSONValue(1.25).stringValue(), "1.25");
  EXPECT_EQ(JSONValue(123456.789).stringValue(), "123456.789");
  EXPECT_EQ(JSONValue(0.0001).stringValue(), "0.0001");
  EXPECT_EQ(JSONValue(0.00001).stringValue(), "1e-05");
  EXPECT_EQ(JSONValue(1.5e-7).stringValue(), "1.5e-07");
  EXPECT_EQ(JSONValue(1e20).stringValue(), "1e+20");
  EXPECT_EQ(JSONValue(1e16).stringValue(), "10000000000000000.0");
  EXPECT_EQ(JSONValue(0.0).stringValue(), "0.0");
  EXPECT_EQ(JSONValue(true).stringValue(), "true");
  EXPECT_EQ(JSONValue("x").stringValue(), "x");
  EXPECT_EQ(JSONValue().stringValue(), std::nullopt);
  EXPECT_EQ(JSONValue(JSONObject{}).stringValue(), std::nullopt);
}

struct Opaque {};

TEST(JSONValueTest, FromDynamicTestsBoolBeforeNumbers) {
  EXPECT_EQ(JSONValue::fromDynamic(std::any(true)), JSONValue(true));
  EXPECT_EQ(JSONValue::fromDynamic(std::any(42)), JSONValue(42.0));
  EXPECT_EQ(JSONValue::fromDynamic(std::any(42u)), JSONValue(42.0));
  EXPECT_EQ(JSONValue::fromDynamic(std::any(2.5f)), JSONValue(2.5));
  EXPECT_EQ(JSONValue::fromDynamic(std::any(std::string("s"))), JSONValue("s"));
  EXPECT_EQ(JSONValue::fromDynamic(std::any("lit")), JSONValue("lit"));
  EXPECT_EQ(JSONValue::fromDynamic(std::any()), JSONValue());
  EXPECT_EQ(JSONValue::fromDynamic(std::any(JSONValue("kept"))), JSONValue("kept"));
  EXPECT_EQ(JSONValue::fromDynamic(std::any(std::optional<std::any>())), JSONValue());
}

TEST(JSONValueTest, FromDynamicConvertsContainersRecursivelyAndDescribesUnknownTypes) {
  std::map<std::string, std::any> map{{"n", 1}, {"list", std::vector<std::any>{true, std::string("x")}}};
  EXPECT_EQ(JSONValue::fromDynamic(map), JSONValue(JSONObject{{"n", 1}, {"list", JSONArray{true, "x"}}}));
  const JSONValue opaque = JSONValue::fromDynamic(std::any(Opaque{}));
  ASSERT_TRUE(opaque.isString());
  EXPECT_NE(opaque.asString()->view().find("Opaque"), std::string_view::npos);
}

TEST(JSONValueTest, ToDynamicRoundTripsThroughFromDynamic) {
  const JSONValue value =
      JSONObject{{"s", "t"}, {"n", 1.5}, {"b", false}, {"z", nullptr}, {"a", JSONArray{1, JSONObject{{"k", "v"}}}}};
  const std::any dynamic = value.toDynamic();
  const auto& map = std::any_cast<const std::map<std::string, std::any>&>(dynamic);
  EXPECT_EQ(std::any_cast<double>(map.at("n")), 1.5);
  EXPECT_FALSE(map.at("z").has_value());
  EXPECT_EQ(JSONValue::fromDynamic(dynamic), value);
}

}  // namespace
}  // namespace tarnwell
