#include <gtest/gtest.h>

#include "tarnwell/events/detail/event_sampling.h"

namespace tarnwell::detail {
namespace {

EventRecord event(std::string name, std::string type = "custom", std::optional<std::string> sessionId = "sess-1",
                  JSONValue deviceId = "dev-1") {
  EventRecord record;
  record.eventName = std::move(name);
  record.userId = "user-1";
  record.sessionId = std::move(sessionId);
  record.deviceProperties = JSONObject{{"os", "ios"}, {"device_id", std::move(deviceId)}};
  record.eventType = std::move(type);
  return record;
}

// Every percent distinct, so a lookup names the field it read.
RuntimeConfig::SamplingConfig distinctPercents() {
  RuntimeConfig::SamplingConfig sampling;
  sampling.defaultPercent = 1;
  sampling.sdkPercent = 2;
  sampling.sessionPercent = 3;
  sampling.surveyPercent = 4;
  sampling.announcementPercent = 5;
  sampling.liveCardPercent = 6;
  sampling.featureFlagPercent = 7;
  sampling.warningPercent = 8;
  sampling.errorPercent = 9;
  return sampling;
}

TEST(EventSamplingTest, Fnv1a64MatchesKnownVectors) {
  EXPECT_EQ(fnv1a64(""), 0xcbf29ce484222325ULL);
  EXPECT_EQ(fnv1a64("a"), 0xaf63dc4c8601ec8cULL);
  EXPECT_EQ(fnv1a64("foobar"), 0x85944171f73967e8ULL);
  EXPECT_EQ(fnv1a64("user-1|sess-1|dev-1|custom|checkout"), 0xe831e565d63d4ca0ULL);
  // Bytes above 0x7F enter unsigned: "é" is C3 A9 in UTF-8.
  EXPECT_EQ(fnv1a64("\xC3\xA9"), 0x0ac21707b7181e01ULL);
}

TEST(EventSamplingTest, BucketIsTheHashModuloHundredAndEmptyTextFallsIn37) {
  EXPECT_EQ(samplingBucket(""), 37);
  EXPECT_EQ(samplingBucket("a"), static_cast<int>(0xaf63dc4c8601ec8cULL % 100));
  EXPECT_EQ(samplingBucket("user-1|sess-1|dev-1|custom|checkout"), 32);
}

TEST(EventSamplingTest, TextJoinsFivePartsAsStored) {
  EXPECT_EQ(samplingText(event("Checkout")), "user-1|sess-1|dev-1|custom|Checkout");
  EXPECT_EQ(samplingText(event("checkout", "", std::nullopt, JSONValue())), "user-1||||checkout");
  EXPECT_EQ(samplingText(event("checkout", "custom", "s", 42)), "user-1|s|42.0|custom|checkout");
  EXPECT_EQ(samplingText(event("checkout", "custom", "s", true)), "user-1|s|true|custom|checkout");
  EXPECT_EQ(samplingText(event("checkout", "custom", "s", JSONObject{{"a", 1}})), "user-1|s||custom|checkout");
}

TEST(EventSamplingTest, TypeDecidesByExactLowerCasedMatch) {
  const auto sampling = distinctPercents();
  EXPECT_EQ(samplingPercent(sampling, "sdk", "x"), 2);
  EXPECT_EQ(samplingPercent(sampling, "Session", "x"), 3);
  EXPECT_EQ(samplingPercent(sampling, "survey", "checkout_error"), 4);
  EXPECT_EQ(samplingPercent(sampling, "ANNOUNCEMENT", "x"), 5);
  EXPECT_EQ(samplingPercent(sampling, "live_card", "x"), 6);
  EXPECT_EQ(samplingPercent(sampling, "LiveCard", "x"), 6);
  EXPECT_EQ(samplingPercent(sampling, "feature_flag", "x"), 7);
  EXPECT_EQ(samplingPercent(sampling, "featureflag", "x"), 7);
  EXPECT_EQ(samplingPercent(sampling, "warning", "x"), 8);
  EXPECT_EQ(samplingPercent(sampling, "error", "x"), 9);
  // Not exact: the name decides.
  EXPECT_EQ(samplingPercent(sampling, "sdk ", "x"), 1);
  EXPECT_EQ(samplingPercent(sampling, "live-card", "x"), 1);
}

TEST(EventSamplingTest, OtherTypesLetTheNameDecideFirstMatchWins) {
  const auto sampling = distinctPercents();
  EXPECT_EQ(samplingPercent(sampling, "custom", "checkout_error"), 9);
  EXPECT_EQ(samplingPercent(sampling, "", "FEATURE_toggled"), 7);
  EXPECT_EQ(samplingPercent(sampling, "user", "experiment_exposure"), 7);
  // Experiment events are "business" events, no category of their own: the name decides.
  EXPECT_EQ(samplingPercent(sampling, "business", "experiment_conversion"), 7);
  EXPECT_EQ(samplingPercent(sampling, "custom", "disk_Warning"), 8);
  EXPECT_EQ(samplingPercent(sampling, "custom", "uncaught_exception"), 9);
  EXPECT_EQ(samplingPercent(sampling, "custom", "feature_error"), 7);  // "feature_" comes first
  EXPECT_EQ(samplingPercent(sampling, "custom", "warning_error"), 8);  // "warning" before "error"
  EXPECT_EQ(samplingPercent(sampling, "custom", "featureflip"), 1);    // no underscore, no match
  EXPECT_EQ(samplingPercent(sampling, "custom", "checkout"), 1);
}

TEST(EventSamplingTest, ZeroRefusesAndHundredAdmitsWhateverTheBucket) {
  RuntimeConfig::SamplingConfig sampling;
  for (const char* name : {"checkout", "purchase", "logout", "signup"}) {
    sampling.defaultPercent = 0;
    EXPECT_FALSE(isSampledIn(event(name), sampling)) << name;
    sampling.defaultPercent = -5;
    EXPECT_FALSE(isSampledIn(event(name), sampling)) << name;
    sampling.defaultPercent = 100;
    EXPECT_TRUE(isSampledIn(event(name), sampling)) << name;
    sampling.defaultPercent = 250;
    EXPECT_TRUE(isSampledIn(event(name), sampling)) << name;
  }
}

TEST(EventSamplingTest, FiftyPercentKeepsBucketsBelowAndFallsAlikeForTheSameParts) {
  RuntimeConfig::SamplingConfig sampling;
  sampling.defaultPercent = 50;
  EXPECT_TRUE(isSampledIn(event("checkout"), sampling));   // bucket 32
  EXPECT_TRUE(isSampledIn(event("signup"), sampling));     // bucket 4
  EXPECT_FALSE(isSampledIn(event("purchase"), sampling));  // bucket 87
  EXPECT_FALSE(isSampledIn(event("logout"), sampling));    // bucket 98
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(isSampledIn(event("checkout"), sampling));
    EXPECT_FALSE(isSampledIn(event("purchase"), sampling));
  }
  // Each part moves the die: another session or device puts the same name elsewhere.
  EXPECT_FALSE(isSampledIn(event("checkout", "custom", "sess-2"), sampling));           // bucket 77
  EXPECT_FALSE(isSampledIn(event("checkout", "custom", "sess-1", "dev-2"), sampling));  // bucket 53
}

TEST(EventSamplingTest, AdmitsStrictlyBelowThePercent) {
  RuntimeConfig::SamplingConfig sampling;
  sampling.defaultPercent = 32;
  EXPECT_FALSE(isSampledIn(event("checkout"), sampling));  // bucket 32 is not below 32
  sampling.defaultPercent = 33;
  EXPECT_TRUE(isSampledIn(event("checkout"), sampling));
}

TEST(EventSamplingTest, AnEmptyTypeIsSampledUnderItsOwnText) {
  RuntimeConfig::SamplingConfig sampling;
  sampling.defaultPercent = 30;
  EXPECT_TRUE(isSampledIn(event("checkout", ""), sampling));         // "...|dev-1||checkout": bucket 25
  EXPECT_FALSE(isSampledIn(event("checkout", "custom"), sampling));  // bucket 32
}

}  // namespace
}  // namespace tarnwell::detail
