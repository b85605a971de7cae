// File: tarnwell/identity/detail/property_manager.h
//
// PropertyManager is the one place that knows who the current user is and what is known of
// the user, the application and the device. It keeps four identifiers and a user type in the
// key-value store (minting what is missing on first launch) and four property maps in memory,
// rebuilt at every launch.
//
//   PropertyManager properties(store, readProcessAppInfo(), readSystemDeviceInfo, uuids);
//   properties.setUserId("user-42");        // persisted; "is_identified" becomes true
//   JSONObject all = properties.getAllProperties();
//
// Persisted under "tarnwell_anonymous_id", "tarnwell_current_user_id", "tarnwell_profile_id",
// "tarnwell_device_id" and "tarnwell_user_type". Every member may be called from any thread;
// reads hand out copies.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include <tarnwell/core/json_value.h>
#include <tarnwell/platform/app_info.h>
#include <tarnwell/platform/device_info.h>
#include <tarnwell/platform/key_value_store.h>
#include "tarnwell/platform/detail/uuid.h"

namespace tarnwell::detail {

class PropertyManager {
 public:
  PropertyManager(KeyValueStore& store, const AppInfo& appInfo, DeviceInfoProvider deviceInfo, UuidGenerator& uuids);

  std::string getAnonymousId() const;
  std::string getProfileId() const;
  std::string getDeviceId() const;
  std::string getUserType() const;
  // The identified user, absent while anonymous.
  std::optional<std::string> getCurrentKnownUserId() const;
  // The effective identity: the identified user, else the anonymous id.
  std::string getUserId() const;
  // Whose on-device counters and delivery ledger apply: the profile id when it has characters,
  // else the identified user (even an empty one), else the anonymous id. Unlike getUserId() it
  // follows the profile, so a new profile starts fresh counts.
  std::string getDeliveryUserKey() const;

  JSONObject getUserProperties() const;
  JSONObject getAppProperties() const;
  JSONObject getCustomProperties() const;
  // Refreshes the device facts first.
  JSONObject getDeviceProperties();
  // User, then application, then (refreshed) device, then custom properties: a later map wins
  // on a shared key.
  JSONObject getAllProperties();
  // The value a targeting rule reads for `field`: refreshes the device facts, then takes the
  // first key equal to `field` ignoring ASCII case, searching the application, device, user and
  // custom properties in that order, so a user property never shadows an application or device
  // fact. Absent when no map has the key. Copies only the value found.
  std::optional<JSONValue> findTargetingProperty(std::string_view field);

  void setUserProperty(std::string key, JSONValue value);
  void setAppProperty(std::string key, JSONValue value);
  // The key "device_id" (exactly) also replaces the device identifier with the value's text.
  void setDeviceProperty(std::string key, JSONValue value);
  void setCustomProperty(std::string key, JSONValue value);

  void setUserType(std::string userType);
  // Trimmed; absent or blank clears the identified user.
  void setUserId(std::optional<std::string> userId);
  void setProfileId(std::string profileId);
  // A new anonymous id and profile id, no identified user; the device id, the user type and
  // every property stay.
  void resetIdentity();

 private:
  void persistLocked();
  void writeIdentityKeysLocked();
  void collectDeviceFactsLocked();
  std::string mintAnonymousIdLocked();
  std::string mintProfileIdLocked();

  KeyValueStore& store_;
  DeviceInfoProvider deviceInfo_;
  UuidGenerator& uuids_;

  mutable std::mutex mutex_;
  JSONObject userProperties_;
  JSONObject appProperties_;
  JSONObject deviceProperties_;
  JSONObject customProperties_;
  std::optional<DeviceInfo> collectedDeviceInfo_;  // the facts now in deviceProperties_
  bool deviceFactsOverwritten_ = false;            // a device property was set since
  std::string anonymousId_;
  std::optional<std::string> currentUserId_;
  std::string profileId_;
  std::string deviceId_;
  std::string userType_;
};

// The text a value reads as when it names an identifier: text as it is, whole numbers without
// a fraction (42 reads "42"), other scalars as their text, containers as JSON.
std::string plainDescription(const JSONValue& value);

}  // namespace tarnwell::detail
