#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tarnwell/platform/main_context.h"
#include "tarnwell/platform/published.h"
#include "tarnwell/testing/log_recorder.h"

namespace tarnwell {
namespace {

TEST(MainContextTest, HostPumpedRunsNothingUntilPolledThenRunsInOrder) {
  MainContext main(MainContext::Mode::hostPumped);
  std::vector<int> order;
  main.post([&] {
    order.push_back(1);
    main.post([&] { order.push_back(3); });
  });
  main.post([&] { order.push_back(2); });
  EXPECT_TRUE(order.empty());
  EXPECT_EQ(main.poll(), 3u);
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(main.poll(), 0u);
}

TEST(MainContextTest, WorkThatThrowsIsLoggedAndTheRestStillRuns) {
  testing::LogRecorder log;
  MainContext main(MainContext::Mode::hostPumped);
  bool ranAfter = false;
  main.post([] { throw std::runtime_error("boom"); });
  main.post([&] { ranAfter = true; });
  main.poll();
  EXPECT_TRUE(ranAfter);
  EXPECT_TRUE(log.contains("[Tarnwell][ERROR] Work on the main context failed :: boom"));
}

TEST(MainContextTest, OwnThreadRunsPostedWorkOffTheCallingThread) {
  MainContext main;
  std::promise<std::pair<std::thread::id, bool>> ran;
  main.post([&] { ran.set_value({std::this_thread::get_id(), main.runningInThisThread()}); });
  auto future = ran.get_future();
  ASSERT_EQ(future.wait_for(std::chrono::seconds(30)), std::future_status::ready);
  const auto [thread, inside] = future.get();
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_TRUE(inside);
  EXPECT_FALSE(main.runningInThisThread());
}

TEST(MainContextTest, RunForStopsWhenDone) {
  MainContext main(MainContext::Mode::hostPumped);
  bool done = false;
  std::thread producer([&] { main.post([&] { done = true; }); });
  main.runFor(std::chrono::seconds(30), [&] { return done; });
  producer.join();
  EXPECT_TRUE(done);
}

TEST(PublishedTest, SubscribersGetTheCurrentValueThenChangesOnlyOnTheMainContext) {
  MainContext main(MainContext::Mode::hostPumped);
  Published<int> value(main, 1);
  std::vector<int> seen;
  Subscription subscription = value.subscribe([&](const int& v) { seen.push_back(v); });
  value.set(2);
  value.set(3);
  EXPECT_TRUE(seen.empty());
  EXPECT_EQ(value.value(), 3);
  main.poll();
  EXPECT_EQ(seen, (std::vector<int>{1, 2, 3}));
}

TEST(PublishedTest, CancellingDropsDeliveriesAlreadyQueued) {
  MainContext main(MainContext::Mode::hostPumped);
  Published<std::string> value(main, "a");
  std::vector<std::string> seen;
  Subscription subscription = value.subscribe([&](const std::string& v) { seen.push_back(v); });
  main.poll();
  value.set("b");
  subscription.cancel();
  value.set("c");
  main.poll();
  EXPECT_EQ(seen, (std::vector<std::string>{"a"}));
}

TEST(PublishedTest, MovedSubscriptionKeepsDelivering) {
  MainContext main(MainContext::Mode::hostPumped);
  Published<int> value(main, 0);
  int last = -1;
  Subscription outer;
  {
    Subscription inner = value.subscribe([&](const int& v) { last = v; });
    outer = std::move(inner);
  }
  value.set(7);
  main.poll();
  EXPECT_EQ(last, 7);
}

}  // namespace
}  // namespace tarnwell
