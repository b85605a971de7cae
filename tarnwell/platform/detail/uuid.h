// File: tarnwell/platform/detail/uuid.h
//
// Random (version 4) UUIDs in canonical upper-case text, the form every identifier the SDK
// makes takes: device ids, event ids, session ids.
//
//   std::string id = tarnwell::detail::makeUuid();  // "3F2504E0-4F89-41D3-9A0C-0305E82C3301"
//
//   tarnwell::detail::UuidGenerator ids(42);        // the same sequence on every run, for tests
//   std::string first = ids.next();
//
// A generator may be shared by any number of threads. Nothing here throws except
// std::bad_alloc, and the default constructor when the system offers no randomness.
#pragma once

#include <cstdint>
#include <mutex>
#include <random>
#include <string>

namespace tarnwell::detail {

class UuidGenerator {
 public:
  // Seeded from std::random_device, so every generator draws its own sequence.
  UuidGenerator();
  // A fixed seed gives a fixed sequence of UUIDs.
  explicit UuidGenerator(std::uint64_t seed);

  // "XXXXXXXX-XXXX-4XXX-YXXX-XXXXXXXXXXXX" with X upper-case hex and Y one of 8, 9, A, B.
  std::string next();

 private:
  std::mutex mutex_;
  std::mt19937_64 engine_;
};

// A UUID from one generator shared by the whole process.
std::string makeUuid();

}  // namespace tarnwell::detail
