#include "tools/gateway/identity_actions.h"

#include <algorithm>

#include <tarnwell/core/iso8601.h>
#include "tarnwell/platform/detail/uuid.h"

#include "tools/gateway/payload_reader.h"

namespace tarnwell::gateway {
namespace {

// What the handlers need of a user snapshot, once all of it has been checked.
struct Snapshot {
  std::string profileId;
  std::string effectiveUserId;
  UserScope scope;
  std::optional<std::string> sessionId;
  JSONValue whole;
};

// Every member of a user snapshot, with its type: the SDK always sends all of them, an absent
// optional as null.
Snapshot readSnapshot(const PayloadReader& payload) {
  const PayloadReader snapshot = payload.object("snapshot");
  Snapshot facts{snapshot.nonEmptyText("profileId"), {}, {}, {}, snapshot.value()};
  snapshot.text("anonymousId");
  facts.effectiveUserId = snapshot.nonEmptyText("effectiveUserId");
  snapshot.nullableText("identifiedUserId");
  facts.scope.teamId = snapshot.text("teamId");
  facts.scope.environment = snapshot.text("environment");
  for (const char* key : {"organizationId", "projectId"}) snapshot.nullableText(key);
  for (const char* key : {"appId", "bundleOrPackageId", "deviceId"}) snapshot.text(key);
  snapshot.nullableText("userType");
  for (const char* key : {"userProperties", "appProperties", "deviceProperties", "customProperties"}) {
    snapshot.object(key);
  }
  facts.sessionId = snapshot.nullableText("sessionId");
  snapshot.flag("isRegistered");
  for (const char* key : {"registrationDate", "lastLogin"}) snapshot.nullableText(key);
  return facts;
}

struct SessionData {
  std::string sessionId;
  JSONValue whole;
};

// "sessionData" of an ending session, times in milliseconds.
SessionData readSessionData(const PayloadReader& payload) {
  const PayloadReader data = payload.object("sessionData");
  std::string sessionId = data.nonEmptyText("sessionId");
  for (const char* key : {"startTime", "endTime", "duration", "foregroundTime", "backgroundTime"}) data.number(key);
  const PayloadReader device = data.object("deviceInfo");
  for (const char* key : {"platform", "model", "deviceModel", "displayModel", "manufacturer", "osVersion"}) {
    device.text(key);
  }
  data.object("appInfo");
  return {std::move(sessionId), data.value()};
}

std::string now(const ActionContext& context) { return formatISO8601Date(context.clock.now()); }

JSONObject succeeded() { return JSONObject{{"success", true}}; }

ActionReply startSession(ActionContext& context, const ActionCall& call) {
  const PayloadReader payload(call.payload);
  const Snapshot snapshot = readSnapshot(payload);
  if (!snapshot.sessionId || snapshot.sessionId->empty()) {
    throw PayloadError("snapshot.sessionId must name the session that starts");
  }
  context.store.identityStore().startSession(
      {*snapshot.sessionId, snapshot.profileId, snapshot.effectiveUserId, now(context)});
  return ActionReply::success(succeeded());
}

ActionReply endSession(ActionContext& context, const ActionCall& call) {
  const PayloadReader payload(call.payload);
  const Snapshot snapshot = readSnapshot(payload);
  const SessionData sessionData = readSessionData(payload);
  context.store.identityStore().endSession(
      {sessionData.sessionId, snapshot.profileId, snapshot.effectiveUserId, now(context)}, sessionData.whole);
  return ActionReply::success(succeeded());
}

ActionReply syncUserState(ActionContext& context, const ActionCall& call) {
  const PayloadReader payload(call.payload);
  const Snapshot snapshot = readSnapshot(payload);
  const bool incrementSessionCount = payload.flag("incrementSessionCount");
  context.store.identityStore().saveUserState(snapshot.profileId, snapshot.whole, incrementSessionCount, now(context));
  return ActionReply::success(succeeded());
}

// A profile id in the SDK's own form: "prf_" and 32 upper-case hexadecimal digits.
std::string freshProfileId() {
  std::string id = detail::makeUuid();
  id.erase(std::remove(id.begin(), id.end(), '-'), id.end());
  return "prf_" + id;
}

ActionReply identifyUser(ActionContext& context, const ActionCall& call) {
  const PayloadReader payload(call.payload);
  const Snapshot snapshot = readSnapshot(payload);
  const std::string userId = payload.nonEmptyText("identifiedUserId");
  const JSONObject traits = *payload.object("traits").value().asObject();

  const IdentifyOutcome outcome = context.store.identityStore().identifyUser(
      {snapshot.scope, userId, snapshot.profileId, traits, freshProfileId(), now(context)});
  JSONObject data{{"profileId", outcome.profileId}};
  if (outcome.mergedFromProfileId) data.set("mergedFromProfileId", *outcome.mergedFromProfileId);
  return ActionReply::success(std::move(data));
}

}  // namespace

void addIdentityActions(ActionTable& table) {
  table["start_session"] = answeringPayloadErrors(startSession);
  table["end_session"] = answeringPayloadErrors(endSession);
  table["sync_user_state"] = answeringPayloadErrors(syncUserState);
  table["identify_user"] = answeringPayloadErrors(identifyUser);
}

}  // namespace tarnwell::gateway
