#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <vector>

#include "tarnwell/core/detail/record_coding.h"

namespace tarnwell::detail {

struct Item {
  std::string id;
  std::int32_t rank = 0;
  std::optional<std::vector<std::string>> tags;
  friend bool operator==(const Item&, const Item&) = default;
};

struct Stamp {
  std::optional<std::string> sessionId;
  std::optional<std::string> note;
};

template <>
struct RecordFields<Stamp> {
  static constexpr auto fields =
      std::make_tuple(nullableField(&Stamp::sessionId, "sessionId"), field(&Stamp::note, "note"));
};

struct Toggle {
  bool visible = true;
  std::vector<std::string> tags;
  friend bool operator==(const Toggle&, const Toggle&) = default;
};

template <>
struct RecordFields<Toggle> {
  static constexpr auto fields =
      std::make_tuple(defaultedField(&Toggle::visible, "visible"), defaultedField(&Toggle::tags, "tags"));
};

struct Catalogue {
  std::vector<Item> items;
  std::map<std::string, double> weights;
  JSONValue metadata;
  friend bool operator==(const Catalogue&, const Catalogue&) = default;
};

template <>
struct RecordFields<Item> {
  static constexpr auto fields =
      std::make_tuple(field(&Item::id, "$id"), field(&Item::rank, "rank"), field(&Item::tags, "tags"));
};

template <>
struct RecordFields<Catalogue> {
  static constexpr auto fields =
      std::make_tuple(field(&Catalogue::items, "items"), field(&Catalogue::weights, "weights"),
                      field(&Catalogue::metadata, "metadata"));
};

namespace {

std::string decodeError(std::string_view json) {
  try {
    decodeRecord<Catalogue>(JSONValue::decode(json));
  } catch (const DecodingError& error) {
    return error.what();
  }
  return "decoded";
}

TEST(RecordCodingTest, RoundTripsNestedRecordsWithCustomKeysInTableOrder) {
  const Catalogue catalogue{{{"a", 1, std::vector<std::string>{"x"}}, {"b", -2, std::nullopt}},
                            {{"w", 0.5}},
                            JSONObject{{"free", JSONArray{1, "form"}}}};
  const JSONValue encoded = encodeRecord(catalogue);
  EXPECT_EQ(encoded.encode(),
            R"({"items":[{"$id":"a","rank":1,"tags":["x"]},{"$id":"b","rank":-2}],"weights":{"w":0.5},)"
            R"("metadata":{"free":[1,"form"]}})");
  EXPECT_EQ(decodeRecord<Catalogue>(encoded), catalogue);
}

TEST(RecordCodingTest, NullOptionalIsAbsentButAPresentWrongTypeFails) {
  const auto decoded = decodeRecord<Item>(JSONValue::decode(R"({"$id":"a","rank":3,"tags":null})"));
  EXPECT_EQ(decoded.tags, std::nullopt);
  EXPECT_EQ(
      decodeError(R"({"items":[{"$id":"a","rank":1},{"$id":"b","rank":1,"tags":"x"}],"weights":{},"metadata":1})"),
      "Expected an array at \"items[1].tags\" but found text");
}

TEST(RecordCodingTest, ErrorsNameTheKeyPathAndTheFoundType) {
  EXPECT_EQ(decodeError(R"({"items":[{"rank":1}],"weights":{},"metadata":null})"),
            "No value for the required key \"items[0].$id\"");
  EXPECT_EQ(decodeError(R"({"items":[],"weights":{"w":"heavy"},"metadata":null})"),
            "Expected a number at \"weights.w\" but found text");
  EXPECT_EQ(decodeError(R"({"items":[],"weights":{}})"), "No value for the required key \"metadata\"");
  EXPECT_EQ(decodeError(R"({"items":[{"$id":null,"rank":1}],"weights":{},"metadata":0})"),
            "Expected text at \"items[0].$id\" but found null");
}

TEST(RecordCodingTest, NullableFieldsKeepTheirKeyWhenAbsent) {
  EXPECT_EQ(encodeRecord(Stamp{}).encode(), R"({"sessionId":null})");
  EXPECT_EQ(encodeRecord(Stamp{"s1", "n"}).encode(), R"({"sessionId":"s1","note":"n"})");
}

TEST(RecordCodingTest, DefaultedFieldsKeepTheirInitialiserWhenMissingOrNullButCheckPresentTypes) {
  EXPECT_EQ(decodeRecord<Toggle>(JSONValue::decode("{}")), (Toggle{true, {}}));
  EXPECT_EQ(decodeRecord<Toggle>(JSONValue::decode(R"({"visible":null,"tags":null})")), (Toggle{true, {}}));
  EXPECT_EQ(decodeRecord<Toggle>(JSONValue::decode(R"({"visible":false,"tags":["a"]})")), (Toggle{false, {"a"}}));
  try {
    decodeRecord<Toggle>(JSONValue::decode(R"({"visible":"no"})"));
    ADD_FAILURE() << "a text under a bool key decoded";
  } catch (const DecodingError& error) {
    EXPECT_STREQ(error.what(), "Expected a bool at \"visible\" but found text");
  }
  EXPECT_EQ(encodeRecord(Toggle{}).encode(), R"({"visible":true,"tags":[]})");
}

TEST(RecordCodingTest, IntegersMustBeWholeAndInRange) {
  auto rank = [](std::string_view number) -> std::string {
    try {
      return std::to_string(
          decodeRecord<Item>(JSONValue::decode(std::string(R"({"$id":"a","rank":)") + std::string(number) + "}")).rank);
    } catch (const DecodingError& error) {
      return error.what();
    }
  };
  EXPECT_EQ(rank("2147483647"), "2147483647");
  EXPECT_EQ(rank("-2147483648"), "-2147483648");
  EXPECT_EQ(rank("3.0"), "3");
  EXPECT_EQ(rank("2147483648"), "Expected a whole number at \"rank\" but found a number");
  EXPECT_EQ(rank("1.5"), "Expected a whole number at \"rank\" but found a number");
  EXPECT_EQ(rank("true"), "Expected a whole number at \"rank\" but found a bool");
}

}  // namespace
}  // namespace tarnwell::detail
