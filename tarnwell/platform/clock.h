// File: tarnwell/platform/clock.h
//
// Clock is the SDK's only source of "now" and of waiting. Every stamp, time to live, debounce,
// delay and flush period goes through it, so tests can swap in the test kit's VirtualClock and run a day of
// schedule in milliseconds.
//
//   auto clock = tarnwell::systemClock();
//   tarnwell::Timestamp started = clock->now();
//   auto timer = clock->startTimer(std::chrono::milliseconds(750), [] { /* due */ });
//   timer->cancel();
//
// Contract: `now` and `startTimer` may be called from any thread and never throw (beyond
// std::bad_alloc). A timer's `fire` runs at most once, on a thread of the clock's choosing,
// never inside `startTimer`; it must be short and must not block, typically posting work to an
// executor. Cancelling a timer that has fired or is firing does nothing.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include <tarnwell/core/timestamp.h>
#include <tarnwell/export.h>

namespace tarnwell {

class TARNWELL_API ClockTimer {
 public:
  virtual ~ClockTimer() = default;
  virtual void cancel() noexcept = 0;
};

class TARNWELL_API Clock {
 public:
  virtual ~Clock() = default;
  virtual Timestamp now() const noexcept = 0;
  virtual std::shared_ptr<ClockTimer> startTimer(std::chrono::milliseconds delay, std::function<void()> fire) = 0;
};

// Wall time from the system clock; timers measured on the monotonic clock, so changing the
// system time neither hurries nor stalls a pending delay. Timers fire on one thread the clock
// starts on first use.
class TARNWELL_API SystemClock final : public Clock {
 public:
  SystemClock();
  ~SystemClock() override;
  SystemClock(const SystemClock&) = delete;
  SystemClock& operator=(const SystemClock&) = delete;

  Timestamp now() const noexcept override;
  std::shared_ptr<ClockTimer> startTimer(std::chrono::milliseconds delay, std::function<void()> fire) override;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// One SystemClock for the process.
TARNWELL_API std::shared_ptr<Clock> systemClock();

}  // namespace tarnwell
