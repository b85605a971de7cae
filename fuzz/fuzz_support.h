// File: fuzz/fuzz_support.h
//
// What the fuzz targets share: the input as text, a loud stop when a property breaks, the round
// trip every coded record must survive, and running a gateway coroutine to its end.
//
//   extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
//     const tarnwell::JSONValue value = tarnwell::JSONValue::decode(tarnwell::fuzz::asText(data, size));
//     tarnwell::fuzz::require(value == value, "a value differs from itself");
//     return 0;
//   }
//
// A broken property prints its text and traps, so libFuzzer keeps the input as a crash and the
// replay test fails. Exceptions a target does not catch escape on purpose: libFuzzer reports
// them as crashes too.
#pragma once

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "tarnwell/core/coding_error.h"
#include "tarnwell/core/json_value.h"
#include "tarnwell/core/log.h"

namespace tarnwell::fuzz {

inline std::string_view asText(const std::uint8_t* data, std::size_t size) noexcept {
  return {reinterpret_cast<const char*>(data), size};
}

[[noreturn]] inline void fail(std::string_view what) {
  std::fprintf(stderr, "fuzz property failed: %.*s\n", static_cast<int>(what.size()), what.data());
  std::fflush(stderr);
  __builtin_trap();
}

inline void require(bool holds, std::string_view what) {
  if (!holds) fail(what);
}

// Error lines (a failed refresh, an out-of-range intValue) would flood the fuzzer's output;
// the properties say what matters.
inline void silenceLog() {
  static const bool silenced = (setLogSink([](LogLevel, std::string_view) {}), true);
  (void)silenced;
}

// A record must come back equal from its own encoding, and that encoding must be JSON text
// that decodes: the cache and the wire both depend on it.
template <typename Record>
void requireRoundTrip(const Record& record, std::string_view what) {
  const std::string text = record.encode().encode();
  std::optional<Record> again;
  try {
    again = Record::decode(JSONValue::decode(text));
  } catch (const DecodingError& error) {
    fail(std::string(what) + " does not decode from its own encoding (" + error.what() + "): " + text);
  }
  if (!(*again == record)) fail(std::string(what) + " changed through its own encoding: " + text);
}

// Runs a coroutine whose I/O completes inline (the scripted transport) and hands back its
// result or rethrows its error. A coroutine still waiting once the context has run dry would
// hang a host forever, so that is a failure too.
template <typename T>
T runToEnd(asio::awaitable<T> work) {
  asio::io_context io;
  bool finished = false;
  std::exception_ptr error;
  std::optional<T> result;
  // A plain completion runs on `io` itself, so it has run once io.run() returns.
  asio::co_spawn(io, std::move(work), [&](std::exception_ptr thrown, T value) {
    finished = true;
    error = thrown;
    if (!thrown) result = std::move(value);
  });
  io.run();
  require(finished, "a coroutine never completed");
  if (error) std::rethrow_exception(error);
  return std::move(*result);
}

}  // namespace tarnwell::fuzz
