// The survey and announcement commands, their callback lines and the on-device counters, against a
// scripted gateway serving one runtime bundle; argument splitting as these commands meet it.
#include <gtest/gtest.h>

#include "tests/cli/cli_test_support.h"

namespace tarnwell::cli {
namespace {

using Lines = std::vector<std::string>;

// "s2" (pro users only) outranks "s1" (shown once) on checkout_done; "s3" waits for the third
// search; "s4" may be shown again; the draft has no id. "a1" opens the dashboard from its primary button.
constexpr std::string_view kDeliveryBundle = R"({"ok":true,"data":{"versions":{"surveys":"1"},"items":{"surveys":[
  {"$id":"s1","name":"Checkout NPS","templateId":"nps","status":"published","eventTriggerId":"checkout_done",
   "targeting":"{\"rules\":[],\"audience\":\"all\",\"percentage\":100,\"priority\":1,\"frequency\":{\"maxImpressions\":1}}"},
  {"$id":"s2","name":"Pro rating","status":"published","eventTriggerId":"checkout_done",
   "targeting":"{\"rules\":[{\"enabled\":true,\"conditions\":[{\"field\":\"plan\",\"operator\":\"equals\",\"value\":\"pro\",\"enabled\":true}],\"requireAllConditions\":true}],\"audience\":\"all\",\"percentage\":100,\"priority\":9}"},
  {"$id":"s3","name":"Search","status":"published","eventTriggerId":"search",
   "targeting":"{\"rules\":[],\"audience\":\"all\",\"percentage\":100,\"behavioralTrigger\":{\"enabled\":true,\"eventName\":\"search\",\"count\":3,\"operator\":\"equals\"}}"},
  {"$id":"s4","name":"Feedback","status":"published","eventTriggerId":"feedback",
   "targeting":"{\"rules\":[],\"audience\":\"all\",\"percentage\":100,\"frequency\":{\"showOncePerUser\":false,\"maxImpressions\":5}}"},
  {"name":"Draft","status":"draft"}],
  "announcements":[{"$id":"a1","name":"New dashboard","status":"published","eventTriggerId":"dashboard_opened",
    "structure":"{\"buttons\":{\"primary\":{\"text\":\"Try it now\",\"action\":\"open\",\"deeplinkUri\":\"demo://dashboard\",\"target\":\"dashboard\"},\"secondary\":{\"text\":\"Later\",\"target\":\"home\"}}}"}],
  "liveCards":[],"featureFlags":[]}}})";

constexpr std::string_view kS1 = R"({"id":"s1","name":"Checkout NPS","templateId":"nps"})";
constexpr std::string_view kS2 = R"({"id":"s2","name":"Pro rating","templateId":null})";
constexpr std::string_view kA1 = R"({"id":"a1","name":"New dashboard","templateId":null})";

std::string joined(std::string_view a, std::string_view b, std::string_view c = "") {
  return std::string(a) + std::string(b) + std::string(c);
}

struct DeliveryCommandsTest : testing::CommandHostFixture {
  void SetUp() override {
    transport->setResponder([](const HttpRequest& request) -> HttpResult {
      const std::optional<std::string> action = testing::gatewayInput(request)["action"].stringValue();
      if (action == "bootstrap") return tarnwell::testing::httpResponse(testing::kGoodBootstrap);
      if (action == "get_runtime_bundle") return tarnwell::testing::httpResponse(kDeliveryBundle);
      return tarnwell::testing::httpResponse(R"({"ok":true,"data":{}})");
    });
  }

  void start(MainContext::Mode mode = MainContext::Mode::hostPumped) {
    startHost(testing::scriptedHostOptions(transport, mode));
    ASSERT_EQ(run({"init"}), Lines{R"({"cmd":"init","state":"ready"})"});
  }

