// File: tarnwell/core/color.h
//
// Colour is what surveys, announcements and cards carry as hexadecimal text ("#FF6600",
// "#80FF6600" with alpha first); views turn it into red, green, blue and alpha from 0 to 1.
//
//   std::optional<tarnwell::Color> accent = tarnwell::parseColorText("#80FF6600");
//   // accent->alpha == 128 / 255.0, accent->red == 1, accent->green == 102 / 255.0
//
// Pure functions: any thread; parsing never throws.
#pragma once

#include <optional>
#include <string_view>

#include <tarnwell/export.h>

namespace tarnwell {

struct Color {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;

  bool operator==(const Color&) const = default;
};

// Reads a colour the way the platform's colour-from-hex does:
// 1. trim white space and new lines; empty text is no colour;
// 2. remove every '#';
// 3. read the rest as hexadecimal from its start, after any leading white space: an optional
//    "0x" or "0X" (taken only when a hex digit follows it), then every hex digit up to the
//    first other character; no digit at all is no colour;
// 4. by the number of characters left after step 2 (UTF-8 code points), 6 means RRGGBB,
//    opaque; 8 means AARRGGBB; any other count is no colour. Components are the value's
//    bytes over 255, so digits cut short by another character read as a smaller number
//    ("FF00GG" reads 0xFF00: red 0, green 1, blue 0).
TARNWELL_API std::optional<Color> parseColorText(std::string_view text) noexcept;

}  // namespace tarnwell
