// Survey delivery in virtual time: which surveys an event reaches, the order of the eligibility
// check, the in-process guard, the delivery ledger and sampling.
#include "tarnwell/surveys/detail/survey_manager.h"

#include "tests/surveys/delivery_fixture.h"

namespace tarnwell::detail {
namespace {

using namespace std::chrono_literals;

// FNV-1a written out again from its definition, to check the manager's bucket against.
std::uint32_t referenceFnv(const std::string& text) {
  std::uint32_t hash = 2166136261u;
  for (unsigned char c : text) hash = (hash ^ c) * 16777619u;
  return hash;
}

struct SurveyManagerTest : DeliveryFixture {
  std::unique_ptr<SurveyManager> manager;

  void load(const std::vector<Survey>& surveys) {
    storeBundle(surveys);
    manager = std::make_unique<SurveyManager>(parts(), SurveyRepository(gateway(), bundles()), store);
    run(manager->refresh());
  }
  // The ledger reads the store, as the facade's ledger read does.
  SurveyLedgerEntry ledger(const std::string& id) { return SurveyDeliveryLedger(store, properties).entry(id); }
};

TEST_F(SurveyManagerTest, FnvMatchesItsPublishedVectors) {
  EXPECT_EQ(fnv1a32(""), 0x811C9DC5u);
  EXPECT_EQ(fnv1a32("a"), 0xE40C292Cu);
  EXPECT_EQ(fnv1a32("foobar"), 0xBF9CF968u);
}

TEST_F(SurveyManagerTest, CandidatesMeetNormalisedNamesAndSortStablyByPriority) {
  load(
      {deliveryItem("low", "checkout_done", targetingWith(R"("priority":1)")),
       deliveryItem("byTrigger", "other",
                    targetingWith(R"("priority":5,"behavioralTrigger":{"enabled":false,"eventName":"Checkout-Done"})")),
       deliveryItem("byRule", "other",
                    targetingWith(R"("priority":5,"triggerCountRule":{"enabled":false,"eventName":"checkout done"})")),
       deliveryItem("draft", "checkout_done", "", R"("status":"Published")"),
       deliveryItem("brokenTargeting", "checkout_done", R"({"rules":[]})")});
  EXPECT_EQ(
      verdicts(*manager, "  Checkout Done\n"),
      (std::vector<std::string>{"byTrigger:eligible", "byRule:eligible", "low:eligible", "brokenTargeting:eligible"}));
  // Blank names reach nothing, not even a survey without an eventTriggerId.
  load({deliveryItem("anyEvent", "")});
  EXPECT_TRUE(verdicts(*manager, "   ").empty());
}

TEST_F(SurveyManagerTest, EachStepOfTheCheckDecidesInItsOrder) {
  transport->setResponder([](const HttpRequest& request) -> HttpResult {
    if (request.body.find("get_segment") == std::string::npos) return testing::httpResponse("", 500);
    return testing::httpResponse(
        R"({"ok":true,"data":{"item":{"id":"pro","name":"Pros","conditions":"[{\"field\":\"plan\",\"operator\":\"equals\",\"value\":\"pro\"}]"}}})");
  });
  properties.setUserProperty("plan", "free");
  const std::string rule =
      R"("rules":[{"conditions":[{"field":"plan","operator":"equals","value":"pro","enabled":true}],"enabled":true,"requireAllConditions":true}])";
  const std::string id = "sampled";
  const std::uint32_t bucket = referenceFnv(id + "::" + properties.getDeliveryUserKey()) % 100;
  load(
      {deliveryItem("ended", "e", "", R"("scheduleEnd":"2025-01-01T00:00:00Z")"),
       deliveryItem("segment", "e", targetingWith(R"("segmentId":"pro")")),
       deliveryItem("rules", "e", R"({"audience":"all","percentage":1,)" + rule + "}"),
       deliveryItem("trigger", "e", targetingWith(R"("behavioralTrigger":{"enabled":true,"eventName":"e","count":3})")),
       deliveryItem("count", "e", targetingWith(R"("triggerCountRule":{"enabled":true,"eventName":"e","count":2})")),
       deliveryItem("elsewhere", "e",
                    targetingWith(R"("triggerCountRule":{"enabled":true,"eventName":"f","count":1})")),
       deliveryItem(id, "e", targetingWith(R"("samplingPercentage":)" + std::to_string(bucket))),
       deliveryItem("badStart", "e", "", R"("scheduleStart":"yesterday")")});
  EXPECT_EQ(verdicts(*manager, "e"),
            (std::vector<std::string>{"ended:schedule", "segment:segment", "rules:rules", "trigger:trigger",
                                      "count:trigger_count", "elsewhere:trigger_count", "sampled:sampling",
                                      "badStart:eligible"}));
  // One more point of percentage admits the bucket; the explanation recorded nothing.
  load({deliveryItem(id, "e", targetingWith(R"("samplingPercentage":)" + std::to_string(bucket + 1)))});
  EXPECT_EQ(verdicts(*manager, "e"), (std::vector<std::string>{"sampled:eligible"}));
  EXPECT_EQ(tracker.getEventCount("e"), 0);
}

TEST_F(SurveyManagerTest, ASegmentThatCannotBeFetchedRestrictsNothing) {
  answerStatus(*transport, 503);
  load({deliveryItem("s", "e", targetingWith(R"("segmentId":"")"))});
  EXPECT_EQ(shownId(*manager, "e"), "s");
}

TEST_F(SurveyManagerTest, TheGuardHoldsASurveyForADayUnlessTriggerOrFrequencyExcuseIt) {
  load(
      {deliveryItem("plain", "e"), deliveryItem("repeat", "f", targetingWith(R"("frequency":{"cooldownMinutes":0})"))});
  EXPECT_EQ(shownId(*manager, "e"), "plain");
  EXPECT_EQ(shownId(*manager, "f"), "repeat");
  clock.advance(23h);
  EXPECT_EQ(verdicts(*manager, "e"), (std::vector<std::string>{"plain:shown_recently"}));
  EXPECT_EQ(shownId(*manager, "f"), "repeat");
  clock.advance(1h);
  EXPECT_EQ(shownId(*manager, "e"), "plain");
  EXPECT_EQ(ledger("repeat").impressions, 2);
  // The guard lives in the manager: a new one (a new start-up) shows the survey again.
  load({deliveryItem("plain", "e")});
  EXPECT_EQ(shownId(*manager, "e"), "plain");
}

TEST_F(SurveyManagerTest, ThePendingOccurrenceCountsForTheTriggerButNotForTheCountRule) {
  load({deliveryItem("fifth", "e", targetingWith(R"("behavioralTrigger":{"enabled":true,"eventName":"e","count":5})")),
        deliveryItem(
            "counted", "g",
            targetingWith(R"("triggerCountRule":{"enabled":true,"eventName":"g","count":5,"operator":"equals"})"))});
  for (int i = 0; i < 4; ++i) {
    tracker.recordEvent("e", clock.now());
    tracker.recordEvent("g", clock.now());
  }
  EXPECT_TRUE(run(manager->canShow("e")));
  EXPECT_FALSE(run(manager->canShow("g")));
  EXPECT_EQ(shownId(*manager, "e"), "fifth");  // recorded first: count 5 meets "equals" 5
  EXPECT_TRUE(tracker.wasMilestoneShown("fifth", "e", 5));
  // The same count is not shown twice, even once the guard has passed.
  clock.advance(25h);
  manager->current().set(std::nullopt);
  EXPECT_EQ(verdicts(*manager, "e"), (std::vector<std::string>{"fifth:trigger"}));
  EXPECT_EQ(tracker.getEventCount("e"), 5);
}

TEST_F(SurveyManagerTest, AMarkedMilestoneBlocksItsCountOnlyForCountingOperators) {
  tracker.markMilestoneShown("eq", "e", 3);
  tracker.markMilestoneShown("gt", "e", 3);
  for (int i = 0; i < 2; ++i) tracker.recordEvent("e", clock.now());
  load({deliveryItem("eq", "e", targetingWith(R"("behavioralTrigger":{"enabled":true,"eventName":"e","count":3})")),
        deliveryItem(
            "gt", "e",
            targetingWith(
                R"("behavioralTrigger":{"enabled":true,"eventName":"e","count":2,"operator":"greater_than"})"))});
  EXPECT_EQ(verdicts(*manager, "e"), (std::vector<std::string>{"eq:milestone", "gt:eligible"}));
}

TEST_F(SurveyManagerTest, TheLedgerLimitsRepeatsPerProfile) {
  load({deliveryItem("once", "a", targetingWith(R"("frequency":{"showOncePerUser":true})")),
        deliveryItem("twice", "b", targetingWith(R"("frequency":{"maxImpressions":2})")),
        deliveryItem("unlimited", "c", targetingWith(R"("frequency":{"maxImpressions":0})")),
        deliveryItem("noReshow", "d", targetingWith(R"("frequency":{"reshowAfterDismiss":false})")),
        deliveryItem("cool", "h", targetingWith(R"("frequency":{"cooldownMinutes":10})"))});
  const Survey once = *run(manager->show("a"));
  manager->completeCurrentSurvey(once);
  EXPECT_EQ(verdicts(*manager, "a"), (std::vector<std::string>{"once:frequency"}));
  for (int i = 0; i < 3; ++i) {
    run(manager->show("b"));
    run(manager->show("c"));
  }
  EXPECT_EQ(ledger("twice").impressions, 2);
  EXPECT_EQ(ledger("unlimited").impressions, 3);
  run(manager->show("d"));
  manager->dismissCurrentSurvey();
  EXPECT_EQ(ledger("noReshow").dismissed, 1);
  EXPECT_EQ(verdicts(*manager, "d"), (std::vector<std::string>{"noReshow:frequency"}));
  run(manager->show("h"));
  clock.advance(9min);
  EXPECT_EQ(verdicts(*manager, "h"), (std::vector<std::string>{"cool:frequency"}));
  clock.advance(1min);
  EXPECT_EQ(verdicts(*manager, "h"), (std::vector<std::string>{"cool:eligible"}));

  // A new profile starts a ledger of its own; a counter stored as text reads as nothing.
  properties.setProfileId("profile_2");
  store.setString("tarnwell_survey_delivery::profile_2::twice::impressions", "9");
  EXPECT_EQ(verdicts(*manager, "a"), (std::vector<std::string>{"once:eligible"}));
  EXPECT_EQ(verdicts(*manager, "b"), (std::vector<std::string>{"twice:eligible"}));
  EXPECT_EQ(store.getInt64("tarnwell_survey_delivery::profile_2::once::completed"), std::nullopt);
}

TEST_F(SurveyManagerTest, EventsAreRecordedAgainAndPassingSurveysReplaceTheCurrentOne) {
  load({deliveryItem("first", "e", targetingWith(R"("frequency":{})")), deliveryItem("second", "f")});
  run(manager->onEventTriggered("e"));
  EXPECT_EQ(manager->current().value()->id, "first");
  run(manager->onEventTriggered("f"));
  EXPECT_EQ(manager->current().value()->id, "second");
  EXPECT_EQ(tracker.getEventCount("e"), 1);
  EXPECT_EQ(ledger("first").lastShown, toEpochSeconds(clock.now()));

  // Completing a survey that is no longer current leaves the current one on screen.
  manager->completeCurrentSurvey(deliveryItem("first", "e"));
  EXPECT_EQ(manager->current().value()->id, "second");
  EXPECT_EQ(ledger("first").completed, 1);
  manager->dismissCurrentSurvey();
  manager->dismissCurrentSurvey();  // nothing current: nothing counted
  EXPECT_EQ(ledger("second").dismissed, 1);
  EXPECT_FALSE(manager->current().value());
}

}  // namespace
}  // namespace tarnwell::detail
