// File: tools/gateway/sqlite_database.h
//
// The local gateway's one SQLite connection and the small helpers its stores share: prepared
// statements bound by position, and transactions that roll back when the work throws.
//
//   SqliteDatabase database(":memory:");       // or a file path, opened in WAL mode
//   database.locked([](sqlite3* db) {
//     Transaction transaction(db);
//     Statement(db, "INSERT INTO notes (text) VALUES (?)").bind(1, std::string("hi")).step();
//     transaction.commit();
//   });
//
// SqliteDatabase may be used from any thread: locked() runs one piece of work at a time.
// Statement and Transaction belong to the work they are made in. Database failures throw
// StoreError naming what failed and SQLite's message.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace tarnwell::gateway {

class StoreError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class SqliteDatabase {
 public:
  // Opens (creating if needed) the database at `path`; ":memory:" keeps it in memory.
  explicit SqliteDatabase(const std::string& path);
  ~SqliteDatabase();
  SqliteDatabase(const SqliteDatabase&) = delete;
  SqliteDatabase& operator=(const SqliteDatabase&) = delete;

  // Runs `work(sqlite3*)` with the connection to itself and returns what it returns.
  template <typename Work>
  auto locked(Work&& work) {
    std::lock_guard lock(mutex_);
    return work(db_.get());
  }

 private:
  struct Closer {
    void operator()(sqlite3* db) const noexcept;
  };
  std::mutex mutex_;
  std::unique_ptr<sqlite3, Closer> db_;
};

// Runs SQL without results (schema, pragmas); throws StoreError on failure.
void execute(sqlite3* db, const char* sql);

// One prepared statement: bind by position from 1, step through the rows, finalized on scope exit.
class Statement {
 public:
  Statement(sqlite3* db, const char* sql);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(int index, const std::string& text);
  Statement& bind(int index, const std::optional<std::string>& text);  // null when absent
  Statement& bind(int index, const std::optional<int>& number);        // null when absent

  // True while a row is ready to read.
  bool step();

  std::string text(int column) const;  // empty for null
  std::optional<std::string> optionalText(int column) const;
  std::optional<int> optionalInt(int column) const;
  std::int64_t integer(int column) const;  // 0 for null

 private:
  Statement& bindNull(int index);
  void check(int result) const;

  sqlite3* db_;
  sqlite3_stmt* statement_ = nullptr;
};

// BEGIN IMMEDIATE on construction; ROLLBACK on destruction unless commit() ran.
class Transaction {
 public:
  explicit Transaction(sqlite3* db);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit();

 private:
  sqlite3* db_;
  bool done_ = false;
};

}  // namespace tarnwell::gateway
