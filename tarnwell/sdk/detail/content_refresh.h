// File: tarnwell/sdk/detail/content_refresh.h
//
// When content is asked for: each kind has a stamp of the last refresh let through and a time
// to live from the runtime config. The stamp is written before the work starts, so a refresh
// that fails still closes the gate for one time to live, and a failed fetch is not retried early.
//
//   if (shouldRefresh(stamps.lastSurveysRefreshAt, config.cache.surveysTtlMs, force, clock.now())) ...
//
// The stamps live in memory only and start absent, so the first refresh of a process always
// goes through. Main context only.
#pragma once

#include <cstdint>
#include <optional>

#include "tarnwell/core/timestamp.h"

namespace tarnwell::detail {

struct RefreshStamps {
  std::optional<Timestamp> lastFeatureFlagsRefreshAt;
  std::optional<Timestamp> lastSurveysRefreshAt;
  std::optional<Timestamp> lastAnnouncementsRefreshAt;
  std::optional<Timestamp> lastLiveCardsRefreshAt;
  std::optional<Timestamp> lastMessageCenterRefreshAt;
};

// True, with `lastRefreshAt` set to `now`, when forced, when the time to live is zero or below
// (the gate is off), when there is no stamp yet, or when a whole time to live has passed.
bool shouldRefresh(std::optional<Timestamp>& lastRefreshAt, std::int64_t ttlMs, bool force, Timestamp now);

}  // namespace tarnwell::detail
