#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <string>
#include <vector>

#include "tarnwell/platform/clock.h"
#include "tarnwell/testing/virtual_clock.h"

namespace tarnwell {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(VirtualClockTest, FiresDueTimersInDueOrderAtTheirDueTime) {
  testing::VirtualClock clock;
  const Timestamp start = clock.now();
  std::vector<std::pair<std::string, milliseconds>> fired;
  auto record = [&](std::string name) {
    return [&, name] { fired.emplace_back(name, std::chrono::duration_cast<milliseconds>(clock.now() - start)); };
  };
  auto late = clock.startTimer(seconds(120), record("late"));
  auto first = clock.startTimer(milliseconds(750), record("first"));
  auto tie = clock.startTimer(milliseconds(750), record("tie"));

  clock.advance(milliseconds(749));
  EXPECT_TRUE(fired.empty());
  clock.advance(seconds(200));
  EXPECT_EQ(fired, (std::vector<std::pair<std::string, milliseconds>>{
                       {"first", milliseconds(750)}, {"tie", milliseconds(750)}, {"late", seconds(120)}}));
  EXPECT_EQ(clock.now() - start, milliseconds(749) + seconds(200));
}

TEST(VirtualClockTest, CancelledTimersNeverFire) {
  testing::VirtualClock clock;
  bool fired = false;
  auto timer = clock.startTimer(seconds(1), [&] { fired = true; });
  EXPECT_EQ(clock.pendingTimerCount(), 1u);
  timer->cancel();
  EXPECT_EQ(clock.pendingTimerCount(), 0u);
  clock.advance(seconds(5));
  EXPECT_FALSE(fired);
}

// A periodic loop restarts its timer from the firing; all its periods inside one advance run.
TEST(VirtualClockTest, TimersStartedWhileSettlingFireWithinTheSameAdvance) {
  testing::VirtualClock clock;
  int ticks = 0;
  std::vector<std::function<void()>> posted;
  std::function<void()> schedule = [&] {
    clock.startTimer(seconds(60), [&] {
      posted.push_back([&] {
        ++ticks;
        schedule();
      });
    });
  };
  schedule();
  auto settle = [&] {
    auto work = std::exchange(posted, {});
    for (auto& item : work) item();
  };
  clock.advance(seconds(300), settle);
  EXPECT_EQ(ticks, 5);
  clock.advance(seconds(59), settle);
  EXPECT_EQ(ticks, 5);
}

// A delay from outside may be anything; one past the clock's range must not wrap into the past.
TEST(VirtualClockTest, ADelayBeyondTheClocksRangeNeverFires) {
  testing::VirtualClock clock;
  bool fired = false;
  auto never = clock.startTimer(milliseconds(10000000000000), [&] { fired = true; });
  auto forever = clock.startTimer(milliseconds::max(), [&] { fired = true; });
  clock.advance(std::chrono::hours(24 * 365 * 100));
  clock.advance(milliseconds::max());
  EXPECT_FALSE(fired);
  EXPECT_EQ(clock.now(), Timestamp::max());
}

TEST(SystemClockTest, ADelayBeyondTheClocksRangeNeverFires) {
  SystemClock clock;
  std::atomic<int> farFired = 0;
  std::promise<void> nearFired;
  auto far = clock.startTimer(milliseconds(10000000000000), [&] { ++farFired; });
  auto farthest = clock.startTimer(milliseconds::max(), [&] { ++farFired; });
  // Timers fire in due order on one thread, so a wrapped deadline would have fired first.
  auto near = clock.startTimer(milliseconds(20), [&] { nearFired.set_value(); });
  ASSERT_EQ(nearFired.get_future().wait_for(seconds(30)), std::future_status::ready);
  EXPECT_EQ(farFired, 0);
}

TEST(SystemClockTest, FiresAfterTheDelayAndHonoursCancellation) {
  SystemClock clock;
  std::promise<void> fired;
  bool cancelledFired = false;
  auto cancelled = clock.startTimer(milliseconds(20), [&] { cancelledFired = true; });
  cancelled->cancel();
  const auto before = std::chrono::steady_clock::now();
  auto timer = clock.startTimer(milliseconds(30), [&] { fired.set_value(); });
  ASSERT_EQ(fired.get_future().wait_for(seconds(30)), std::future_status::ready);
  EXPECT_GE(std::chrono::steady_clock::now() - before, milliseconds(30));
  EXPECT_FALSE(cancelledFired);
}

}  // namespace
}  // namespace tarnwell
