// Identity, user sync and sessions: what the facade's identity operations run on the main
// context, and how the backend hears of them.
#include "tarnwell/core/detail/text.h"
#include "tarnwell/sdk/detail/facade_impl.h"

namespace tarnwell {

std::optional<detail::UserSyncSnapshot> Tarnwell::Impl::makeSnapshot(std::optional<std::string> sessionOverride,
                                                                     bool isRegistered) {
  const std::optional<ApiKeyConfig> loaded = loadedConfig();
  const auto client = this->client();
  return detail::makeUserSyncSnapshot(
      {.properties = *properties,
       .client = *client,
       .config = loaded ? &*loaded : nullptr,
       .sessionId = sessionOverride ? std::move(sessionOverride) : sessions->getCurrentSessionId(),
       .mainBundleId = appInfo.bundleId,
       .isRegistered = isRegistered});
}

void Tarnwell::Impl::scheduleUserSync(std::chrono::milliseconds delay) {
  if (!isReady()) return;
  spawnOnMain(userSync().syncAfter(delay));
}

asio::awaitable<void> Tarnwell::Impl::identify(std::string userId, JSONObject traits) {
  const std::string trimmed(detail::trimWhitespaceAndNewlines(userId));
  if (trimmed.empty()) co_return;
  for (const auto& [key, value] : traits) {
    properties->setUserProperty(key, value);
  }
  // The snapshot from before the change names the profile the backend merges from.
  if (std::optional<detail::UserSyncSnapshot> before = isReady() ? makeSnapshot() : std::nullopt) {
    if (co_await userSync().identify(std::move(*before), trimmed, std::move(traits), sessions->getCurrentSessionId())) {
      // A new user: the push token registers again under the new signature.
      syncPushToken();
      co_return;
    }
  } else {
    properties->setUserId(trimmed);
  }
  scheduleUserSync(kSetterSyncDelay);
}

asio::awaitable<void> Tarnwell::Impl::setUserProfile(std::string userId, JSONObject userProperties) {
  co_await identify(std::move(userId), std::move(userProperties));
  scheduleUserSync(kSetterSyncDelay);
}

asio::awaitable<void> Tarnwell::Impl::resetUser() {
  const bool wasReady = isReady();
  if (wasReady) endSessionTracking();
  properties->resetIdentity();
  if (wasReady) {
    co_await userSync().sync();
    startSessionTracking();
    trackEvent(
        "user_reset",
        JSONObject{{"reason", JSONValue("manual_reset")}, {"anonymous_id", JSONValue(properties->getAnonymousId())}},
        "user");
  }
  // In any state: the new anonymous identity registers the push token again.
  syncPushToken();
}

void Tarnwell::Impl::startSessionTracking() {
  sessions->startSession(properties->getUserId());
  const std::optional<std::string> sessionId = sessions->getCurrentSessionId();
  if (std::optional<detail::UserSyncSnapshot> snapshot = makeSnapshot()) {
    spawnOnMain(userSync().persistSessionStart(std::move(*snapshot)));
  }
  trackEvent("session_started", JSONObject{{"session_id", JSONValue(sessionId.value_or(""))}}, "session");
}

void Tarnwell::Impl::endSessionTracking() {
  if (std::optional<detail::SessionSnapshot> ended = sessions->endSession()) {
    // The manager no longer knows the session: name it in the snapshot.
    if (std::optional<detail::UserSyncSnapshot> snapshot = makeSnapshot(ended->sessionId)) {
      spawnOnMain(userSync().persistSessionEnd(std::move(*snapshot), detail::makeSessionData(*ended, deviceInfo())));
    }
  }
  trackEvent("session_ended", JSONObject{}, "session");
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
    detail::PropertyManager& properties = *impl->properties;
    properties.setUserType(userType);
    for (const auto& [key, value] : user) properties.setUserProperty(key, value);
    for (const auto& [key, value] : app) properties.setAppProperty(key, value);
    for (const auto& [key, value] : device) properties.setDeviceProperty(key, value);
    for (const auto& [key, value] : custom) properties.setCustomProperty(key, value);
    impl->spawnOnMain(impl->setUserProfile(std::move(userId), std::move(user)));
  });
}

void Tarnwell::resetUser(std::string) { impl_->spawnOnMain(impl_->resetUser()); }

void Tarnwell::setUserProperty(std::string key, JSONValue value) {
  impl_->setPropertyThenSync(&detail::PropertyManager::setUserProperty, std::move(key), std::move(value));
}

void Tarnwell::setAppProperty(std::string key, JSONValue value) {
  impl_->setPropertyThenSync(&detail::PropertyManager::setAppProperty, std::move(key), std::move(value));
}

void Tarnwell::setDeviceProperty(std::string key, JSONValue value) {
  impl_->setPropertyThenSync(&detail::PropertyManager::setDeviceProperty, std::move(key), std::move(value));
}

void Tarnwell::setCustomProperty(std::string key, JSONValue value) {
  impl_->setPropertyThenSync(&detail::PropertyManager::setCustomProperty, std::move(key), std::move(value));
}

void Tarnwell::setUserType(std::string userType) {
  impl_->setPropertyThenSync(&detail::PropertyManager::setUserType, std::move(userType));
}

}  // namespace tarnwell
