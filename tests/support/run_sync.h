// Runs a coroutine to completion on a private io_context and hands back its result or
// rethrows its exception: for unit tests of awaitable code whose I/O completes inline or on
// other threads (the scripted transport, a loopback server).
#pragma once

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include <chrono>
#include <stdexcept>

namespace tarnwell::testing {

template <typename T>
T runSync(asio::awaitable<T> work) {
  asio::io_context io;
  auto future = asio::co_spawn(io, std::move(work), asio::use_future);
  // Work from other threads is posted to `io`; keep running until the coroutine has finished.
  while (future.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
    io.run_for(std::chrono::milliseconds(10));
    io.restart();
  }
  return future.get();
}

}  // namespace tarnwell::testing
