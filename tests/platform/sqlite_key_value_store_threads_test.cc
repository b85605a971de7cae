// Several threads writing at once, through one store or through two stores on the same file
// (as two processes would): no write is lost and each is visible everywhere once it returns.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tarnwell/platform/detail/sqlite_key_value_store.h"
#include "tests/support/scratch_dir.h"

namespace tarnwell::detail {
namespace {

// Each writer thread writes its own keys through one of `stores` and reads each one back through
// the next store at once; afterwards a fresh connection must see every write.
void expectEveryConcurrentWriteVisible(const std::string& path, const std::vector<SqliteKeyValueStore*>& stores) {
  constexpr int kThreads = 4;
  constexpr int kWrites = 100;
  std::atomic<int> failures{0};
  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t) {
    writers.emplace_back([&, t] {
      KeyValueStore& writer = *stores[t % stores.size()];
      KeyValueStore& reader = *stores[(t + 1) % stores.size()];
      for (int i = 0; i < kWrites; ++i) {
        const std::string key = "w" + std::to_string(t) + "_" + std::to_string(1000 + i);
        if (!writer.setInt64(key, t * 1000 + i) || reader.getInt64(key) != t * 1000 + i) {
          ++failures;
        }
      }
    });
  }
  for (std::thread& writer : writers) {
    writer.join();
  }
  EXPECT_EQ(failures.load(), 0);

  auto fresh = SqliteKeyValueStore::open(path).store;
  ASSERT_NE(fresh, nullptr);
  std::vector<std::string> expected;
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kWrites; ++i) {
      expected.push_back("w" + std::to_string(t) + "_" + std::to_string(1000 + i));
      EXPECT_EQ(fresh->getInt64(expected.back()), t * 1000 + i);
    }
  }
  EXPECT_EQ(fresh->keysWithPrefix("w"), expected);
}

TEST(SqliteKeyValueStoreThreadsTest, ThreadsWritingThroughOneStoreAllLand) {
  testing::ScratchDir dir;
  const std::string path = dir.file("store.sqlite");
  auto store = SqliteKeyValueStore::open(path).store;
  ASSERT_NE(store, nullptr);
  expectEveryConcurrentWriteVisible(path, {store.get()});
}

TEST(SqliteKeyValueStoreThreadsTest, TwoStoresOnOneFileSeeEachOthersWrites) {
  testing::ScratchDir dir;
  const std::string path = dir.file("store.sqlite");
  auto first = SqliteKeyValueStore::open(path).store;
  auto second = SqliteKeyValueStore::open(path).store;
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  expectEveryConcurrentWriteVisible(path, {first.get(), second.get()});
}

}  // namespace
}  // namespace tarnwell::detail
