// File: tarnwell/testing/virtual_clock.h
//
// VirtualClock is a Clock whose time moves only when told, for tests of debounces, delays,
// caches and loops that must run in milliseconds.
//
//   tarnwell::testing::VirtualClock clock;
//   auto timer = clock.startTimer(std::chrono::seconds(120), [&] { fired = true; });
//   clock.advance(std::chrono::seconds(119));   // nothing fires
//   clock.advance(std::chrono::seconds(1), [&] { main.poll(); });   // fires, then settles
//
// Timers fire inside `advance`, on the calling thread, in due order (equal due times in the
// order they were started), with now() set to each timer's due time as it fires. After every
// firing `settle` runs, so work the firing posted (to a host-pumped MainContext, say) can run and
// start new timers; those are honoured within the same advance when they fall due inside it.
// All members may be called from any thread.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include <tarnwell/platform/clock.h>

namespace tarnwell::testing {

class VirtualClock final : public Clock {
 public:
  // 2026-01-01T00:00:00Z unless told otherwise.
  explicit VirtualClock(Timestamp start = Timestamp(std::chrono::seconds(1767225600)));
  ~VirtualClock() override;

  Timestamp now() const noexcept override;
  std::shared_ptr<ClockTimer> startTimer(std::chrono::milliseconds delay, std::function<void()> fire) override;

  void advance(std::chrono::milliseconds duration, const std::function<void()>& settle = {});
  // The number of timers started and neither fired nor cancelled.
  std::size_t pendingTimerCount() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tarnwell::testing
