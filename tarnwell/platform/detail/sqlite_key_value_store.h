// File: tarnwell/platform/detail/sqlite_key_value_store.h
//
// SqliteKeyValueStore keeps the values in one SQLite file: one table, write-ahead log, and
// commits that reach the operating system before a write returns, so they survive the death of
// the process (not necessarily a power cut). Several store objects and several processes may use
// the same file; a call that finds the file busy waits up to five seconds for it before failing.
//
//   auto opened = tarnwell::detail::SqliteKeyValueStore::open("/var/lib/myapp/tarnwell.sqlite");
//   if (!opened.store) { report(opened.error); }
//   opened.store->setBytes("tarnwell_event_queue", tarnwell::asBytes(queueJson));
//
// Contract: the KeyValueStore one. One connection per object, serialised by a mutex, so every
// member may be called from any thread. Nothing throws. `open` creates missing folders; a file
// that is corrupt or not a database is logged as an ERROR, renamed aside to path + ".corrupt-" +
// a UTC timestamp (with its -wal and -shm files), and replaced by a fresh store.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include <tarnwell/platform/key_value_store.h>

struct sqlite3;
struct sqlite3_stmt;

namespace tarnwell::detail {

class SqliteKeyValueStore final : public KeyValueStore {
 public:
  struct OpenResult {
    std::unique_ptr<SqliteKeyValueStore> store;  // null when no store could be opened
    std::string error;                           // why, when `store` is null
  };

  static OpenResult open(const std::string& path) noexcept;

  ~SqliteKeyValueStore() override;
  SqliteKeyValueStore(const SqliteKeyValueStore&) = delete;
  SqliteKeyValueStore& operator=(const SqliteKeyValueStore&) = delete;

  std::optional<StoreValue> get(std::string_view key) const noexcept override;
  bool set(std::string_view key, const StoreValue& value) noexcept override;
  bool remove(std::string_view key) noexcept override;
  std::vector<std::string> keysWithPrefix(std::string_view prefix) const noexcept override;

 private:
  struct CloseDatabase {
    void operator()(sqlite3* db) const noexcept;
  };
  struct FinalizeStatement {
    void operator()(sqlite3_stmt* statement) const noexcept;
  };
  using Database = std::unique_ptr<sqlite3, CloseDatabase>;
  using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;
  struct ConnectFailure;

  SqliteKeyValueStore(std::string path, Database db);
  static std::unique_ptr<SqliteKeyValueStore> connect(const std::string& path, ConnectFailure& failure);
  // Runs a statement that binds the key (and the value, when given) and returns no rows.
  bool write(sqlite3_stmt* statement, std::string_view key, const StoreValue* value, std::string_view action) noexcept;
  void logFailure(std::string_view action, std::string_view key) const noexcept;

  const std::string path_;
  mutable std::mutex mutex_;
  Database db_;
  // Prepared once and reused; declared after db_ so they are finalized before it closes.
  Statement get_;
  Statement set_;
  Statement remove_;
  Statement keysFrom_;
};

}  // namespace tarnwell::detail
