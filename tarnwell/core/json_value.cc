#include "tarnwell/core/json_value.h"

#include <cxxabi.h>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <typeinfo>
#include <unordered_map>

#include "tarnwell/core/log.h"

namespace tarnwell {

// ---- JSONString --------------------------------------------------------------------------

JSONString::JSONString(std::string_view text) {
  if (text.size() <= kInlineCapacity) {
    std::memcpy(storage_.bytes, text.data(), text.size());
    setInlineSize(text.size());
    return;
  }
  char* data = new char[text.size() + 1];
  std::memcpy(data, text.data(), text.size());
  data[text.size()] = '\0';
  storage_.heap.data = data;
  storage_.heap.size = text.size();
  storage_.bytes[kInlineCapacity] = static_cast<char>(kHeapMark);
}

JSONString::JSONString(JSONString&& other) noexcept {
  std::memcpy(&storage_, &other.storage_, sizeof storage_);
  other.setInlineSize(0);
}

JSONString& JSONString::operator=(const JSONString& other) {
  if (this != &other) {
    *this = JSONString(other.view());
  }
  return *this;
}

JSONString& JSONString::operator=(JSONString&& other) noexcept {
  if (this != &other) {
    release();
    std::memcpy(&storage_, &other.storage_, sizeof storage_);
    other.setInlineSize(0);
  }
  return *this;
}

void JSONString::release() noexcept {
  if (!isInline()) {
    delete[] storage_.heap.data;
    setInlineSize(0);
  }
}

// ---- JSONObject --------------------------------------------------------------------------

JSONObject::JSONObject(std::initializer_list<Member> members) {
  members_.reserve(members.size());
  for (const auto& member : members) {
    set(member.first, member.second);
  }
}

const JSONValue* JSONObject::find(std::string_view key) const noexcept {
  for (const auto& member : members_) {
    if (member.first == key) {
      return &member.second;
    }
  }
  return nullptr;
}

JSONValue* JSONObject::find(std::string_view key) noexcept {
  return const_cast<JSONValue*>(std::as_const(*this).find(key));
}

std::optional<std::string> JSONObject::scalarText(std::string_view key) const {
  const JSONValue* value = find(key);
  return value != nullptr ? value->stringifyScalar() : std::nullopt;
}

void JSONObject::set(std::string key, JSONValue value) {
  if (JSONValue* existing = find(key)) {
    *existing = std::move(value);
  } else {
    members_.emplace_back(std::move(key), std::move(value));
  }
}

JSONValue& JSONObject::operator[](std::string_view key) {
  if (JSONValue* existing = find(key)) {
    return *existing;
  }
  return members_.emplace_back(std::string(key), JSONValue()).second;
}

bool JSONObject::erase(std::string_view key) {
  for (auto it = members_.begin(); it != members_.end(); ++it) {
    if (it->first == key) {
      members_.erase(it);
      return true;
    }
  }
  return false;
}

bool operator==(const JSONObject& a, const JSONObject& b) {
  if (a.size() != b.size()) {
    return false;
  }
  for (const auto& [key, value] : a) {
    const JSONValue* other = b.find(key);
    if (other == nullptr || !(*other == value)) {
      return false;
    }
  }
  return true;
}

// ---- JSONValue ---------------------------------------------------------------------------

bool operator==(const JSONValue& a, const JSONValue& b) { return a.value_ == b.value_; }

const JSONValue& JSONValue::operator[](std::string_view key) const noexcept {
  static const JSONValue null;
  if (const JSONObject* object = asObject()) {
    if (const JSONValue* member = object->find(key)) {
      return *member;
    }
  }
  return null;
}

std::optional<bool> JSONValue::boolValue() const noexcept {
  if (const bool* flag = asBool()) {
    return *flag;
  }
  if (const JSONString* text = asString()) {
    if (*text == "true") return true;
    if (*text == "false") return false;
  }
  return std::nullopt;
}

namespace {

std::optional<std::int64_t> parseDecimalInteger(std::string_view text) noexcept {
  if (text.empty()) {
    return std::nullopt;
  }
  bool negative = false;
  if (text.front() == '+' || text.front() == '-') {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  if (text.empty()) {
    return std::nullopt;
  }
  // Accumulate toward the negative side so INT64_MIN parses too.
  std::int64_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') {
      return std::nullopt;
    }
    const int digit = c - '0';
    if (value < (INT64_MIN + digit) / 10) {
      return std::nullopt;
    }
    value = value * 10 - digit;
  }
  if (!negative) {
    if (value == INT64_MIN) {
      return std::nullopt;
    }
    value = -value;
  }
  return value;
}

std::optional<double> parseWholeDouble(std::string_view text) noexcept {
  if (text.empty()) {
    return std::nullopt;
  }
  // from_chars takes neither a leading "+" nor a "0x" prefix; the platform parse does.
  bool negative = false;
  std::string_view body = text;
  if (body.front() == '+' || body.front() == '-') {
    negative = body.front() == '-';
    body.remove_prefix(1);
  }
  if (body.empty() || body.front() == '+' || body.front() == '-') {
    return std::nullopt;
  }
  auto format = std::chars_format::general;
  if (body.size() > 2 && body[0] == '0' && (body[1] == 'x' || body[1] == 'X')) {
    format = std::chars_format::hex;
    body.remove_prefix(2);
  }
  double value = 0;
  const auto [end, error] = std::from_chars(body.data(), body.data() + body.size(), value, format);
  if (error != std::errc() || end != body.data() + body.size()) {
    return std::nullopt;
  }
  return negative ? -value : value;
}

}  // namespace

