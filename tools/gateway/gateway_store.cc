#include "tools/gateway/gateway_store.h"

namespace tarnwell::gateway {
namespace {

constexpr const char* kGatewaySchemaSql =
    "CREATE TABLE IF NOT EXISTS sessions ("
    " token TEXT PRIMARY KEY NOT NULL, api_key TEXT NOT NULL, organization_id TEXT NOT NULL,"
    " project_id TEXT NOT NULL, app_id TEXT NOT NULL, team_id TEXT NOT NULL,"
    " api_key_id TEXT NOT NULL, environment TEXT NOT NULL, created_at TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS requests ("
    " id INTEGER PRIMARY KEY AUTOINCREMENT, action TEXT NOT NULL, payload TEXT NOT NULL,"
    " session_token TEXT, received_at TEXT NOT NULL, http_status INTEGER, fault TEXT)";

}  // namespace

JSONValue RecordedRequest::toJSON() const {
  return JSONObject{{"action", action},
                    {"payload", payload},
                    {"sessionToken", sessionToken ? JSONValue(*sessionToken) : JSONValue()},
                    {"receivedAt", receivedAt},
                    {"httpStatus", httpStatus ? JSONValue(*httpStatus) : JSONValue()},
                    {"fault", fault ? JSONValue(*fault) : JSONValue()}};
}

GatewayStore::GatewayStore(const std::string& path)
    : database_(path), identity_(database_), events_(database_), responses_(database_), messageCenter_(database_) {
  database_.locked([](sqlite3* db) { execute(db, kGatewaySchemaSql); });
}

void GatewayStore::rememberSession(const GatewaySession& session) {
  database_.locked([&](sqlite3* db) {
    Statement insert(db,
                     "INSERT OR REPLACE INTO sessions (token, api_key, organization_id, project_id, app_id,"
                     " team_id, api_key_id, environment, created_at) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
    insert.bind(1, session.token).bind(2, session.apiKey).bind(3, session.organizationId);
    insert.bind(4, session.projectId).bind(5, session.appId).bind(6, session.teamId);
    insert.bind(7, session.apiKeyId).bind(8, session.environment).bind(9, session.createdAt);
    insert.step();
  });
}

std::optional<GatewaySession> GatewayStore::findSession(const std::string& token) {
  return database_.locked([&](sqlite3* db) -> std::optional<GatewaySession> {
    Statement select(db,
                     "SELECT api_key, organization_id, project_id, app_id, team_id, api_key_id, environment,"
                     " created_at FROM sessions WHERE token = ?");
    select.bind(1, token);
    if (!select.step()) return std::nullopt;
    return GatewaySession{token,          select.text(0), select.text(1), select.text(2), select.text(3),
                          select.text(4), select.text(5), select.text(6), select.text(7)};
  });
}

void GatewayStore::recordRequest(const RecordedRequest& request) {
  database_.locked([&](sqlite3* db) {
    Statement insert(db,
                     "INSERT INTO requests (action, payload, session_token, received_at, http_status, fault)"
                     " VALUES (?, ?, ?, ?, ?, ?)");
    insert.bind(1, request.action).bind(2, request.payload.encode()).bind(3, request.sessionToken);
    insert.bind(4, request.receivedAt).bind(5, request.httpStatus).bind(6, request.fault);
    insert.step();
  });
}

std::vector<RecordedRequest> GatewayStore::requests(const std::optional<std::string>& action) {
  return database_.locked([&](sqlite3* db) {
    Statement select(db,
                     "SELECT action, payload, session_token, received_at, http_status, fault FROM requests"
                     " WHERE ?1 IS NULL OR action = ?1 ORDER BY id");
    select.bind(1, action);
    std::vector<RecordedRequest> rows;
    while (select.step()) {
      rows.push_back({select.text(0), JSONValue::decode(select.text(1)), select.optionalText(2), select.text(3),
                      select.optionalInt(4), select.optionalText(5)});
    }
    return rows;
  });
}

void GatewayStore::clearRequests() {
  database_.locked([](sqlite3* db) { execute(db, "DELETE FROM requests"); });
}

}  // namespace tarnwell::gateway