  // The payloads the gateway received for `action`.
  std::vector<JSONValue> sent(std::string_view action) {
    std::vector<JSONValue> payloads;
    for (const HttpRequest& request : transport->requests()) {
      const JSONValue input = testing::gatewayInput(request);
      if (input["action"] == JSONValue(action)) payloads.push_back(input["payload"]);
    }
    return payloads;
  }
};

// A survey that the event presents is current once the track line is out, also when the SDK's
// main context runs on a thread of its own.
struct DeliveryModeTest : DeliveryCommandsTest, ::testing::WithParamInterface<MainContext::Mode> {};

TEST_P(DeliveryModeTest, TrackAnswersOnceTheSurveyItPresentedIsCurrent) {
  start(GetParam());
  EXPECT_EQ(run({"current-survey", "track checkout_done", "current-survey"}),
            (Lines{R"({"cmd":"current-survey","survey":null})", R"({"cmd":"track","ok":true})",
                   joined(R"({"cmd":"current-survey","survey":)", kS1, "}")}));
}

INSTANTIATE_TEST_SUITE_P(BothContextModes, DeliveryModeTest,
                         ::testing::Values(MainContext::Mode::hostPumped, MainContext::Mode::ownThread),
                         [](const auto& info) {
                           return info.param == MainContext::Mode::hostPumped ? "hostPumped" : "ownThread";
                         });

TEST_F(DeliveryCommandsTest, ListsAndGatesAnswerNullOrFalseWithoutAManagerAndFollowTheBundleAfterStartUp) {
  startHost(testing::scriptedHostOptions(transport));
  EXPECT_EQ(
      run({"surveys", "can-show-survey checkout_done", "show-survey checkout_done"}),
      (Lines{R"({"cmd":"surveys","ids":null})", R"({"cmd":"can-show-survey","event":"checkout_done","value":false})",
             R"({"cmd":"show-survey","event":"checkout_done","survey":null})"}));
  run({"init"});
  EXPECT_EQ(run({"surveys", "announcements", "can-show-survey checkout_done", "can-show-announcement nothing"}),
            (Lines{R"({"cmd":"surveys","ids":["s1","s2","s3","s4",null]})", R"({"cmd":"announcements","ids":["a1"]})",
                   R"({"cmd":"can-show-survey","event":"checkout_done","value":true})",
                   R"({"cmd":"can-show-announcement","event":"nothing","value":false})"}));
}

