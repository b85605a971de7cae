#include <tarnwell/core/iso8601.h>

#include <chrono>
#include <cstdint>
#include <cstdio>

namespace tarnwell {
namespace {

using std::chrono::floor;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

struct CivilDate {
  std::int64_t year;
  unsigned month;  // 1-12
  unsigned day;    // 1-31
};

// Days since 1970-01-01 of a proleptic Gregorian date (Howard Hinnant's days_from_civil).
std::int64_t daysFromCivil(CivilDate date) noexcept {
  const std::int64_t year = date.year - (date.month <= 2 ? 1 : 0);
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const auto yearOfEra = static_cast<unsigned>(year - era * 400);
  const unsigned dayOfYear = (153 * (date.month > 2 ? date.month - 3 : date.month + 9) + 2) / 5 + date.day - 1;
  const unsigned dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + static_cast<std::int64_t>(dayOfEra) - 719468;
}

// The inverse of daysFromCivil (Howard Hinnant's civil_from_days).
CivilDate civilFromDays(std::int64_t days) noexcept {
  days += 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const auto dayOfEra = static_cast<unsigned>(days - era * 146097);
  const unsigned yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const unsigned shiftedMonth = (5 * dayOfYear + 2) / 153;
  const unsigned day = dayOfYear - (153 * shiftedMonth + 2) / 5 + 1;
  const unsigned month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
  const std::int64_t year = static_cast<std::int64_t>(yearOfEra) + era * 400;
  return {year + (month <= 2 ? 1 : 0), month, day};
}

unsigned daysInMonth(std::int64_t year, unsigned month) noexcept {
  constexpr unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  return month == 2 && leap ? 29 : kDays[month - 1];
}

// Reads fixed-width fields left to right; every step fails instead of reading past the end.
class FieldReader {
 public:
  explicit FieldReader(std::string_view text) noexcept : text_(text) {}

  bool atEnd() const noexcept { return position_ == text_.size(); }

  bool literal(char expected) noexcept {
    if (atEnd() || text_[position_] != expected) return false;
    ++position_;
    return true;
  }

  // Exactly `count` decimal digits.
  std::optional<unsigned> number(int count) noexcept {
    unsigned value = 0;
    for (int i = 0; i < count; ++i) {
      if (atEnd() || text_[position_] < '0' || text_[position_] > '9') return std::nullopt;
      value = value * 10 + static_cast<unsigned>(text_[position_++] - '0');
    }
    return value;
  }

  // Exactly `count` digits followed by `separator`.
  std::optional<unsigned> field(int count, char separator) noexcept {
    const std::optional<unsigned> value = number(count);
    return value && literal(separator) ? value : std::nullopt;
  }

  // One to nine digits after the decimal point, as nanoseconds.
  std::optional<nanoseconds> fraction() noexcept {
    std::int64_t value = 0;
    int digits = 0;
    while (!atEnd() && text_[position_] >= '0' && text_[position_] <= '9') {
      if (++digits > 9) return std::nullopt;
      value = value * 10 + (text_[position_++] - '0');
    }
    if (digits == 0) return std::nullopt;
    for (; digits < 9; ++digits) value *= 10;
    return nanoseconds(value);
  }

 private:
  std::string_view text_;
  std::size_t position_ = 0;
};

// Seconds east of UTC, from "Z", "+HH:MM" or "+HHMM" (and their '-' forms).
std::optional<std::int64_t> readZoneOffset(FieldReader& reader) noexcept {
  if (reader.literal('Z')) return 0;
  int sign = 0;
  if (reader.literal('+')) {
    sign = 1;
  } else if (reader.literal('-')) {
    sign = -1;
  } else {
    return std::nullopt;
  }
  const std::optional<unsigned> hours = reader.number(2);
  reader.literal(':');
  const std::optional<unsigned> minutes = reader.number(2);
  if (!hours || !minutes || *hours > 23 || *minutes > 59) return std::nullopt;
  return sign * static_cast<std::int64_t>(*hours * 3600 + *minutes * 60);
}

// The instant `whole` + `fraction` (0 to 1 s) after 1970, or absent when a Timestamp cannot
// hold it. Before 1970 one second is borrowed, so that both parts lean the same way from zero
// and each bound is checked exactly.
std::optional<Timestamp> timestampFrom(seconds whole, nanoseconds fraction) noexcept {
  using Duration = Timestamp::duration;
  constexpr seconds kLatest = floor<seconds>(Duration::max());
  constexpr seconds kEarliest = std::chrono::ceil<seconds>(Duration::min());
  if (whole < seconds(0) && fraction > nanoseconds(0)) {
    whole += seconds(1);
    fraction -= seconds(1);
  }
  if (whole > kLatest || whole < kEarliest) return std::nullopt;
  const auto base = std::chrono::duration_cast<Duration>(whole);
  const auto part = floor<Duration>(fraction);
  const bool fits = part > Duration::zero() ? base <= Duration::max() - part : base >= Duration::min() - part;
  if (!fits) return std::nullopt;
  return Timestamp(base + part);
}

}  // namespace

std::string formatISO8601Date(Timestamp time) {
  constexpr std::int64_t kMillisPerDay = 86'400'000;
  const std::int64_t millis = floor<milliseconds>(time.time_since_epoch()).count();
  std::int64_t days = millis / kMillisPerDay;
  std::int64_t millisOfDay = millis % kMillisPerDay;
  if (millisOfDay < 0) {
    millisOfDay += kMillisPerDay;
    --days;
  }
  const CivilDate date = civilFromDays(days);
  char text[48];
  std::snprintf(text, sizeof text, "%04lld-%02u-%02uT%02lld:%02lld:%02lld.%03lldZ", static_cast<long long>(date.year),
                date.month, date.day, static_cast<long long>(millisOfDay / 3'600'000),
                static_cast<long long>(millisOfDay / 60'000 % 60), static_cast<long long>(millisOfDay / 1000 % 60),
                static_cast<long long>(millisOfDay % 1000));
  return text;
}

std::optional<Timestamp> parseISO8601Date(std::optional<std::string_view> text) noexcept {
  if (!text || text->empty()) return std::nullopt;
  FieldReader reader(*text);
  const std::optional<unsigned> year = reader.field(4, '-');
  const std::optional<unsigned> month = year ? reader.field(2, '-') : std::nullopt;
  const std::optional<unsigned> day = month ? reader.field(2, 'T') : std::nullopt;
  const std::optional<unsigned> hour = day ? reader.field(2, ':') : std::nullopt;
  const std::optional<unsigned> minute = hour ? reader.field(2, ':') : std::nullopt;
  const std::optional<unsigned> second = minute ? reader.number(2) : std::nullopt;
  if (!second) return std::nullopt;
  std::optional<nanoseconds> fraction = nanoseconds(0);
  if (reader.literal('.')) fraction = reader.fraction();
  if (!fraction) return std::nullopt;
  const std::optional<std::int64_t> offset = readZoneOffset(reader);
  if (!offset || !reader.atEnd()) return std::nullopt;

  if (*month < 1 || *month > 12 || *day < 1 || *day > daysInMonth(*year, *month) || *hour > 23 || *minute > 59 ||
      *second > 60) {
    return std::nullopt;
  }
  const unsigned wholeSecond = *second == 60 ? 59 : *second;
  const std::int64_t days = daysFromCivil({*year, *month, *day});
  const std::int64_t epochSeconds = days * 86'400 + *hour * 3'600 + *minute * 60 + wholeSecond - *offset;
  return timestampFrom(seconds(epochSeconds), *fraction);
}

}  // namespace tarnwell
