#include "tarnwell/identity/detail/user_sync_snapshot.h"

#include "tarnwell/core/detail/record_coding.h"
#include "tarnwell/core/detail/text.h"

namespace tarnwell::detail {

template <>
struct RecordFields<UserSyncSnapshot> {
  using R = UserSyncSnapshot;
  static constexpr auto fields = std::make_tuple(
      field(&R::profileId, "profileId"), field(&R::anonymousId, "anonymousId"),
      field(&R::effectiveUserId, "effectiveUserId"), nullableField(&R::identifiedUserId, "identifiedUserId"),
      field(&R::teamId, "teamId"), field(&R::environment, "environment"),
      nullableField(&R::organizationId, "organizationId"), nullableField(&R::projectId, "projectId"),
      field(&R::appId, "appId"), field(&R::bundleOrPackageId, "bundleOrPackageId"), field(&R::deviceId, "deviceId"),
      nullableField(&R::userType, "userType"), field(&R::userProperties, "userProperties"),
      field(&R::appProperties, "appProperties"), field(&R::deviceProperties, "deviceProperties"),
      field(&R::customProperties, "customProperties"), nullableField(&R::sessionId, "sessionId"),
      field(&R::isRegistered, "isRegistered"), nullableField(&R::registrationDate, "registrationDate"),
      nullableField(&R::lastLogin, "lastLogin"));
};

JSONValue UserSyncSnapshot::encode() const { return encodeRecord(*this); }

std::optional<UserSyncSnapshot> makeUserSyncSnapshot(const UserSyncSources& sources) {
  if (sources.config == nullptr) {
    return std::nullopt;
  }
  const ApiKeyConfig& config = *sources.config;
  PropertyManager& properties = sources.properties;
  UserSyncSnapshot snapshot;
  snapshot.profileId = properties.getProfileId();
  snapshot.anonymousId = properties.getAnonymousId();
  snapshot.identifiedUserId = properties.getCurrentKnownUserId();
  snapshot.effectiveUserId = snapshot.identifiedUserId.value_or(snapshot.anonymousId);
  snapshot.teamId = sources.client.getTeamId().value_or(config.teamId);
  snapshot.environment = sources.client.getEnvironment().value_or(config.environment.value_or("stage"));
  snapshot.organizationId = config.organizationId;
  snapshot.projectId = config.projectId;
  snapshot.appId = config.appId;
  snapshot.userProperties = properties.getUserProperties();
  snapshot.appProperties = properties.getAppProperties();
  snapshot.deviceProperties = properties.getDeviceProperties();
  snapshot.customProperties = properties.getCustomProperties();
  snapshot.bundleOrPackageId =
      snapshot.appProperties.scalarText("bundle_id").value_or(sources.mainBundleId.value_or(""));
  snapshot.deviceId = properties.getDeviceId();
  if (auto type = snapshot.userProperties.scalarText("user_type")) {
    const std::string_view trimmed = trimWhitespaceAndNewlines(*type);
    if (!trimmed.empty()) snapshot.userType = std::string(trimmed);
  }
  snapshot.sessionId = sources.sessionId;
  snapshot.isRegistered = sources.isRegistered || snapshot.identifiedUserId.has_value();
  snapshot.registrationDate = sources.registrationDate;
  snapshot.lastLogin = sources.lastLogin;
  return snapshot;
}

}  // namespace tarnwell::detail
