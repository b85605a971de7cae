#include "tarnwell/platform/detail/sqlite_key_value_store.h"

#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "tarnwell/core/log.h"

namespace tarnwell::detail {

struct SqliteKeyValueStore::ConnectFailure {
  std::string reason;
  bool unreadable = false;  // the file is there but is no database we can read: set it aside
};

namespace {

namespace fs = std::filesystem;

// Long enough for another connection or process to finish a commit of a large value.
constexpr int kBusyTimeoutMs = 5000;

// The type tag stored beside each value. It is part of the file format: never renumber.
enum Tag : int { kText = 0, kInt64 = 1, kDouble = 2, kBool = 3, kBytes = 4 };

// With the write-ahead log, synchronous=NORMAL makes each commit durable against the death of
// the process without waiting for the disk on every write.
constexpr const char* kSetupSql =
    "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"
    "CREATE TABLE IF NOT EXISTS entries ("
    "key TEXT PRIMARY KEY NOT NULL, type INTEGER NOT NULL, value BLOB NOT NULL)";

bool isUnreadable(int code) { return (code & 0xff) == SQLITE_NOTADB || (code & 0xff) == SQLITE_CORRUPT; }

// Statements are shared between calls: this leaves one ready for the next call and drops
// bindings that point at the caller's memory.
struct ResetStatement {
  void operator()(sqlite3_stmt* statement) const noexcept {
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
  }
};
using ResetOnExit = std::unique_ptr<sqlite3_stmt, ResetStatement>;

int bindKey(sqlite3_stmt* statement, std::string_view key) {
  // An empty view may have no data pointer, which SQLite would bind as NULL.
  return sqlite3_bind_text64(statement, 1, key.empty() ? "" : key.data(), key.size(), SQLITE_STATIC, SQLITE_UTF8);
}

// Binds the tag to parameter 2 and the value to parameter 3.
struct BindValue {
  sqlite3_stmt* statement;

  int operator()(const std::string& text) const { return blob(kText, text.data(), text.size()); }
  int operator()(std::int64_t number) const { return tagged(kInt64, sqlite3_bind_int64(statement, 3, number)); }
  int operator()(double number) const { return tagged(kDouble, sqlite3_bind_double(statement, 3, number)); }
  int operator()(bool flag) const { return tagged(kBool, sqlite3_bind_int(statement, 3, flag)); }
  int operator()(const Bytes& bytes) const { return blob(kBytes, bytes.data(), bytes.size()); }

  int blob(Tag tag, const void* data, std::size_t size) const {
    // A null pointer would bind NULL; an empty value must stay an empty value.
    return tagged(tag, size == 0 ? sqlite3_bind_zeroblob(statement, 3, 0)
                                 : sqlite3_bind_blob64(statement, 3, data, size, SQLITE_STATIC));
  }
  int tagged(Tag tag, int rc) const { return rc != SQLITE_OK ? rc : sqlite3_bind_int(statement, 2, tag); }
};

// Reads columns (type, value) of the current row; absent for a tag this build does not know.
std::optional<StoreValue> readValue(sqlite3_stmt* statement) {
  const auto blobOf = [statement] {
    const auto* data = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement, 1));
    const int size = data == nullptr ? 0 : sqlite3_column_bytes(statement, 1);
    return std::span<const std::uint8_t>(data, static_cast<std::size_t>(size));
  };
  switch (sqlite3_column_int(statement, 0)) {
    case kText: {
      auto bytes = blobOf();
      return StoreValue(std::in_place_type<std::string>, bytes.begin(), bytes.end());
    }
    case kInt64: return StoreValue(std::in_place_type<std::int64_t>, sqlite3_column_int64(statement, 1));
    case kDouble: return StoreValue(std::in_place_type<double>, sqlite3_column_double(statement, 1));
    case kBool: return StoreValue(std::in_place_type<bool>, sqlite3_column_int(statement, 1) != 0);
    case kBytes: {
      auto bytes = blobOf();
      return StoreValue(std::in_place_type<Bytes>, bytes.begin(), bytes.end());
    }
    default: return std::nullopt;
  }
}

std::string utcStamp() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[40];
  std::snprintf(text, sizeof text, "%04d%02d%02dT%02d%02d%02d.%03dZ", utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday,
                utc.tm_hour, utc.tm_min, utc.tm_sec, static_cast<int>(millis));
  return text;
}

