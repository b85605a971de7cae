#include <tarnwell/core/color.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "tarnwell/core/detail/text.h"

namespace tarnwell {
namespace {

int hexDigitValue(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::size_t codePointCount(std::string_view text) noexcept {
  std::size_t count = 0;
  for (const char c : text) {
    if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++count;
  }
  return count;
}

// Hex digits from the start of `text`, with an optional "0x" prefix; absent without a digit.
// The caller keeps the text to at most eight characters, so the value cannot overflow.
std::optional<std::uint32_t> scanHex(std::string_view text) noexcept {
  text = detail::trimWhitespaceAndNewlines(text);
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X') && hexDigitValue(text[2]) >= 0) {
    text.remove_prefix(2);
  }
  std::uint32_t value = 0;
  std::size_t digits = 0;
  for (; digits < text.size() && hexDigitValue(text[digits]) >= 0; ++digits) {
    value = value << 4 | static_cast<std::uint32_t>(hexDigitValue(text[digits]));
  }
  if (digits == 0) return std::nullopt;
  return value;
}

double channel(std::uint32_t value, int shift) noexcept { return static_cast<double>((value >> shift) & 0xFF) / 255.0; }

}  // namespace

std::optional<Color> parseColorText(std::string_view text) noexcept {
  const std::string_view trimmed = detail::trimWhitespaceAndNewlines(text);
  if (trimmed.empty()) return std::nullopt;
  // Eight code points take at most 32 bytes; a longer text is no colour whatever it holds.
  std::array<char, 32> buffer{};
  std::size_t length = 0;
  for (const char c : trimmed) {
    if (c == '#') continue;
    if (length == buffer.size()) return std::nullopt;
    buffer[length++] = c;
  }
  const std::string_view hex(buffer.data(), length);
  const std::size_t count = codePointCount(hex);
  if (count != 6 && count != 8) return std::nullopt;
  const std::optional<std::uint32_t> value = scanHex(hex);
  if (!value) return std::nullopt;
  if (count == 6) return Color{channel(*value, 16), channel(*value, 8), channel(*value, 0), 1.0};
  return Color{channel(*value, 16), channel(*value, 8), channel(*value, 0), channel(*value, 24)};
}

}  // namespace tarnwell
