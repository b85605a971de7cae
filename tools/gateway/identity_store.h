// File: tools/gateway/identity_store.h
//
// IdentityStore keeps who the SDK's users are, as the backend would: the app sessions devices
// report, the latest user state of every profile, and the identified users with the profiles
// that belong to them.
//
//   IdentityStore& identity = gatewayStore.identityStore();
//   identity.saveUserState("prf_1", snapshot, /*incrementSessionCount=*/false, now);
//   IdentifyOutcome outcome = identity.identifyUser({{"team-1", "production"}, "user-7", "prf_1",
//                                                    traits, freshProfileId, now});
//   // outcome.profileId == "prf_1", outcome.mergedFromProfileId == "prf_1" on the first identify
//
// Part of GatewayStore, which makes it over the store's connection: every member may be called
// from any thread, and each is one step of the database (identifyUser one transaction). Failures
// of the database throw StoreError; a stored JSON text that no longer decodes (a file edited by
// hand) throws DecodingError when read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <tarnwell/core/json_value.h>

#include "tools/gateway/sqlite_database.h"

namespace tarnwell::gateway {

// What a "start_session" or "end_session" says about one app session.
struct SessionReport {
  std::string sessionId;
  std::string profileId;        // the snapshot's
  std::string effectiveUserId;  // the snapshot's
  std::string receivedAt;       // ISO 8601, UTC, milliseconds
};

// One app session as its reports left it.
struct AppSessionRecord {
  std::string sessionId;
  std::string profileId;                 // of the latest report: an identify re-sends the start
  std::string effectiveUserId;           // likewise
  std::optional<std::string> startedAt;  // the first start's arrival; absent when only the end came
  std::optional<std::string> endedAt;    // the end's arrival; absent while the session runs
  std::optional<JSONValue> sessionData;  // the end's "sessionData"

  // {"sessionId","profileId","effectiveUserId","startedAt","endedAt","sessionData"}, absent as null.
  JSONValue toJSON() const;
};

// The latest user state of one profile.
struct UserStateRecord {
  std::string profileId;
  JSONValue snapshot;         // the whole snapshot last synchronised
  std::int64_t sessionCount;  // how many syncs asked to count a session
  std::string updatedAt;      // the last sync's arrival

  // {"profileId","snapshot","sessionCount","updatedAt"}.
  JSONValue toJSON() const;
};

// Identified users are kept apart per team and environment: the same user id elsewhere is
// another user.
struct UserScope {
  std::string teamId;
  std::string environment;
};

struct IdentifiedUserRecord {
  UserScope scope;
  std::string userId;
  std::string profileId;                // the user's profile
  std::vector<std::string> profileIds;  // every profile that joined the user, profileId first
  JSONObject traits;                    // every trait sent so far, the latest value of each
  std::string identifiedAt;             // the first identify's arrival
  std::string updatedAt;                // the last identify's arrival

  // {"teamId","environment","userId","profileId","profileIds","traits","identifiedAt","updatedAt"}.
  JSONValue toJSON() const;
};

struct IdentifyRequest {
  UserScope scope;
  std::string userId;
  std::string callerProfileId;  // the profile of the snapshot the device sent
  JSONObject traits;
  std::string freshProfileId;  // taken when the caller's profile belongs to another user
  std::string receivedAt;
};

struct IdentifyOutcome {
  std::string profileId;                           // the user's profile, for the device to adopt
  std::optional<std::string> mergedFromProfileId;  // the caller's profile, when it joined the user
};

class IdentityStore {
 public:
  // Creates the tables it needs when they are missing.
  explicit IdentityStore(SqliteDatabase& database);

  // A session began, or an identify attached it to another profile: the first start time stays.
  void startSession(const SessionReport& report);
  // A session ended with `sessionData`; a session whose start never arrived is kept all the same.
  void endSession(const SessionReport& report, const JSONValue& sessionData);
  // In the order the sessions were first reported.
  std::vector<AppSessionRecord> sessions();

  // Replaces the user state of `profileId`, counting a session when asked.
  void saveUserState(const std::string& profileId, const JSONValue& snapshot, bool incrementSessionCount,
                     const std::string& receivedAt);
  // In the order the profiles were first synchronised.
  std::vector<UserStateRecord> userStates();

  // One profile per identified user. A user's first identify adopts the caller's profile, unless
  // another user owns it, in which case the user gets `freshProfileId`. Later identifies answer
  // the user's profile, and the caller's profile joins the user when no other user owns it; it is
  // then named as merged. Traits are added to the user's, a later value replacing an earlier one.
  IdentifyOutcome identifyUser(const IdentifyRequest& request);
  // In the order the users were first identified.
  std::vector<IdentifiedUserRecord> identifiedUsers();

 private:
  SqliteDatabase& database_;
};

}  // namespace tarnwell::gateway
