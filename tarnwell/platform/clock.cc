#include "tarnwell/platform/clock.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <queue>
#include <thread>
#include <vector>

#include "tarnwell/core/log.h"

namespace tarnwell {
namespace {

struct PendingTimer final : ClockTimer {
  explicit PendingTimer(std::function<void()> fire) : fire(std::move(fire)) {}
  void cancel() noexcept override { cancelled.store(true, std::memory_order_release); }

  std::function<void()> fire;
  std::atomic<bool> cancelled{false};
};

struct Entry {
  std::chrono::steady_clock::time_point due;
  std::uint64_t sequence;
  std::shared_ptr<PendingTimer> timer;

  bool operator>(const Entry& other) const { return due != other.due ? due > other.due : sequence > other.sequence; }
};

}  // namespace

struct SystemClock::Impl {
  std::mutex mutex;
  std::condition_variable wake;
  std::priority_queue<Entry, std::vector<Entry>, std::greater<>> queue;
  std::uint64_t nextSequence = 0;
  bool stopping = false;
  std::thread thread;

  void run() {
    std::unique_lock lock(mutex);
    while (!stopping) {
      if (!queue.empty() && queue.top().timer->cancelled.load(std::memory_order_acquire)) {
        queue.pop();
        continue;
      }
      // A timer due at the clock's end is one whose delay did not fit: it never fires.
      if (queue.empty() || queue.top().due == std::chrono::steady_clock::time_point::max()) {
        wake.wait(lock);
        continue;
      }
      const auto due = queue.top().due;
      if (std::chrono::steady_clock::now() < due) {
        wake.wait_until(lock, due);
        continue;
      }
      auto timer = queue.top().timer;
      queue.pop();
      lock.unlock();
      try {
        timer->fire();
      } catch (const std::exception& error) {
        logError("A timer callback failed", error.what());
      } catch (...) {
        logError("A timer callback failed", "unknown exception");
      }
      lock.lock();
    }
  }
};

SystemClock::SystemClock() : impl_(std::make_unique<Impl>()) {}

SystemClock::~SystemClock() {
  {
    std::lock_guard lock(impl_->mutex);
    impl_->stopping = true;
  }
  impl_->wake.notify_all();
  if (impl_->thread.joinable()) {
    impl_->thread.join();
  }
}

Timestamp SystemClock::now() const noexcept { return std::chrono::system_clock::now(); }

std::shared_ptr<ClockTimer> SystemClock::startTimer(std::chrono::milliseconds delay, std::function<void()> fire) {
  auto timer = std::make_shared<PendingTimer>(std::move(fire));
  {
    std::lock_guard lock(impl_->mutex);
    if (!impl_->thread.joinable()) {
      impl_->thread = std::thread([impl = impl_.get()] { impl->run(); });
    }
    impl_->queue.push({saturatingDeadline(std::chrono::steady_clock::now(), delay), impl_->nextSequence++, timer});
  }
  impl_->wake.notify_one();
  return timer;
}

std::shared_ptr<Clock> systemClock() {
  static const auto clock = std::make_shared<SystemClock>();
  return clock;
}

}  // namespace tarnwell
