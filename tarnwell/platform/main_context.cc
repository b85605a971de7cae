#include "tarnwell/platform/main_context.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>

#include <algorithm>
#include <atomic>
#include <exception>
#include <optional>
#include <thread>

#include "tarnwell/core/detail/log_scope.h"
#include "tarnwell/core/timestamp.h"

namespace tarnwell {

struct MainContext::Impl {
  Impl(Mode mode, LogSink logSink)
      : mode(mode), logSink(std::make_shared<const LogSink>(std::move(logSink))), guard(asio::make_work_guard(io)) {}

  // Runs `step` until it returns without an exception: work that throws must not stop the
  // context for everything queued behind it. The work logs to the context's sink.
  template <typename Step>
  std::size_t runGuarded(Step step) {
    const detail::LogScope scope(logSink);
    std::size_t total = 0;
    for (;;) {
      try {
        total += step();
        return total;
      } catch (const std::exception& error) {
        logError("Work on the main context failed", error.what());
      } catch (...) {
        logError("Work on the main context failed", "unknown exception");
      }
      ++total;
    }
  }

  Mode mode;
  detail::SharedLogSink logSink;
  std::atomic<bool> stopped{false};
  asio::io_context io{1};
  asio::executor_work_guard<asio::io_context::executor_type> guard;
  std::thread thread;
};

MainContext::MainContext(Mode mode, LogSink logSink) : impl_(std::make_unique<Impl>(mode, std::move(logSink))) {
  if (mode == Mode::ownThread) {
    impl_->thread = std::thread([impl = impl_.get()] { impl->runGuarded([&] { return impl->io.run(); }); });
  }
}

MainContext::~MainContext() { stop(); }

void MainContext::stop() {
  impl_->stopped = true;
  impl_->guard.reset();
  impl_->io.stop();
  if (impl_->thread.joinable()) {
    // Stopped from its own work (an owner torn down inside a callback): the thread ends by
    // itself once that work returns.
    if (impl_->thread.get_id() == std::this_thread::get_id()) {
      impl_->thread.detach();
    } else {
      impl_->thread.join();
    }
  }
}

MainContext::Mode MainContext::mode() const noexcept { return impl_->mode; }

void MainContext::post(std::function<void()> work) { asio::post(impl_->io, std::move(work)); }

bool MainContext::runningInThisThread() const noexcept { return impl_->io.get_executor().running_in_this_thread(); }

std::size_t MainContext::poll() {
  if (impl_->mode != Mode::hostPumped || impl_->stopped) {
    return 0;
  }
  if (impl_->io.stopped()) {
    impl_->io.restart();
  }
  return impl_->runGuarded([&] { return impl_->io.poll(); });
}

std::size_t MainContext::runFor(std::chrono::milliseconds limit, const std::function<bool()>& done) {
  if (impl_->mode != Mode::hostPumped || impl_->stopped) {
    return 0;
  }
  const auto deadline = saturatingDeadline(std::chrono::steady_clock::now(), limit);
  std::size_t total = 0;
  while (std::chrono::steady_clock::now() < deadline) {
    total += poll();
    if (done && done()) {
      break;
    }
    if (impl_->io.stopped()) {
      impl_->io.restart();
    }
    // Wake at least every few milliseconds: `done` may turn true off the main context.
    const auto wake = std::min(deadline, std::chrono::steady_clock::now() + std::chrono::milliseconds(5));
    total += impl_->runGuarded([&] { return impl_->io.run_one_until(wake); });
  }
  return total;
}

asio::io_context& MainContext::ioContext() noexcept { return impl_->io; }

}  // namespace tarnwell
