// The facade's flag operations in virtual time over a scripted gateway: their gates, the flags'
// time to live, and the typed reads.
#include <gtest/gtest.h>

#include "tarnwell/testing/sdk_harness.h"

namespace tarnwell {
namespace {

using namespace std::chrono_literals;

constexpr const char* kBundle = R"({"ok":true,"data":{"versions":{"featureFlags":"1"},"items":{"featureFlags":[
  {"$id":"f1","key":"limit","status":"active","defaultValue":"12"},
  {"$id":"f2","key":"exp","status":"active","type":"multi_variant",
   "variations":"[{\"id\":\"v\",\"value\":\"x\"}]","experimentConfig":"{\"hypothesis\":\"h\"}"}]}}})";

struct TarnwellFlagsTest : ::testing::Test {
  testing::SdkHarness sdk;
  TarnwellFlagsTest() { sdk.answer("get_runtime_bundle", kBundle); }

  template <typename T>
  T flag(const std::string& key, T defaultValue) {
    std::optional<T> answer;
    sdk->getFeatureFlag<T>(key, defaultValue, [&](T value) { answer = value; });
    EXPECT_TRUE(sdk.waitUntil([&] { return answer.has_value(); }));
    return answer.value_or(defaultValue);
  }
  void refresh(bool force) {
    bool done = false;
    sdk->refreshFeatureFlags(force, [&] { done = true; });
    ASSERT_TRUE(sdk.waitUntil([&] { return done; }));
  }
};

TEST_F(TarnwellFlagsTest, BeforeReadyEverythingIsClosedAndLeavesNoStamp) {
  refresh(true);
  EXPECT_EQ(flag("limit", 5), 5);
  std::optional<std::optional<Variation>> variation;
  sdk->getExperimentVariation("exp", [&](std::optional<Variation> v) { variation = std::move(v); });
  ASSERT_TRUE(sdk.waitUntil([&] { return variation.has_value(); }));
  EXPECT_FALSE(*variation);
  sdk->trackExperimentExposure("exp");
  sdk.settle();
  EXPECT_TRUE(sdk.inputs().empty());

  // Had the early refresh stamped, the start-up's refresh would be held back and know no flags.
  ASSERT_EQ(sdk.start(), SDKState::ready());
  EXPECT_EQ(sdk.sent("get_runtime_bundle").size(), 1u);
  EXPECT_EQ(flag("limit", 5), 12);
  EXPECT_EQ(flag<std::string>("limit", "d"), "12.0");
}

TEST_F(TarnwellFlagsTest, RefreshWaitsForTheTimeToLiveUnlessForced) {
  ASSERT_EQ(sdk.start(), SDKState::ready());
  // The start-up's content kinds share one request.
  const std::size_t atStart = sdk.sent("get_runtime_bundle").size();
  EXPECT_EQ(atStart, 1u);
  sdk.advance(1000s);  // past both the flags' 300 seconds and the bundle's 900
  refresh(false);
  EXPECT_EQ(sdk.sent("get_runtime_bundle").size(), atStart + 1);
  refresh(false);  // now within the time to live
  EXPECT_EQ(sdk.sent("get_runtime_bundle").size(), atStart + 1);
  sdk.advance(1000s);
  refresh(true);
  EXPECT_EQ(sdk.sent("get_runtime_bundle").size(), atStart + 2);
}

TEST_F(TarnwellFlagsTest, RefreshAllContentGatesEveryKindByItsTimeToLive) {
  ASSERT_EQ(sdk.start(), SDKState::ready());
  sdk.advance(1000s);
  auto refreshAll = [&] {
    bool done = false;
    sdk->refreshAllContent([&] { done = true; });
    ASSERT_TRUE(sdk.waitUntil([&] { return done; }));
  };
  // The kinds refresh side by side and share one request for the expired bundle; the second
  // round is held back by every gate.
  refreshAll();
  const std::size_t afterFirst = sdk.sent("get_runtime_bundle").size();
  EXPECT_EQ(afterFirst, 2u);
  refreshAll();
  EXPECT_EQ(sdk.sent("get_runtime_bundle").size(), afterFirst);

  // Without a live-card manager even a forced live-card refresh finishes without asking anything.
  bool done = false;
  sdk->refreshLiveCards(true, [&] { done = true; });
  ASSERT_TRUE(sdk.waitUntil([&] { return done; }));
  EXPECT_EQ(sdk.sent("get_runtime_bundle").size(), afterFirst);
  EXPECT_TRUE(sdk.sent("get_live_cards").empty());
}

TEST_F(TarnwellFlagsTest, ExperimentOperationsReachTheAssignedVariation) {
  ASSERT_EQ(sdk.start(), SDKState::ready());
  std::optional<std::optional<ExperimentConfig>> config;
  sdk->getExperimentConfig("exp", [&](std::optional<ExperimentConfig> c) { config = std::move(c); });
  ASSERT_TRUE(sdk.waitUntil([&] { return config.has_value(); }));
  ASSERT_TRUE(*config);
  EXPECT_EQ((*config)->hypothesis, "h");
  EXPECT_EQ(flag<std::string>("exp", "d"), "x");
}

}  // namespace
}  // namespace tarnwell