// Renames the file and its write-ahead log and shared-memory files aside, the log first: a log
// left behind would be replayed into the fresh database. Returns the new name of the file.
std::string setAside(const std::string& path, std::error_code& error) {
  const std::string stamped = path + ".corrupt-" + utcStamp();
  std::string aside = stamped;
  for (int attempt = 1; fs::exists(aside); ++attempt) {
    aside = stamped + "-" + std::to_string(attempt);
  }
  for (const char* suffix : {"-wal", "-shm", ""}) {
    const std::string from = path + suffix;
    if (fs::exists(from)) {
      fs::rename(from, aside + suffix, error);
    }
    if (error) {
      return {};
    }
  }
  return aside;
}

}  // namespace

void SqliteKeyValueStore::CloseDatabase::operator()(sqlite3* db) const noexcept { sqlite3_close_v2(db); }

void SqliteKeyValueStore::FinalizeStatement::operator()(sqlite3_stmt* statement) const noexcept {
  sqlite3_finalize(statement);
}

SqliteKeyValueStore::SqliteKeyValueStore(std::string path, Database db) : path_(std::move(path)), db_(std::move(db)) {}

SqliteKeyValueStore::~SqliteKeyValueStore() = default;

SqliteKeyValueStore::OpenResult SqliteKeyValueStore::open(const std::string& path) noexcept {
  try {
    std::error_code error;
    const fs::path folder = fs::path(path).parent_path();
    if (!folder.empty()) {
      fs::create_directories(folder, error);
      if (error) {
        return {nullptr, "cannot create folder " + folder.string() + ": " + error.message()};
      }
    }
    ConnectFailure failure;
    if (auto store = connect(path, failure)) {
      return {std::move(store), {}};
    }
    if (!failure.unreadable) {
      return {nullptr, failure.reason};
    }
    const std::string aside = setAside(path, error);
    if (error) {
      return {nullptr, failure.reason + "; cannot move the file aside: " + error.message()};
    }
    logError("Key-value store " + path + " is unreadable and was moved to " + aside + "; starting with an empty store",
             failure.reason);
    if (auto store = connect(path, failure)) {
      return {std::move(store), {}};
    }
    return {nullptr, failure.reason};
  } catch (const std::exception& error) {
    return {nullptr, error.what()};
  }
}

std::unique_ptr<SqliteKeyValueStore> SqliteKeyValueStore::connect(const std::string& path, ConnectFailure& failure) {
  sqlite3* handle = nullptr;
  int rc =
      sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  Database db(handle);  // handed out even when opening failed, and closed all the same
  const auto fail = [&](int code, std::string reason) -> std::unique_ptr<SqliteKeyValueStore> {
    failure.reason = std::move(reason);
    failure.unreadable = isUnreadable(code);
    return nullptr;
  };
  if (rc != SQLITE_OK) {
    return fail(rc, db ? sqlite3_errmsg(db.get()) : sqlite3_errstr(rc));
  }
  sqlite3* const connection = db.get();
  const auto prepare = [connection](const char* sql, Statement& statement) {
    sqlite3_stmt* prepared = nullptr;
    const int code = sqlite3_prepare_v3(connection, sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
    statement.reset(prepared);
    return code;
  };
  sqlite3_busy_timeout(connection, kBusyTimeoutMs);
  // Until the file has passed the check, closing must not fold the log back into it.
  sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);

  // The check only reads, so a damaged file goes aside exactly as it was found; and a damaged
  // page deep in the file shows up now rather than on some later read.
  Statement check;
  if ((rc = prepare("PRAGMA quick_check", check)) != SQLITE_OK || (rc = sqlite3_step(check.get())) != SQLITE_ROW) {
    return fail(rc, sqlite3_errmsg(connection));
  }
  const auto* verdict = reinterpret_cast<const char*>(sqlite3_column_text(check.get(), 0));
  if (verdict == nullptr || std::string_view(verdict) != "ok") {
    std::string reason = "quick_check: " + std::string(verdict == nullptr ? "no answer" : verdict);
    std::replace(reason.begin(), reason.end(), '\n', ' ');  // keep the log to one line
    return fail(SQLITE_CORRUPT, std::move(reason));
  }
  check.reset();
  if ((rc = sqlite3_exec(connection, kSetupSql, nullptr, nullptr, nullptr)) != SQLITE_OK) {
    return fail(rc, sqlite3_errmsg(connection));
  }

  std::unique_ptr<SqliteKeyValueStore> store(new SqliteKeyValueStore(path, std::move(db)));
  const std::pair<const char*, Statement*> statements[] = {
      {"SELECT type, value FROM entries WHERE key = ?1", &store->get_},
      {"INSERT OR REPLACE INTO entries (key, type, value) VALUES (?1, ?2, ?3)", &store->set_},
      {"DELETE FROM entries WHERE key = ?1", &store->remove_},
      {"SELECT key FROM entries WHERE key >= ?1 ORDER BY key", &store->keysFrom_},
  };
  for (const auto& [sql, statement] : statements) {
    if ((rc = prepare(sql, *statement)) != SQLITE_OK) {
      return fail(rc, sqlite3_errmsg(connection));
    }
  }
  sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
  return store;
}

