// File: tarnwell/platform/detail/string_hash.h
//
// StringHasher is a keyed 64-bit hash of text (SipHash-2-4), used where the SDK needs a quick
// hash of a string in memory, for example to bucket keys. With a random key it resists
// crafted inputs that would all land in one bucket.
//
//   const tarnwell::detail::StringHasher& hash = tarnwell::detail::processStringHasher();
//   std::uint64_t bucket = hash("checkout_started") % bucketCount;
//
// Hashes made with a random key differ from one process (and one hasher) to the next: they
// must never be stored, sent, or compared across processes. Use a fixed key when a value has
// to be reproducible.
//
// Hashing is const and noexcept, so one hasher may be used by any number of threads at once.
#pragma once

#include <cstdint>
#include <string_view>

namespace tarnwell::detail {

class StringHasher {
 public:
  // A random key from std::random_device (which throws when the system has no randomness).
  StringHasher();
  // A fixed key: k0 and k1 are the key's first and last eight bytes read little-endian.
  StringHasher(std::uint64_t k0, std::uint64_t k1) noexcept;

  std::uint64_t operator()(std::string_view text) const noexcept;

 private:
  std::uint64_t k0_;
  std::uint64_t k1_;
};

// The hasher of this process: one random key, drawn on first use.
const StringHasher& processStringHasher();

}  // namespace tarnwell::detail
