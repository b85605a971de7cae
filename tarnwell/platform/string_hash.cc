#include "tarnwell/platform/detail/string_hash.h"

#include <bit>
#include <cstddef>
#include <random>

namespace tarnwell::detail {
namespace {

std::uint64_t randomWord(std::random_device& device) { return (std::uint64_t{device()} << 32) ^ device(); }

// Eight bytes as a little-endian word, whatever the host's byte order.
std::uint64_t readLittleEndian(const char* bytes, std::size_t count) noexcept {
  std::uint64_t word = 0;
  for (std::size_t i = 0; i < count; ++i) {
    word |= std::uint64_t{static_cast<unsigned char>(bytes[i])} << (8 * i);
  }
  return word;
}

struct SipState {
  std::uint64_t v0, v1, v2, v3;

  void round() noexcept {
    v0 += v1;
    v1 = std::rotl(v1, 13);
    v1 ^= v0;
    v0 = std::rotl(v0, 32);
    v2 += v3;
    v3 = std::rotl(v3, 16);
    v3 ^= v2;
    v0 += v3;
    v3 = std::rotl(v3, 21);
    v3 ^= v0;
    v2 += v1;
    v1 = std::rotl(v1, 17);
    v1 ^= v2;
    v2 = std::rotl(v2, 32);
  }

  // Two compression rounds per message word.
  void absorb(std::uint64_t word) noexcept {
    v3 ^= word;
    round();
    round();
    v0 ^= word;
  }
};

}  // namespace

StringHasher::StringHasher() {
  std::random_device device;
  k0_ = randomWord(device);
  k1_ = randomWord(device);
}

StringHasher::StringHasher(std::uint64_t k0, std::uint64_t k1) noexcept : k0_(k0), k1_(k1) {}

std::uint64_t StringHasher::operator()(std::string_view text) const noexcept {
  SipState state{k0_ ^ 0x736f6d6570736575ULL, k1_ ^ 0x646f72616e646f6dULL, k0_ ^ 0x6c7967656e657261ULL,
                 k1_ ^ 0x7465646279746573ULL};
  const std::size_t fullWords = text.size() / 8;
  for (std::size_t i = 0; i < fullWords; ++i) {
    state.absorb(readLittleEndian(text.data() + 8 * i, 8));
  }
  // The last word carries the remaining bytes and the length's low byte on top.
  const std::size_t rest = text.size() % 8;
  state.absorb(readLittleEndian(text.data() + 8 * fullWords, rest) | (std::uint64_t{text.size() & 0xFF} << 56));
  // Four finalisation rounds.
  state.v2 ^= 0xFF;
  for (int i = 0; i < 4; ++i) state.round();
  return state.v0 ^ state.v1 ^ state.v2 ^ state.v3;
}

const StringHasher& processStringHasher() {
  static const StringHasher hasher;
  return hasher;
}

}  // namespace tarnwell::detail
