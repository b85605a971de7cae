#include "tarnwell/identity/detail/property_manager.h"

#include <algorithm>
#include <cmath>

#include "tarnwell/core/detail/text.h"
#include "tarnwell/platform/device_labels.h"

namespace tarnwell::detail {
namespace {

constexpr std::string_view kAnonymousIdKey = "tarnwell_anonymous_id";
constexpr std::string_view kCurrentUserIdKey = "tarnwell_current_user_id";
constexpr std::string_view kProfileIdKey = "tarnwell_profile_id";
constexpr std::string_view kDeviceIdKey = "tarnwell_device_id";
constexpr std::string_view kUserTypeKey = "tarnwell_user_type";

std::string withoutDashes(std::string text) {
  std::erase(text, '-');
  return text;
}

const JSONValue* findIgnoringAsciiCase(const JSONObject& map, std::string_view field) noexcept {
  for (const auto& [key, value] : map) {
    if (equalsIgnoringAsciiCase(key, field)) return &value;
  }
  return nullptr;
}

}  // namespace

std::string plainDescription(const JSONValue& value) {
  if (const double* number = value.asNumber();
      number != nullptr && std::isfinite(*number) && std::trunc(*number) == *number && std::fabs(*number) < 9.0e15) {
    return std::to_string(static_cast<std::int64_t>(*number));
  }
  if (auto text = value.stringValue()) {
    return *text;
  }
  return value.isNull() ? "nil" : value.encode();
}

PropertyManager::PropertyManager(KeyValueStore& store, const AppInfo& appInfo, DeviceInfoProvider deviceInfo,
                                 UuidGenerator& uuids)
    : store_(store), deviceInfo_(std::move(deviceInfo)), uuids_(uuids) {
  std::lock_guard lock(mutex_);
  anonymousId_ = store_.getString(kAnonymousIdKey).value_or("");
  if (anonymousId_.empty()) anonymousId_ = mintAnonymousIdLocked();
  currentUserId_ = store_.getString(kCurrentUserIdKey);
  profileId_ = store_.getString(kProfileIdKey).value_or("");
  if (profileId_.empty()) profileId_ = mintProfileIdLocked();
  deviceId_ = store_.getString(kDeviceIdKey).value_or("");
  if (deviceId_.empty()) deviceId_ = deviceInfo_().deviceIdPrefix + toLowerAscii(uuids_.next());
  userType_ = store_.getString(kUserTypeKey).value_or("");
  persistLocked();
  writeIdentityKeysLocked();

  const std::string versionName = appInfo.shortVersion.value_or("unknown");
  appProperties_.set("bundle_id", JSONValue(appInfo.bundleId.value_or("")));
  appProperties_.set("version_name", JSONValue(versionName));
  appProperties_.set("app_version", JSONValue(versionName));
  appProperties_.set("build_number", JSONValue(appInfo.buildVersion.value_or("0")));
  appProperties_.set("app_name",
                     JSONValue(appInfo.displayName ? *appInfo.displayName : appInfo.bundleName.value_or("unknown")));
  collectDeviceFactsLocked();
}

std::string PropertyManager::mintAnonymousIdLocked() { return "anonymous_" + uuids_.next(); }

std::string PropertyManager::mintProfileIdLocked() { return "prf_" + withoutDashes(uuids_.next()); }

void PropertyManager::persistLocked() {
  store_.setString(kAnonymousIdKey, anonymousId_);
  if (currentUserId_) {
    store_.setString(kCurrentUserIdKey, *currentUserId_);
  } else {
    store_.remove(kCurrentUserIdKey);
  }
  store_.setString(kProfileIdKey, profileId_);
  store_.setString(kDeviceIdKey, deviceId_);
  store_.setString(kUserTypeKey, userType_);
}

void PropertyManager::writeIdentityKeysLocked() {
  userProperties_.set("user_id", JSONValue(currentUserId_.value_or(anonymousId_)));
  userProperties_.set("anonymous_id", JSONValue(anonymousId_));
  userProperties_.set("profile_id", JSONValue(profileId_));
  userProperties_.set("user_type", JSONValue(userType_));
  userProperties_.set("is_identified", JSONValue(currentUserId_.has_value()));
}

void PropertyManager::collectDeviceFactsLocked() {
  DeviceInfo device = deviceInfo_();
  // Targeting refreshes the facts for every field it resolves: rewrite them only when they, or
  // the device map they live in, changed since the last time.
  if (collectedDeviceInfo_ == device && !deviceFactsOverwritten_) return;
  deviceProperties_.set("platform", JSONValue(device.platform));
  deviceProperties_.set("os_version", JSONValue(device.osVersion));
  deviceProperties_.set("locale", JSONValue(device.locale));
  deviceProperties_.set("timezone", JSONValue(device.timeZone));
  deviceProperties_.set("device_id", JSONValue(deviceId_));
  deviceProperties_.set("model", JSONValue(deviceFamilyName(device)));
  deviceProperties_.set("device_model", JSONValue(deviceModelIdentifier(device)));
  deviceProperties_.set("device_name", JSONValue(deviceDisplayName(device)));
  deviceProperties_.set("manufacturer", JSONValue(device.manufacturer));
  deviceProperties_.set("brand", JSONValue(device.manufacturer));
  collectedDeviceInfo_ = std::move(device);
  deviceFactsOverwritten_ = false;
}

std::string PropertyManager::getAnonymousId() const {
  std::lock_guard lock(mutex_);
  return anonymousId_;
}

std::string PropertyManager::getProfileId() const {
  std::lock_guard lock(mutex_);
  return profileId_;
}

std::string PropertyManager::getDeviceId() const {
  std::lock_guard lock(mutex_);
  return deviceId_;
}

std::string PropertyManager::getUserType() const {
  std::lock_guard lock(mutex_);
  return userType_;
}

std::optional<std::string> PropertyManager::getCurrentKnownUserId() const {
  std::lock_guard lock(mutex_);
  return currentUserId_;
}

std::string PropertyManager::getDeliveryUserKey() const {
  std::lock_guard lock(mutex_);
  if (!profileId_.empty()) return profileId_;
  return currentUserId_.value_or(anonymousId_);
}

std::string PropertyManager::getUserId() const {
  std::lock_guard lock(mutex_);
  return currentUserId_.value_or(anonymousId_);
}

JSONObject PropertyManager::getUserProperties() const {
  std::lock_guard lock(mutex_);
  return userProperties_;
}

JSONObject PropertyManager::getAppProperties() const {
  std::lock_guard lock(mutex_);
  return appProperties_;
}

JSONObject PropertyManager::getCustomProperties() const {
  std::lock_guard lock(mutex_);
  return customProperties_;
}

JSONObject PropertyManager::getDeviceProperties() {
  std::lock_guard lock(mutex_);
  collectDeviceFactsLocked();
  return deviceProperties_;
}

JSONObject PropertyManager::getAllProperties() {
  std::lock_guard lock(mutex_);
  JSONObject all = userProperties_;
  for (const auto& [key, value] : appProperties_) all.set(key, value);
  collectDeviceFactsLocked();
  for (const auto& [key, value] : deviceProperties_) all.set(key, value);
  for (const auto& [key, value] : customProperties_) all.set(key, value);
  return all;
}

std::optional<JSONValue> PropertyManager::findTargetingProperty(std::string_view field) {
  std::lock_guard lock(mutex_);
  collectDeviceFactsLocked();
  for (const JSONObject* map : {&appProperties_, &deviceProperties_, &userProperties_, &customProperties_}) {
    if (const JSONValue* value = findIgnoringAsciiCase(*map, field)) return *value;
  }
  return std::nullopt;
}

void PropertyManager::setUserProperty(std::string key, JSONValue value) {
  std::lock_guard lock(mutex_);
  userProperties_.set(std::move(key), std::move(value));
}

void PropertyManager::setAppProperty(std::string key, JSONValue value) {
  std::lock_guard lock(mutex_);
  appProperties_.set(std::move(key), std::move(value));
}

void PropertyManager::setDeviceProperty(std::string key, JSONValue value) {
  std::lock_guard lock(mutex_);
  const bool replacesDeviceId = key == "device_id";
  if (replacesDeviceId) {
    deviceId_ = plainDescription(value);
  }
  deviceProperties_.set(std::move(key), std::move(value));
  deviceFactsOverwritten_ = true;
  if (replacesDeviceId) {
    persistLocked();
  }
}

void PropertyManager::setCustomProperty(std::string key, JSONValue value) {
  std::lock_guard lock(mutex_);
  customProperties_.set(std::move(key), std::move(value));
}

void PropertyManager::setUserType(std::string userType) {
  std::lock_guard lock(mutex_);
  userType_ = std::move(userType);
  store_.setString(kUserTypeKey, userType_);
  userProperties_.set("user_type", JSONValue(userType_));
}

void PropertyManager::setUserId(std::optional<std::string> userId) {
  std::lock_guard lock(mutex_);
  currentUserId_.reset();
  if (userId) {
    const std::string_view trimmed = trimWhitespaceAndNewlines(*userId);
    if (!trimmed.empty()) currentUserId_ = std::string(trimmed);
  }
  persistLocked();
  writeIdentityKeysLocked();
}

void PropertyManager::setProfileId(std::string profileId) {
  std::lock_guard lock(mutex_);
  profileId_ = std::move(profileId);
  persistLocked();
  writeIdentityKeysLocked();
}

void PropertyManager::resetIdentity() {
  std::lock_guard lock(mutex_);
  anonymousId_ = mintAnonymousIdLocked();
  profileId_ = mintProfileIdLocked();
  currentUserId_.reset();
  persistLocked();
  writeIdentityKeysLocked();
}

}  // namespace tarnwell::detail
