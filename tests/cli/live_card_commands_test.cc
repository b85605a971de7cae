// The live-card commands against a scripted gateway serving one runtime bundle: the manager's
// list and choice, and the impression and click they report.
#include <gtest/gtest.h>

#include "tests/cli/cli_test_support.h"

namespace tarnwell::cli {
namespace {

using Lines = std::vector<std::string>;

// "lc1" waits for a trigger with a blank; "lc2" is the home screen's card; the draft never shows.
constexpr std::string_view kLiveCardBundle = R"({"ok":true,"data":{"versions":{"liveCards":"1"},"items":{
  "surveys":[],"announcements":[],"featureFlags":[],"liveCards":[
  {"$id":"lc1","name":"Spaced","status":"live","eventTriggerId":"home top","impressionCount":0,"tapCount":0,"version":1,"priority":0},
  {"$id":"lc2","name":"Promo","templateId":"tpl","status":"published","eventTriggerId":"home_top","deepLink":"app://promo",
   "impressionCount":0,"tapCount":0,"version":1,"priority":0},
  {"name":"Draft","status":"draft","eventTriggerId":"home_top","impressionCount":0,"tapCount":0,"version":1,"priority":9}]}}})";

struct LiveCardCommandsTest : testing::CommandHostFixture {
  void SetUp() override {
    transport->setResponder([](const HttpRequest& request) -> HttpResult {
      const std::optional<std::string> action = testing::gatewayInput(request)["action"].stringValue();
      if (action == "bootstrap") return tarnwell::testing::httpResponse(testing::kGoodBootstrap);
      if (action == "get_runtime_bundle") return tarnwell::testing::httpResponse(kLiveCardBundle);
      return tarnwell::testing::httpResponse(R"({"ok":true,"data":{}})");
    });
    startHost(testing::scriptedHostOptions(transport));
  }

  // The payloads the gateway received for `action`, straight or in a telemetry batch.
  std::vector<JSONValue> sent(std::string_view action) {
    std::vector<JSONValue> payloads;
    for (const HttpRequest& request : transport->requests()) {
      const JSONValue input = testing::gatewayInput(request);
      if (input["action"] == JSONValue(action)) payloads.push_back(input["payload"]);
      if (const JSONArray* items = input["payload"]["items"].asArray()) {
        for (const JSONValue& item : *items) {
          if (item["action"] == JSONValue(action)) payloads.push_back(item["payload"]);
        }
      }
    }
    return payloads;
  }
};

TEST_F(LiveCardCommandsTest, TheListAndTheChoiceFollowTheManager) {
  EXPECT_EQ(
      run({"live-cards", "has-live-card home_top", "live-card home_top"}),
      (Lines{R"({"cmd":"live-cards","ids":null})", R"({"cmd":"has-live-card","trigger":"home_top","value":false})",
             R"({"cmd":"live-card","trigger":"home_top","card":null})"}));
  run({"init"});
  EXPECT_EQ(run({"live-cards", "has-live-card HOME_TOP", R"(live-card "home top")", "live-card home_top",
                 R"(live-card " home_top")"}),
            (Lines{R"({"cmd":"live-cards","ids":["lc1","lc2",null]})",
                   R"({"cmd":"has-live-card","trigger":"HOME_TOP","value":true})",
                   R"({"cmd":"live-card","trigger":"home top","card":{"id":"lc1","name":"Spaced","templateId":null}})",
                   R"({"cmd":"live-card","trigger":"home_top","card":{"id":"lc2","name":"Promo","templateId":"tpl"}})",
                   R"({"cmd":"live-card","trigger":" home_top","card":null})"}));
}

TEST_F(LiveCardCommandsTest, ImpressionsGoOutOnceAndClicksCarryTheirArguments) {
  run({"init"});
  EXPECT_EQ(run({"live-card-impression home_top", "live-card-impression home_top", "live-card-impression nowhere",
                 R"(live-card-click home_top {"carouselItemIndex":1,"position":"carousel","buttonId":null})",
                 "live-card-click nowhere", "flush"}),
            (Lines{R"({"cmd":"live-card-impression","ok":true})", R"({"cmd":"live-card-impression","ok":true})",
                   R"({"cmd":"live-card-impression","ok":false})", R"({"cmd":"live-card-click","ok":true})",
                   R"({"cmd":"live-card-click","ok":false})", R"({"cmd":"flush","ok":true})"}));
  ASSERT_EQ(sent("track_live_card_impression").size(), 1u);
  const std::vector<JSONValue> clicks = sent("track_live_card_click");
  ASSERT_EQ(clicks.size(), 1u);
  EXPECT_EQ(clicks[0]["liveCardId"], JSONValue("lc2"));
  EXPECT_EQ(clicks[0]["carouselItemIndex"], JSONValue(1));
  EXPECT_EQ(clicks[0]["position"], JSONValue("carousel"));
  EXPECT_EQ(clicks[0]["impressionId"], sent("track_live_card_impression")[0]["id"]);
  EXPECT_EQ(run({R"(live-card-click home_top {"carouselItemIndex":"1"})", R"(live-card-click home_top {"buton":"x"})",
                 "live-card-click home_top [1]"}),
            (Lines{R"({"cmd":"live-card-click","error":"carouselItemIndex must be a whole number"})",
                   R"({"cmd":"live-card-click","error":"unknown click argument \"buton\""})",
                   R"({"cmd":"live-card-click","error":"click arguments must be a JSON object"})"}));
  EXPECT_EQ(sent("track_live_card_click").size(), 1u);
}

}  // namespace
}  // namespace tarnwell::cli
