#include "tarnwell/testing/virtual_clock.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

namespace tarnwell::testing {
namespace {

struct VirtualTimer final : ClockTimer {
  VirtualTimer(Timestamp due, std::uint64_t sequence, std::function<void()> fire)
      : due(due), sequence(sequence), fire(std::move(fire)) {}
  void cancel() noexcept override { cancelled.store(true); }

  Timestamp due;
  std::uint64_t sequence;
  std::function<void()> fire;
  std::atomic<bool> cancelled{false};
};

}  // namespace

struct VirtualClock::Impl {
  mutable std::mutex mutex;
  Timestamp now;
  std::uint64_t nextSequence = 0;
  std::vector<std::shared_ptr<VirtualTimer>> timers;

  // The earliest live timer due at or before `limit`, removed from the list.
  std::shared_ptr<VirtualTimer> takeDue(Timestamp limit) {
    std::erase_if(timers, [](const auto& timer) { return timer->cancelled.load(); });
    auto earliest = std::min_element(timers.begin(), timers.end(), [](const auto& a, const auto& b) {
      return a->due != b->due ? a->due < b->due : a->sequence < b->sequence;
    });
    // A timer due at the clock's end is one whose delay did not fit: it never fires.
    if (earliest == timers.end() || (*earliest)->due > limit || (*earliest)->due == Timestamp::max()) {
      return nullptr;
    }
    auto timer = *earliest;
    timers.erase(earliest);
    return timer;
  }
};

VirtualClock::VirtualClock(Timestamp start) : impl_(std::make_unique<Impl>()) { impl_->now = start; }

VirtualClock::~VirtualClock() = default;

Timestamp VirtualClock::now() const noexcept {
  std::lock_guard lock(impl_->mutex);
  return impl_->now;
}

std::shared_ptr<ClockTimer> VirtualClock::startTimer(std::chrono::milliseconds delay, std::function<void()> fire) {
  std::lock_guard lock(impl_->mutex);
  auto timer =
      std::make_shared<VirtualTimer>(saturatingDeadline(impl_->now, delay), impl_->nextSequence++, std::move(fire));
  impl_->timers.push_back(timer);
  return timer;
}

void VirtualClock::advance(std::chrono::milliseconds duration, const std::function<void()>& settle) {
  Timestamp target;
  {
    std::lock_guard lock(impl_->mutex);
    target = saturatingDeadline(impl_->now, duration);
  }
  if (settle) settle();
  for (;;) {
    std::shared_ptr<VirtualTimer> timer;
    {
      std::lock_guard lock(impl_->mutex);
      timer = impl_->takeDue(target);
      if (timer == nullptr) {
        impl_->now = std::max(impl_->now, target);
        break;
      }
      impl_->now = std::max(impl_->now, timer->due);
    }
    timer->fire();
    if (settle) settle();
  }
  if (settle) settle();
}

std::size_t VirtualClock::pendingTimerCount() const {
  std::lock_guard lock(impl_->mutex);
  return static_cast<std::size_t>(std::count_if(impl_->timers.begin(), impl_->timers.end(),
                                                [](const auto& timer) { return !timer->cancelled.load(); }));
}

}  // namespace tarnwell::testing
