// File: tarnwell/core/detail/text.h
//
// Small text helpers shared by the parsers and labels: trimming Unicode white space from
// UTF-8 text, and ASCII lower-casing for case-insensitive comparisons of identifiers.
//
//   std::string_view name = tarnwell::detail::trimWhitespaceAndNewlines("\u00A0 iPhone15,2\n");
//   // name == "iPhone15,2"
//
// Every function is pure, may be called from any thread and never throws except for
// std::bad_alloc from the functions that return a std::string.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tarnwell/core/json_value.h"

namespace tarnwell::detail {

// Drops every Unicode White_Space code point (ASCII space, tab, LF, VT, FF, CR, U+0085,
// U+00A0, U+1680, U+2000-U+200A, U+2028, U+2029, U+202F, U+205F, U+3000) from both ends.
// The text is read as UTF-8; bytes that do not form a valid sequence (overlong forms,
// surrogates, stray continuation bytes) are not white space and stop the trimming.
// The result views into `text`.
std::string_view trimWhitespaceAndNewlines(std::string_view text) noexcept;

// A copy of `text` with 'A'-'Z' turned into 'a'-'z'; every other byte is kept as it is.
std::string toLowerAscii(std::string_view text);
// Whether `a` and `b` are equal when 'A'-'Z' count as 'a'-'z': for identifiers, header names
// and operator words, which need no locale.
bool equalsIgnoringAsciiCase(std::string_view a, std::string_view b) noexcept;

// A scalar as people write it, for ids and versions that arrive as JSON numbers: a whole number
// below 1e15 without a fraction (42, not 42.0), any other number in its shortest form, a boolean
// as "true"/"false", a string as it is; absent for lists, objects and null.
std::optional<std::string> writtenScalarText(const JSONValue& value);

}  // namespace tarnwell::detail
