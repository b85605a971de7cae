// Surveys and announcements through the facade over a scripted gateway: an event presents an
// item, the impression is reported, responses reach the backend, and the host's callbacks and
// the delivery ledger follow the outcome.
#include <gtest/gtest.h>

#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/sdk_harness.h"

namespace tarnwell {
namespace {

using namespace std::chrono_literals;

// A bundle of one survey and one announcement, both triggered by "checkout".
constexpr const char* kDeliveryBundle = R"({"ok":true,"data":{"versions":{"surveys":"1"},"items":{
  "surveys":[{"$id":"s1","name":"NPS","templateId":"nps","status":"published","eventTriggerId":"checkout",
              "organizationId":"org_1","projectId":"prj_1","appId":"app_1",
              "analytics":"{\"impressionEvent\":\" nps_seen \",\"submitEvent\":\"nps_done\"}"}],
  "announcements":[{"$id":"a1","name":"New","status":"published","eventTriggerId":"checkout",
    "structure":"{\"buttons\":{\"primary\":{\"text\":\"Try it now!\",\"action\":\"open\",\"deeplinkUri\":\"demo://d\",\"target\":\"dash\"},\"secondary\":{\"text\":\"Later\",\"target\":\"home\"}}}"},
    {"$id":"a2","name":"Promo","status":"published","eventTriggerId":"promo"}]}}})";

struct Outcomes : SurveyCallback, AnnouncementCallback {
  std::vector<std::string> calls;
  void onSurveySubmitted(const SurveyPresentationResult& r) override {
    calls.push_back("submitted " + r.surveyId + " " + JSONValue(r.responses).encode());
  }
  void onSurveyCancelled(const std::string& id, const std::optional<std::string>&,
                         const std::optional<std::string>&) override {
    calls.push_back("cancelled " + id);
  }
  void onSurveyDismissed(const std::string& id) override { calls.push_back("dismissed " + id); }
  void onAnnouncementSubmitted(const AnnouncementPresentationResult& r) override {
    calls.push_back("a-submitted " + r.announcementId + " " + r.targetScreen.value_or("-") + " " +
                    r.deepLink.value_or("-") + " " + JSONValue(r.responses).encode());
  }
  void onAnnouncementCancelled(const std::string& id, const std::optional<std::string>& target,
                               const std::optional<std::string>&) override {
    calls.push_back("a-cancelled " + id + " " + target.value_or("-"));
  }
  void onAnnouncementDismissed(const std::string& id) override { calls.push_back("a-dismissed " + id); }
};

struct TarnwellDeliveryTest : ::testing::Test {
  testing::SdkHarness sdk;
  testing::LogRecorder log;
  std::shared_ptr<Outcomes> outcomes = std::make_shared<Outcomes>();
  TarnwellDeliveryTest() { sdk.answer("get_runtime_bundle", kDeliveryBundle); }

  void track(const std::string& name) {
    bool done = false;
    sdk->trackEvent(name, {}, {}, [&] { done = true; });
    ASSERT_TRUE(sdk.waitUntil([&] { return done; }));
  }
  std::optional<Survey> current(bool survey = true) {
    return sdk.answerOf<std::optional<Survey>>(
        [&](auto done) { survey ? sdk->getCurrentSurvey(done) : sdk->getCurrentAnnouncement(done); });
  }
  // Every event sent so far, as "name properties".
  std::vector<std::string> sentEvents() {
    sdk->flush();
    sdk.settle();
    std::vector<std::string> events;
    for (const JSONValue& batch : sdk.sent("track_event_batch")) {
      for (const JSONValue& item : *batch["items"].asArray()) {
        events.push_back(item["event_name"].asString()->str() + " " + item["properties"].asString()->str());
      }
    }
    return events;
  }
  static bool has(const std::vector<std::string>& events, const std::string& prefix) {
    return std::any_of(events.begin(), events.end(), [&](const std::string& e) { return e.rfind(prefix, 0) == 0; });
  }
};

TEST_F(TarnwellDeliveryTest, GatesAreClosedUntilStartUpBuildsTheManagers) {
  EXPECT_FALSE(sdk.answerOf<bool>([&](auto done) { sdk->canShowSurvey("checkout", done); }));
  EXPECT_FALSE(sdk.answerOf<std::optional<std::vector<Survey>>>([&](auto done) { sdk->getSurveys(done); }));
  EXPECT_FALSE(sdk.answerOf<bool>([&](auto done) { sdk->submitSurveyResponse(Survey{}, {}, true, done); }));
  ASSERT_EQ(sdk.start(), SDKState::ready());
  EXPECT_EQ(sdk.answerOf<std::optional<std::vector<Survey>>>([&](auto done) { sdk->getSurveys(done); })->size(), 1u);
  EXPECT_TRUE(sdk.answerOf<bool>([&](auto done) { sdk->canShowAnnouncement("CHECKOUT", done); }));
}

