// Announcement delivery: how it differs from surveys in matching, order, guard and recording.
#include "tarnwell/announcements/detail/announcement_manager.h"

#include "tests/surveys/delivery_fixture.h"

namespace tarnwell::detail {
namespace {

using namespace std::chrono_literals;

struct AnnouncementManagerTest : DeliveryFixture {
  std::unique_ptr<AnnouncementManager> manager;

  void load(const std::vector<Survey>& items) {
    storeBundle(items);
    manager = std::make_unique<AnnouncementManager>(parts(), AnnouncementRepository(gateway(), bundles()));
    run(manager->refresh());
  }
};

TEST_F(AnnouncementManagerTest, NamesMatchIgnoringCaseOnlyAndListOrderBeatsPriority) {
  load(
      {deliveryItem("low", "Dashboard_Opened", targetingWith(R"("priority":1)")),
       deliveryItem(
           "high", "other",
           targetingWith(R"("priority":9,"behavioralTrigger":{"enabled":false,"eventName":"DASHBOARD_opened"})")),
       deliveryItem("counted", "other",
                    targetingWith(R"("triggerCountRule":{"enabled":true,"eventName":"dashboard_opened","count":1})"))});
  EXPECT_EQ(verdicts(*manager, "dashboard_opened"), (std::vector<std::string>{"low:eligible", "high:eligible"}));
  EXPECT_TRUE(verdicts(*manager, "dashboard-opened").empty());
  EXPECT_TRUE(verdicts(*manager, " dashboard_opened").empty());
  EXPECT_EQ(shownId(*manager, "DASHBOARD_OPENED"), "low");
}

TEST_F(AnnouncementManagerTest, OnlyABehaviouralTriggerExcusesTheGuardAndNoLimitsApply) {
  load(
      {deliveryItem("limited", "e",
                    targetingWith(R"("frequency":{"maxImpressions":1},"samplingPercentage":0,)"
                                  R"("triggerCountRule":{"enabled":true,"eventName":"x","count":9})")),
       deliveryItem(
           "triggered", "f",
           targetingWith(
               R"("behavioralTrigger":{"enabled":true,"eventName":"f","count":1,"operator":"greater_than_equals"})"))});
  EXPECT_EQ(shownId(*manager, "e"), "limited");
  EXPECT_EQ(verdicts(*manager, "e"), (std::vector<std::string>{"limited:shown_recently"}));
  EXPECT_EQ(shownId(*manager, "f"), "triggered");
  EXPECT_EQ(shownId(*manager, "f"), "triggered");
  clock.advance(24h);
  EXPECT_EQ(shownId(*manager, "e"), "limited");
  EXPECT_TRUE(store.keysWithPrefix("tarnwell_survey_delivery::").empty());
}

TEST_F(AnnouncementManagerTest, AShowRecordsTheCandidatesTriggerEventsAndAnEventRecordsNothing) {
  load({deliveryItem("a", "promo", targetingWith(R"("behavioralTrigger":{"enabled":false,"eventName":"seen_a"})")),
        deliveryItem("b", "promo", targetingWith(R"("behavioralTrigger":{"enabled":false,"eventName":"seen_b"})")),
        deliveryItem("c", "promo")});
  EXPECT_EQ(shownId(*manager, "promo"), "a");
  EXPECT_EQ(tracker.getEventCount("seen_a"), 1);
  EXPECT_EQ(tracker.getEventCount("seen_b"), 1);
  EXPECT_EQ(tracker.getEventCount("promo"), 0);
  manager->dismissCurrentAnnouncement();
  EXPECT_FALSE(manager->current().value());
  run(manager->onEventTriggered("promo"));
  EXPECT_EQ(manager->current().value()->id, "a");  // its trigger excuses the guard
  EXPECT_EQ(tracker.getEventCount("seen_a"), 1);
}

}  // namespace
}  // namespace tarnwell::detail
