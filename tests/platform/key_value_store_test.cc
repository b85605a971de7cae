// The behaviour every KeyValueStore promises, run against each implementation, plus the
// default store path.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tarnwell/platform/detail/sqlite_key_value_store.h"
#include "tarnwell/platform/key_value_store.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tests/support/scratch_dir.h"

namespace tarnwell {
namespace {

struct MemoryStoreMaker {
  std::unique_ptr<KeyValueStore> make() { return std::make_unique<MemoryKeyValueStore>(); }
};

struct SqliteStoreMaker {
  testing::ScratchDir dir;
  std::unique_ptr<KeyValueStore> make() {
    return std::move(detail::SqliteKeyValueStore::open(dir.file("store.sqlite")).store);
  }
};

template <typename Maker>
class KeyValueStoreTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(store_, nullptr); }

  Maker maker_;
  std::unique_ptr<KeyValueStore> store_ = maker_.make();
};

struct MakerNames {
  template <typename Maker>
  static std::string GetName(int) {
    return std::is_same_v<Maker, MemoryStoreMaker> ? "Memory" : "Sqlite";
  }
};

using Implementations = ::testing::Types<MemoryStoreMaker, SqliteStoreMaker>;
TYPED_TEST_SUITE(KeyValueStoreTest, Implementations, MakerNames);

// A value whose bytes differ from position to position, so a shifted or cut copy shows.
Bytes patternBytes(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<std::uint8_t>((i * 31) ^ (i >> 8));
  }
  return bytes;
}