void SqliteKeyValueStore::logFailure(std::string_view action, std::string_view key) const noexcept {
  try {
    logError("Key-value store " + path_ + " could not " + std::string(action) + " \"" + std::string(key) + "\"",
             sqlite3_errmsg(db_.get()));
  } catch (const std::exception&) {
    logError("Key-value store could not build an error line");
  }
}

std::optional<StoreValue> SqliteKeyValueStore::get(std::string_view key) const noexcept {
  try {
    std::lock_guard lock(mutex_);
    ResetOnExit reset(get_.get());
    int rc = bindKey(get_.get(), key);
    if (rc == SQLITE_OK && (rc = sqlite3_step(get_.get())) == SQLITE_DONE) {
      return std::nullopt;
    }
    if (rc != SQLITE_ROW) {
      logFailure("read", key);
      return std::nullopt;
    }
    std::optional<StoreValue> value = readValue(get_.get());
    if (!value) {
      logError("Key-value store " + path_ + " holds \"" + std::string(key) +
               "\" with a type this version does not know; reading it as absent");
    }
    return value;
  } catch (const std::exception& error) {
    logError("Key-value store could not read a value", error.what());
    return std::nullopt;
  }
}

bool SqliteKeyValueStore::set(std::string_view key, const StoreValue& value) noexcept {
  return write(set_.get(), key, &value, "write");
}

bool SqliteKeyValueStore::remove(std::string_view key) noexcept { return write(remove_.get(), key, nullptr, "remove"); }

bool SqliteKeyValueStore::write(sqlite3_stmt* statement, std::string_view key, const StoreValue* value,
                                std::string_view action) noexcept {
  std::lock_guard lock(mutex_);
  ResetOnExit reset(statement);
  int rc = bindKey(statement, key);
  if (rc == SQLITE_OK && value != nullptr) {
    rc = std::visit(BindValue{statement}, *value);
  }
  if (rc == SQLITE_OK) {
    rc = sqlite3_step(statement);
  }
  if (rc != SQLITE_DONE) {
    logFailure(action, key);
    return false;
  }
  return true;
}

std::vector<std::string> SqliteKeyValueStore::keysWithPrefix(std::string_view prefix) const noexcept {
  try {
    std::lock_guard lock(mutex_);
    ResetOnExit reset(keysFrom_.get());
    std::vector<std::string> keys;
    sqlite3_stmt* const statement = keysFrom_.get();
    int rc = bindKey(statement, prefix);
    if (rc == SQLITE_OK) {
      // Keys come in byte order from the prefix on; the first one without it ends the run.
      while ((rc = sqlite3_step(statement)) == SQLITE_ROW) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
        const std::string_view key(text == nullptr ? "" : text,
                                   static_cast<std::size_t>(sqlite3_column_bytes(statement, 0)));
        if (!key.starts_with(prefix)) {
          return keys;
        }
        keys.emplace_back(key);
      }
    }
    if (rc != SQLITE_DONE) {
      logFailure("list the keys starting with", prefix);
      return {};
    }
    return keys;
  } catch (const std::exception& error) {
    logError("Key-value store could not list keys", error.what());
    return {};
  }
}

}  // namespace tarnwell::detail