TEST_F(TarnwellDeliveryTest, ATrackedEventPresentsBothItemsAndReportsTheirImpressions) {
  ASSERT_EQ(sdk.start(), SDKState::ready());
  track("checkout");
  EXPECT_EQ(current()->id, "s1");
  EXPECT_EQ(current(false)->id, "a1");
  const std::vector<std::string> events = sentEvents();
  EXPECT_TRUE(has(events, R"(nps_seen {"survey_id":"s1","survey_name":"NPS","template_id":"nps")"));
  EXPECT_TRUE(has(events, R"(survey_impression {"survey_id":"s1")"));
  EXPECT_TRUE(has(events, R"(announcement_impression {"banner_id":"a1","banner_name":"New","announcement_id":"a1")"));
  // The same event again within the day: both are held back by the guard.
  sdk->dismissCurrentSurvey();
  track("checkout");
  EXPECT_FALSE(current());
}

TEST_F(TarnwellDeliveryTest, TheImpressionIsReportedAfterTheShowHasAnswered) {
  ASSERT_EQ(sdk.start(), SDKState::ready());
  sdk->showSurvey("checkout", [&](std::optional<Survey> shown) {
    if (shown) sdk->trackEvent("host_saw_survey", {}, "custom");
  });
  sdk.settle();
  const std::vector<std::string> events = sentEvents();
  const auto position = [&](const std::string& prefix) {
    return std::distance(events.begin(), std::find_if(events.begin(), events.end(),
                                                      [&](const std::string& e) { return e.rfind(prefix, 0) == 0; }));
  };
  ASSERT_LT(position("survey_impression"), std::ssize(events));
  EXPECT_LT(position("host_saw_survey"), position("survey_impression"));
}

TEST_F(TarnwellDeliveryTest, TheKillSwitchSilencesImpressionsButTheLedgerStillCounts) {
  RuntimeConfig tuning = defaultRuntimeConfig();
  tuning.killSwitches.disableSurveyImpressions = true;
  std::string bootstrap = testing::kHarnessBootstrap;
  bootstrap.replace(bootstrap.find(R"(,"sessionToken")"), 0, R"(,"runtimeConfig":)" + tuning.encode().encode());
  sdk.answer("bootstrap", bootstrap);
  ASSERT_EQ(sdk.start(), SDKState::ready());
  track("checkout");
  const std::vector<std::string> events = sentEvents();
  EXPECT_FALSE(has(events, "survey_impression"));
  EXPECT_FALSE(has(events, "nps_seen"));
  EXPECT_TRUE(has(events, "announcement_impression"));
  EXPECT_EQ(sdk.answerOf<SurveyLedgerEntry>([&](auto done) { sdk->getSurveyLedgerEntry("s1", done); }).impressions, 1);
}

TEST_F(TarnwellDeliveryTest, AnAcceptedSurveyResponseSendsAllKeysThenTellsTheHostAndTheLedger) {
  ASSERT_EQ(sdk.start(), SDKState::ready());
  sdk->identify(std::string(37, 'u'));
  sdk->setUserProperty("email", "u@example.com");
  EXPECT_TRUE(sdk.answerOf<bool>([&](auto done) { sdk->showSurvey("checkout", outcomes, done); }));
  sdk.advance(3500ms);
  const Survey survey = *current();
  EXPECT_TRUE(sdk.answerOf<bool>([&](auto done) {
    sdk->submitSurveyResponse(survey, JSONObject{{"rating", "4"}, {"note", "ok"}}, true, done);
  }));

  const JSONValue payload = sdk.sent("submit_survey_response").at(0);
  std::vector<std::string> keys;
  for (const auto& [key, value] : *payload.asObject()) keys.push_back(key);
  EXPECT_EQ(keys,
            (std::vector<std::string>{"id", "userId", "appVersion", "platform", "metadata", "surveyId", "responses",
                                      "completed", "surveyName", "userName", "userEmail", "userSegment", "answers",
                                      "score", "completionTime", "deviceInfo", "location", "submittedAt", "ownerId"}));
  EXPECT_EQ(payload["userId"], JSONValue(std::string(37, 'u')));
  EXPECT_TRUE(payload["ownerId"].isNull());
  EXPECT_TRUE(payload["score"].isNull());
  EXPECT_TRUE(payload["userName"].isNull());
  EXPECT_EQ(payload["userEmail"], JSONValue("u@example.com"));
  EXPECT_EQ(payload["responses"], JSONValue(R"({"rating":"4","note":"ok"})"));
  EXPECT_EQ(payload["answers"], payload["responses"]);
  EXPECT_EQ(payload["completionTime"], JSONValue(3));

  const std::vector<std::string> events = sentEvents();
  EXPECT_TRUE(std::any_of(events.begin(), events.end(), [](const std::string& e) {
    return e.find("survey_submitted") == 0 &&
           e.find(R"("responses_count":2,"score":4,"survey_id":"s1")") != std::string::npos;
  }));
  EXPECT_TRUE(has(events, R"(nps_done {"rating":"4","note":"ok","survey_id":"s1")"));
  EXPECT_EQ(outcomes->calls, (std::vector<std::string>{R"(submitted s1 {"rating":"4","note":"ok"})"}));
  EXPECT_FALSE(current());
  EXPECT_EQ(sdk.answerOf<SurveyLedgerEntry>([&](auto done) { sdk->getSurveyLedgerEntry("s1", done); }).completed, 1);
}

