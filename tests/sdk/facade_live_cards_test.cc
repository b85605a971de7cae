// Live cards through the facade over a scripted gateway: the manager's gate, the refresh with
// its time to live, and the handle's hooks reporting from the host's thread.
#include <gtest/gtest.h>

#include <algorithm>
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

  template <typename T, typename Ask>
  T ask(Ask&& askSdk) {
    std::optional<T> answer;
    askSdk([&](T value) { answer = std::move(value); });
    EXPECT_TRUE(sdk.waitUntil([&] { return answer.has_value(); }));
    return answer.value_or(T{});
  }
  std::vector<std::string> ids() {
    std::vector<std::string> ids;
    for (const LiveCard& card : ask<std::optional<std::vector<LiveCard>>>([&](auto done) {
                                  sdk->getLiveCards(done);
                                }).value_or(std::vector<LiveCard>{})) {
      ids.push_back(card.id.value_or("?"));
    }
    return ids;
  }
  void refresh(bool force) {
    bool done = false;
    sdk->refreshLiveCards(force, [&] { done = true; });
    ASSERT_TRUE(sdk.waitUntil([&] { return done; }));
  }
  // The live-card events sent so far, then the live-card telemetry actions.
  std::vector<std::string> reported() {
    sdk->flush();
    sdk.settle();
    std::vector<std::string> names;
    auto keep = [&](const JSONValue& name) {
      if (name.asString() && name.asString()->view().find("live_card") != std::string_view::npos) {
        names.push_back(name.asString()->str());
      }
    };
    for (const JSONValue& batch : sdk.sent("track_event_batch")) {
      for (const JSONValue& item : *batch["items"].asArray()) keep(item["event_name"]);
    }
    for (const JSONValue& batch : sdk.sent("track_runtime_telemetry_batch")) {
      for (const JSONValue& item : *batch["items"].asArray()) keep(item["action"]);
    }
    return names;
  }
};

TEST_F(TarnwellLiveCardsTest, EveryQuestionIsClosedUntilStartUpBuildsTheManager) {
  EXPECT_FALSE(ask<bool>([&](auto done) { sdk->hasLiveCard("home_top", done); }));
  EXPECT_FALSE(ask<std::optional<LiveCard>>([&](auto done) { sdk->getLiveCard("home_top", done); }));
  EXPECT_FALSE(ask<std::optional<LiveCardHandle>>([&](auto done) { sdk->createLiveCardView("home_top", done); }));
  EXPECT_FALSE(ask<std::optional<std::vector<LiveCard>>>([&](auto done) { sdk->getLiveCards(done); }));
  refresh(true);
  EXPECT_TRUE(sdk.sent("get_runtime_bundle").empty());
  ASSERT_EQ(sdk.start(), SDKState::ready());
  EXPECT_TRUE(ask<bool>([&](auto done) { sdk->hasLiveCard("HOME_TOP", done); }));
  EXPECT_EQ(ask<std::optional<LiveCard>>([&](auto done) { sdk->getLiveCard("home_top", done); })->name, "Promo");
}

TEST_F(TarnwellLiveCardsTest, TheTimeToLiveHoldsARefreshBackUnlessForcedOrRefreshingEverything) {
  RuntimeConfig tuning = defaultRuntimeConfig();
  tuning.cache.liveCardsTtlMs = 3'600'000;
  std::string bootstrap = testing::kHarnessBootstrap;
  bootstrap.replace(bootstrap.find(R"(,"sessionToken")"), 0, R"(,"runtimeConfig":)" + tuning.encode().encode());
  sdk.answer("bootstrap", bootstrap);
  ASSERT_EQ(sdk.start(), SDKState::ready());
  EXPECT_EQ(ids(), std::vector<std::string>{"lc1"});
  // Past the stored bundle's 900 seconds, within the cards' hour.
  sdk.answer("get_runtime_bundle", liveCardBundle("lc2"));
  sdk.advance(1000s);
  refresh(false);
  EXPECT_EQ(ids(), std::vector<std::string>{"lc1"});
  refresh(true);
  EXPECT_EQ(ids(), std::vector<std::string>{"lc2"});
  sdk.answer("get_runtime_bundle", liveCardBundle("lc3"));
  sdk.advance(1000s);
  bool done = false;
  sdk->refreshAllContent([&] { done = true; });
  ASSERT_TRUE(sdk.waitUntil([&] { return done; }));
  EXPECT_EQ(ids(), std::vector<std::string>{"lc3"});
}

TEST_F(TarnwellLiveCardsTest, TheHandlesHooksReportFromAnyThreadAndANewStartUpForgetsTheImpression) {
  ASSERT_EQ(sdk.start(), SDKState::ready());
  const auto handle = ask<std::optional<LiveCardHandle>>([&](auto done) { sdk->createLiveCardView("home_top", done); });
  ASSERT_TRUE(handle);
  bool clicked = false;
  std::thread host([&] {
    handle->trackImpression();
    handle->trackImpression();
    LiveCardAction tap;
    tap.position = "list_tile";
    handle->trackClick(tap, [&] { clicked = true; });
  });
  host.join();
  ASSERT_TRUE(sdk.waitUntil([&] { return clicked; }));
  const std::vector<JSONValue> clicks = sdk.sent("track_live_card_click");
  ASSERT_EQ(clicks.size(), 1u);
  EXPECT_EQ(clicks[0]["platform"], JSONValue("ios"));
  EXPECT_EQ(clicks[0]["position"], JSONValue("list_tile"));
  EXPECT_FALSE(clicks[0]["impressionId"].isNull());
  EXPECT_EQ(reported(),
            (std::vector<std::string>{"live_card_impression", "live_card_click", "track_live_card_impression"}));
  // A new start-up's manager has reported nothing yet; the old handle still reports through its own.
  ASSERT_EQ(sdk.start(), SDKState::ready());
  handle->trackImpression();
  const auto fresh = ask<std::optional<LiveCardHandle>>([&](auto done) { sdk->createLiveCardView("home_top", done); });
  fresh->trackImpression();
  sdk.settle();
  std::vector<std::string> names = reported();
  EXPECT_EQ(std::count(names.begin(), names.end(), "track_live_card_impression"), 2);
}

}  // namespace
}  // namespace tarnwell
