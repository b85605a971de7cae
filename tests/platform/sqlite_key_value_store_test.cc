// The SQLite store on disk: durability across reopen and process death, recovery from files
// that are not usable databases, the in-memory fallback, and failed writes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "tarnwell/platform/detail/sqlite_key_value_store.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/testing/log_recorder.h"
#include "tests/support/scratch_dir.h"

namespace tarnwell::detail {
namespace {

namespace fs = std::filesystem;

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Compares large binary contents without printing them on failure.
::testing::AssertionResult holdsBytes(const std::string& path, const std::string& expected) {
  const std::string actual = readFile(path);
  if (actual == expected) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << path << " holds " << actual.size() << " bytes that differ from the "
                                       << expected.size() << " expected";
}

void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// Deterministic noise: the same seed gives the same bytes on every run.
std::string noise(std::size_t size, unsigned seed) {
  std::mt19937 random(seed);
  std::string bytes(size, '\0');
  for (char& byte : bytes) {
    byte = static_cast<char>(random());
  }
  return bytes;
}

Bytes largeValue() {
  const std::string bytes = noise(600 * 1024, 1);
  return Bytes(bytes.begin(), bytes.end());
}

// Runs `body` in a forked child and returns its wait status. The child leaves through _exit or
// a signal, never back into the test framework.
int runInChild(const std::function<void()>& body) {
  std::fflush(nullptr);  // or the child's first log line would repeat what the parent buffered
  const pid_t pid = fork();
  if (pid == 0) {
    body();
    _exit(100);
  }
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

class SqliteKeyValueStoreTest : public ::testing::Test {
 protected:
  std::unique_ptr<SqliteKeyValueStore> open() {
    SqliteKeyValueStore::OpenResult opened = SqliteKeyValueStore::open(path_);
    EXPECT_EQ(opened.error, "");
    return std::move(opened.store);
  }

  // Reads a text through a new connection, as the next launch of the host would.
  std::optional<std::string> readAfterReopen(std::string_view key) {
    auto store = open();
    return store ? store->getString(key) : std::nullopt;
  }

  // The names in the scratch folder of files set aside from path_, without their -wal/-shm.
  std::vector<std::string> asideFiles() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir_.path())) {
      const std::string name = entry.path().filename().string();
      if (name.starts_with("store.sqlite.corrupt-") && !name.ends_with("-wal") && !name.ends_with("-shm")) {
        names.push_back(name);
      }
    }
    return names;
  }

  // Opens path_ over `damaged` contents (and `staleLog` as its write-ahead log, unless empty)
  // and checks both went aside intact with one ERROR line naming the paths and `reason`, and
  // that the fresh store works.
  void expectSetAsideAndFreshStore(const std::string& damaged, const std::string& reason,
                                   const std::string& staleLog = {}) {
    writeFile(path_, damaged);
    if (!staleLog.empty()) {
      writeFile(path_ + "-wal", staleLog);
    }
    testing::LogRecorder log;
    auto store = open();
    ASSERT_NE(store, nullptr);

    const std::vector<std::string> aside = asideFiles();
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_THAT(aside[0], ::testing::MatchesRegex("store\\.sqlite\\.corrupt-[0-9]{8}T[0-9]{6}\\.[0-9]{3}Z"));
    EXPECT_EQ(log.lines(), std::vector<std::string>{"[Tarnwell][ERROR] Key-value store " + path_ +
                                                    " is unreadable and was moved to " + dir_.file(aside[0]) +
                                                    "; starting with an empty store :: " + reason});
    EXPECT_TRUE(holdsBytes(dir_.file(aside[0]), damaged));
    if (!staleLog.empty()) {
      EXPECT_TRUE(holdsBytes(dir_.file(aside[0]) + "-wal", staleLog));
    }

    EXPECT_EQ(store->keysWithPrefix(""), std::vector<std::string>{});
    ASSERT_TRUE(store->setString("tarnwell_user_id", "U-2"));
    store.reset();
    EXPECT_EQ(readAfterReopen("tarnwell_user_id"), "U-2");
  }

