// File: tarnwell/core/iso8601.h
//
// Dates as the gateway writes and reads them: ISO 8601 in UTC with milliseconds,
// "2026-03-01T09:30:15.250Z".
//
//   std::string text = tarnwell::formatISO8601Date(now);     // "2026-03-01T09:30:15.250Z"
//   std::optional<tarnwell::Timestamp> when =
//       tarnwell::parseISO8601Date("2026-03-01T10:30:15+01:00");
//
// Pure functions: any thread. Parsing never throws and rejects rather than guesses.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <tarnwell/core/timestamp.h>
#include <tarnwell/export.h>

namespace tarnwell {

// "YYYY-MM-DDTHH:MM:SS.mmmZ" in UTC. Sub-millisecond parts are dropped toward the past, also
// before 1970, so a time always formats as the millisecond it falls in.
// Throws nothing but std::bad_alloc.
TARNWELL_API std::string formatISO8601Date(Timestamp time);

// Reads "YYYY-MM-DDTHH:MM:SS", an optional fraction of 1 to 9 digits after '.', and a zone:
// "Z", "+HH:MM", "-HH:MM", "+HHMM" or "-HHMM". The letters 'T' and 'Z' are upper case; no
// space, no text before or after. Fields are checked: month 1-12, day within its month
// (29 February only in leap years), hour 0-23, minute 0-59, second 0-60, offset hours 0-23
// and minutes 0-59. A leap second (:60) reads as :59 with its fraction, so it never moves a
// date into the next minute. The fraction is kept to the clock's precision (nanoseconds
// here), dropped toward the past beyond it.
// Absent when the text is absent, empty, malformed, out of range, or outside what a
// Timestamp can hold (about 1677-2262 with nanosecond clocks).
TARNWELL_API std::optional<Timestamp> parseISO8601Date(std::optional<std::string_view> text) noexcept;

}  // namespace tarnwell