TEST_F(TarnwellDeliveryTest, ARefusedResponseKeepsTheSurveyAndACancelledOneStillCompletes) {
  ASSERT_EQ(sdk.start(), SDKState::ready());
  EXPECT_TRUE(sdk.answerOf<bool>([&](auto done) { sdk->showSurvey("checkout", outcomes, done); }));
  const Survey survey = *current();
  sdk.fail("submit_survey_response");
  EXPECT_FALSE(sdk.answerOf<bool>([&](auto done) { sdk->submitSurveyResponse(survey, {}, true, done); }));
  EXPECT_TRUE(log.containsSubstring("[Tarnwell][ERROR] Failed to submit survey response :: "));
  sdk.answer("submit_survey_response", R"({"ok":true,"data":{"success":false}})");
  EXPECT_FALSE(sdk.answerOf<bool>([&](auto done) { sdk->submitSurveyResponse(survey, {}, true, done); }));
  EXPECT_EQ(current()->id, "s1");
  EXPECT_TRUE(outcomes->calls.empty());
  EXPECT_EQ(sdk.answerOf<SurveyLedgerEntry>([&](auto done) { sdk->getSurveyLedgerEntry("s1", done); }).completed, 0);

  sdk.answer("submit_survey_response", R"({"ok":true,"data":{}})");
  EXPECT_TRUE(sdk.answerOf<bool>([&](auto done) { sdk->submitSurveyResponse(survey, {}, false, done); }));
  EXPECT_EQ(sdk.sent("submit_survey_response").back()["responses"], JSONValue("{}"));
  EXPECT_EQ(outcomes->calls, (std::vector<std::string>{"submitted s1 {}"}));
  const std::vector<std::string> events = sentEvents();
  EXPECT_TRUE(has(events, "survey_cancelled"));
  EXPECT_FALSE(has(events, "survey_submitted"));
  EXPECT_EQ(sdk.answerOf<SurveyLedgerEntry>([&](auto done) { sdk->getSurveyLedgerEntry("s1", done); }).completed, 1);
}

TEST_F(TarnwellDeliveryTest, DismissingTellsTheHostOnlyWhenASurveyWasCurrent) {
  ASSERT_EQ(sdk.start(), SDKState::ready());
  sdk->showSurvey("nothing_matches", outcomes);
  sdk->dismissCurrentSurvey();
  sdk.settle();
  EXPECT_TRUE(outcomes->calls.empty());
  sdk->showSurvey("checkout", outcomes);
  sdk->dismissCurrentSurvey();
  sdk.settle();
  EXPECT_EQ(outcomes->calls, (std::vector<std::string>{"dismissed s1"}));
  EXPECT_EQ(sdk.answerOf<SurveyLedgerEntry>([&](auto done) { sdk->getSurveyLedgerEntry("s1", done); }).dismissed, 1);
}

