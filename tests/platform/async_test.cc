#include <gtest/gtest.h>

#include <asio/bind_cancellation_slot.hpp>
#include <asio/cancellation_signal.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>

#include <optional>
#include <thread>

#include "tarnwell/platform/detail/async.h"
#include "tarnwell/platform/main_context.h"
#include "tarnwell/testing/virtual_clock.h"

namespace tarnwell {
namespace {

using std::chrono::milliseconds;

struct AsyncTest : ::testing::Test {
  MainContext main{MainContext::Mode::hostPumped};
  testing::VirtualClock clock;

  void settle() { main.poll(); }
  void advance(milliseconds by) {
    clock.advance(by, [this] { settle(); });
  }
  template <typename Awaitable>
  void spawn(Awaitable work, asio::cancellation_slot slot = {}) {
    asio::co_spawn(main.ioContext(), std::move(work), asio::bind_cancellation_slot(slot, asio::detached));
  }
};

TEST_F(AsyncTest, SleepResumesOnTheMainContextWhenTheVirtualDelayPasses) {
  std::optional<milliseconds> wokeAfter;
  const Timestamp start = clock.now();
  spawn([&]() -> asio::awaitable<void> {
    co_await detail::sleepFor(clock, milliseconds(750));
    EXPECT_TRUE(main.runningInThisThread());
    wokeAfter = std::chrono::duration_cast<milliseconds>(clock.now() - start);
  });
  settle();
  advance(milliseconds(749));
  EXPECT_FALSE(wokeAfter);
  advance(milliseconds(1));
  EXPECT_EQ(wokeAfter, milliseconds(750));
}

TEST_F(AsyncTest, CancelledSleepThrowsOperationAbortedAndItsTimerIsDropped) {
  asio::cancellation_signal signal;
  std::optional<std::error_code> outcome;
  spawn(
      [&]() -> asio::awaitable<void> {
        try {
          co_await detail::sleepFor(clock, std::chrono::seconds(60));
          outcome = std::error_code();
        } catch (const std::system_error& error) {
          outcome = error.code();
        }
      },
      signal.slot());
  settle();
  EXPECT_EQ(clock.pendingTimerCount(), 1u);
  signal.emit(asio::cancellation_type::terminal);
  settle();
  EXPECT_EQ(outcome, std::error_code(asio::error::operation_aborted));
  EXPECT_EQ(clock.pendingTimerCount(), 0u);
}

// A transport that keeps its transfers so the test decides when and how they end.
struct HeldTransport : HttpTransport {
  struct Transfer : HttpTransfer {
    Completion completion;
    bool cancelled = false;
    void cancel() noexcept override {
      cancelled = true;
      if (completion) std::exchange(completion, nullptr)(TransportError{TransportErrorCode::cancelled, "cancelled"});
    }
  };
  std::shared_ptr<HttpTransfer> post(HttpRequest, Completion completion) override {
    last = std::make_shared<Transfer>();
    last->completion = std::move(completion);
    return last;
  }
  std::shared_ptr<Transfer> last;
};

TEST_F(AsyncTest, CancellingTheAwaitingOperationCancelsTheTransfer) {
  HeldTransport transport;
  asio::cancellation_signal signal;
  std::optional<TransportErrorCode> code;
  spawn(
      [&]() -> asio::awaitable<void> {
        HttpRequest request;
        HttpResult result = co_await detail::sendRequest(transport, std::move(request));
        code = std::get<TransportError>(result).code;
      },
      signal.slot());
  settle();
  signal.emit(asio::cancellation_type::terminal);
  settle();
  EXPECT_TRUE(transport.last->cancelled);
  EXPECT_EQ(code, TransportErrorCode::cancelled);
}

TEST_F(AsyncTest, WorkerPoolRunsOffTheMainContextAndResumesOnIt) {
  detail::WorkerPool pool(1);
  std::optional<bool> ranOnMain;
  bool resumedOnMain = false;
  spawn([&]() -> asio::awaitable<void> {
    ranOnMain = co_await pool.run([&] { return main.runningInThisThread(); });
    resumedOnMain = main.runningInThisThread();
  });
  main.runFor(std::chrono::seconds(30), [&] { return ranOnMain.has_value(); });
  EXPECT_EQ(ranOnMain, false);
  EXPECT_TRUE(resumedOnMain);
}

TEST_F(AsyncTest, WorkerPoolReleasesWhatTheWorkOwnsExactlyOnce) {
  detail::WorkerPool pool(1);
  const auto owned = std::make_shared<int>(7);
  std::optional<int> result;
  spawn([&]() -> asio::awaitable<void> {
    auto work = [copy = owned] { return *copy; };  // a local: see the g++ 12 note in async.h
    result = co_await pool.run(std::move(work));
  });
  main.runFor(std::chrono::seconds(30), [&] { return result.has_value(); });
  EXPECT_EQ(result, 7);
  pool.join();  // the pool's side of the call may still be unwinding when the caller resumes
  EXPECT_EQ(owned.use_count(), 1);
}

TEST_F(AsyncTest, RunOnStrandSerialisesAndReturnsTheResult) {
  detail::WorkerPool pool(2);
  auto strand = asio::make_strand(pool.executor());
  std::optional<int> result;
  spawn([&]() -> asio::awaitable<void> {
    result = co_await detail::runOn(strand, [&]() -> asio::awaitable<int> {
      EXPECT_TRUE(strand.running_in_this_thread());
      co_return 42;
    }());
  });
  main.runFor(std::chrono::seconds(30), [&] { return result.has_value(); });
  EXPECT_EQ(result, 42);
}

}  // namespace
}  // namespace tarnwell
