// File: tarnwell/platform/detail/async.h
//
// The coroutine glue between the platform seams and Asio: waiting on a Clock, awaiting an HTTP
// transfer, hopping onto a strand or the worker pool. Internal: includes Asio.
//
//   asio::awaitable<void> flushLoop(Clock& clock) {
//     for (;;) {
//       co_await sleepFor(clock, std::chrono::seconds(60));   // throws operation_aborted when cancelled
//       ...
//     }
//   }
//
// Every awaitable here resumes its caller on the caller's own executor, and honours Asio's
// per-operation cancellation (a cancellation slot bound by co_spawn or a parallel group): a
// cancelled sleep or transfer completes with asio::error::operation_aborted.
//
// g++ 12 destroys an aggregate temporary inside a co_await expression twice
// (`co_await sendRequest(t, HttpRequest{})` corrupts the heap): bind such arguments to a local
// variable first.
#pragma once

#include <asio/associated_cancellation_slot.hpp>
#include <asio/async_result.hpp>
#include <asio/awaitable.hpp>
#include <asio/co_spawn.hpp>
#include <asio/dispatch.hpp>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/strand.hpp>
#include <asio/use_awaitable.hpp>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "tarnwell/core/detail/log_scope.h"
#include "tarnwell/platform/clock.h"
#include "tarnwell/platform/http_transport.h"

namespace tarnwell::detail {

// Completes a handler exactly once, whichever of the operation's own completion and a
// cancellation request comes first, and always on the handler's associated executor. While the
// operation is pending it counts as outstanding work of that executor, so an io_context does not
// run out of work (and return, or spin) while a timer or a transfer is still under way.
template <typename Handler, typename... Results>
class OneShot : public std::enable_shared_from_this<OneShot<Handler, Results...>> {
 public:
  explicit OneShot(Handler handler) : work_(asio::get_associated_executor(handler)), handler_(std::move(handler)) {}

  bool tryComplete(Results... results) {
    if (done_.exchange(true)) {
      return false;
    }
    auto executor = work_.get_executor();
    asio::post(executor, [handler = std::move(handler_), work = std::move(work_),
                          ... results = std::move(results)]() mutable { std::move(handler)(std::move(results)...); });
    return true;
  }

 private:
  asio::executor_work_guard<asio::associated_executor_t<Handler>> work_;
  Handler handler_;
  std::atomic<bool> done_{false};
};

// Cancels an operation (a timer, a transfer) that may not have started yet. The cancellation
// slot is armed before the operation starts: a completion that arrives at once may resume the
// awaiting coroutine on another thread, which then owns the slot, so nothing may touch the slot
// once the operation runs.
template <typename Operation>
class PendingCancel {
 public:
  void cancel() noexcept {
    std::shared_ptr<Operation> operation;
    {
      std::lock_guard lock(mutex_);
      cancelled_ = true;
      operation = std::move(operation_);
    }
    if (operation) operation->cancel();
  }
  void attach(std::shared_ptr<Operation> operation) noexcept {
    {
      std::lock_guard lock(mutex_);
      if (!cancelled_) {
        operation_ = std::move(operation);
        return;
      }
    }
    if (operation) operation->cancel();
  }

