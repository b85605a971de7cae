#include "tools/gateway/sqlite_database.h"

#include <sqlite3.h>

namespace tarnwell::gateway {
namespace {

// Waits this long for another process holding the same database file before giving up.
constexpr int kBusyTimeoutMs = 5000;

[[noreturn]] void fail(sqlite3* db, const std::string& what) {
  throw StoreError("Gateway database: " + what + ": " + (db ? sqlite3_errmsg(db) : "out of memory"));
}

}  // namespace

void SqliteDatabase::Closer::operator()(sqlite3* db) const noexcept { sqlite3_close_v2(db); }

SqliteDatabase::SqliteDatabase(const std::string& path) {
  sqlite3* raw = nullptr;
  const int opened =
      sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  db_.reset(raw);
  if (opened != SQLITE_OK) fail(raw, "cannot open " + path);
  sqlite3_busy_timeout(raw, kBusyTimeoutMs);
  // An in-memory database answers "memory" here, which is fine: it has no log to keep.
  execute(raw, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL");
}

SqliteDatabase::~SqliteDatabase() = default;

void execute(sqlite3* db, const char* sql) {
  if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(db, sql);
}

Statement::Statement(sqlite3* db, const char* sql) : db_(db) {
  if (sqlite3_prepare_v2(db, sql, -1, &statement_, nullptr) != SQLITE_OK) fail(db, "prepare");
}

Statement::~Statement() { sqlite3_finalize(statement_); }

Statement& Statement::bind(int index, const std::string& text) {
  check(sqlite3_bind_text(statement_, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT));
  return *this;
}

Statement& Statement::bind(int index, const std::optional<std::string>& text) {
  return text ? bind(index, *text) : bindNull(index);
}

Statement& Statement::bind(int index, const std::optional<int>& number) {
  if (!number) return bindNull(index);
  check(sqlite3_bind_int(statement_, index, *number));
  return *this;
}

Statement& Statement::bindNull(int index) {
  check(sqlite3_bind_null(statement_, index));
  return *this;
}

void Statement::check(int result) const {
  if (result != SQLITE_OK) fail(db_, "bind");
}

bool Statement::step() {
  const int result = sqlite3_step(statement_);
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) fail(db_, "step");
  return false;
}

std::string Statement::text(int column) const {
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
  return bytes ? std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))) : std::string();
}

std::optional<std::string> Statement::optionalText(int column) const {
  if (sqlite3_column_type(statement_, column) == SQLITE_NULL) return std::nullopt;
  return text(column);
}

std::optional<int> Statement::optionalInt(int column) const {
  if (sqlite3_column_type(statement_, column) == SQLITE_NULL) return std::nullopt;
  return sqlite3_column_int(statement_, column);
}

std::int64_t Statement::integer(int column) const { return sqlite3_column_int64(statement_, column); }

Transaction::Transaction(sqlite3* db) : db_(db) { execute(db, "BEGIN IMMEDIATE"); }

Transaction::~Transaction() {
  // Nothing to report from here: the error that brought us here is already on its way.
  if (!done_) sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
  execute(db_, "COMMIT");
  done_ = true;
}

}  // namespace tarnwell::gateway
