#include "tarnwell/platform/detail/uuid.h"

#include <gtest/gtest.h>

#include <array>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace tarnwell::detail {
namespace {

constexpr std::array<std::size_t, 4> kDashes{8, 13, 18, 23};

bool isUpperHex(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'); }

void expectCanonicalVersion4(const std::string& uuid) {
  ASSERT_EQ(uuid.size(), 36u) << uuid;
  for (std::size_t i = 0; i < uuid.size(); ++i) {
    const bool dash = i == kDashes[0] || i == kDashes[1] || i == kDashes[2] || i == kDashes[3];
    if (dash) {
      EXPECT_EQ(uuid[i], '-') << uuid;
    } else {
      EXPECT_TRUE(isUpperHex(uuid[i])) << uuid << " at " << i;
    }
  }
  EXPECT_EQ(uuid[14], '4') << uuid;
  EXPECT_NE(std::string("89AB").find(uuid[19]), std::string::npos) << uuid;
}

TEST(UuidGeneratorTest, MakesCanonicalUpperCaseVersion4Text) {
  UuidGenerator seeded(7);
  UuidGenerator random;
  for (int i = 0; i < 100; ++i) {
    expectCanonicalVersion4(seeded.next());
    expectCanonicalVersion4(random.next());
    expectCanonicalVersion4(makeUuid());
  }
}

TEST(UuidGeneratorTest, EveryFreeDigitTakesEveryValue) {
  // A digit stuck at one value would mean random bits lost between engine and text.
  UuidGenerator generator(11);
  std::array<std::set<char>, 36> seen;
  for (int i = 0; i < 2000; ++i) {
    const std::string uuid = generator.next();
    for (std::size_t at = 0; at < uuid.size(); ++at) seen[at].insert(uuid[at]);
  }
  for (std::size_t at = 0; at < seen.size(); ++at) {
    std::size_t expected = 16;
    if (at == kDashes[0] || at == kDashes[1] || at == kDashes[2] || at == kDashes[3] || at == 14) {
      expected = 1;
    } else if (at == 19) {
      expected = 4;
    }
    EXPECT_EQ(seen[at].size(), expected) << "position " << at;
  }
}

TEST(UuidGeneratorTest, SameSeedGivesTheSameSequence) {
  UuidGenerator first(42);
  UuidGenerator second(42);
  UuidGenerator other(43);
  for (int i = 0; i < 10; ++i) {
    const std::string uuid = first.next();
    EXPECT_EQ(uuid, second.next());
    EXPECT_NE(uuid, other.next());
  }
}

TEST(UuidGeneratorTest, RandomGeneratorsDrawDifferentSequences) {
  UuidGenerator first;
  UuidGenerator second;
  EXPECT_NE(first.next(), second.next());
  EXPECT_NE(makeUuid(), makeUuid());
}

TEST(UuidGeneratorTest, ThreadsSharingAGeneratorNeverGetTheSameUuid) {
  UuidGenerator generator(5);
  constexpr int kThreads = 4;
  constexpr int kPerThread = 5000;
  std::vector<std::vector<std::string>> drawn(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&generator, &out = drawn[t]] {
      for (int i = 0; i < kPerThread; ++i) out.push_back(generator.next());
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::set<std::string> unique;
  for (const auto& list : drawn) unique.insert(list.begin(), list.end());
  EXPECT_EQ(unique.size(), std::size_t{kThreads * kPerThread});
}

}  // namespace
}  // namespace tarnwell::detail
