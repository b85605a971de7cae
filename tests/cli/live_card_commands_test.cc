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
};

TEST_F(LiveCardCommandsTest, TheListAndTheChoiceFollowTheManager) {
  EXPECT_EQ(
      run({"live-cards", "has-live-card home_top"}),
      (Lines{R"({"cmd":"live-cards","ids":null})", R"({"cmd":"has-live-card","trigger":"home_top","value":false})"}));
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
                 "live-card-click nowhere"}),
            (Lines{R"({"cmd":"live-card-impression","ok":true})", R"({"cmd":"live-card-impression","ok":true})",
                   R"({"cmd":"live-card-impression","ok":false})", R"({"cmd":"live-card-click","ok":true})",
                   R"({"cmd":"live-card-click","ok":false})"}));
  // The click after the impression, with the arguments given (the last request: nothing follows it).
  const JSONValue click = testing::gatewayInput(transport->requests().back())["payload"];
  EXPECT_EQ(JSONValue(JSONArray{click["liveCardId"], click["carouselItemIndex"], click["position"]}).encode(),
            R"(["lc2",1,"carousel"])");
  EXPECT_FALSE(click["impressionId"].isNull());
  const std::size_t requests = transport->requests().size();
  EXPECT_EQ(run({R"(live-card-click home_top {"carouselItemIndex":"1"})", R"(live-card-click home_top {"buton":"x"})",
                 "live-card-click home_top [1]"}),
            (Lines{R"({"cmd":"live-card-click","error":"carouselItemIndex must be a whole number"})",
                   R"({"cmd":"live-card-click","error":"unknown click argument \"buton\""})",
                   R"({"cmd":"live-card-click","error":"click arguments must be a JSON object"})"}));
  EXPECT_EQ(transport->requests().size(), requests);
}

}  // namespace
}  // namespace tarnwell::cli
