// Identity, user sync and sessions: what the facade's identity operations run on the main
// context, and how the backend hears of them.
#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/core/detail/text.h"
#include "tarnwell/sdk/detail/facade_impl.h"

namespace tarnwell {
namespace {

constexpr std::chrono::milliseconds kSetterSyncDelay{750};

}  // namespace

std::optional<UserSyncSnapshot> Tarnwell::Impl::makeSnapshot(std::optional<std::string> sessionOverride,
                                                             bool isRegistered) {
  const std::optional<ApiKeyConfig> loaded = loadedConfig();
  const auto client = this->client();
  return makeUserSyncSnapshot(
      {.properties = *properties,
       .client = *client,
       .config = loaded ? &*loaded : nullptr,
       .sessionId = sessionOverride ? std::move(sessionOverride) : sessions->getCurrentSessionId(),
       .mainBundleId = appInfo.bundleId,
       .isRegistered = isRegistered});
}

void Tarnwell::Impl::scheduleUserSync(std::chrono::milliseconds delay) {
  if (!isReady()) return;
  // The last request of a burst wins: earlier ones find a newer revision and end silently.
  const std::int64_t revision = ++pendingUserSyncRevision;
  spawnOnMain(debouncedUserSync(delay, revision));
}

asio::awaitable<void> Tarnwell::Impl::debouncedUserSync(std::chrono::milliseconds delay, std::int64_t revision) {
  if (delay.count() >= 1) {
    co_await detail::sleepFor(*clock, delay);
  }
  if (pendingUserSyncRevision == revision) {
    co_await performUserSync();
  }
}

asio::awaitable<void> Tarnwell::Impl::performUserSync(bool isRegistered) {
  std::optional<UserSyncSnapshot> snapshot = makeSnapshot(std::nullopt, isRegistered);
  if (!snapshot) co_return;
  try {
    co_await detail::runOn(pool->executor(), userRepository().syncUserState(std::move(*snapshot), false));
  } catch (const std::exception& error) {
    if (isCancellationError(error)) {
      logWarn("User sync cancelled before completion");
    } else {
      logError("Failed to update user in database", textualForm(error));
    }
  }
}

asio::awaitable<void> Tarnwell::Impl::identify(std::string userId, JSONObject traits) {
  const std::string trimmed(trimWhitespaceAndNewlines(userId));
  if (trimmed.empty()) co_return;
  for (const auto& [key, value] : traits) {
    properties->setUserProperty(key, value);
  }
  // The snapshot from before the change names the profile the backend merges from.
  std::optional<UserSyncSnapshot> before = isReady() ? makeSnapshot() : std::nullopt;
  if (!before) {
    properties->setUserId(trimmed);
    scheduleUserSync(kSetterSyncDelay);
    co_return;
  }
  try {
    const IdentifyResult result = co_await detail::runOn(
        pool->executor(), userRepository().identifyUser(std::move(*before), trimmed, std::move(traits)));
    properties->setProfileId(result.profileId);
    properties->setUserId(trimmed);
    const bool registered = !trimmed.starts_with("anonymous");
    co_await performUserSync(registered);
    if (auto session = sessions->getCurrentSessionId()) {
      // Attach the running session to the identified user on the backend.
      if (std::optional<UserSyncSnapshot> attached = makeSnapshot(session, registered)) {
        co_await detail::runOn(pool->executor(), userRepository().startSession(std::move(*attached)));
      }
    }
  } catch (const std::exception& error) {
    logError("Failed to identify user", textualForm(error));
    properties->setUserId(trimmed);
    scheduleUserSync(kSetterSyncDelay);
  }
}

asio::awaitable<void> Tarnwell::Impl::setUserProfile(std::string userId, JSONObject userProperties) {
  co_await identify(std::move(userId), std::move(userProperties));
  scheduleUserSync(kSetterSyncDelay);
}

asio::awaitable<void> Tarnwell::Impl::resetUser() {
  const bool wasReady = isReady();
  if (wasReady) endSessionTracking();
  properties->resetIdentity();
  if (!wasReady) co_return;
  co_await performUserSync();
  startSessionTracking();
  trackEvent(
      "user_reset",
      JSONObject{{"reason", JSONValue("manual_reset")}, {"anonymous_id", JSONValue(properties->getAnonymousId())}},
      "user");
}

void Tarnwell::Impl::startSessionTracking() {
  sessions->startSession(properties->getUserId());
  const std::optional<std::string> sessionId = sessions->getCurrentSessionId();
  if (std::optional<UserSyncSnapshot> snapshot = makeSnapshot()) {
    spawnOnMain(persistSessionStart(std::move(*snapshot)));
  }
  trackEvent("session_started", JSONObject{{"session_id", JSONValue(sessionId.value_or(""))}}, "session");
}

void Tarnwell::Impl::endSessionTracking() {
  if (std::optional<SessionSnapshot> ended = sessions->endSession()) {
    // The manager no longer knows the session: name it in the snapshot.
    if (std::optional<UserSyncSnapshot> snapshot = makeSnapshot(ended->sessionId)) {
      spawnOnMain(persistSessionEnd(std::move(*snapshot), makeSessionData(*ended, deviceInfo())));
    }
  }
  trackEvent("session_ended", JSONObject{}, "session");
}

asio::awaitable<void> Tarnwell::Impl::persistSessionStart(UserSyncSnapshot snapshot) {
  try {
    co_await detail::runOn(pool->executor(), userRepository().startSession(std::move(snapshot)));
  } catch (const std::exception& error) {
    logError("Failed to persist session start", textualForm(error));
  }
}

asio::awaitable<void> Tarnwell::Impl::persistSessionEnd(UserSyncSnapshot snapshot, JSONObject sessionData) {
  try {
    co_await detail::runOn(pool->executor(), userRepository().endSession(std::move(snapshot), std::move(sessionData)));
  } catch (const std::exception& error) {
    logError("Failed to persist session end", textualForm(error));
  }
}

// ---- Public identity operations ------------------------------------------------------------

void Tarnwell::identify(std::string userId, JSONObject traits) {
  impl_->spawnOnMain(impl_->identify(std::move(userId), std::move(traits)));
}

void Tarnwell::setUserProfile(std::string userId, std::string userType, JSONObject userProperties,
                              JSONObject appProperties, JSONObject deviceProperties, JSONObject customProperties) {
  impl_->runOnMain([impl = impl_.get(), userId = std::move(userId), userType = std::move(userType),
                    user = std::move(userProperties), app = std::move(appProperties),
                    device = std::move(deviceProperties), custom = std::move(customProperties)]() mutable {
    PropertyManager& properties = *impl->properties;
    properties.setUserType(userType);
    for (const auto& [key, value] : user) properties.setUserProperty(key, value);
    for (const auto& [key, value] : app) properties.setAppProperty(key, value);
    for (const auto& [key, value] : device) properties.setDeviceProperty(key, value);
    for (const auto& [key, value] : custom) properties.setCustomProperty(key, value);
    impl->spawnOnMain(impl->setUserProfile(std::move(userId), std::move(user)));
  });
}

void Tarnwell::resetUser(std::string) { impl_->spawnOnMain(impl_->resetUser()); }

void Tarnwell::Impl::setPropertyThenSync(std::function<void(PropertyManager&)> change) {
  runOnMain([this, change = std::move(change)] {
    change(*properties);
    scheduleUserSync(kSetterSyncDelay);
  });
}

void Tarnwell::setUserProperty(std::string key, JSONValue value) {
  impl_->setPropertyThenSync([key = std::move(key), value = std::move(value)](PropertyManager& p) mutable {
    p.setUserProperty(std::move(key), std::move(value));
  });
}

void Tarnwell::setAppProperty(std::string key, JSONValue value) {
  impl_->setPropertyThenSync([key = std::move(key), value = std::move(value)](PropertyManager& p) mutable {
    p.setAppProperty(std::move(key), std::move(value));
  });
}

void Tarnwell::setDeviceProperty(std::string key, JSONValue value) {
  impl_->setPropertyThenSync([key = std::move(key), value = std::move(value)](PropertyManager& p) mutable {
    p.setDeviceProperty(std::move(key), std::move(value));
  });
}

void Tarnwell::setCustomProperty(std::string key, JSONValue value) {
  impl_->setPropertyThenSync([key = std::move(key), value = std::move(value)](PropertyManager& p) mutable {
    p.setCustomProperty(std::move(key), std::move(value));
  });
}

void Tarnwell::setUserType(std::string userType) {
  impl_->setPropertyThenSync(
      [userType = std::move(userType)](PropertyManager& p) mutable { p.setUserType(std::move(userType)); });
}

}  // namespace tarnwell
