// File: tarnwell/core/json_value.h
//
// JSONValue is the one dynamic value of the SDK: gateway payloads and replies, event and user
// properties, survey answers, flag values and rule operands are all made of it. It has six
// cases: string, number (always a double), bool, object, array and null. Objects keep their
// members in insertion order, so encoded payloads are deterministic.
//
//   tarnwell::JSONValue props = tarnwell::JSONObject{{"plan", "pro"}, {"seats", 3}};
//   std::string body = props.encode();                 // {"plan":"pro","seats":3}
//   auto decoded = tarnwell::JSONValue::decode(body);   // throws DecodingError on bad input
//   std::optional<std::int64_t> seats = decoded["seats"].intValue();   // 3
//
// A JSONValue is a plain value with copy semantics; it may be read from several threads at once
// but not written while read.
#pragma once

#include <any>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <tarnwell/export.h>

namespace tarnwell {

namespace detail {
class JSONParser;
}  // namespace detail

class JSONValue;
using JSONArray = std::vector<JSONValue>;

// The immutable text of a string value. Texts of up to 31 bytes (ids, keys, dates, most labels)
// live inside the value itself, so decoding a document allocates only for longer texts.
class TARNWELL_API JSONString {
 public:
  JSONString() noexcept { setInlineSize(0); }
  explicit JSONString(std::string_view text);
  JSONString(const JSONString& other) : JSONString(other.view()) {}
  JSONString(JSONString&& other) noexcept;
  JSONString& operator=(const JSONString& other);
  JSONString& operator=(JSONString&& other) noexcept;
  ~JSONString() { release(); }

  std::string_view view() const noexcept {
    return isInline() ? std::string_view(storage_.bytes,
                                         kInlineCapacity - static_cast<unsigned char>(storage_.bytes[kInlineCapacity]))
                      : std::string_view(storage_.heap.data, storage_.heap.size);
  }
  operator std::string_view() const noexcept { return view(); }
  std::string str() const { return std::string(view()); }
  std::size_t size() const noexcept { return view().size(); }
  bool empty() const noexcept { return size() == 0; }

  friend bool operator==(const JSONString& a, const JSONString& b) noexcept { return a.view() == b.view(); }
  friend bool operator==(const JSONString& a, std::string_view b) noexcept { return a.view() == b; }

 private:
  static constexpr std::size_t kInlineCapacity = 31;
  // The last byte holds the unused inline capacity (0..31), which doubles as the terminating
  // zero of a full inline text; kHeapMark there means the text lives on the heap.
  static constexpr unsigned char kHeapMark = 0x80;

  bool isInline() const noexcept { return static_cast<unsigned char>(storage_.bytes[kInlineCapacity]) != kHeapMark; }
  void setInlineSize(std::size_t size) noexcept {
    storage_.bytes[size] = '\0';
    storage_.bytes[kInlineCapacity] = static_cast<char>(kInlineCapacity - size);
  }
  void release() noexcept;

  union Storage {
    char bytes[kInlineCapacity + 1];
    struct {
      char* data;
      std::size_t size;
    } heap;
  } storage_;
};

// An object: members in insertion order, keys unique. Lookup is a linear scan, which beats
// hashing for the small objects payloads are made of.
class TARNWELL_API JSONObject {
 public:
  using Member = std::pair<std::string, JSONValue>;
  using iterator = std::vector<Member>::iterator;
  using const_iterator = std::vector<Member>::const_iterator;

  JSONObject() = default;
  JSONObject(std::initializer_list<Member> members);

  // Defined below JSONValue: a member's type must be complete where the vector is used.
  std::size_t size() const noexcept;
  bool empty() const noexcept;
  iterator begin() noexcept;
  iterator end() noexcept;
  const_iterator begin() const noexcept;
  const_iterator end() const noexcept;
  void reserve(std::size_t count);

  const JSONValue* find(std::string_view key) const noexcept;
  JSONValue* find(std::string_view key) noexcept;
  bool contains(std::string_view key) const noexcept { return find(key) != nullptr; }
  // The tolerant text of the scalar member `key` (stringifyScalar); absent when the member is
  // missing, null, an object or a list.
  std::optional<std::string> scalarText(std::string_view key) const;

  // Replaces the value of an existing key in place, else appends the member.
  void set(std::string key, JSONValue value);
  // The value under `key`, appended as null when missing.
  JSONValue& operator[](std::string_view key);
  bool erase(std::string_view key);

  // Equal when both hold the same keys with equal values, in any order.
  friend TARNWELL_API bool operator==(const JSONObject& a, const JSONObject& b);

 private:
  friend class detail::JSONParser;
  std::vector<Member> members_;
};

class TARNWELL_API JSONValue {
 public:
  enum class Kind { string, number, boolean, object, array, null };