  testing::ScratchDir dir_;
  std::string path_ = dir_.file("store.sqlite");
};

TEST_F(SqliteKeyValueStoreTest, KeepsValuesAcrossReopenAndCreatesMissingFolders) {
  path_ = dir_.file("nested/deeper/store.sqlite");
  const Bytes large = largeValue();
  {
    auto store = open();
    ASSERT_NE(store, nullptr);
    ASSERT_TRUE(store->setString("tarnwell_user_id", "U-1"));
    ASSERT_TRUE(store->setInt64("tarnwell_launches", 42));
    ASSERT_TRUE(store->setDouble("tarnwell_score", 0.25));
    ASSERT_TRUE(store->setBool("tarnwell_opted_out", true));
    ASSERT_TRUE(store->setBytes("tarnwell_event_queue", large));
    ASSERT_TRUE(store->setString("tarnwell_gone", "x"));
    ASSERT_TRUE(store->remove("tarnwell_gone"));
    EXPECT_TRUE(fs::exists(path_ + "-wal"));  // commits go to the write-ahead log
  }
  testing::LogRecorder log;
  std::unique_ptr<KeyValueStore> store = openKeyValueStore(path_);
  ASSERT_NE(dynamic_cast<SqliteKeyValueStore*>(store.get()), nullptr);
  EXPECT_EQ(log.lines(), std::vector<std::string>{});
  EXPECT_EQ(store->getString("tarnwell_user_id"), "U-1");
  EXPECT_EQ(store->getInt64("tarnwell_launches"), 42);
  EXPECT_EQ(store->getDouble("tarnwell_score"), 0.25);
  EXPECT_EQ(store->getBool("tarnwell_opted_out"), true);
  EXPECT_EQ(store->getBytes("tarnwell_event_queue"), large);
  EXPECT_EQ(store->keysWithPrefix("tarnwell_"),
            (std::vector<std::string>{"tarnwell_event_queue", "tarnwell_launches", "tarnwell_opted_out",
                                      "tarnwell_score", "tarnwell_user_id"}));
}

// A child process writes, then dies at once in the way `die` picks; the parent must read
// every write that returned true.
void expectWritesSurviveDeath(const std::string& path, const std::function<void()>& die,
                              const std::function<void(int status)>& checkStatus) {
  const Bytes large = largeValue();
  const int status = runInChild([&] {
    auto store = SqliteKeyValueStore::open(path).store;
    if (!store || !store->setString("tarnwell_user_id", "U-1") || !store->setBytes("tarnwell_event_queue", large)) {
      _exit(1);
    }
    die();
  });
  checkStatus(status);
  auto store = SqliteKeyValueStore::open(path).store;
  ASSERT_NE(store, nullptr);
  EXPECT_EQ(store->getString("tarnwell_user_id"), "U-1");
  EXPECT_EQ(store->getBytes("tarnwell_event_queue"), large);
}

TEST_F(SqliteKeyValueStoreTest, KeepsWritesOfAProcessThatExitsWithoutClosing) {
  expectWritesSurviveDeath(
      path_, [] { _exit(0); },
      [](int status) {
        ASSERT_TRUE(WIFEXITED(status));
        ASSERT_EQ(WEXITSTATUS(status), 0);
      });
}

TEST_F(SqliteKeyValueStoreTest, KeepsWritesOfAProcessKilledRightAfterTheWrite) {
  expectWritesSurviveDeath(
      path_, [] { kill(getpid(), SIGKILL); },
      [](int status) {
        ASSERT_TRUE(WIFSIGNALED(status));
        ASSERT_EQ(WTERMSIG(status), SIGKILL);
      });
}

TEST_F(SqliteKeyValueStoreTest, SetsAsideAFileOfRandomBytesWithItsLog) {
  // A log left in place would be replayed into the fresh store, so it goes aside too.
  expectSetAsideAndFreshStore(noise(8192, 7), "file is not a database", noise(4096, 8));
}

