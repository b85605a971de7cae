#include "tools/gateway/response_actions.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/gateway/gateway_fixture.h"
#include "tests/gateway/sdk_payloads.h"
#include "tests/support/scratch_dir.h"

namespace tarnwell::gateway {
namespace {

class ResponseActionsTest : public GatewayServerTest {
 protected:
  // "kind/id/response id" of each response `path` lists, in order.
  std::vector<std::string> listed(const std::string& path) {
    std::vector<std::string> list;
    const JSONValue responses = gateway().getJSON(path);
    for (const JSONValue& item : *responses["items"].asArray()) {
      list.push_back(item["kind"].stringValue().value_or("?") + "/" + item["id"].stringValue().value_or("null") + "/" +
                     item["payload"]["id"].stringValue().value_or("?"));
    }
    return list;
  }
};

TEST_F(ResponseActionsTest, KeepsEveryKeyOfASurveyResponseInTheOrderSentWithItsNulls) {
  const std::string token = bootstrapToken();
  EXPECT_EQ(gateway().call("submit_survey_response", surveyResponse("r-1", "srv_checkout_nps"), token).encode(),
            R"({"ok":true,"data":{"success":true}})");

  EXPECT_EQ(gateway().getJSON("/__gateway/responses").encode(),
            R"({"items":[{"sequence":1,"kind":"survey","id":"srv_checkout_nps","payload":{"id":"r-1",)"
            R"("userId":"anonymous_A1","appVersion":"2.4.0","platform":"ios","metadata":null,)"
            R"("surveyId":"srv_checkout_nps","responses":"{\"nps_score\":9}","completed":true,)"
            R"("surveyName":"Checkout NPS","userName":null,"userEmail":null,"userSegment":"pro",)"
            R"("answers":"{\"nps_score\":9}","score":9,"completionTime":12,)"
            R"("deviceInfo":"{\"model\":\"iPhone15,2\"}","location":null,)"
            R"("submittedAt":"2026-01-01T00:00:00.000Z","ownerId":"user_owner_1"},)"
            R"("sessionToken":")" +
                token + R"(","teamId":"team-1","receivedAt":"2026-01-01T00:00:00.000Z"}]})");
}

TEST_F(ResponseActionsTest, KeepsABannerResponseUnderItsBannerIdAndServesEachFilterInArrivalOrder) {
  const auto submit = [this](std::string_view action, const JSONObject& payload) {
    return gateway().call(action, payload).encode();
  };
  EXPECT_EQ(submit("submit_announcement_banner_response", bannerResponse("r-1", "ann_new_dashboard")),
            R"({"ok":true,"data":{"success":true}})");
  submit("submit_survey_response", surveyResponse("r-2", "srv_checkout_nps"));
  submit("submit_survey_response", surveyResponse("r-3", "srv_third_search"));
  // A survey that happens to share the banner's id is still a survey.
  submit("submit_survey_response", surveyResponse("r-4", "ann_new_dashboard"));

  const JSONValue all = gateway().getJSON("/__gateway/responses");
  ASSERT_EQ(all["items"].asArray()->size(), 4u) << all.encode();
  const JSONValue& banner = all["items"].asArray()->front();
  EXPECT_EQ(banner["kind"].encode(), R"("announcement")");
  EXPECT_EQ(banner["sessionToken"].encode(), "null");
  EXPECT_EQ(banner["teamId"].encode(), "null");
  EXPECT_EQ(banner["payload"].encode(),
            R"({"id":"r-1","userId":"anonymous_A1","appVersion":"2.4.0","platform":"ios","metadata":null,)"
            R"("bannerId":"ann_new_dashboard","responses":"{\"action\":\"open_dashboard\"}","completed":true,)"
            R"("bannerName":"New dashboard","userName":null,"userEmail":null,"userSegment":"pro",)"
            R"("answers":"{\"action\":\"open_dashboard\"}","score":null,"completionTime":12,)"
            R"("deviceInfo":"{\"model\":\"iPhone15,2\"}","location":null,)"
            R"("submittedAt":"2026-01-01T00:00:00.000Z","ownerId":"user_owner_1"})");

  EXPECT_EQ(listed("/__gateway/responses"),
            (std::vector<std::string>{"announcement/ann_new_dashboard/r-1", "survey/srv_checkout_nps/r-2",
                                      "survey/srv_third_search/r-3", "survey/ann_new_dashboard/r-4"}));
  EXPECT_EQ(listed("/__gateway/responses?surveyId=srv_checkout_nps"),
            std::vector<std::string>{"survey/srv_checkout_nps/r-2"});
  EXPECT_EQ(listed("/__gateway/responses?bannerId=ann_new_dashboard"),
            std::vector<std::string>{"announcement/ann_new_dashboard/r-1"});
  EXPECT_EQ(listed("/__gateway/responses?surveyId=ann_new_dashboard"),
            std::vector<std::string>{"survey/ann_new_dashboard/r-4"});
  EXPECT_EQ(listed("/__gateway/responses?bannerId=ann_new_dashboard&surveyId=srv_third_search"),
            (std::vector<std::string>{"announcement/ann_new_dashboard/r-1", "survey/srv_third_search/r-3"}));
  EXPECT_EQ(listed("/__gateway/responses?surveyId=srv_feedback_limited"), std::vector<std::string>{});
}

