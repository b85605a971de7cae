#include "tarnwell/core/detail/text.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace tarnwell::detail {
namespace {

bool isWhiteSpace(char32_t c) {
  return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}

// The byte length of the white-space code point that `text` starts with, or 0 when it starts
// with anything else, including bytes that are not valid UTF-8. White space never needs more
// than three bytes, so longer sequences are simply "not white space".
std::size_t whiteSpaceLengthAt(std::string_view text) {
  if (text.empty()) return 0;
  const auto lead = static_cast<std::uint8_t>(text[0]);
  if (lead < 0x80) return isWhiteSpace(lead) ? 1 : 0;
  std::size_t length = 0;
  char32_t c = 0;
  if ((lead & 0xE0) == 0xC0) {
    length = 2;
    c = lead & 0x1F;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3;
    c = lead & 0x0F;
  } else {
    return 0;
  }
  if (text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<std::uint8_t>(text[i]);
    if ((next & 0xC0) != 0x80) return 0;
    c = (c << 6) | (next & 0x3F);
  }
  // Overlong forms (an ASCII space hidden in C0 A0) and surrogates are not characters.
  const bool overlong = (length == 2 && c < 0x80) || (length == 3 && c < 0x800);
  const bool surrogate = c >= 0xD800 && c <= 0xDFFF;
  return (!overlong && !surrogate && isWhiteSpace(c)) ? length : 0;
}

// The byte length of the white-space code point that `text` ends with, or 0. A lead byte is
// never a continuation byte, so a sequence that decodes cleanly from its last one to three
// bytes is exactly the code point a forward reader would find there.
std::size_t whiteSpaceLengthBefore(std::string_view text) {
  for (std::size_t length = 1; length <= std::min<std::size_t>(3, text.size()); ++length) {
    if (whiteSpaceLengthAt(text.substr(text.size() - length)) == length) return length;
  }
  return 0;
}

}  // namespace

std::string_view trimWhitespaceAndNewlines(std::string_view text) noexcept {
  while (const std::size_t length = whiteSpaceLengthAt(text)) text.remove_prefix(length);
  while (const std::size_t length = whiteSpaceLengthBefore(text)) text.remove_suffix(length);
  return text;
}

bool equalsIgnoringAsciiCase(std::string_view a, std::string_view b) noexcept {
  const auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return std::ranges::equal(a, b, [&](char x, char y) { return fold(x) == fold(y); });
}

std::string toLowerAscii(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

std::optional<std::string> writtenScalarText(const JSONValue& value) {
  if (const double* number = value.asNumber(); number && std::trunc(*number) == *number && std::fabs(*number) < 1e15) {
    return std::to_string(static_cast<long long>(*number));
  }
  return value.stringValue();
}

}  // namespace tarnwell::detail