TYPED_TEST(KeyValueStoreTest, ReadsBackEachTypeAsWritten) {
  KeyValueStore& store = *this->store_;
  const Bytes bytes{0x00, 0x7f, 0x80, 0xff};
  ASSERT_TRUE(store.setString("text", "pro"));
  ASSERT_TRUE(store.setInt64("min", std::numeric_limits<std::int64_t>::min()));
  ASSERT_TRUE(store.setInt64("max", std::numeric_limits<std::int64_t>::max()));
  ASSERT_TRUE(store.setDouble("double", -0.1));
  ASSERT_TRUE(store.setDouble("huge", 1.7976931348623157e308));
  ASSERT_TRUE(store.setBool("yes", true));
  ASSERT_TRUE(store.setBool("no", false));
  ASSERT_TRUE(store.setBytes("bytes", bytes));

  EXPECT_EQ(store.getString("text"), "pro");
  EXPECT_EQ(store.getInt64("min"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(store.getInt64("max"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(store.getDouble("double"), -0.1);
  EXPECT_EQ(store.getDouble("huge"), 1.7976931348623157e308);
  EXPECT_EQ(store.getBool("yes"), true);
  EXPECT_EQ(store.getBool("no"), false);
  EXPECT_EQ(store.getBytes("bytes"), bytes);
  EXPECT_EQ(store.get("text"), StoreValue(std::string("pro")));
  EXPECT_EQ(store.get("no"), StoreValue(false));
  EXPECT_EQ(store.get("missing"), std::nullopt);
}

TYPED_TEST(KeyValueStoreTest, WriteOfAnotherTypeReplacesTheValue) {
  KeyValueStore& store = *this->store_;
  ASSERT_TRUE(store.setString("tarnwell_count", "7"));
  ASSERT_TRUE(store.setInt64("tarnwell_count", 7));
  EXPECT_EQ(store.get("tarnwell_count"), StoreValue(std::int64_t{7}));
  ASSERT_TRUE(store.setBytes("tarnwell_count", asBytes("7")));
  EXPECT_EQ(store.get("tarnwell_count"), StoreValue(Bytes{'7'}));
  EXPECT_EQ(store.keysWithPrefix("tarnwell_count"), std::vector<std::string>{"tarnwell_count"});
}

TYPED_TEST(KeyValueStoreTest, ReadAsAnotherTypeGivesAbsent) {
  KeyValueStore& store = *this->store_;
  ASSERT_TRUE(store.setString("text", "1"));
  ASSERT_TRUE(store.setInt64("int", 1));
  ASSERT_TRUE(store.setDouble("double", 1.0));
  ASSERT_TRUE(store.setBool("bool", true));
  ASSERT_TRUE(store.setBytes("bytes", asBytes("1")));

  for (const char* key : {"int", "double", "bool", "bytes"}) {
    EXPECT_EQ(store.getString(key), std::nullopt) << key;
  }
  for (const char* key : {"text", "double", "bool", "bytes"}) {
    EXPECT_EQ(store.getInt64(key), std::nullopt) << key;
  }
  for (const char* key : {"text", "int", "bool", "bytes"}) {
    EXPECT_EQ(store.getDouble(key), std::nullopt) << key;
  }
  for (const char* key : {"text", "int", "double", "bytes"}) {
    EXPECT_EQ(store.getBool(key), std::nullopt) << key;
  }
  for (const char* key : {"text", "int", "double", "bool"}) {
    EXPECT_EQ(store.getBytes(key), std::nullopt) << key;
  }
  EXPECT_EQ(store.getString("text"), "1");  // a mismatched read leaves the value alone
}

TYPED_TEST(KeyValueStoreTest, RemoveDropsOnlyThatKeyAndSucceedsWhenMissing) {
  KeyValueStore& store = *this->store_;
  ASSERT_TRUE(store.setString("a", "1"));
  ASSERT_TRUE(store.setString("ab", "2"));
  EXPECT_TRUE(store.remove("a"));
  EXPECT_EQ(store.get("a"), std::nullopt);
  EXPECT_EQ(store.getString("ab"), "2");
  EXPECT_TRUE(store.remove("a"));
  EXPECT_TRUE(store.remove("never_written"));
  EXPECT_EQ(store.keysWithPrefix(""), std::vector<std::string>{"ab"});
}

TYPED_TEST(KeyValueStoreTest, KeysWithPrefixListsMatchesInByteOrder) {
  KeyValueStore& store = *this->store_;
  for (const char* key :
       {"tarnwell_event_2", "tarnwell_event_10", "tarnwell_event_\xff", "tarnwell_event_\x80", "tarnwell_event_",
        "tarnwell_event_1", "tarnwell_even", "tarnwell_eventx", "tarnwell_event", "a_first", "z_last"}) {
    ASSERT_TRUE(store.setBool(key, true)) << key;
  }
  EXPECT_EQ(store.keysWithPrefix("tarnwell_event_"),
            (std::vector<std::string>{"tarnwell_event_", "tarnwell_event_1", "tarnwell_event_10", "tarnwell_event_2",
                                      "tarnwell_event_\x80", "tarnwell_event_\xff"}));
  EXPECT_EQ(store.keysWithPrefix("tarnwell_event_1"),
            (std::vector<std::string>{"tarnwell_event_1", "tarnwell_event_10"}));
  EXPECT_EQ(store.keysWithPrefix("tarnwell_event_10_"), std::vector<std::string>{});
  EXPECT_EQ(store.keysWithPrefix("b"), std::vector<std::string>{});
  EXPECT_EQ(store.keysWithPrefix(""),
            (std::vector<std::string>{"a_first", "tarnwell_even", "tarnwell_event", "tarnwell_event_",
                                      "tarnwell_event_1", "tarnwell_event_10", "tarnwell_event_2",
                                      "tarnwell_event_\x80", "tarnwell_event_\xff", "tarnwell_eventx", "z_last"}));
}

TYPED_TEST(KeyValueStoreTest, EmptyValuesAndTheEmptyKeyArePresentNotAbsent) {
  KeyValueStore& store = *this->store_;
  ASSERT_TRUE(store.setString("empty_text", ""));
  ASSERT_TRUE(store.setBytes("empty_bytes", {}));
  ASSERT_TRUE(store.setString("", "under the empty key"));
  EXPECT_EQ(store.get("empty_text"), StoreValue(std::string()));
  EXPECT_EQ(store.get("empty_bytes"), StoreValue(Bytes()));
  EXPECT_EQ(store.getString(""), "under the empty key");
  EXPECT_EQ(store.keysWithPrefix("empty"), (std::vector<std::string>{"empty_bytes", "empty_text"}));
}

TYPED_TEST(KeyValueStoreTest, KeepsEveryByteOfBinaryValues) {
  KeyValueStore& store = *this->store_;
  const Bytes bytes{0x00, 0x00, 0x01, 0xff, 0x00, 0xfe, 0x00};
  const std::string text("a\0b\0\xff", 5);
  ASSERT_TRUE(store.setBytes("bytes", bytes));
  ASSERT_TRUE(store.setString("text", text));
  EXPECT_EQ(store.getBytes("bytes"), bytes);
  EXPECT_EQ(store.getString("text"), text);
}

TYPED_TEST(KeyValueStoreTest, HoldsValuesOfSeveralHundredKilobytes) {
  KeyValueStore& store = *this->store_;
  const Bytes large = patternBytes(600 * 1024);
  const std::string largeText(large.begin(), large.end());
  ASSERT_TRUE(store.setBytes("tarnwell_event_queue", large));
  ASSERT_TRUE(store.setString("tarnwell_bundle", largeText));
  EXPECT_EQ(store.getBytes("tarnwell_event_queue"), large);
  EXPECT_EQ(store.getString("tarnwell_bundle"), largeText);

  ASSERT_TRUE(store.setBytes("tarnwell_event_queue", asBytes("[]")));
  EXPECT_EQ(store.getBytes("tarnwell_event_queue"), (Bytes{'[', ']'}));
}

// Sets or clears environment variables for one test and restores them afterwards.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) {
      old_ = old;
    }
    value == nullptr ? unsetenv(name) : setenv(name, value, 1);
  }
  ~ScopedEnv() { old_ ? setenv(name_, old_->c_str(), 1) : unsetenv(name_); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(DefaultKeyValueStorePathTest, PrefersXdgDataHomeThenHomeThenWorkingFolder) {
  {
    ScopedEnv data("XDG_DATA_HOME", "/data/u");
    ScopedEnv home("HOME", "/home/u");
    EXPECT_EQ(defaultKeyValueStorePath(), "/data/u/tarnwell/store.sqlite");
  }
  {
    ScopedEnv data("XDG_DATA_HOME", "relative/data");
    ScopedEnv home("HOME", "/home/u");
    EXPECT_EQ(defaultKeyValueStorePath(), "/home/u/.local/share/tarnwell/store.sqlite");
  }
  {
    ScopedEnv data("XDG_DATA_HOME", nullptr);
    ScopedEnv home("HOME", "");
    EXPECT_EQ(defaultKeyValueStorePath(), "./tarnwell-store.sqlite");
  }
}

}  // namespace
}  // namespace tarnwell
