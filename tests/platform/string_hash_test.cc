#include "tarnwell/platform/detail/string_hash.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace tarnwell::detail {
namespace {

// The reference key 00 01 .. 0f.
const StringHasher kReferenceHasher(0x0706050403020100ULL, 0x0f0e0d0c0b0a0908ULL);

// The reference message of `length` bytes 00 01 .. length-1.
std::string referenceMessage(std::size_t length) {
  std::string message;
  for (std::size_t i = 0; i < length; ++i) message += static_cast<char>(i);
  return message;
}

TEST(StringHasherTest, MatchesTheReferenceVectorsAcrossBlockBoundaries) {
  const std::pair<std::size_t, std::uint64_t> vectors[] = {
      {0, 0x726fdb47dd0e0e31ULL}, {1, 0x74f839c593dc67fdULL},  {7, 0xab0200f58b01d137ULL},  {8, 0x93f5f5799a932462ULL},
      {9, 0x9e0082df0ba9e4b0ULL}, {15, 0xa129ca6149be45e5ULL}, {16, 0x3f2acc7f57c29bdbULL}, {63, 0x958a324ceb064572ULL},
  };
  for (const auto& [length, expected] : vectors) {
    EXPECT_EQ(kReferenceHasher(referenceMessage(length)), expected) << "length " << length;
  }
}

// Values from OpenSSL's SipHash MAC (key 00..0f, 8-byte output read little-endian).
TEST(StringHasherTest, ReadsHighBytesAsUnsignedAndKeepsOnlyTheLengthsLowByte) {
  EXPECT_EQ(kReferenceHasher("\xff\xfe\x80\xc3\xa9 caf\xc3\xa9"), 0x8df5e4eebfc18467ULL);
  EXPECT_EQ(kReferenceHasher(referenceMessage(200)), 0x10849fe512591651ULL);
  EXPECT_EQ(kReferenceHasher(referenceMessage(255)), 0xa9c169fec74db21aULL);
  EXPECT_EQ(kReferenceHasher(referenceMessage(256)), 0x999d0526d2a7bfd7ULL);
}

TEST(StringHasherTest, RandomKeysDifferBetweenHashers) {
  const StringHasher first;
  const StringHasher second;
  EXPECT_NE(first("checkout_started"), second("checkout_started"));
  EXPECT_EQ(first("checkout_started"), first("checkout_started"));
}

TEST(StringHasherTest, ProcessHasherKeepsOneKey) {
  const StringHasher& hasher = processStringHasher();
  EXPECT_EQ(&hasher, &processStringHasher());
  EXPECT_EQ(hasher("flag_key"), processStringHasher()("flag_key"));
  EXPECT_NE(hasher("flag_key"), kReferenceHasher("flag_key"));
}

}  // namespace
}  // namespace tarnwell::detail