  JSONValue() noexcept : value_(nullptr) {}
  JSONValue(std::nullptr_t) noexcept : value_(nullptr) {}
  JSONValue(const std::string& text) : value_(std::in_place_type<JSONString>, text) {}
  JSONValue(std::string_view text) : value_(std::in_place_type<JSONString>, text) {}
  JSONValue(const char* text) : value_(std::in_place_type<JSONString>, text) {}
  JSONValue(JSONString text) noexcept : value_(std::move(text)) {}
  JSONValue(bool flag) noexcept : value_(flag) {}
  template <typename Number>
  requires((std::integral<Number> || std::floating_point<Number>)&&!std::same_as<Number, bool>) JSONValue(Number number)
  noexcept : value_(static_cast<double>(number)) {}
  JSONValue(JSONObject object) noexcept : value_(std::move(object)) {}
  JSONValue(JSONArray array) noexcept : value_(std::move(array)) {}

  Kind kind() const noexcept { return static_cast<Kind>(value_.index()); }
  bool isString() const noexcept { return kind() == Kind::string; }
  bool isNumber() const noexcept { return kind() == Kind::number; }
  bool isBool() const noexcept { return kind() == Kind::boolean; }
  bool isObject() const noexcept { return kind() == Kind::object; }
  bool isArray() const noexcept { return kind() == Kind::array; }
  bool isNull() const noexcept { return kind() == Kind::null; }

  // The payload of the case, or null when the value is of another case.
  const JSONString* asString() const noexcept { return std::get_if<JSONString>(&value_); }
  const double* asNumber() const noexcept { return std::get_if<double>(&value_); }
  const bool* asBool() const noexcept { return std::get_if<bool>(&value_); }
  const JSONObject* asObject() const noexcept { return std::get_if<JSONObject>(&value_); }
  JSONObject* asObject() noexcept { return std::get_if<JSONObject>(&value_); }
  const JSONArray* asArray() const noexcept { return std::get_if<JSONArray>(&value_); }
  JSONArray* asArray() noexcept { return std::get_if<JSONArray>(&value_); }

  // The member `key` of an object; a shared null for a missing key or a value that is not an
  // object, so lookups chain: value["a"]["b"].stringValue().
  const JSONValue& operator[](std::string_view key) const noexcept;

  // The tolerant readings. boolValue: a bool, or exactly "true"/"false". intValue: a number
  // truncated toward zero, or decimal text ("+42", "-7"; nothing else). doubleValue: a number,
  // or text that parses whole as a floating-point literal. stringValue: text, a number in its
  // shortest round-trip form that always shows a fraction (3 reads "3.0"), or "true"/"false".
  // Every other combination reads as absent.
  std::optional<bool> boolValue() const noexcept;
  std::optional<std::int64_t> intValue() const noexcept;
  std::optional<double> doubleValue() const noexcept;
  std::optional<std::string> stringValue() const;
  // The text of a scalar wherever a text field must be tolerant: the same as stringValue.
  std::optional<std::string> stringifyScalar() const { return stringValue(); }

  // Converts a host value. In order: an empty std::any is null; a JSONValue stays itself; text
  // (std::string, std::string_view, const char*) is a string; bool is a bool (tested before the
  // numbers, so true never becomes 1); integers and floating-point numbers are numbers;
  // std::map / std::unordered_map from std::string to std::any is an object and
  // std::vector<std::any> an array, recursively; std::optional<std::any> unwraps; anything else
  // is a string holding the type's name. Never throws.
  static JSONValue fromDynamic(const std::any& value);
  // The inverse: std::string, double, bool, std::map<std::string, std::any>,
  // std::vector<std::any>, and an empty std::any for null.
  std::any toDynamic() const;

  // Parses JSON text. Throws DecodingError for text that is not one JSON value, is not UTF-8,
  // nests deeper than maxDecodingDepth, or holds a number outside the double range.
  static JSONValue decode(std::string_view json);
  static constexpr std::size_t maxDecodingDepth = 512;

  // Compact JSON in insertion order. Throws EncodingError for a number that is not finite.
  // Text that is not valid UTF-8 is written with U+FFFD in place of the broken bytes.
  std::string encode() const;
  void encodeTo(std::string& out) const;

  friend TARNWELL_API bool operator==(const JSONValue& a, const JSONValue& b);

 private:
  friend class detail::JSONParser;
  std::variant<JSONString, double, bool, JSONObject, JSONArray, std::nullptr_t> value_;
};

inline std::size_t JSONObject::size() const noexcept { return members_.size(); }
inline bool JSONObject::empty() const noexcept { return members_.empty(); }
inline JSONObject::iterator JSONObject::begin() noexcept { return members_.begin(); }
inline JSONObject::iterator JSONObject::end() noexcept { return members_.end(); }
inline JSONObject::const_iterator JSONObject::begin() const noexcept { return members_.begin(); }
inline JSONObject::const_iterator JSONObject::end() const noexcept { return members_.end(); }
inline void JSONObject::reserve(std::size_t count) { members_.reserve(count); }

// The text of a number as stringValue gives it: "3.0", "0.1", "1e-05", "1e+20".
TARNWELL_API std::string shortestNumberText(double number);

// The text, or JSON null when it is absent: how payloads send an optional text as a key that is
// always there.
inline JSONValue textOrNull(const std::optional<std::string>& text) { return text ? JSONValue(*text) : JSONValue(); }

}  // namespace tarnwell