TEST_F(DeliveryCommandsTest, ShowSurveyNamesOnlyTheSurveyThisCallPresented) {
  start();
  EXPECT_EQ(run({"show-survey nothing_matches", R"(show-survey " Checkout Done")", "show-survey checkout_done",
                 "current-survey"}),
            (Lines{R"({"cmd":"show-survey","event":"nothing_matches","survey":null})",
                   joined(R"({"cmd":"show-survey","event":" Checkout Done","survey":)", kS1, "}"),
                   // Shown once per user: nothing new, though s1 stays current.
                   R"({"cmd":"show-survey","event":"checkout_done","survey":null})",
                   joined(R"({"cmd":"current-survey","survey":)", kS1, "}")}));
  // The property's JSON text is the string pro, which the pro users' rule wants.
  EXPECT_EQ(run({R"(set-user-property plan "pro")", "show-survey checkout done"}),
            (Lines{R"({"cmd":"set-user-property","ok":true})",
                   joined(R"({"cmd":"show-survey","event":"checkout done","survey":)", kS2, "}")}));
  EXPECT_EQ(
      run({R"(show-survey "checkout_done)", R"(show-survey "a" b)"}),
      (Lines{
          R"({"cmd":"show-survey","error":"bad event name: Unable to parse JSON: A string is opened, but never closed."})",
          R"({"cmd":"show-survey","error":"bad event name: Unable to parse JSON: The JSON document has an improper structure: missing or superfluous commas, braces, missing keys, etc."})"}));
}

TEST_F(DeliveryCommandsTest, SubmitSurveySendsTheAnswersAndPrintsTheCallbackLineBeforeItsResult) {
  start();
  EXPECT_EQ(run({"submit-survey {}", "show-survey checkout_done", "submit-survey", "submit-survey [1]",
                 "submit-survey {} later"}),
            (Lines{R"({"cmd":"submit-survey","error":"no survey is current"})",
                   joined(R"({"cmd":"show-survey","event":"checkout_done","survey":)", kS1, "}"),
                   R"({"cmd":"submit-survey","error":"missing answers"})",
                   R"({"cmd":"submit-survey","error":"answers must be a JSON object"})",
                   R"({"cmd":"submit-survey","error":"expected \"cancelled\", got \"later\""})"}));
  EXPECT_EQ(
      run({R"(submit-survey {"nps_score": 9, "reason": "fast and easy"})", "current-survey"}),
      (Lines{
          R"({"callback":"onSurveySubmitted","surveyId":"s1","responses":{"nps_score":9,"reason":"fast and easy"},"targetScreen":null,"deepLink":null})",
          R"({"cmd":"submit-survey","ok":true})", R"({"cmd":"current-survey","survey":null})"}));
  ASSERT_EQ(sent("submit_survey_response").size(), 1u);
  EXPECT_EQ(sent("submit_survey_response")[0]["surveyId"], JSONValue("s1"));
  EXPECT_EQ(sent("submit_survey_response")[0]["responses"], JSONValue(R"({"nps_score":9,"reason":"fast and easy"})"));
  EXPECT_EQ(sent("submit_survey_response")[0]["completed"], JSONValue(true));

  // Cancelled answers still reach the backend and the callback, as not completed.
  EXPECT_EQ(
      run({"show-survey feedback", R"(submit-survey {"note": "later"} cancelled)"}),
      (Lines{
          R"({"cmd":"show-survey","event":"feedback","survey":{"id":"s4","name":"Feedback","templateId":null}})",
          R"({"callback":"onSurveySubmitted","surveyId":"s4","responses":{"note":"later"},"targetScreen":null,"deepLink":null})",
          R"({"cmd":"submit-survey","ok":true})"}));
  EXPECT_EQ(sent("submit_survey_response").at(1)["completed"], JSONValue(false));
}

TEST_F(DeliveryCommandsTest, DismissSurveyPrintsTheCallbackLineOnlyWhenASurveyWasCurrentAndTheLedgerCounts) {
  start();
  EXPECT_EQ(
      run({"dismiss-survey", "survey-ledger s4"}),
      (Lines{R"({"cmd":"dismiss-survey","ok":true})",
             R"({"cmd":"survey-ledger","surveyId":"s4","impressions":0,"last_shown":0,"dismissed":0,"completed":0})"}));
  const double before = std::chrono::duration<double>(systemClock()->now().time_since_epoch()).count();
  EXPECT_EQ(
      run({"show-survey feedback", "dismiss-survey now", "dismiss-survey"}),
      (Lines{R"({"cmd":"show-survey","event":"feedback","survey":{"id":"s4","name":"Feedback","templateId":null}})",
             R"({"cmd":"dismiss-survey","error":"takes no arguments"})",
             R"({"callback":"onSurveyDismissed","surveyId":"s4"})", R"({"cmd":"dismiss-survey","ok":true})"}));
  const Lines ledger = run({R"(survey-ledger "s4")"});
  ASSERT_EQ(ledger.size(), 1u);
  const JSONValue entry = JSONValue::decode(ledger[0]);
  EXPECT_EQ(entry["impressions"], JSONValue(1));
  EXPECT_EQ(entry["dismissed"], JSONValue(1));
  EXPECT_EQ(entry["completed"], JSONValue(0));
  ASSERT_TRUE(entry["last_shown"].isNumber());
  EXPECT_GE(*entry["last_shown"].asNumber(), before);
  EXPECT_EQ(run({"survey-ledger", "survey-ledger s4 s1"}),
            (Lines{R"({"cmd":"survey-ledger","error":"missing survey id"})",
                   R"({"cmd":"survey-ledger","error":"takes no arguments"})"}));
}

TEST_F(DeliveryCommandsTest, ExplainGivesEveryCandidatesDecidingStepAndTheCountersFollowTheEvents) {
  start();
  EXPECT_EQ(
      run({"explain-survey checkout_done", "track checkout_done", "explain-survey checkout_done",
           "explain-announcement dashboard_opened", "explain-survey nothing"}),
      (Lines{
          R"({"cmd":"explain-survey","event":"checkout_done","candidates":[{"id":"s2","verdict":"rules"},{"id":"s1","verdict":"eligible"}]})",
          R"({"cmd":"track","ok":true})",
          R"({"cmd":"explain-survey","event":"checkout_done","candidates":[{"id":"s2","verdict":"rules"},{"id":"s1","verdict":"frequency"}]})",
          R"({"cmd":"explain-announcement","event":"dashboard_opened","candidates":[{"id":"a1","verdict":"eligible"}]})",
          R"({"cmd":"explain-survey","event":"nothing","candidates":[]})"}));
  // Each show counts its event: the third search presents s3 and marks that milestone.
  EXPECT_EQ(run({"show-survey search", "explain-survey search", "show-survey search", "show-survey search",
                 "event-count search", "event-count nothing", "milestone s3 search 3", "milestone s3 search 2"}),
            (Lines{R"({"cmd":"show-survey","event":"search","survey":null})",
                   R"({"cmd":"explain-survey","event":"search","candidates":[{"id":"s3","verdict":"trigger"}]})",
                   R"({"cmd":"show-survey","event":"search","survey":null})",
                   R"({"cmd":"show-survey","event":"search","survey":{"id":"s3","name":"Search","templateId":null}})",
                   R"({"cmd":"event-count","name":"search","count":3})",
                   R"({"cmd":"event-count","name":"nothing","count":0})", R"({"cmd":"milestone","value":true})",
                   R"({"cmd":"milestone","value":false})"}));
  EXPECT_EQ(run({"milestone s3 search", "milestone s3 search three", "milestone s3 search 3 4"}),
            (Lines{R"({"cmd":"milestone","error":"missing count"})",
                   R"({"cmd":"milestone","error":"count must be a whole number, not three"})",
                   R"({"cmd":"milestone","error":"takes no arguments"})"}));
}

TEST_F(DeliveryCommandsTest, AnAnnouncementAnsweredWithItsPrimaryButtonTellsTheHostItsTargetAndLink) {
  start();
  EXPECT_EQ(
      run({"submit-announcement {}", "show-announcement dashboard_opened", "current-announcement",
           R"(submit-announcement {"action":"primary"})", "current-announcement", "dismiss-announcement",
           "can-show-announcement dashboard_opened"}),
      (Lines{
          R"({"cmd":"submit-announcement","error":"no announcement is current"})",
          joined(R"({"cmd":"show-announcement","event":"dashboard_opened","announcement":)", kA1, "}"),
          joined(R"({"cmd":"current-announcement","announcement":)", kA1, "}"),
          R"({"callback":"onAnnouncementSubmitted","announcementId":"a1","responses":{"action":"primary","button_clicked":"try_it_now","action_type":"open","deep_link":"demo://dashboard"},"targetScreen":"dashboard","deepLink":"demo://dashboard"})",
          R"({"cmd":"submit-announcement","ok":true})", R"({"cmd":"current-announcement","announcement":null})",
          R"({"cmd":"dismiss-announcement","ok":true})",
          R"({"cmd":"can-show-announcement","event":"dashboard_opened","value":false})"}));
  ASSERT_EQ(sent("submit_announcement_banner_response").size(), 1u);
  EXPECT_EQ(sent("submit_announcement_banner_response")[0]["bannerId"], JSONValue("a1"));
}

}  // namespace
}  // namespace tarnwell::cli
