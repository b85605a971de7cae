#include <gtest/gtest.h>

#include "tarnwell/sdk/detail/content_refresh.h"

namespace tarnwell::detail {
namespace {

using namespace std::chrono_literals;

const Timestamp kStart = fromEpochSeconds(1'800'000'000);

TEST(ShouldRefreshTest, FirstCallPassesThenTheTimeToLiveHoldsTheGate) {
  std::optional<Timestamp> stamp;
  EXPECT_TRUE(shouldRefresh(stamp, 900'000, false, kStart));
  EXPECT_EQ(stamp, kStart);
  EXPECT_FALSE(shouldRefresh(stamp, 900'000, false, kStart + 899s));
  EXPECT_EQ(stamp, kStart);  // a refusal leaves the stamp
  EXPECT_TRUE(shouldRefresh(stamp, 900'000, false, kStart + 900s));
  EXPECT_EQ(stamp, kStart + 900s);
}

TEST(ShouldRefreshTest, ForceAndAnOffGatePassAndStillStamp) {
  std::optional<Timestamp> stamp = kStart;
  EXPECT_TRUE(shouldRefresh(stamp, 900'000, true, kStart + 1s));
  EXPECT_EQ(stamp, kStart + 1s);
  for (const std::int64_t ttl : {0, -5}) {
    EXPECT_TRUE(shouldRefresh(stamp, ttl, false, kStart + 2s));
    EXPECT_TRUE(shouldRefresh(stamp, ttl, false, kStart + 2s));
  }
  EXPECT_EQ(stamp, kStart + 2s);
}

TEST(ShouldRefreshTest, SubMillisecondTimeToLiveStillCounts) {
  // Half a millisecond is 0.0005 seconds, above zero: the gate is on.
  std::optional<Timestamp> stamp = kStart;
  EXPECT_FALSE(shouldRefresh(stamp, 1, false, kStart + 500us));
  EXPECT_TRUE(shouldRefresh(stamp, 1, false, kStart + 1ms));
}

}  // namespace
}  // namespace tarnwell::detail
