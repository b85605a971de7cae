#include <tarnwell/core/iso8601.h>

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace tarnwell {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

// Epoch seconds below were taken from `date -u -d <text> +%s`.
Timestamp at(std::int64_t epochSeconds, nanoseconds extra = 0ns) { return Timestamp(seconds(epochSeconds)) + extra; }

TEST(Iso8601Test, FormatsUtcWithMilliseconds) {
  EXPECT_EQ(formatISO8601Date(at(1772357415)), "2026-03-01T09:30:15.000Z");
  EXPECT_EQ(formatISO8601Date(at(1772357415, 250ms)), "2026-03-01T09:30:15.250Z");
  EXPECT_EQ(formatISO8601Date(at(0)), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(formatISO8601Date(at(1709251199, 999ms)), "2024-02-29T23:59:59.999Z");
  EXPECT_EQ(formatISO8601Date(at(951782400)), "2000-02-29T00:00:00.000Z");
  EXPECT_EQ(formatISO8601Date(at(1798761599)), "2026-12-31T23:59:59.000Z");
}

TEST(Iso8601Test, FormatTruncatesTowardThePastAlsoBefore1970) {
  EXPECT_EQ(formatISO8601Date(at(1772357415, 250999999ns)), "2026-03-01T09:30:15.250Z");
  EXPECT_EQ(formatISO8601Date(at(0, -1ns)), "1969-12-31T23:59:59.999Z");
  EXPECT_EQ(formatISO8601Date(at(0, -1ms)), "1969-12-31T23:59:59.999Z");
  EXPECT_EQ(formatISO8601Date(at(-14182940, 1500us)), "1969-07-20T20:17:40.001Z");
  EXPECT_EQ(formatISO8601Date(at(-2208988800)), "1900-01-01T00:00:00.000Z");
  EXPECT_EQ(formatISO8601Date(at(-2208988800, -1ns)), "1899-12-31T23:59:59.999Z");
}

TEST(Iso8601Test, FormatsTheClockExtremes) {
  EXPECT_EQ(formatISO8601Date(Timestamp::max()), "2262-04-11T23:47:16.854Z");
  EXPECT_EQ(formatISO8601Date(Timestamp::min()), "1677-09-21T00:12:43.145Z");
}

TEST(Iso8601Test, ParsesBothPrecisions) {
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30:15Z"), at(1772357415));
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30:15.250Z"), at(1772357415, 250ms));
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30:15.2Z"), at(1772357415, 200ms));
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30:15.123456789Z"), at(1772357415, 123456789ns));
  EXPECT_EQ(parseISO8601Date("1969-07-20T20:17:40.5Z"), at(-14182940, 500ms));
  EXPECT_EQ(parseISO8601Date("2024-02-29T23:59:59Z"), at(1709251199));
  EXPECT_EQ(parseISO8601Date("2000-02-29T00:00:00Z"), at(951782400));
}

TEST(Iso8601Test, AppliesZoneOffsets) {
  const Timestamp utc = at(1772337615);  // 2026-03-01T04:00:15Z
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30:15+05:30"), utc);
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30:15+0530"), utc);
  EXPECT_EQ(parseISO8601Date("2026-02-28T20:00:15-08:00"), utc);
  EXPECT_EQ(parseISO8601Date("2026-02-28T20:00:15-0800"), utc);
  EXPECT_EQ(parseISO8601Date("2026-03-01T04:00:15+00:00"), utc);
  EXPECT_EQ(parseISO8601Date("2026-03-01T04:00:15-00:00"), utc);
  EXPECT_EQ(parseISO8601Date("2026-03-01T04:00:15.75-00:00"), utc + 750ms);
}

TEST(Iso8601Test, FoldsALeapSecondIntoTheSecondBefore) {
  EXPECT_EQ(parseISO8601Date("2016-12-31T23:59:60Z"), parseISO8601Date("2016-12-31T23:59:59Z"));
  EXPECT_EQ(parseISO8601Date("2016-12-31T23:59:60.5Z"), parseISO8601Date("2016-12-31T23:59:59.5Z"));
}

TEST(Iso8601Test, RoundTripsThroughTheTextForm) {
  const Timestamp times[] = {at(1772357415, 250ms), at(0), at(-1, 1ms), at(-2208988800, 7ms), at(1709251199, 999ms)};
  for (const Timestamp time : times) {
    const std::string text = formatISO8601Date(time);
    EXPECT_EQ(parseISO8601Date(text), time) << text;
  }
  // Finer than a millisecond comes back as the millisecond it falls in.
  EXPECT_EQ(parseISO8601Date(formatISO8601Date(at(-1, 999999ns))), at(-1));
}

TEST(Iso8601Test, RejectsAbsentEmptyAndIncompleteText) {
  EXPECT_EQ(parseISO8601Date(std::nullopt), std::nullopt);
  EXPECT_EQ(parseISO8601Date(""), std::nullopt);
  EXPECT_EQ(parseISO8601Date("2026-03-01"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30:15"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30Z"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30:15."), std::nullopt);
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30:15.Z"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30:15+05"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30:15+05:3"), std::nullopt);
}

TEST(Iso8601Test, RejectsOtherShapes) {
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30:15Zjunk"), std::nullopt);
  EXPECT_EQ(parseISO8601Date(" 2026-03-01T09:30:15Z"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30:15Z "), std::nullopt);
  EXPECT_EQ(parseISO8601Date("2026-03-01 09:30:15Z"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("2026-03-01t09:30:15z"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("26-03-01T09:30:15Z"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("2026-3-01T09:30:15Z"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("20260301T093015Z"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30:15.1234567890Z"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30:15,250Z"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("+2026-03-01T09:30:15Z"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("2026-03-01T09:30:15+05:30:00"), std::nullopt);
  EXPECT_EQ(parseISO8601Date(std::string_view("2026-03-01T09:30:15\0Z", 21)), std::nullopt);
}

TEST(Iso8601Test, RejectsFieldsOutOfRange) {
  const char* const texts[] = {
      "2026-00-01T00:00:00Z",      "2026-13-01T00:00:00Z", "2026-01-00T00:00:00Z", "2026-01-32T00:00:00Z",
      "2026-04-31T00:00:00Z",      "2026-02-29T00:00:00Z", "1900-02-29T00:00:00Z", "2100-02-29T00:00:00Z",
      "2026-01-01T24:00:00Z",      "2026-01-01T00:60:00Z", "2026-01-01T00:00:61Z", "2026-01-01T00:00:00+24:00",
      "2026-01-01T00:00:00+05:60",
  };
  for (const char* text : texts) EXPECT_EQ(parseISO8601Date(text), std::nullopt) << text;
}

TEST(Iso8601Test, RejectsInstantsTheClockCannotHold) {
  EXPECT_EQ(parseISO8601Date("9999-12-31T23:59:59Z"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("0000-01-01T00:00:00Z"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("2262-04-11T23:47:16.854775808Z"), std::nullopt);
  EXPECT_EQ(parseISO8601Date("2262-04-11T23:47:16.854775807Z"), Timestamp::max());
  EXPECT_EQ(parseISO8601Date("1677-09-21T00:12:43.145224192Z"), Timestamp::min());
  EXPECT_EQ(parseISO8601Date("1677-09-21T00:12:43.145224191Z"), std::nullopt);
}

}  // namespace
}  // namespace tarnwell
