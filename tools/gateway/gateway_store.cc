#include "tools/gateway/gateway_store.h"

#include <sqlite3.h>

#include <utility>

namespace tarnwell::gateway {
namespace {

// Waits this long for another process holding the same database file before giving up.
constexpr int kBusyTimeoutMs = 5000;

constexpr const char* kSchemaSql =
    "CREATE TABLE IF NOT EXISTS sessions ("
    " token TEXT PRIMARY KEY NOT NULL, api_key TEXT NOT NULL, organization_id TEXT NOT NULL,"
    " project_id TEXT NOT NULL, app_id TEXT NOT NULL, team_id TEXT NOT NULL,"
    " api_key_id TEXT NOT NULL, environment TEXT NOT NULL, created_at TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS requests ("
    " id INTEGER PRIMARY KEY AUTOINCREMENT, action TEXT NOT NULL, payload TEXT NOT NULL,"
    " session_token TEXT, received_at TEXT NOT NULL, http_status INTEGER, fault TEXT)";

[[noreturn]] void fail(sqlite3* db, const std::string& what) {
  throw StoreError("Gateway database: " + what + ": " + (db ? sqlite3_errmsg(db) : "out of memory"));
}

// One prepared statement: bind by position from 1, step through the rows, finalize on scope exit.
class Statement {
 public:
  Statement(sqlite3* db, const char* sql) : db_(db) {
    if (sqlite3_prepare_v2(db, sql, -1, &statement_, nullptr) != SQLITE_OK) fail(db, "prepare");
  }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(int index, const std::string& text) {
    check(sqlite3_bind_text(statement_, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT));
    return *this;
  }
  Statement& bind(int index, const std::optional<std::string>& text) {
    return text ? bind(index, *text) : bindNull(index);
  }
  Statement& bind(int index, const std::optional<int>& number) {
    if (!number) return bindNull(index);
    check(sqlite3_bind_int(statement_, index, *number));
    return *this;
  }

  // True while a row is ready to read.
  bool step() {
    const int result = sqlite3_step(statement_);
    if (result == SQLITE_ROW) return true;
    if (result != SQLITE_DONE) fail(db_, "step");
    return false;
  }

  std::string text(int column) const {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return bytes ? std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)))
                 : std::string();
  }
  std::optional<std::string> optionalText(int column) const {
    if (sqlite3_column_type(statement_, column) == SQLITE_NULL) return std::nullopt;
    return text(column);
  }
  std::optional<int> optionalInt(int column) const {
    if (sqlite3_column_type(statement_, column) == SQLITE_NULL) return std::nullopt;
    return sqlite3_column_int(statement_, column);
  }

 private:
  Statement& bindNull(int index) {
    check(sqlite3_bind_null(statement_, index));
    return *this;
  }
  void check(int result) const {
    if (result != SQLITE_OK) fail(db_, "bind");
  }

  sqlite3* db_;
  sqlite3_stmt* statement_ = nullptr;
};

void execute(sqlite3* db, const char* sql) {
  if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(db, sql);
}

}  // namespace

JSONValue RecordedRequest::toJSON() const {
  return JSONObject{{"action", action},
                    {"payload", payload},
                    {"sessionToken", sessionToken ? JSONValue(*sessionToken) : JSONValue()},
                    {"receivedAt", receivedAt},
                    {"httpStatus", httpStatus ? JSONValue(*httpStatus) : JSONValue()},
                    {"fault", fault ? JSONValue(*fault) : JSONValue()}};
}

void GatewayStore::Closer::operator()(sqlite3* db) const noexcept { sqlite3_close_v2(db); }

GatewayStore::GatewayStore(const std::string& path) {
  sqlite3* raw = nullptr;
  const int opened = sqlite3_open_v2(path.c_str(), &raw,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  db_.reset(raw);
  if (opened != SQLITE_OK) fail(raw, "cannot open " + path);
  sqlite3_busy_timeout(raw, kBusyTimeoutMs);
  // An in-memory database answers "memory" here, which is fine: it has no log to keep.
  execute(raw, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL");
  execute(raw, kSchemaSql);
}

GatewayStore::~GatewayStore() = default;

void GatewayStore::rememberSession(const GatewaySession& session) {
  std::lock_guard lock(mutex_);
  Statement insert(db_.get(),
                   "INSERT OR REPLACE INTO sessions (token, api_key, organization_id, project_id, app_id,"
                   " team_id, api_key_id, environment, created_at) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
  insert.bind(1, session.token).bind(2, session.apiKey).bind(3, session.organizationId);
  insert.bind(4, session.projectId).bind(5, session.appId).bind(6, session.teamId);
  insert.bind(7, session.apiKeyId).bind(8, session.environment).bind(9, session.createdAt);
  insert.step();
}

std::optional<GatewaySession> GatewayStore::findSession(const std::string& token) {
  std::lock_guard lock(mutex_);
  Statement select(db_.get(),
                   "SELECT api_key, organization_id, project_id, app_id, team_id, api_key_id, environment,"
                   " created_at FROM sessions WHERE token = ?");
  select.bind(1, token);
  if (!select.step()) return std::nullopt;
  return GatewaySession{token,           select.text(0), select.text(1), select.text(2), select.text(3),
                        select.text(4), select.text(5), select.text(6), select.text(7)};
}

void GatewayStore::recordRequest(const RecordedRequest& request) {
  std::lock_guard lock(mutex_);
  Statement insert(db_.get(),
                   "INSERT INTO requests (action, payload, session_token, received_at, http_status, fault)"
                   " VALUES (?, ?, ?, ?, ?, ?)");
  insert.bind(1, request.action).bind(2, request.payload.encode()).bind(3, request.sessionToken);
  insert.bind(4, request.receivedAt).bind(5, request.httpStatus).bind(6, request.fault);
  insert.step();
}

std::vector<RecordedRequest> GatewayStore::requests(const std::optional<std::string>& action) {
  std::lock_guard lock(mutex_);
  Statement select(db_.get(),
                   "SELECT action, payload, session_token, received_at, http_status, fault FROM requests"
                   " WHERE ?1 IS NULL OR action = ?1 ORDER BY id");
  select.bind(1, action);
  std::vector<RecordedRequest> rows;
  while (select.step()) {
    rows.push_back({select.text(0), JSONValue::decode(select.text(1)), select.optionalText(2), select.text(3),
                    select.optionalInt(4), select.optionalText(5)});
  }
  return rows;
}

void GatewayStore::clearRequests() {
  std::lock_guard lock(mutex_);
  execute(db_.get(), "DELETE FROM requests");
}

}  // namespace tarnwell::gateway
