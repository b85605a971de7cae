#include "tarnwell/platform/detail/uuid.h"

#include <array>

namespace tarnwell::detail {
namespace {

std::mt19937_64 randomlySeededEngine() {
  std::random_device device;
  std::seed_seq seed{device(), device(), device(), device(), device(), device(), device(), device()};
  return std::mt19937_64(seed);
}

}  // namespace

UuidGenerator::UuidGenerator() : engine_(randomlySeededEngine()) {}

UuidGenerator::UuidGenerator(std::uint64_t seed) : engine_(seed) {}

std::string UuidGenerator::next() {
  std::uint64_t high = 0;
  std::uint64_t low = 0;
  {
    std::lock_guard lock(mutex_);
    high = engine_();
    low = engine_();
  }
  // Version 4 in the top nibble of byte 6; variant 10xx in the top bits of byte 8.
  high = (high & ~std::uint64_t{0xF000}) | 0x4000;
  low = (low & ~(std::uint64_t{0xC} << 60)) | (std::uint64_t{0x8} << 60);

  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(36);
  const std::array<std::uint64_t, 2> halves{high, low};
  int nibble = 0;
  for (const std::uint64_t half : halves) {
    for (int shift = 60; shift >= 0; shift -= 4, ++nibble) {
      if (nibble == 8 || nibble == 12 || nibble == 16 || nibble == 20) text += '-';
      text += kDigits[(half >> shift) & 0xF];
    }
  }
  return text;
}

std::string makeUuid() {
  static UuidGenerator generator;
  return generator.next();
}

}  // namespace tarnwell::detail
