// The road of one event to an answered survey, against the local gateway over libcurl: the
// bundle brings the survey, a tracked event presents it, the answers and the outcome event reach
// the gateway, and the delivery ledger outlives the SDK object.
#include <gtest/gtest.h>

#include "tarnwell/testing/virtual_clock.h"
#include "tests/integration/sdk_gateway_fixture.h"

namespace tarnwell {
namespace {

constexpr const char* kSurveys = R"({"surveys":[
  {"$id":"srv_once","name":"Once","status":"published","eventTriggerId":"checkout_completed",
   "targeting":"{\"rules\":[],\"audience\":\"all\",\"percentage\":100,\"frequency\":{\"showOncePerUser\":true}}"}]})";

struct SurveyPathTest : testing::SdkOverGatewayTest {
  std::shared_ptr<MemoryKeyValueStore> store = std::make_shared<MemoryKeyValueStore>();

  void SetUp() override {
    SdkOverGatewayTest::SetUp();
    ASSERT_EQ(gateway().postJSON("/__gateway/content", kSurveys)->status, 200);
    start();
  }
  void start() {
    HostOptions options;
    options.store = store;
    startSdk(std::move(options));
  }
  void track(const std::string& name) {
    bool done = false;
    sdk->trackEvent(name, {}, {}, [&] { done = true; });
    ASSERT_TRUE(pumpUntil([&] { return done; }));
  }
  std::optional<Survey> current() {
    std::optional<std::optional<Survey>> answer;
    sdk->getCurrentSurvey([&](std::optional<Survey> survey) { answer = std::move(survey); });
    EXPECT_TRUE(pumpUntil([&] { return answer.has_value(); }));
    return answer.value_or(std::nullopt);
  }
  bool submit(const Survey& survey, JSONObject answers) {
    std::optional<bool> accepted;
    sdk->submitSurveyResponse(survey, std::move(answers), true, [&](bool ok) { accepted = ok; });
    EXPECT_TRUE(pumpUntil([&] { return accepted.has_value(); }));
    return accepted.value_or(false);
  }
  std::vector<JSONValue> items(const std::string& path) {
    const JSONValue answer = gateway().getJSON(path);
    return answer["items"].isArray() ? *answer["items"].asArray() : std::vector<JSONValue>{};
  }
};

TEST_F(SurveyPathTest, AnEventPresentsTheSurveyAndItsAnswersReachTheGateway) {
  track("Checkout Completed");
  const std::optional<Survey> survey = current();
  ASSERT_TRUE(survey);
  EXPECT_EQ(survey->id, "srv_once");
  ASSERT_TRUE(submit(*survey, JSONObject{{"nps_score", 9}}));
  EXPECT_FALSE(current());

  const std::vector<JSONValue> responses = items("/__gateway/responses?surveyId=srv_once");
  ASSERT_EQ(responses.size(), 1u);
  const JSONObject& payload = *responses[0]["payload"].asObject();
  EXPECT_EQ(payload.size(), 19u);
  EXPECT_EQ(payload.begin()->first, "id");
  EXPECT_EQ(*payload.find("responses"), JSONValue(R"({"nps_score":9})"));
  EXPECT_EQ(*payload.find("completed"), JSONValue(true));
  EXPECT_EQ(*payload.find("platform"), JSONValue("ios"));

  sdk->flush();
  ASSERT_TRUE(pumpUntil([&] { return !items("/__gateway/events?name=survey_submitted").empty(); }));
  const JSONValue submitted = items("/__gateway/events?name=survey_submitted").at(0);
  EXPECT_EQ(submitted["properties"]["survey_id"], JSONValue("srv_once"));
  EXPECT_EQ(submitted["properties"]["score"], JSONValue(9));
  EXPECT_EQ(items("/__gateway/events?name=survey_impression").size(), 1u);
}

TEST_F(SurveyPathTest, TheLedgerBlocksAnAnsweredSurveyAfterARestartOverTheSameStore) {
  track("checkout_completed");
  ASSERT_TRUE(submit(*current(), {}));
  sdk.reset();
  start();
  track("checkout_completed");
  EXPECT_FALSE(current());
  std::optional<std::vector<DeliveryExplanation>> verdicts;
  sdk->explainSurvey("checkout_completed", [&](std::vector<DeliveryExplanation> v) { verdicts = std::move(v); });
  ASSERT_TRUE(pumpUntil([&] { return verdicts.has_value(); }));
  EXPECT_EQ(*verdicts, (std::vector<DeliveryExplanation>{{"srv_once", DeliveryVerdict::frequency}}));
}

TEST_F(SurveyPathTest, AFaultOnSubmissionKeepsTheSurveyAndItsLedger) {
  track("checkout_completed");
  const Survey survey = *current();
  ASSERT_EQ(gateway().postJSON("/__gateway/faults", R"({"action":"submit_survey_response","status":503})")->status,
            200);
  EXPECT_FALSE(submit(survey, {}));
  EXPECT_EQ(current()->id, "srv_once");
  EXPECT_TRUE(items("/__gateway/responses").empty());
  std::optional<SurveyLedgerEntry> ledger;
  sdk->getSurveyLedgerEntry("srv_once", [&](SurveyLedgerEntry entry) { ledger = entry; });
  ASSERT_TRUE(pumpUntil([&] { return ledger.has_value(); }));
  EXPECT_EQ(ledger->impressions, 1);
  EXPECT_EQ(ledger->completed, 0);
  // The view offers to send again, and the second try goes through.
  EXPECT_TRUE(submit(survey, {}));
  EXPECT_EQ(items("/__gateway/responses").size(), 1u);
}

}  // namespace
}  // namespace tarnwell
