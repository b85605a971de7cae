// File: tools/cli/handover.h
//
// Handover carries one value from the SDK's main context (a completion, a state observer) to
// the thread that runs the commands, which waits for it. Share it through a std::shared_ptr:
// the SDK may deliver after the waiter has given up.
//
//   auto completed = std::make_shared<Handover<SDKState>>();
//   sdk.initialize(config, [completed](const SDKState& state) { completed->give(state); });
//   std::optional<SDKState> state = host.await(*completed, host.waitLimit());
//
// Every member may be called from any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>

namespace tarnwell::cli {

template <typename T>
class Handover {
 public:
  // The first value stays; later ones are dropped.
  void give(T value) {
    {
      std::lock_guard lock(mutex_);
      if (value_) return;
      value_ = std::move(value);
    }
    arrived_.notify_all();
  }

  std::optional<T> value() const {
    std::lock_guard lock(mutex_);
    return value_;
  }

  // Blocks until a value has arrived or `limit` has passed; absent on time-out.
  std::optional<T> waitFor(std::chrono::milliseconds limit) const {
    std::unique_lock lock(mutex_);
    arrived_.wait_for(lock, limit, [this] { return value_.has_value(); });
    return value_;
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable arrived_;
  std::optional<T> value_;
};

}  // namespace tarnwell::cli
