// Live cards through the facade over a scripted gateway: the manager's gate, the refresh with
// its time to live, and the handle's hooks reporting from the host's thread.
#include <gtest/gtest.h>

#include <thread>

#include "tarnwell/testing/sdk_harness.h"

namespace tarnwell {
namespace {

using namespace std::chrono_literals;

std::string liveCardBundle(const std::string& id) {
  return R"({"ok":true,"data":{"versions":{"liveCards":")" + id +
         R"("},"items":{"liveCards":[)"
         R"({"$id":")" +
         id +
         R"(","name":"Promo","status":"live","eventTriggerId":"home_top","deepLink":"app://p",)"
         R"("impressionCount":0,"tapCount":0,"version":1,"priority":0}]}}})";
}

struct TarnwellLiveCardsTest : ::testing::Test {
  testing::SdkHarness sdk;
  TarnwellLiveCardsTest() { sdk.answer("get_runtime_bundle", liveCardBundle("lc1")); }

  // The first card's id after a refresh; "" without one.
  std::string refreshedId(bool force) {
    bool done = false;
    sdk->refreshLiveCards(force, [&] { done = true; });
    EXPECT_TRUE(sdk.waitUntil([&] { return done; }));
    const auto cards = sdk.answerOf<std::optional<std::vector<LiveCard>>>([&](auto done) { sdk->getLiveCards(done); });
    return cards && !cards->empty() ? cards->front().id.value_or("?") : "";
  }
  // How many live-card impressions went out, once everything was flushed.
  std::size_t impressionsSent() {
    sdk->flush();
    sdk.settle();
    std::size_t count = 0;
    for (const JSONValue& batch : sdk.sent("track_runtime_telemetry_batch")) {
      for (const JSONValue& item : *batch["items"].asArray())
        count += item["action"] == JSONValue("track_live_card_impression");
    }
    return count;
  }
};

TEST_F(TarnwellLiveCardsTest, TheManagerGatesEveryQuestionAndItsTimeToLiveHoldsARefreshBack) {
  EXPECT_FALSE(sdk.answerOf<bool>([&](auto done) { sdk->hasLiveCard("home_top", done); }));
  EXPECT_FALSE(sdk.answerOf<std::optional<LiveCardHandle>>([&](auto done) { sdk->createLiveCardView("home_top", done); }));
  EXPECT_EQ(refreshedId(true), "");
  EXPECT_TRUE(sdk.sent("get_runtime_bundle").empty());

  RuntimeConfig tuning = defaultRuntimeConfig();
  tuning.cache.liveCardsTtlMs = 3'600'000;
  std::string bootstrap = testing::kHarnessBootstrap;
  bootstrap.replace(bootstrap.find(R"(,"sessionToken")"), 0, R"(,"runtimeConfig":)" + tuning.encode().encode());
  sdk.answer("bootstrap", bootstrap);
  ASSERT_EQ(sdk.start(), SDKState::ready());
  EXPECT_EQ(sdk.answerOf<std::optional<LiveCard>>([&](auto done) { sdk->getLiveCard("HOME_TOP", done); })->id, "lc1");
  // Past the stored bundle's 900 seconds, within the cards' hour.
  sdk.answer("get_runtime_bundle", liveCardBundle("lc2"));
  sdk.advance(1000s);
  EXPECT_EQ(refreshedId(false), "lc1");
  EXPECT_EQ(refreshedId(true), "lc2");
}

TEST_F(TarnwellLiveCardsTest, TheHandlesHooksReportFromAnyThreadAndANewStartUpForgetsTheImpression) {
  ASSERT_EQ(sdk.start(), SDKState::ready());
  const auto handle = sdk.answerOf<std::optional<LiveCardHandle>>([&](auto done) { sdk->createLiveCardView("home_top", done); });
  ASSERT_TRUE(handle);
  bool clicked = false;
  std::thread host([&] {
    handle->trackImpression();
    handle->trackImpression();
    handle->trackClick({}, [&] { clicked = true; });
  });
  host.join();
  ASSERT_TRUE(sdk.waitUntil([&] { return clicked; }));
  const std::vector<JSONValue> clicks = sdk.sent("track_live_card_click");
  ASSERT_EQ(clicks.size(), 1u);
  EXPECT_EQ(clicks[0]["platform"], JSONValue("ios"));
  EXPECT_FALSE(clicks[0]["impressionId"].isNull());
  EXPECT_EQ(impressionsSent(), 1u);
  // A new start-up's manager has reported nothing yet; the old handle still reports through its own.
  ASSERT_EQ(sdk.start(), SDKState::ready());
  handle->trackImpression();
  EXPECT_EQ(impressionsSent(), 1u);
  sdk.answerOf<std::optional<LiveCardHandle>>([&](auto done) { sdk->createLiveCardView("home_top", done); })->trackImpression();
  EXPECT_EQ(impressionsSent(), 2u);
}

}  // namespace
}  // namespace tarnwell
