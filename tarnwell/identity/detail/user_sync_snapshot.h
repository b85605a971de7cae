// File: tarnwell/identity/detail/user_sync_snapshot.h
//
// UserSyncSnapshot is the whole identity at one moment: identifiers, tenant, the four property
// maps and the session. Every user and session action carries a complete one, so any later
// sync repairs whatever an earlier failed call left out.
//
//   auto snapshot = makeUserSyncSnapshot({.properties = properties, .client = client,
//                                         .config = config, .sessionId = sessions.getCurrentSessionId()});
//   if (snapshot) payload.set("snapshot", snapshot->encode());
//
// Absent optionals are sent as null: every key is always present on the wire.
#pragma once

#include <optional>
#include <string>

#include <tarnwell/backend/runtime_config.h>
#include <tarnwell/core/json_value.h>
#include "tarnwell/backend/detail/appwrite_client.h"
#include "tarnwell/identity/detail/property_manager.h"

namespace tarnwell::detail {

struct UserSyncSnapshot {
  std::string profileId;
  std::string anonymousId;
  std::string effectiveUserId;
  std::optional<std::string> identifiedUserId;
  std::string teamId;
  std::string environment;
  std::optional<std::string> organizationId;
  std::optional<std::string> projectId;
  std::string appId;
  std::string bundleOrPackageId;
  std::string deviceId;
  std::optional<std::string> userType;
  JSONObject userProperties;
  JSONObject appProperties;
  JSONObject deviceProperties;
  JSONObject customProperties;
  std::optional<std::string> sessionId;
  bool isRegistered = false;
  std::optional<std::string> registrationDate;
  std::optional<std::string> lastLogin;

  friend bool operator==(const UserSyncSnapshot&, const UserSyncSnapshot&) = default;
  JSONValue encode() const;
};

// What a snapshot is built from at one moment.
struct UserSyncSources {
  PropertyManager& properties;
  const AppwriteClient& client;
  // The bootstrap's answer; without it there is no snapshot (and no backend to tell).
  const ApiKeyConfig* config = nullptr;
  // The session to name: an override, else the running session.
  std::optional<std::string> sessionId{};
  // The host's bundle identifier, used when the app properties name none.
  std::optional<std::string> mainBundleId{};
  bool isRegistered = false;
  std::optional<std::string> registrationDate{};
  std::optional<std::string> lastLogin{};
};

// The snapshot, or absent when no API key configuration is loaded.
std::optional<UserSyncSnapshot> makeUserSyncSnapshot(const UserSyncSources& sources);

}  // namespace tarnwell::detail
