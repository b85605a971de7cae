#include <gtest/gtest.h>

#include <limits>

#include "tarnwell/events/detail/behavioral_event_tracker.h"
#include "tarnwell/platform/memory_key_value_store.h"

namespace tarnwell::detail {
namespace {

struct BehavioralEventTrackerTest : ::testing::Test {
  MemoryKeyValueStore store;
  UuidGenerator uuids{3};
  PropertyManager properties{store, AppInfo{}, iosDeviceProfile, uuids};
  BehavioralEventTracker tracker{store, properties};
  const Timestamp at = Timestamp(std::chrono::milliseconds(1767225600250));  // 2026-01-01T00:00:00.250Z

  std::vector<std::string> keys(std::string_view prefix) const { return store.keysWithPrefix(prefix); }
};

TEST_F(BehavioralEventTrackerTest, CountsUnderTheTrimmedLowerCasedNameAndStampsTheTime) {
  properties.setProfileId("prf_1");
  tracker.recordEvent("  Checkout_Started\n", at);
  tracker.recordEvent("checkout_started", at + std::chrono::seconds(2));
  EXPECT_EQ(tracker.getEventCount("CHECKOUT_STARTED\t"), 2);
  EXPECT_EQ(store.getInt64("count::prf_1::checkout_started"), 2);
  EXPECT_DOUBLE_EQ(store.getDouble("last::prf_1::checkout_started").value_or(0), 1767225602.25);
  EXPECT_EQ(keys("count::"), std::vector<std::string>{"count::prf_1::checkout_started"});
  EXPECT_EQ(tracker.getEventCount("checkout"), 0);
}

TEST_F(BehavioralEventTrackerTest, ABlankNameIsNeverRecorded) {
  tracker.recordEvent(" \n\t ", at);
  tracker.recordEvent("", at);
  EXPECT_EQ(tracker.getEventCount(" \n\t "), 0);
  EXPECT_TRUE(keys("count::").empty());
  EXPECT_TRUE(keys("last::").empty());
}

TEST_F(BehavioralEventTrackerTest, CountsFollowTheProfileAndComeBackWithIt) {
  const std::string oldProfile = properties.getProfileId();
  tracker.recordEvent("open", at);
  tracker.recordEvent("open", at);
  properties.resetIdentity();  // what resetting the user does
  EXPECT_EQ(tracker.getEventCount("open"), 0);
  tracker.recordEvent("open", at);
  EXPECT_EQ(tracker.getEventCount("open"), 1);
  properties.setProfileId(oldProfile);
  EXPECT_EQ(tracker.getEventCount("open"), 2);
}

TEST_F(BehavioralEventTrackerTest, WithoutAProfileTheIdentifiedUserThenTheAnonymousIdKeysTheCounts) {
  properties.setProfileId("");
  tracker.recordEvent("open", at);
  EXPECT_EQ(store.getInt64("count::" + properties.getAnonymousId() + "::open"), 1);
  properties.setUserId("user-42");
  tracker.recordEvent("open", at);
  EXPECT_EQ(store.getInt64("count::user-42::open"), 1);
  EXPECT_EQ(tracker.getEventCount("open"), 1);
}

TEST_F(BehavioralEventTrackerTest, ACountSaturatesAndAValueOfAnotherTypeReadsAsZero) {
  properties.setProfileId("p");
  store.setInt64("count::p::open", std::numeric_limits<std::int64_t>::max());
  tracker.recordEvent("open", at);
  EXPECT_EQ(tracker.getEventCount("open"), std::numeric_limits<std::int64_t>::max());
  store.setString("count::p::close", "7");
  EXPECT_EQ(tracker.getEventCount("close"), 0);
  tracker.recordEvent("close", at);
  EXPECT_EQ(store.getInt64("count::p::close"), 1);
}

TEST_F(BehavioralEventTrackerTest, OnlyTheLastMilestoneOfAnItemIsRemembered) {
  properties.setProfileId("p");
  EXPECT_FALSE(tracker.wasMilestoneShown("survey_1", "open", 3));
  tracker.markMilestoneShown("survey_1", " Open ", 3);
  EXPECT_EQ(store.getInt64("milestone::p::survey_1::open"), 3);
  EXPECT_TRUE(tracker.wasMilestoneShown("survey_1", "OPEN", 3));
  tracker.markMilestoneShown("survey_1", "open", 5);
  EXPECT_FALSE(tracker.wasMilestoneShown("survey_1", "open", 3));
  EXPECT_TRUE(tracker.wasMilestoneShown("survey_1", "open", 5));
}

TEST_F(BehavioralEventTrackerTest, ItemsKeepSeparateMilestonesAndTheirIdsUnchanged) {
  properties.setProfileId("p");
  tracker.markMilestoneShown("Survey A", "open", 2);
  tracker.markMilestoneShown("banner-b", "open", 4);
  EXPECT_EQ(keys("milestone::"),
            (std::vector<std::string>{"milestone::p::Survey A::open", "milestone::p::banner-b::open"}));
  EXPECT_TRUE(tracker.wasMilestoneShown("Survey A", "open", 2));
  EXPECT_FALSE(tracker.wasMilestoneShown("survey a", "open", 2));
  EXPECT_TRUE(tracker.wasMilestoneShown("banner-b", "open", 4));
  EXPECT_FALSE(tracker.wasMilestoneShown("banner-b", "open", 2));
}

TEST_F(BehavioralEventTrackerTest, CountsBelowOneAndBlankNamesAreNeverMilestones) {
  properties.setProfileId("p");
  store.setInt64("milestone::p::item::open", 0);
  EXPECT_FALSE(tracker.wasMilestoneShown("item", "open", 0));
  tracker.markMilestoneShown("item", "open", -1);
  tracker.markMilestoneShown("other", "open", 0);
  tracker.markMilestoneShown("item", "  ", 2);
  EXPECT_EQ(keys("milestone::"), std::vector<std::string>{"milestone::p::item::open"});
  EXPECT_EQ(store.getInt64("milestone::p::item::open"), 0);
  EXPECT_FALSE(tracker.wasMilestoneShown("item", "  ", 2));
}

}  // namespace
}  // namespace tarnwell::detail
