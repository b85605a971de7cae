#include "tools/gateway/identity_store.h"

namespace tarnwell::gateway {
namespace {

constexpr const char* kIdentitySchemaSql =
    "CREATE TABLE IF NOT EXISTS app_sessions ("
    " id INTEGER PRIMARY KEY AUTOINCREMENT, session_id TEXT NOT NULL UNIQUE, profile_id TEXT NOT NULL,"
    " effective_user_id TEXT NOT NULL, started_at TEXT, ended_at TEXT, session_data TEXT);"
    "CREATE TABLE IF NOT EXISTS user_states ("
    " id INTEGER PRIMARY KEY AUTOINCREMENT, profile_id TEXT NOT NULL UNIQUE, snapshot TEXT NOT NULL,"
    " session_count INTEGER NOT NULL, updated_at TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS identified_users ("
    " id INTEGER PRIMARY KEY AUTOINCREMENT, team_id TEXT NOT NULL, environment TEXT NOT NULL,"
    " user_id TEXT NOT NULL, profile_id TEXT NOT NULL, traits TEXT NOT NULL, identified_at TEXT NOT NULL,"
    " updated_at TEXT NOT NULL, UNIQUE (team_id, environment, user_id));"
    // Every profile that belongs to an identified user: its own, and those merged into it.
    "CREATE TABLE IF NOT EXISTS user_profiles ("
    " id INTEGER PRIMARY KEY AUTOINCREMENT, team_id TEXT NOT NULL, environment TEXT NOT NULL,"
    " profile_id TEXT NOT NULL, user_id TEXT NOT NULL, joined_at TEXT NOT NULL,"
    " UNIQUE (team_id, environment, profile_id))";

JSONObject decodeObject(const std::string& text) {
  JSONValue value = JSONValue::decode(text);
  JSONObject* object = value.asObject();
  return object ? std::move(*object) : JSONObject{};
}

// The user that owns `profileId` in `scope`, if any.
std::optional<std::string> ownerOf(sqlite3* db, const UserScope& scope, const std::string& profileId) {
  Statement select(db, "SELECT user_id FROM user_profiles WHERE team_id = ? AND environment = ? AND profile_id = ?");
  select.bind(1, scope.teamId).bind(2, scope.environment).bind(3, profileId);
  if (!select.step()) return std::nullopt;
  return select.text(0);
}

struct KnownUser {
  std::string profileId;
  JSONObject traits;
};

std::optional<KnownUser> findUser(sqlite3* db, const IdentifyRequest& request) {
  Statement select(
      db, "SELECT profile_id, traits FROM identified_users WHERE team_id = ? AND environment = ? AND user_id = ?");
  select.bind(1, request.scope.teamId).bind(2, request.scope.environment).bind(3, request.userId);
  if (!select.step()) return std::nullopt;
  return KnownUser{select.text(0), decodeObject(select.text(1))};
}

void joinProfile(sqlite3* db, const IdentifyRequest& request, const std::string& profileId) {
  Statement insert(db,
                   "INSERT OR IGNORE INTO user_profiles (team_id, environment, profile_id, user_id, joined_at)"
                   " VALUES (?, ?, ?, ?, ?)");
  insert.bind(1, request.scope.teamId).bind(2, request.scope.environment).bind(3, profileId);
  insert.bind(4, request.userId).bind(5, request.receivedAt);
  insert.step();
}

}  // namespace

JSONValue AppSessionRecord::toJSON() const {
  return JSONObject{{"sessionId", sessionId},
                    {"profileId", profileId},
                    {"effectiveUserId", effectiveUserId},
                    {"startedAt", textOrNull(startedAt)},
                    {"endedAt", textOrNull(endedAt)},
                    {"sessionData", sessionData ? *sessionData : JSONValue()}};
}

JSONValue UserStateRecord::toJSON() const {
  return JSONObject{
      {"profileId", profileId}, {"snapshot", snapshot}, {"sessionCount", sessionCount}, {"updatedAt", updatedAt}};
}

JSONValue IdentifiedUserRecord::toJSON() const {
  JSONArray profiles(profileIds.begin(), profileIds.end());
  return JSONObject{{"teamId", scope.teamId},
                    {"environment", scope.environment},
                    {"userId", userId},
                    {"profileId", profileId},
                    {"profileIds", std::move(profiles)},
                    {"traits", traits},
                    {"identifiedAt", identifiedAt},
                    {"updatedAt", updatedAt}};
}

IdentityStore::IdentityStore(SqliteDatabase& database) : database_(database) {
  database_.locked([](sqlite3* db) { execute(db, kIdentitySchemaSql); });
}

void IdentityStore::startSession(const SessionReport& report) {
  database_.locked([&](sqlite3* db) {
    Statement upsert(db,
                     "INSERT INTO app_sessions (session_id, profile_id, effective_user_id, started_at)"
                     " VALUES (?1, ?2, ?3, ?4) ON CONFLICT (session_id) DO UPDATE SET profile_id = ?2,"
                     " effective_user_id = ?3, started_at = COALESCE(started_at, ?4)");
    upsert.bind(1, report.sessionId).bind(2, report.profileId).bind(3, report.effectiveUserId);
    upsert.bind(4, report.receivedAt).step();
  });
}

void IdentityStore::endSession(const SessionReport& report, const JSONValue& sessionData) {
  database_.locked([&](sqlite3* db) {
    Statement upsert(db,
                     "INSERT INTO app_sessions (session_id, profile_id, effective_user_id, ended_at, session_data)"
                     " VALUES (?1, ?2, ?3, ?4, ?5) ON CONFLICT (session_id) DO UPDATE SET profile_id = ?2,"
                     " effective_user_id = ?3, ended_at = ?4, session_data = ?5");
    upsert.bind(1, report.sessionId).bind(2, report.profileId).bind(3, report.effectiveUserId);
    upsert.bind(4, report.receivedAt).bind(5, sessionData.encode()).step();
  });
}

std::vector<AppSessionRecord> IdentityStore::sessions() {
  return database_.locked([](sqlite3* db) {
    Statement select(db,
                     "SELECT session_id, profile_id, effective_user_id, started_at, ended_at, session_data"
                     " FROM app_sessions ORDER BY id");
    std::vector<AppSessionRecord> rows;
    while (select.step()) {
      const std::optional<std::string> data = select.optionalText(5);
      rows.push_back({select.text(0), select.text(1), select.text(2), select.optionalText(3), select.optionalText(4),
                      data ? std::optional<JSONValue>(JSONValue::decode(*data)) : std::nullopt});
    }
    return rows;
  });
}

void IdentityStore::saveUserState(const std::string& profileId, const JSONValue& snapshot, bool incrementSessionCount,
                                  const std::string& receivedAt) {
  database_.locked([&](sqlite3* db) {
    Statement upsert(db,
                     "INSERT INTO user_states (profile_id, snapshot, session_count, updated_at)"
                     " VALUES (?1, ?2, ?3, ?4) ON CONFLICT (profile_id) DO UPDATE SET snapshot = ?2,"
                     " session_count = session_count + ?3, updated_at = ?4");
    upsert.bind(1, profileId).bind(2, snapshot.encode()).bind(3, std::optional<int>(incrementSessionCount ? 1 : 0));
    upsert.bind(4, receivedAt).step();
  });
}

std::vector<UserStateRecord> IdentityStore::userStates() {
  return database_.locked([](sqlite3* db) {
    Statement select(db, "SELECT profile_id, snapshot, session_count, updated_at FROM user_states ORDER BY id");
    std::vector<UserStateRecord> rows;
    while (select.step()) {
      rows.push_back({select.text(0), JSONValue::decode(select.text(1)), select.integer(2), select.text(3)});
    }
    return rows;
  });
}

IdentifyOutcome IdentityStore::identifyUser(const IdentifyRequest& request) {
  return database_.locked([&](sqlite3* db) {
    Transaction transaction(db);
    const std::optional<std::string> owner = ownerOf(db, request.scope, request.callerProfileId);
    const bool callerIsFree = !owner || *owner == request.userId;

    const std::optional<KnownUser> known = findUser(db, request);
    const std::string profileId =
        known ? known->profileId : (callerIsFree ? request.callerProfileId : request.freshProfileId);
    JSONObject traits = known ? known->traits : JSONObject{};
    for (const auto& [key, value] : request.traits) traits.set(key, value);

    Statement upsert(db,
                     "INSERT INTO identified_users (team_id, environment, user_id, profile_id, traits, identified_at,"
                     " updated_at) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?6)"
                     " ON CONFLICT (team_id, environment, user_id) DO UPDATE SET traits = ?5, updated_at = ?6");
    upsert.bind(1, request.scope.teamId).bind(2, request.scope.environment).bind(3, request.userId);
    upsert.bind(4, profileId).bind(5, JSONValue(traits).encode()).bind(6, request.receivedAt).step();

    // The user's own profile first, so it leads the user's list of profiles.
    joinProfile(db, request, profileId);
    if (callerIsFree) joinProfile(db, request, request.callerProfileId);
    transaction.commit();
    return IdentifyOutcome{profileId, callerIsFree ? std::optional(request.callerProfileId) : std::nullopt};
  });
}

std::vector<IdentifiedUserRecord> IdentityStore::identifiedUsers() {
  return database_.locked([](sqlite3* db) {
    Statement select(db,
                     "SELECT u.team_id, u.environment, u.user_id, u.profile_id, u.traits, u.identified_at,"
                     " u.updated_at, (SELECT json_group_array(profile_id) FROM (SELECT p.profile_id"
                     "   FROM user_profiles p WHERE p.team_id = u.team_id AND p.environment = u.environment"
                     "   AND p.user_id = u.user_id ORDER BY p.id))"
                     " FROM identified_users u ORDER BY u.id");
    std::vector<IdentifiedUserRecord> rows;
    while (select.step()) {
      const JSONValue joined = JSONValue::decode(select.text(7));
      std::vector<std::string> profileIds;
      for (const JSONValue& id : *joined.asArray()) {
        if (const JSONString* text = id.asString()) profileIds.push_back(text->str());
      }
      rows.push_back({{select.text(0), select.text(1)},
                      select.text(2),
                      select.text(3),
                      std::move(profileIds),
                      decodeObject(select.text(4)),
                      select.text(5),
                      select.text(6)});
    }
    return rows;
  });
}

}  // namespace tarnwell::gateway