std::optional<std::int64_t> JSONValue::intValue() const noexcept {
  if (const JSONString* text = asString()) {
    return parseDecimalInteger(text->view());
  }
  if (const double* number = asNumber()) {
    // -2^63 is representable; 2^63 is the first double past the range.
    if (!std::isfinite(*number) || *number < -9223372036854775808.0 || *number >= 9223372036854775808.0) {
      logError("intValue of a number outside the signed 64-bit range, or not finite", shortestNumberText(*number));
      return std::nullopt;
    }
    return static_cast<std::int64_t>(*number);
  }
  return std::nullopt;
}

std::optional<double> JSONValue::doubleValue() const noexcept {
  if (const double* number = asNumber()) {
    return *number;
  }
  if (const JSONString* text = asString()) {
    return parseWholeDouble(text->view());
  }
  return std::nullopt;
}

std::optional<std::string> JSONValue::stringValue() const {
  switch (kind()) {
    case Kind::string: return asString()->str();
    case Kind::number: return shortestNumberText(*asNumber());
    case Kind::boolean: return std::string(*asBool() ? "true" : "false");
    default: return std::nullopt;
  }
}

std::string shortestNumberText(double number) {
  if (std::isnan(number)) return "nan";
  if (std::isinf(number)) return number > 0 ? "inf" : "-inf";
  if (number == 0) return std::signbit(number) ? "-0.0" : "0.0";

  // Shortest round-trip digits, then laid out the way the platform's number description does:
  // plain decimal with a fraction for ordinary magnitudes, exponent form for tiny or huge ones.
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::scientific);
  std::string_view scientific(buffer, static_cast<std::size_t>(result.ptr - buffer));
  const std::size_t e = scientific.find('e');
  std::string_view mantissa = scientific.substr(0, e);
  int exponent = 0;
  std::from_chars(scientific.data() + e + 1 + (scientific[e + 1] == '+' ? 1 : 0), scientific.data() + scientific.size(),
                  exponent);

  std::string out;
  if (mantissa.front() == '-') {
    out.push_back('-');
    mantissa.remove_prefix(1);
  }
  std::string digits;
  for (char c : mantissa) {
    if (c != '.') digits.push_back(c);
  }

  if (exponent < -4 || std::fabs(number) > 18014398509481984.0 /* 2^54 */) {
    out.push_back(digits[0]);
    if (digits.size() > 1) {
      out.push_back('.');
      out.append(digits, 1);
    }
    out.push_back('e');
    out.push_back(exponent < 0 ? '-' : '+');
    const int magnitude = exponent < 0 ? -exponent : exponent;
    if (magnitude < 10) out.push_back('0');
    out.append(std::to_string(magnitude));
    return out;
  }
  if (exponent < 0) {
    out.append("0.");
    out.append(static_cast<std::size_t>(-exponent - 1), '0');
    out.append(digits);
    return out;
  }
  const auto integerDigits = static_cast<std::size_t>(exponent) + 1;
  if (digits.size() <= integerDigits) {
    out.append(digits);
    out.append(integerDigits - digits.size(), '0');
    out.append(".0");
  } else {
    out.append(digits, 0, integerDigits);
    out.push_back('.');
    out.append(digits, integerDigits);
  }
  return out;
}

