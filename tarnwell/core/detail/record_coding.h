// File: tarnwell/core/detail/record_coding.h
//
// Records read themselves out of a JSONValue and write themselves back through one table of
// fields each, so decoding and encoding can never disagree on a key:
//
//   template <> struct RecordFields<Appwrite> {
//     static constexpr auto fields = std::make_tuple(
//         field(&Appwrite::endpoint, "endpoint"),          // required: missing fails
//         field(&Appwrite::imagesBucketId, "imagesBucketId"));  // std::optional: may be missing
//   (nullableField(...) writes an absent optional as null instead of leaving the key out;
//    defaultedField(...) lets a missing or null key keep the member's initialiser)
//   };
//   Appwrite a = decodeRecord<Appwrite>(json);     // throws DecodingError naming the key path
//   JSONValue back = encodeRecord(a);              // members in table order
//
// Types are strict: a text field takes only a JSON string, an integer field only a number with
// no fraction, a bool field only a JSON bool. A std::optional member is absent when its key is
// missing or null, but a present value of the wrong type still fails, like any other field.
// Unknown keys are ignored. Decoding never runs deeper than the value itself, which the JSON
// parser has already bounded.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

#include <tarnwell/core/coding_error.h>
#include <tarnwell/core/json_value.h>

namespace tarnwell::detail {

// Where in a document a value sits, kept as a chain on the stack so nothing is built unless
// an error needs the text.
struct CodingPath {
  const CodingPath* parent = nullptr;
  std::string_view key;
  std::size_t index = 0;
  bool isIndex = false;