 private:
  std::mutex mutex_;
  bool cancelled_ = false;
  std::shared_ptr<Operation> operation_;
};

// Waits `delay` on `clock`. Throws std::system_error(operation_aborted) when cancelled.
template <typename CompletionToken = asio::use_awaitable_t<>>
auto sleepFor(Clock& clock, std::chrono::milliseconds delay, CompletionToken&& token = {}) {
  return asio::async_initiate<CompletionToken, void(std::error_code)>(
      [&clock, delay](auto handler) {
        auto slot = asio::get_associated_cancellation_slot(handler);
        using Shot = OneShot<std::decay_t<decltype(handler)>, std::error_code>;
        auto shot = std::make_shared<Shot>(std::move(handler));
        auto pending = std::make_shared<PendingCancel<ClockTimer>>();
        if (slot.is_connected()) {
          slot.assign([shot, pending](asio::cancellation_type) {
            pending->cancel();
            shot->tryComplete(asio::error::operation_aborted);
          });
        }
        pending->attach(clock.startTimer(delay, [shot] { shot->tryComplete(std::error_code()); }));
      },
      token);
}

// Sends `request` through `transport`. Cancelling the awaiting operation cancels the transfer,
// which then completes with TransportErrorCode::cancelled.
template <typename CompletionToken = asio::use_awaitable_t<>>
auto sendRequest(HttpTransport& transport, HttpRequest request, CompletionToken&& token = {}) {
  return asio::async_initiate<CompletionToken, void(HttpResult)>(
      [&transport, request = std::move(request)](auto handler) mutable {
        auto slot = asio::get_associated_cancellation_slot(handler);
        using Shot = OneShot<std::decay_t<decltype(handler)>, HttpResult>;
        auto shot = std::make_shared<Shot>(std::move(handler));
        auto pending = std::make_shared<PendingCancel<HttpTransfer>>();
        if (slot.is_connected()) {
          slot.assign([pending](asio::cancellation_type) { pending->cancel(); });
        }
        pending->attach(
            transport.post(std::move(request), [shot](HttpResult result) { shot->tryComplete(std::move(result)); }));
      },
      token);
}

// Runs `work` (an awaitable) on `executor`, typically a component's strand, and resumes the
// caller on its own executor with the result or the exception.
template <typename Executor, typename T>
asio::awaitable<T> runOn(Executor executor, asio::awaitable<T> work) {
  co_return co_await asio::co_spawn(executor, std::move(work), asio::use_awaitable);
}

// Runs the plain callable `work` on `executor` (a component's strand) and resumes the caller on
// its own executor with the result or the exception.
template <typename Executor, typename Work>
asio::awaitable<std::invoke_result_t<Work&>> callOn(Executor executor, Work work) {
  struct Call {
    static asio::awaitable<std::invoke_result_t<Work&>> run(Work work) { co_return work(); }
  };
  co_return co_await asio::co_spawn(executor, Call::run(std::move(work)), asio::use_awaitable);
}

// The shared pool for CPU work that must stay off the main context, such as decoding a large
// content document.
// Its threads log to `logSink` when one is given (the owning SDK object's), else to the
// process's sink.
class WorkerPool {
 public:
  explicit WorkerPool(std::size_t threads = 2, LogSink logSink = {})
      : logSink_(std::make_shared<const LogSink>(std::move(logSink))), guard_(asio::make_work_guard(io_)) {
    for (std::size_t i = 0; i < threads; ++i) {
      threads_.emplace_back([this] {
        const LogScope scope(logSink_);
        io_.run();
      });
    }
  }
  ~WorkerPool() { join(); }

  // Waits until every piece of work posted to the pool, and all it led to, has finished.
  void join() {
    guard_.reset();
    for (std::thread& thread : threads_) {
      if (thread.joinable()) thread.join();
    }
  }
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  asio::io_context::executor_type executor() noexcept { return io_.get_executor(); }

  // Runs `fn` on a pool thread; the caller resumes on its own executor with the result.
  template <typename Fn>
  asio::awaitable<std::invoke_result_t<Fn>> run(Fn fn) {
    using Result = std::invoke_result_t<Fn>;
    // The work is bound to a local first: g++ 12 destroys a temporary inside a co_await
    // expression twice, which frees whatever the callable owns too early.
    auto work = [fn = std::move(fn)]() mutable -> asio::awaitable<Result> { co_return fn(); };
    co_return co_await asio::co_spawn(io_.get_executor(), std::move(work), asio::use_awaitable);
  }

 private:
  SharedLogSink logSink_;
  asio::io_context io_;
  asio::executor_work_guard<asio::io_context::executor_type> guard_;
  std::vector<std::thread> threads_;
};

}  // namespace tarnwell::detail
