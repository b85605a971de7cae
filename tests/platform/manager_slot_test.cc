#include "tarnwell/platform/detail/manager_slot.h"

#include <gtest/gtest.h>

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>

#include <optional>
#include <string>

#include "tarnwell/platform/detail/async.h"
#include "tarnwell/platform/main_context.h"
#include "tarnwell/testing/virtual_clock.h"

namespace tarnwell {
namespace {

using std::chrono::milliseconds;

// A manager whose answers take a second of virtual time, so a replacement can arrive meanwhile.
struct SlowManager {
  SlowManager(Clock& clock, std::string name) : clock(clock), name(std::move(name)) {}
  asio::awaitable<std::string> greet(std::string who) {
    co_await detail::sleepFor(clock, milliseconds(1000));
    co_return name + " greets " + who;
  }
  asio::awaitable<void> note(std::string text) {
    notes += text;
    co_return;
  }
  Clock& clock;
  std::string name;
  std::string notes;
};

struct ManagerSlotTest : ::testing::Test {
  MainContext main{MainContext::Mode::hostPumped};
  testing::VirtualClock clock;
  detail::ManagerSlot<SlowManager> slot;

  void spawn(asio::awaitable<void> work) { asio::co_spawn(main.ioContext(), std::move(work), asio::detached); }
  void advance(milliseconds by) {
    clock.advance(by, [this] { main.poll(); });
  }
};

TEST_F(ManagerSlotTest, AnOperationKeepsTheManagerItStartedWithThroughAReplacement) {
  auto first = std::make_shared<SlowManager>(clock, "first");
  std::weak_ptr<SlowManager> firstAlive = first;
  slot.set(std::move(first));
  std::optional<std::string> answer;
  spawn(slot.call(
      &SlowManager::greet, "nobody", [&](std::string text) { answer = std::move(text); }, std::string("ada")));
  main.poll();
  slot.set(std::make_shared<SlowManager>(clock, "second"));
  EXPECT_FALSE(firstAlive.expired()) << "the replaced manager must live until its operation ends";
  advance(milliseconds(1000));
  EXPECT_EQ(answer, "first greets ada");
  EXPECT_TRUE(firstAlive.expired());
}

TEST_F(ManagerSlotTest, TheSlotIsReadWhenTheOperationRunsNotWhenItIsMade) {
  auto pending = slot.call(&SlowManager::note, {}, std::string("kept"));
  auto manager = std::make_shared<SlowManager>(clock, "late");
  slot.set(manager);
  spawn(std::move(pending));
  main.poll();
  EXPECT_EQ(manager->notes, "kept");
}

TEST_F(ManagerSlotTest, WithoutAManagerTheFallbackIsAnsweredAndTheCompletionStillRuns) {
  std::optional<std::string> answer;
  bool noted = false;
  spawn(slot.call(
      &SlowManager::greet, "nobody", [&](std::string text) { answer = std::move(text); }, std::string("ada")));
  spawn(slot.call(
      &SlowManager::note, [&] { noted = true; }, std::string("lost")));
  main.poll();
  EXPECT_EQ(answer, "nobody");
  EXPECT_TRUE(noted);
}

}  // namespace
}  // namespace tarnwell