  std::string render() const;
};

[[noreturn]] void throwTypeMismatch(const CodingPath& path, std::string_view expected, const JSONValue& found);
[[noreturn]] void throwMissingKey(const CodingPath& path);

// Specialised by each record with a `fields` tuple of field(...) entries.
template <typename Record>
struct RecordFields;

template <typename Record, typename Member>
struct FieldSpec {
  Member Record::*member;
  std::string_view key;
  bool nullWhenAbsent = false;     // an absent optional is written as null instead of left out
  bool defaultWhenAbsent = false;  // a missing or null key keeps the member's initialiser
};

template <typename Record, typename Member>
constexpr FieldSpec<Record, Member> field(Member Record::*member, std::string_view key) {
  return {member, key};
}

// An optional member whose key is always written: null when absent.
template <typename Record, typename Member>
constexpr FieldSpec<Record, Member> nullableField(Member Record::*member, std::string_view key) {
  return {member, key, true};
}

// A member that documents may leave out: a missing key or null keeps the value the member is
// initialised with (`bool visible = true;`), a present value must still have the right type.
// Encoding always writes it.
template <typename Record, typename Member>
constexpr FieldSpec<Record, Member> defaultedField(Member Record::*member, std::string_view key) {
  return {member, key, false, true};
}

// How one C++ type maps to JSON. Specialise for enumerations and other leaf types.
template <typename T, typename = void>
struct JSONCoder;

template <>
struct JSONCoder<std::string> {
  static std::string decode(const JSONValue& value, const CodingPath& path) {
    if (const JSONString* text = value.asString()) return text->str();
    throwTypeMismatch(path, "text", value);
  }
  static JSONValue encode(const std::string& value) { return JSONValue(value); }
};

template <>
struct JSONCoder<double> {
  static double decode(const JSONValue& value, const CodingPath& path) {
    if (const double* number = value.asNumber()) return *number;
    throwTypeMismatch(path, "a number", value);
  }
  static JSONValue encode(double value) { return JSONValue(value); }
};

template <>
struct JSONCoder<bool> {
  static bool decode(const JSONValue& value, const CodingPath& path) {
    if (const bool* flag = value.asBool()) return *flag;
    throwTypeMismatch(path, "a bool", value);
  }
  static JSONValue encode(bool value) { return JSONValue(value); }
};

template <typename Integer>
struct JSONCoder<Integer, std::enable_if_t<std::is_integral_v<Integer> && !std::is_same_v<Integer, bool>>> {
  static Integer decode(const JSONValue& value, const CodingPath& path) {
    const double* number = value.asNumber();
    // A whole number inside the type's range; 2^63 itself is out, hence the strict bound.
    if (number == nullptr || std::trunc(*number) != *number ||
        *number < static_cast<double>(std::numeric_limits<Integer>::min()) ||
        !(*number < static_cast<double>(std::numeric_limits<Integer>::max()) + 1.0)) {
      throwTypeMismatch(path, "a whole number", value);
    }
    return static_cast<Integer>(*number);
  }
  static JSONValue encode(Integer value) { return JSONValue(value); }
};

template <>
struct JSONCoder<JSONValue> {
  static JSONValue decode(const JSONValue& value, const CodingPath&) { return value; }
  static JSONValue encode(const JSONValue& value) { return value; }
};

template <>
struct JSONCoder<JSONObject> {
  static JSONObject decode(const JSONValue& value, const CodingPath& path) {
    if (const JSONObject* object = value.asObject()) return *object;
    throwTypeMismatch(path, "an object", value);
  }
  static JSONValue encode(const JSONObject& value) { return JSONValue(value); }
};

template <typename T>
struct JSONCoder<std::vector<T>> {
  static std::vector<T> decode(const JSONValue& value, const CodingPath& path) {
    const JSONArray* array = value.asArray();
    if (array == nullptr) throwTypeMismatch(path, "an array", value);
    std::vector<T> result;
    result.reserve(array->size());
    for (std::size_t i = 0; i < array->size(); ++i) {
      const CodingPath elementPath{&path, {}, i, true};
      result.push_back(JSONCoder<T>::decode((*array)[i], elementPath));
    }
    return result;
  }
  static JSONValue encode(const std::vector<T>& values) {
    JSONArray array;
    array.reserve(values.size());
    for (const T& element : values) array.push_back(JSONCoder<T>::encode(element));
    return JSONValue(std::move(array));
  }
};

template <typename T>
struct JSONCoder<std::map<std::string, T>> {
  static std::map<std::string, T> decode(const JSONValue& value, const CodingPath& path) {
    const JSONObject* object = value.asObject();
    if (object == nullptr) throwTypeMismatch(path, "an object", value);
    std::map<std::string, T> result;
    for (const auto& [key, member] : *object) {
      const CodingPath memberPath{&path, key};
      result.emplace(key, JSONCoder<T>::decode(member, memberPath));
    }
    return result;
  }
  static JSONValue encode(const std::map<std::string, T>& values) {
    JSONObject object;
    object.reserve(values.size());
    for (const auto& [key, member] : values) object.set(key, JSONCoder<T>::encode(member));
    return JSONValue(std::move(object));
  }
};

template <typename Record>
Record decodeRecordAt(const JSONValue& value, const CodingPath& path);
template <typename Record>
JSONValue encodeRecord(const Record& record);

// Records nest: a member whose type has a field table is coded as an object.
template <typename Record>
struct JSONCoder<Record, std::void_t<decltype(RecordFields<Record>::fields)>> {
  static Record decode(const JSONValue& value, const CodingPath& path) { return decodeRecordAt<Record>(value, path); }
  static JSONValue encode(const Record& record) { return encodeRecord(record); }
};

template <typename T>
struct IsOptional : std::false_type {};
template <typename T>
struct IsOptional<std::optional<T>> : std::true_type {
  using Inner = T;
};

template <typename Record, typename Member>
void decodeField(Record& record, const FieldSpec<Record, Member>& entry, const JSONObject& object,
                 const CodingPath& parent) {
  const CodingPath path{&parent, entry.key};
  const JSONValue* value = object.find(entry.key);
  // The record was value-initialised before its fields are read, so leaving the member alone
  // keeps its default.
  if (entry.defaultWhenAbsent && (value == nullptr || value->isNull())) return;
  if constexpr (IsOptional<Member>::value) {
    if (value == nullptr || value->isNull()) {
      record.*entry.member = std::nullopt;
    } else {
      record.*entry.member = JSONCoder<typename IsOptional<Member>::Inner>::decode(*value, path);
    }
  } else {
    if (value == nullptr) throwMissingKey(path);
    record.*entry.member = JSONCoder<Member>::decode(*value, path);
  }
}

template <typename Record, typename Member>
void encodeField(const Record& record, const FieldSpec<Record, Member>& entry, JSONObject& object) {
  if constexpr (IsOptional<Member>::value) {
    // An absent optional is left out, as the platform's encoder does.
    if (const auto& member = record.*entry.member) {
      object.set(std::string(entry.key), JSONCoder<typename IsOptional<Member>::Inner>::encode(*member));
    } else if (entry.nullWhenAbsent) {
      object.set(std::string(entry.key), JSONValue());
    }
  } else {
    object.set(std::string(entry.key), JSONCoder<Member>::encode(record.*entry.member));
  }
}

template <typename Record>
Record decodeRecordAt(const JSONValue& value, const CodingPath& path) {
  const JSONObject* object = value.asObject();
  if (object == nullptr) throwTypeMismatch(path, "an object", value);
  Record record{};
  std::apply([&](const auto&... entries) { (decodeField(record, entries, *object, path), ...); },
             RecordFields<Record>::fields);
  return record;
}

template <typename Record>
Record decodeRecord(const JSONValue& value) {
  return decodeRecordAt<Record>(value, CodingPath{});
}

template <typename Record>
JSONValue encodeRecord(const Record& record) {
  JSONObject object;
  object.reserve(std::tuple_size_v<std::decay_t<decltype(RecordFields<Record>::fields)>>);
  std::apply([&](const auto&... entries) { (encodeField(record, entries, object), ...); },
             RecordFields<Record>::fields);
  return JSONValue(std::move(object));
}

// A document kept as JSON text inside a string field of a backend record, parsed on each read:
// absent, empty or undecodable text gives absent, silently, so a bad text only costs its reader.
template <typename T>
std::optional<T> decodeEmbedded(const std::optional<std::string>& text) {
  if (!text || text->empty()) return std::nullopt;
  try {
    const JSONValue value = JSONValue::decode(*text);
    return JSONCoder<T>::decode(value, CodingPath{});
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

}  // namespace tarnwell::detail
