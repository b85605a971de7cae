// File: tarnwell/core/timestamp.h
//
// Timestamp is a point in wall-clock time, as every record, payload and refresh stamp of the
// SDK keeps it. Durations between timestamps are plain std::chrono durations.
#pragma once

#include <chrono>

namespace tarnwell {

using Timestamp = std::chrono::system_clock::time_point;

// Seconds since 1970 as a double, the form persisted records use for their dates.
inline double toEpochSeconds(Timestamp t) noexcept {
  return std::chrono::duration<double>(t.time_since_epoch()).count();
}

inline Timestamp fromEpochSeconds(double seconds) noexcept {
  return Timestamp(std::chrono::duration_cast<Timestamp::duration>(std::chrono::duration<double>(seconds)));
}

}  // namespace tarnwell