// ---- Dynamic values ----------------------------------------------------------------------

namespace {

std::string typeName(const std::type_info& type) {
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> demangled(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                   std::free);
  return status == 0 && demangled ? std::string(demangled.get()) : std::string(type.name());
}

template <typename T>
bool holds(const std::any& value) {
  return value.type() == typeid(T);
}

template <typename... Ts>
std::optional<double> anyNumber(const std::any& value) {
  std::optional<double> result;
  ((holds<Ts>(value) ? (result = static_cast<double>(std::any_cast<Ts>(value)), true) : false) || ...);
  return result;
}

}  // namespace

JSONValue JSONValue::fromDynamic(const std::any& value) {
  if (!value.has_value()) return JSONValue();
  if (const auto* json = std::any_cast<JSONValue>(&value)) return *json;
  if (const auto* text = std::any_cast<std::string>(&value)) return JSONValue(*text);
  if (const auto* view = std::any_cast<std::string_view>(&value)) return JSONValue(*view);
  if (const auto* chars = std::any_cast<const char*>(&value)) {
    return *chars == nullptr ? JSONValue() : JSONValue(*chars);
  }
  if (const auto* chars = std::any_cast<char*>(&value)) {
    return *chars == nullptr ? JSONValue() : JSONValue(static_cast<const char*>(*chars));
  }
  if (const auto* flag = std::any_cast<bool>(&value)) return JSONValue(*flag);
  if (auto number = anyNumber<int, long, long long, unsigned, unsigned long, unsigned long long, short, unsigned short,
                              signed char, unsigned char, char>(value)) {
    return JSONValue(*number);
  }
  if (const auto* number = std::any_cast<double>(&value)) return JSONValue(*number);
  if (const auto* number = std::any_cast<float>(&value)) return JSONValue(*number);
  if (const auto* number = std::any_cast<long double>(&value)) return JSONValue(static_cast<double>(*number));
  if (const auto* map = std::any_cast<std::map<std::string, std::any>>(&value)) {
    JSONObject object;
    object.reserve(map->size());
    for (const auto& [key, member] : *map) object.set(key, fromDynamic(member));
    return object;
  }
  if (const auto* map = std::any_cast<std::unordered_map<std::string, std::any>>(&value)) {
    JSONObject object;
    object.reserve(map->size());
    for (const auto& [key, member] : *map) object.set(key, fromDynamic(member));
    return object;
  }
  if (const auto* list = std::any_cast<std::vector<std::any>>(&value)) {
    JSONArray array;
    array.reserve(list->size());
    for (const auto& element : *list) array.push_back(fromDynamic(element));
    return array;
  }
  if (const auto* optional = std::any_cast<std::optional<std::any>>(&value)) {
    return optional->has_value() ? fromDynamic(**optional) : JSONValue();
  }
  if (holds<std::nullptr_t>(value)) return JSONValue();
  return JSONValue(typeName(value.type()));
}

std::any JSONValue::toDynamic() const {
  switch (kind()) {
    case Kind::string: return asString()->str();
    case Kind::number: return *asNumber();
    case Kind::boolean: return *asBool();
    case Kind::object: {
      std::map<std::string, std::any> map;
      for (const auto& [key, member] : *asObject()) map.emplace(key, member.toDynamic());
      return map;
    }
    case Kind::array: {
      std::vector<std::any> list;
      list.reserve(asArray()->size());
      for (const auto& element : *asArray()) list.push_back(element.toDynamic());
      return list;
    }
    case Kind::null: return std::any();
  }
  return std::any();
}

}  // namespace tarnwell
