// File: tarnwell/flags/flag_value.h
//
// How a flag's value reads as the type of the default the application asked with:
//
//   flagValueAs(JSONValue("true"), false)      // true: the texts "true" and "false" read as bools
//   flagValueAs(JSONValue(3.9), std::int64_t{0})  // 3: integers through JSONValue::intValue
//   flagValueAs(JSONValue("2.5"), 0.0)          // 2.5: numeric text reads as a double
//   flagValueAs(JSONValue(42), std::string())   // "42.0": numbers and bools as their text
//
// Any other type gets the value as plain host values (JSONValue::toDynamic) cast to it, and
// JSONValue itself the value as it is. A value that does not fit gives the default. Pure.
#pragma once

#include <any>
#include <concepts>
#include <cstdint>
#include <string>
#include <utility>

#include <tarnwell/core/json_value.h>

namespace tarnwell {

template <typename T>
T flagValueAs(const JSONValue& value, T defaultValue) {
  if constexpr (std::same_as<T, bool>) {
    return value.boolValue().value_or(defaultValue);
  } else if constexpr (std::integral<T>) {
    const std::optional<std::int64_t> number = value.intValue();
    if (!number || !std::in_range<T>(*number)) return defaultValue;
    return static_cast<T>(*number);
  } else if constexpr (std::floating_point<T>) {
    const std::optional<double> number = value.doubleValue();
    return number ? static_cast<T>(*number) : defaultValue;
  } else if constexpr (std::same_as<T, std::string>) {
    return value.stringValue().value_or(defaultValue);
  } else if constexpr (std::same_as<T, JSONValue>) {
    return value;
  } else {
    const std::any plain = value.toDynamic();
    if (const T* cast = std::any_cast<T>(&plain)) return *cast;
    return defaultValue;
  }
}

}  // namespace tarnwell
