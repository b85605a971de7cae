#include "tarnwell/identity/detail/user_sync.h"

#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/core/log.h"
#include "tarnwell/platform/detail/async.h"

namespace tarnwell::detail {

UserSync::UserSync(UserRepository repository, PropertyManager& properties, Clock& clock, asio::any_io_executor pool,
                   SnapshotSource snapshot)
    : repository_(std::move(repository)),
      properties_(properties),
      clock_(clock),
      pool_(std::move(pool)),
      snapshot_(std::move(snapshot)) {}

asio::awaitable<void> UserSync::syncAfter(std::chrono::milliseconds delay) {
  // The last request of a burst wins: earlier ones find a newer revision and end silently.
  return debounced(delay, ++pendingRevision_);
}

asio::awaitable<void> UserSync::debounced(std::chrono::milliseconds delay, std::int64_t revision) {
  if (delay.count() >= 1) {
    co_await sleepFor(clock_, delay);
  }
  if (pendingRevision_ == revision) {
    co_await sync();
  }
}

asio::awaitable<void> UserSync::sync(bool isRegistered) {
  std::optional<UserSyncSnapshot> snapshot = snapshot_(std::nullopt, isRegistered);
  if (!snapshot) co_return;
  try {
    co_await runOn(pool_, repository_.syncUserState(std::move(*snapshot), false));
  } catch (const std::exception& error) {
    if (isCancellationError(error)) {
      logWarn("User sync cancelled before completion");
    } else {
      logError("Failed to update user in database", textualForm(error));
    }
  }
}

asio::awaitable<bool> UserSync::identify(UserSyncSnapshot before, std::string userId, JSONObject traits,
                                         std::optional<std::string> runningSession) {
  try {
    const IdentifyResult result =
        co_await runOn(pool_, repository_.identifyUser(std::move(before), userId, std::move(traits)));
    properties_.setProfileId(result.profileId);
    properties_.setUserId(userId);
    const bool registered = !userId.starts_with("anonymous");
    co_await sync(registered);
    if (runningSession) {
      // Attach the running session to the identified user on the backend.
      if (std::optional<UserSyncSnapshot> attached = snapshot_(runningSession, registered)) {
        co_await runOn(pool_, repository_.startSession(std::move(*attached)));
      }
    }
    co_return true;
  } catch (const std::exception& error) {
    logError("Failed to identify user", textualForm(error));
  }
  properties_.setUserId(userId);
  co_return false;
}

asio::awaitable<void> UserSync::persistSessionStart(UserSyncSnapshot snapshot) {
  try {
    co_await runOn(pool_, repository_.startSession(std::move(snapshot)));
  } catch (const std::exception& error) {
    logError("Failed to persist session start", textualForm(error));
  }
}

asio::awaitable<void> UserSync::persistSessionEnd(UserSyncSnapshot snapshot, JSONObject sessionData) {
  try {
    co_await runOn(pool_, repository_.endSession(std::move(snapshot), std::move(sessionData)));
  } catch (const std::exception& error) {
    logError("Failed to persist session end", textualForm(error));
  }
}

}  // namespace tarnwell::detail
