#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "tarnwell/core/coding_error.h"
#include "tarnwell/core/json_value.h"

namespace tarnwell {
namespace {

TEST(JSONCodecTest, DecodesEachCaseByItsJsonType) {
  const JSONValue value = JSONValue::decode(R"({"n":1,"b":true,"s":"true","z":null,"a":[1.5,"x"],"o":{}})");
  EXPECT_EQ(value["n"], JSONValue(1));
  EXPECT_EQ(value["b"], JSONValue(true));
  EXPECT_EQ(value["s"], JSONValue("true"));
  EXPECT_EQ(value["s"].boolValue(), true);
  EXPECT_TRUE(value["z"].isNull());
  EXPECT_EQ(value["a"], JSONValue(JSONArray{1.5, "x"}));
  EXPECT_TRUE(value["o"].isObject());
}

TEST(JSONCodecTest, EncodesCompactlyInInsertionOrder) {
  JSONObject object{{"zeta", 1}, {"alpha", JSONArray{true, nullptr, 2.5}}, {"text", "a\"b\\c\n\x01/é"}};
  EXPECT_EQ(JSONValue(object).encode(), "{\"zeta\":1,\"alpha\":[true,null,2.5],\"text\":\"a\\\"b\\\\c\\n\\u0001/é\"}");
  EXPECT_EQ(JSONValue(-0.0).encode(), "0");
  EXPECT_EQ(JSONValue(1e300).encode(), "1e+300");
  EXPECT_EQ(JSONValue(9007199254740993.0).encode(), "9007199254740992");
}

TEST(JSONCodecTest, RoundTripsWhatItEncodes) {
  const JSONValue value = JSONObject{{"id", "abc"},
                                     {"n", -12.375},
                                     {"big", 1.7976931348623157e308},
                                     {"tiny", 5e-324},
                                     {"nested", JSONArray{JSONObject{{"k", JSONArray{}}}}}};
  EXPECT_EQ(JSONValue::decode(value.encode()), value);
}

TEST(JSONCodecTest, LastOfDuplicateKeysWins) {
  const JSONValue value = JSONValue::decode(R"({"a":1,"b":2,"a":3})");
  EXPECT_EQ(value.asObject()->size(), 2u);
  EXPECT_EQ(value.encode(), R"({"a":3,"b":2})");
}

// The encoder scans eight bytes at a time; what needs escaping must be found at every offset.
TEST(JSONCodecTest, EscapesAreFoundAtEveryPositionOfTheScan) {
  for (std::size_t offset = 0; offset < 20; ++offset) {
    for (const auto& [raw, escaped] :
         std::vector<std::pair<std::string, std::string>>{{"\"", "\\\""},
                                                          {"\\", "\\\\"},
                                                          {"\x1f", "\\u001f"},
                                                          {std::string(1, '\0'), "\\u0000"},
                                                          {"\xC3\xA9", "\xC3\xA9"},
                                                          {"\xE2\x82", "\xEF\xBF\xBD\xEF\xBF\xBD"}}) {
      const std::string prefix(offset, 'a');
      EXPECT_EQ(JSONValue(prefix + raw + "z").encode(), "\"" + prefix + escaped + "z\"")
          << "offset " << offset << " raw " << raw;
    }
  }
}

TEST(JSONCodecTest, EncodingANonFiniteNumberIsAnError) {
  EXPECT_THROW(JSONValue(std::numeric_limits<double>::infinity()).encode(), EncodingError);
  EXPECT_THROW(JSONValue(JSONArray{std::nan("")}).encode(), EncodingError);
}

TEST(JSONCodecTest, InvalidUtf8IsRepairedWhenEncoding) {
  EXPECT_EQ(JSONValue(std::string("ok\xFF"
                                  "x\xC3"))
                .encode(),
            "\"ok\xEF\xBF\xBDx\xEF\xBF\xBD\"");
}

// Hostile or broken documents must come back as a DecodingError with a readable text.
TEST(JSONCodecTest, MalformedInputIsADecodingError) {
  const std::string deep(100000, '[');
  const std::string cases[] = {
      "",
      "{",
      R"({"a":)",
      R"({"a":1,})",
      "[1 2]",
      "nul",
      "{\"a\":\"\xFF\"}",
      "1e400",
      "-1e400",
      "{} {}",
      "'single'",
      deep,
      std::string(600, '[') + std::string(600, ']'),
  };
  EXPECT_THROW(JSONValue::decode(std::string_view()), DecodingError);  // an empty stored value
  for (const std::string& json : cases) {
    try {
      JSONValue::decode(json);
      ADD_FAILURE() << "decoded: " << json.substr(0, 40);
    } catch (const DecodingError& error) {
      EXPECT_FALSE(std::string(error.what()).empty());
    }
  }
}

TEST(JSONCodecTest, NestingUpToTheLimitDecodes) {
  const std::size_t depth = JSONValue::maxDecodingDepth;
  const std::string json = std::string(depth, '[') + std::string(depth, ']');
  const JSONValue value = JSONValue::decode(json);
  EXPECT_EQ(value.encode(), json);
}

TEST(JSONCodecTest, HugeStringsDecode) {
  const std::string payload(50u << 20, 'x');
  const JSONValue value = JSONValue::decode("\"" + payload + "\"");
  ASSERT_TRUE(value.isString());
  EXPECT_EQ(value.asString()->size(), payload.size());
}

// Whole numbers past 64 bits (an unsigned id, a JavaScript backend's large number) must read
// back as the double they were, whichever side wrote them.
TEST(JSONCodecTest, NumbersBeyondSixtyFourBitsRoundTripAndDecodeAsTheNearestDouble) {
  for (const double number : {1.8446744073709552e19, -1.2345678901234567e19, 9.223372036854775808e18,
                              -9.223372036854775808e18, 1e21, 9.999999999999999e20, 3.4028235e38}) {
    const std::string text = JSONValue(JSONArray{number}).encode();
    EXPECT_EQ(JSONValue::decode(text), JSONValue(JSONArray{number})) << text;
  }
  const JSONValue decoded = JSONValue::decode(
      R"({"u":18446744073709551616,"n":-12345678901234567890,"k":[1,184467440737095516160000],"s":"18446744073709551616"})");
  EXPECT_EQ(decoded["u"], JSONValue(1.8446744073709552e19));
  EXPECT_EQ(decoded["n"], JSONValue(-1.2345678901234567e19));
  EXPECT_EQ(decoded["k"], JSONValue(JSONArray{1, 1.8446744073709552e23}));
  EXPECT_EQ(decoded["s"], JSONValue("18446744073709551616"));
  EXPECT_THROW(JSONValue::decode("[1e400]"), DecodingError);
  EXPECT_THROW(JSONValue::decode("[0123456789012345678901]"), DecodingError);
}

TEST(JSONCodecTest, ManyMembersAndDuplicatesStayLinear) {
  std::string json = "{";
  for (int i = 0; i < 20000; ++i) {
    json += "\"k" + std::to_string(i % 10000) + "\":" + std::to_string(i) + ",";
  }
  json.back() = '}';
  const JSONValue value = JSONValue::decode(json);
  EXPECT_EQ(value.asObject()->size(), 10000u);
  EXPECT_EQ(value["k5"], JSONValue(10005));
  EXPECT_EQ(value.asObject()->begin()->first, "k0");
  EXPECT_EQ(std::prev(value.asObject()->end())->first, "k9999");
}

}  // namespace
}  // namespace tarnwell
