// File: tarnwell/core/timestamp.h
//
// Timestamp is a point in wall-clock time, as every record, payload and refresh stamp of the
// SDK keeps it. Durations between timestamps are plain std::chrono durations.
#pragma once

#include <chrono>

namespace tarnwell {

using Timestamp = std::chrono::system_clock::time_point;

// `base + delay`, or the clock's last representable instant when that sum would not fit. Delays
// come from outside (a backend's flush interval, a host's time-out) and may be anything; one too
// large for the clock means "not in this process's lifetime", never a deadline wrapped into the
// past. A delay of zero or below gives `base`.
template <typename TimePoint, typename Rep, typename Period>
TimePoint saturatingDeadline(TimePoint base, std::chrono::duration<Rep, Period> delay) noexcept {
  using Delay = std::chrono::duration<Rep, Period>;
  using Duration = typename TimePoint::duration;
  if (delay <= Delay::zero()) {
    return base;
  }
  // Room left before the clock's end; from an instant before the epoch there is at least
  // Duration::max() of it.
  const Duration room = base.time_since_epoch() < Duration::zero() ? Duration::max() : TimePoint::max() - base;
  if (delay >= std::chrono::duration_cast<Delay>(room)) {
    return TimePoint::max();
  }
  return base + std::chrono::duration_cast<Duration>(delay);
}

// Seconds since 1970 as a double, the form persisted records use for their dates.
inline double toEpochSeconds(Timestamp t) noexcept {
  return std::chrono::duration<double>(t.time_since_epoch()).count();
}

inline Timestamp fromEpochSeconds(double seconds) noexcept {
  return Timestamp(std::chrono::duration_cast<Timestamp::duration>(std::chrono::duration<double>(seconds)));
}

}  // namespace tarnwell