TEST_F(TarnwellDeliveryTest, AnAnnouncementServesTheHostFirstAndTheBackendLast) {
  ASSERT_EQ(sdk.start(), SDKState::ready());
  EXPECT_TRUE(sdk.answerOf<bool>([&](auto done) { sdk->showAnnouncement("checkout", outcomes, done); }));
  const Survey announcement = *current(false);
  sdk.fail("submit_announcement_banner_response");
  EXPECT_FALSE(sdk.answerOf<bool>([&](auto done) {
    sdk->submitAnnouncementResponse(announcement, JSONObject{{"action", "primary"}}, true, done);
  }));
  // Told, and dismissed without a dismissal callback, though the backend never heard.
  EXPECT_EQ(
      outcomes->calls,
      (std::vector<std::string>{
          R"(a-submitted a1 dash demo://d {"action":"primary","button_clicked":"try_it_now","action_type":"open","deep_link":"demo://d"})"}));
  EXPECT_FALSE(current(false));
  EXPECT_TRUE(log.contains("[Tarnwell][WARN] Failed to persist announcement response for a1"));
  EXPECT_EQ(sdk.sent("submit_announcement_banner_response").at(0)["bannerId"], JSONValue("a1"));

  sdk.answer("submit_announcement_banner_response", R"({"ok":true,"data":{}})");
  EXPECT_TRUE(sdk.answerOf<bool>([&](auto done) {
    sdk->submitAnnouncementResponse(announcement, JSONObject{{"action", "secondary"}}, false, done);
  }));
  EXPECT_EQ(outcomes->calls.back(), "a-cancelled a1 home");
  const std::vector<std::string> events = sentEvents();
  EXPECT_TRUE(std::any_of(events.begin(), events.end(), [](const std::string& e) {
    return e.find("announcement_cancelled") == 0 &&
           e.find(R"("button_role":"secondary","button_clicked":"later","interaction_outcome":"negative")") !=
               std::string::npos;
  }));
  EXPECT_FALSE(has(events, "announcement_submitted"));
}

TEST_F(TarnwellDeliveryTest, AResponseWithoutAnIdLeavesTheNextDismissalSilent) {
  ASSERT_EQ(sdk.start(), SDKState::ready());
  sdk->showAnnouncement("nothing_matches", outcomes);
  EXPECT_TRUE(sdk.answerOf<bool>([&](auto done) { sdk->submitAnnouncementResponse(Survey{}, {}, true, done); }));
  // The suppress flag set for the id-less response is still set: this dismissal stays silent,
  // the one after it is heard.
  for (const char* event : {"checkout", "promo"}) {
    sdk->showAnnouncement(event, outcomes);
    sdk->dismissCurrentAnnouncement();
  }
  sdk.settle();
  EXPECT_EQ(outcomes->calls, (std::vector<std::string>{"a-dismissed a2"}));
}

TEST_F(TarnwellDeliveryTest, ANewStartUpReplacesTheManagersAndKeepsObservingThem) {
  ASSERT_EQ(sdk.start(), SDKState::ready());
  std::vector<std::optional<std::string>> seen;
  Subscription watching =
      sdk->subscribeCurrentSurvey([&](const std::optional<Survey>& s) { seen.push_back(s ? s->id : std::nullopt); });
  track("checkout");
  ASSERT_EQ(sdk.start(), SDKState::ready());
  // The fresh manager starts empty, and the surveys' time to live holds its refresh back.
  track("checkout");
  EXPECT_FALSE(current());
  sdk.advance(901s);
  bool refreshed = false;
  sdk->refreshSurveys(false, [&] { refreshed = true; });
  ASSERT_TRUE(sdk.waitUntil([&] { return refreshed; }));
  track("checkout");  // nor has it a guard of its own yet
  sdk.settle();
  EXPECT_EQ(seen, (std::vector<std::optional<std::string>>{std::nullopt, "s1", std::nullopt, "s1"}));
  std::size_t impressions = 0;
  for (const std::string& e : sentEvents()) impressions += e.rfind("survey_impression", 0) == 0;
  EXPECT_EQ(impressions, 2u);
}

TEST_F(TarnwellDeliveryTest, TheHostsCallbacksOutliveANewStartUp) {
  ASSERT_EQ(sdk.start(), SDKState::ready());
  sdk->showSurvey("nothing_matches", outcomes);
  sdk->showAnnouncement("nothing_matches", outcomes);
  ASSERT_EQ(sdk.start(), SDKState::ready());
  bool refreshed = false;
  sdk->refreshSurveys(true, [&] { sdk->refreshAnnouncements(true, [&] { refreshed = true; }); });
  ASSERT_TRUE(sdk.waitUntil([&] { return refreshed; }));
  // Shown without a callback of their own: the one handed to the first managers hears of them.
  sdk->showSurvey("checkout", [](std::optional<Survey>) {});
  sdk->showAnnouncement("promo", [](std::optional<Survey>) {});
  sdk->dismissCurrentSurvey();
  sdk->dismissCurrentAnnouncement();
  sdk.settle();
  EXPECT_EQ(outcomes->calls, (std::vector<std::string>{"dismissed s1", "a-dismissed a2"}));
}

}  // namespace
}  // namespace tarnwell