TEST_F(ResponseActionsTest, KeepsThePayloadTextByteForByteAsTheDeviceSentIt) {
  testing::ScratchDir scratch;
  const std::string database = scratch.file("gateway.sqlite");
  serve(testContent(), standardActions(), database);
  // Spacing, a trailing zero and an escaped letter that an encoder of the decoded payload would
  // each write differently.
  const std::string payload =
      R"({ "id": "r-1", "userId": "anonymous_A1", "appVersion": "2.4.0", "platform": "ios", "metadata": null,)"
      R"( "surveyId": "srv_checkout_nps", "responses": "{\"nps_score\": 9}", "completed": true,)"
      R"( "surveyName": "Caf\u00e9 NPS", "userName": null, "userEmail": null, "userSegment": null,)"
      R"( "answers": "{}", "score": 9.50, "completionTime": 12, "deviceInfo": null, "location": null,)"
      R"( "submittedAt": "2026-01-01T00:00:00.000Z", "ownerId": null })";
  const std::string input = R"({"action":"submit_survey_response","payload":)" + payload + "}";
  const httplib::Result result =
      gateway().postRaw(JSONValue(JSONObject{{"body", input}}).encode(), kProjectId, kFunctionId);
  ASSERT_TRUE(result);
  EXPECT_EQ(testing::envelopeOf(result->body).encode(), R"({"ok":true,"data":{"success":true}})");
  const JSONValue listing = gateway().getJSON("/__gateway/responses");
  ASSERT_EQ(listing["items"].asArray()->size(), 1u) << listing.encode();
  const JSONValue& served = listing["items"].asArray()->front()["payload"];
  EXPECT_EQ(served["surveyName"].encode(), "\"Caf\u00e9 NPS\"");
  EXPECT_EQ(served["score"].encode(), "9.5");

  client_.reset();
  server_.reset();
  GatewayStore store(database);
  ASSERT_EQ(store.responseStore().responses().size(), 1u);
  EXPECT_EQ(store.responseStore().responses().front().payloadText, payload);
}

// A tap on a live card as the SDK sends it: all 17 keys, absent ones as null.
JSONObject liveCardClick(const std::string& id, const std::string& liveCardId) {
  return JSONObject{{"id", id},
                    {"liveCardId", liveCardId},
                    {"userId", "anonymous_A1"},
                    {"sessionId", nullptr},
                    {"deviceId", "ios_device_D1"},
                    {"impressionId", nullptr},
                    {"buttonType", "primary"},
                    {"buttonId", nullptr},
                    {"actionType", "deeplink"},
                    {"actionTarget", "tarnwelldemo://upgrade"},
                    {"carouselItemIndex", 1},
                    {"position", nullptr},
                    {"timestamp", "2026-01-01T00:00:00.000Z"},
                    {"timeToAction", 1200},
                    {"appVersion", "2.4.0"},
                    {"platform", "ios"},
                    {"metadata", nullptr}};
}

TEST_F(ResponseActionsTest, KeepsLiveCardClicksApartFromTheResponses) {
  EXPECT_EQ(gateway().call("track_live_card_click", liveCardClick("c-1", "card_upgrade_pro")).encode(),
            R"({"ok":true,"data":{"success":true}})");
  gateway().call("track_live_card_click", liveCardClick("c-2", "card_whats_new"));
  gateway().call("submit_survey_response", surveyResponse("r-1", "srv_checkout_nps"));

  EXPECT_EQ(listed("/__gateway/live-card-clicks"),
            (std::vector<std::string>{"liveCardClick/card_upgrade_pro/c-1", "liveCardClick/card_whats_new/c-2"}));
  EXPECT_EQ(listed("/__gateway/live-card-clicks?liveCardId=card_whats_new"),
            std::vector<std::string>{"liveCardClick/card_whats_new/c-2"});
  EXPECT_EQ(listed("/__gateway/responses"), std::vector<std::string>{"survey/srv_checkout_nps/r-1"});

  JSONObject textIndex = liveCardClick("c-3", "card_whats_new");
  textIndex.set("carouselItemIndex", "1");
  EXPECT_EQ(gateway().call("track_live_card_click", textIndex)["error"].encode(),
            R"("Invalid track_live_card_click payload: carouselItemIndex must be a number or null")");
  JSONObject noTarget = liveCardClick("c-4", "card_whats_new");
  noTarget.erase("actionTarget");
  EXPECT_EQ(gateway().call("track_live_card_click", noTarget)["error"].encode(),
            R"("Invalid track_live_card_click payload: actionTarget is missing")");
  EXPECT_EQ(listed("/__gateway/live-card-clicks").size(), 2u);
}

}  // namespace
}  // namespace tarnwell::gateway
