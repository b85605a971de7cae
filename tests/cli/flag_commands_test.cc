// The content and flag commands against a scripted gateway serving one runtime bundle.
#include <gtest/gtest.h>

#include "tests/cli/cli_test_support.h"

namespace tarnwell::cli {
namespace {

using Lines = std::vector<std::string>;

// "checkout" serves "express" to plan "pro" users, else "classic"; "exp" is an experiment with
// one variation, so its assignment is known in advance.
constexpr std::string_view kBundle = R"({"ok":true,"data":{"versions":{"featureFlags":"v7"},"items":{
  "surveys":[{"$id":"s1"}],"announcements":[],"liveCards":[],"featureFlags":[
    {"$id":"f1","key":"checkout","status":"active","defaultValue":"classic","metadata":
      "{\"deliveryMode\":\"audience_variants\",\"audienceVariants\":[{\"priority\":1,\"value\":\"express\",\"rules\":[{\"field\":\"plan\",\"value\":\"pro\"}]}]}"},
    {"$id":"f2","key":"limit","status":"published","defaultValue":"12"},
    {"$id":"f3","key":"exp","status":"active","type":"experiment",
     "variations":"[{\"id\":\"v1\",\"name\":\"Blue\",\"value\":\"blue\"}]",
     "experimentConfig":"{\"hypothesis\":\"Blue sells\",\"goals\":[{\"id\":\"g1\"}]}"}]}}})";

struct FlagCommandsTest : testing::CommandHostFixture {
  int bundleRequests = 0;

  void SetUp() override {
    transport->setResponder([this](const HttpRequest& request) -> HttpResult {
      const std::optional<std::string> action = testing::gatewayInput(request)["action"].stringValue();
      if (action == "bootstrap") return tarnwell::testing::httpResponse(testing::kGoodBootstrap);
      if (action == "get_runtime_bundle") {
        ++bundleRequests;
        return tarnwell::testing::httpResponse(kBundle);
      }
      return tarnwell::testing::httpResponse(R"({"ok":true,"data":{}})");
    });
    startHost(testing::scriptedHostOptions(transport));
  }
};

TEST_F(FlagCommandsTest, FlagsAnswerAbsentOrTheDefaultBeforeReady) {
  EXPECT_EQ(run({"flag checkout", R"(flag checkout "none")", "experiment exp"}),
            (Lines{R"({"cmd":"flag","key":"checkout","found":false,"value":null})",
                   R"({"cmd":"flag","key":"checkout","value":"none"})",
                   R"({"cmd":"experiment","key":"exp","variation":null})"}));
}

TEST_F(FlagCommandsTest, FlagReadsAreTypedByTheDefaultAndFollowTargeting) {
  run({"init"});
  EXPECT_EQ(run({"flag checkout", R"(flag checkout "none")", "set-user-property plan \"pro\"",
                 R"(flag checkout "none")", "flag limit 0", "flag limit true", "flag limit {}", "flag unknown 3.5"}),
            (Lines{R"({"cmd":"flag","key":"checkout","found":true,"value":"classic"})",
                   R"({"cmd":"flag","key":"checkout","value":"classic"})", R"({"cmd":"set-user-property","ok":true})",
                   R"({"cmd":"flag","key":"checkout","value":"express"})", R"({"cmd":"flag","key":"limit","value":12})",
                   R"({"cmd":"flag","key":"limit","value":true})",  // 12 is no bool: the default
                   R"({"cmd":"flag","key":"limit","value":12})", R"({"cmd":"flag","key":"unknown","value":3.5})"}));
}

TEST_F(FlagCommandsTest, ExperimentCommandsShowTheAssignmentAndTrackEvents) {
  run({"init"});
  EXPECT_EQ(
      run({"experiment exp", "experiment-config exp", "experiment limit", R"(exposure exp {"screen":"cart"})",
           R"(conversion exp purchase 9.5 {"coupon":"X"})", "conversion exp", "exposure", "conversion exp goal [1,"}),
      (Lines{
          R"({"cmd":"experiment","key":"exp","variation":{"id":"v1","name":"Blue","value":"blue"}})",
          R"({"cmd":"experiment-config","key":"exp","config":{"hypothesis":"Blue sells","goals":[{"id":"g1"}]}})",
          R"({"cmd":"experiment","key":"limit","variation":null})", R"({"cmd":"exposure","ok":true})",
          R"({"cmd":"conversion","ok":true})", R"({"cmd":"conversion","ok":true})",
          R"({"cmd":"exposure","error":"missing flag key"})",
          R"({"cmd":"conversion","error":"bad value: Unable to parse JSON: The JSON document has an improper structure: missing or superfluous commas, braces, missing keys, etc."})"}));
}

TEST_F(FlagCommandsTest, RefreshAndBundleShowWhatIsStored) {
  EXPECT_EQ(run({"bundle"}), (Lines{R"({"cmd":"bundle","bundle":null})"}));
  run({"init"});
  EXPECT_EQ(bundleRequests, 1);  // the content kinds share one request at start-up
  const Lines lines =
      run({"bundle", "refresh flags", "refresh flags force", "refresh", "refresh stickers", "refresh all force"});
  ASSERT_EQ(lines.size(), 6u);
  const JSONValue bundle = JSONValue::decode(lines[0]);
  EXPECT_EQ(bundle["versions"], JSONValue(JSONObject{{"featureFlags", "v7"}}));
  EXPECT_EQ(bundle["featureFlags"], JSONValue(3));
  EXPECT_EQ(bundle["surveys"], JSONValue(1));
  EXPECT_TRUE(bundle["loadedAt"].isNumber());
  EXPECT_EQ(lines[1], R"({"cmd":"refresh","kind":"flags","force":false})");
  EXPECT_EQ(lines[2], R"({"cmd":"refresh","kind":"flags","force":true})");
  EXPECT_EQ(lines[3], R"({"cmd":"refresh","kind":"all","force":false})");
  EXPECT_EQ(lines[4], R"({"cmd":"refresh","error":"unknown content kind \"stickers\""})");
  EXPECT_EQ(lines[5], R"({"cmd":"refresh","error":"refresh all takes no \"force\": it forces live cards alone"})");
  EXPECT_EQ(bundleRequests, 1);  // the stored bundle is fresh: even a forced refresh reads it
}

}  // namespace
}  // namespace tarnwell::cli