TEST_F(SqliteKeyValueStoreTest, SetsAsideATruncatedDatabase) {
  {
    auto store = open();
    ASSERT_NE(store, nullptr);
    ASSERT_TRUE(store->setBytes("tarnwell_event_queue", largeValue()));
    ASSERT_TRUE(store->setString("tarnwell_user_id", "U-1"));
  }
  ASSERT_FALSE(fs::exists(path_ + "-wal"));  // the last close moved everything into the file
  const std::string whole = readFile(path_);
  expectSetAsideAndFreshStore(whole.substr(0, whole.size() / 2), "database disk image is malformed");
}

TEST_F(SqliteKeyValueStoreTest, FallsBackToMemoryWhenNoFileCanBeCreated) {
  const std::string blocker = dir_.file("blocker");
  writeFile(blocker, "a file where a folder should be");
  path_ = blocker + "/store.sqlite";
  testing::LogRecorder log;
  std::unique_ptr<KeyValueStore> store = openKeyValueStore(path_);
  ASSERT_NE(dynamic_cast<MemoryKeyValueStore*>(store.get()), nullptr);
  EXPECT_EQ(log.lines(), std::vector<std::string>{"[Tarnwell][ERROR] Key-value store " + path_ +
                                                  " could not be opened; values are kept in memory only :: "
                                                  "cannot create folder " +
                                                  blocker + ": Not a directory"});
  EXPECT_TRUE(store->setString("tarnwell_user_id", "U-1"));
  EXPECT_EQ(store->getString("tarnwell_user_id"), "U-1");
  EXPECT_EQ(readFile(blocker), "a file where a folder should be");
}

TEST_F(SqliteKeyValueStoreTest, LeavesAFolderAtThePathInPlace) {
  fs::create_directories(path_);
  writeFile(path_ + "/keep.txt", "kept");
  SqliteKeyValueStore::OpenResult opened = SqliteKeyValueStore::open(path_);
  EXPECT_EQ(opened.store, nullptr);
  EXPECT_EQ(opened.error, "unable to open database file");
  EXPECT_EQ(asideFiles(), std::vector<std::string>{});
  EXPECT_EQ(readFile(path_ + "/keep.txt"), "kept");
}

TEST_F(SqliteKeyValueStoreTest, FailedWriteReturnsFalseLogsAndKeepsTheOldValue) {
  {
    auto store = open();  // closed again before the fork: a connection must not cross it
    ASSERT_NE(store, nullptr);
    ASSERT_TRUE(store->setString("tarnwell_event_queue", "[]"));
  }
  const int status = runInChild([&] {
    testing::LogRecorder log;
    auto store = SqliteKeyValueStore::open(path_).store;
    // Files may no longer grow past 64 KB, so the write-ahead log cannot take the value.
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = 64 * 1024;
    if (!store || signal(SIGXFSZ, SIG_IGN) == SIG_ERR || setrlimit(RLIMIT_FSIZE, &limit) != 0) {
      _exit(10);
    }
    if (store->setBytes("tarnwell_event_queue", largeValue())) {
      _exit(11);
    }
    if (log.lines() != std::vector<std::string>{"[Tarnwell][ERROR] Key-value store " + path_ +
                                                " could not write \"tarnwell_event_queue\" :: "
                                                "disk I/O error"}) {
      for (const std::string& line : log.lines()) {
        std::fprintf(stderr, "child logged: %s\n", line.c_str());
      }
      _exit(12);
    }
    _exit(store->getString("tarnwell_event_queue") == "[]" ? 0 : 13);
  });
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0)
      << "10: setup failed, 11: write reported success, 12: wrong log lines, 13: old value lost";
  EXPECT_EQ(readAfterReopen("tarnwell_event_queue"), "[]");
}

}  // namespace
}  // namespace tarnwell::detail
