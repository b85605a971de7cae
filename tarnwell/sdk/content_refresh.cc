#include "tarnwell/sdk/detail/content_refresh.h"

namespace tarnwell::detail {

bool shouldRefresh(std::optional<Timestamp>& lastRefreshAt, std::int64_t ttlMs, bool force, Timestamp now) {
  const double ttlSeconds = static_cast<double>(ttlMs) / 1000.0;
  if (!force && ttlSeconds > 0 && lastRefreshAt &&
      std::chrono::duration<double>(now - *lastRefreshAt).count() < ttlSeconds) {
    return false;
  }
  lastRefreshAt = now;
  return true;
}

}  // namespace tarnwell::detail
