// Date and colour texts as backend documents carry them. A date that parses must format as the
// millisecond it falls in and parse back to that millisecond; a colour that parses must read
// the same from its own "#AARRGGBB" text and from the text wrapped in blanks.
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include "fuzz/fuzz_support.h"
#include "tarnwell/core/color.h"
#include "tarnwell/core/iso8601.h"

namespace tarnwell {
namespace {

void checkDate(std::string_view text) {
  using std::chrono::milliseconds;
  const std::optional<Timestamp> parsed = parseISO8601Date(text);
  // The text admits nothing before or after the date.
  fuzz::require(!parseISO8601Date(" " + std::string(text)) && !parseISO8601Date(std::string(text) + " "),
                "a date with a blank around it parsed");
  if (!parsed) return;
  const std::string formatted = formatISO8601Date(*parsed);
  const std::optional<Timestamp> again = parseISO8601Date(formatted);
  // Kept in milliseconds: the earliest instants fall in a millisecond that starts before the
  // clock's range, and only those may fail to read back.
  const milliseconds wanted = std::chrono::floor<milliseconds>(parsed->time_since_epoch());
  if (!again) {
    if (wanted >= std::chrono::ceil<milliseconds>(Timestamp::duration::min())) {
      fuzz::fail("a formatted date does not parse: " + formatted);
    }
    return;
  }
  if (std::chrono::duration_cast<milliseconds>(again->time_since_epoch()) != wanted ||
      again->time_since_epoch() % milliseconds(1) != Timestamp::duration::zero()) {
    fuzz::fail("a date came back as another instant: " + std::string(text) + " -> " + formatted);
  }
  if (formatISO8601Date(*again) != formatted) fuzz::fail("formatting a parsed date twice differs: " + formatted);
}

void checkColor(std::string_view text) {
  const std::optional<Color> color = parseColorText(text);
  fuzz::require(parseColorText(" \n" + std::string(text) + "\t ") == color, "blanks around a colour changed it");
  if (!color) return;
  // Each component is a byte over 255, so its text names it exactly.
  char hex[10];
  unsigned bytes[4];
  const double components[4] = {color->alpha, color->red, color->green, color->blue};
  for (int i = 0; i < 4; ++i) {
    const double scaled = components[i] * 255.0;
    fuzz::require(scaled >= 0 && scaled <= 255 && std::fabs(scaled - std::round(scaled)) < 1e-9,
                  "a colour component is not a byte over 255");
    bytes[i] = static_cast<unsigned>(std::lround(scaled));
  }
  std::snprintf(hex, sizeof hex, "#%02X%02X%02X%02X", bytes[0], bytes[1], bytes[2], bytes[3]);
  if (parseColorText(hex) != color) fuzz::fail(std::string("a colour does not read back from ") + hex);
}

}  // namespace
}  // namespace tarnwell

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = tarnwell::fuzz::asText(data, size);
  tarnwell::checkDate(text);
  tarnwell::checkColor(text);
  return 0;
}
