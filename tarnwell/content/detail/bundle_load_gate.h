// File: tarnwell/content/detail/bundle_load_gate.h
//
// Lets the runtime bundle repositories of one SDK object share a request: the content kinds
// refresh side by side, and on a stale bundle each would ask the gateway for the same document.
// While one load is under way the others wait for it and then read what it stored.
//
//   bool mine = co_await gate->awaitTurn(asio::use_awaitable);
//   std::optional<BundleLoadGate::Turn> turn;
//   if (mine) turn.emplace(*gate);   // ends the turn when it goes, also when the load fails
//
// Any thread; each waiter resumes on its own executor.
#pragma once

#include <asio/async_result.hpp>

#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "tarnwell/platform/detail/async.h"

namespace tarnwell::detail {

class BundleLoadGate {
 public:
  // Completes with true when the caller is to load (no other load runs), or with false once the
  // load that was running has finished.
  template <typename CompletionToken>
  auto awaitTurn(CompletionToken&& token) {
    return asio::async_initiate<CompletionToken, void(bool)>(
        [this](auto handler) {
          using Shot = OneShot<std::decay_t<decltype(handler)>, bool>;
          auto shot = std::make_shared<Shot>(std::move(handler));
          std::unique_lock lock(mutex_);
          if (!loading_) {
            loading_ = true;
            lock.unlock();
            shot->tryComplete(true);
            return;
          }
          waiters_.push_back([shot] { shot->tryComplete(false); });
        },
        token);
  }

  // Finishes the turn it holds when it goes, however the load ends.
  class Turn {
   public:
    explicit Turn(BundleLoadGate& gate) : gate_(gate) {}
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() { gate_.finish(); }

   private:
    BundleLoadGate& gate_;
  };

  // Every turn that answered true must be held by a Turn.
 private:
  void finish() {
    std::vector<std::function<void()>> waiters;
    {
      std::lock_guard lock(mutex_);
      loading_ = false;
      waiters.swap(waiters_);
    }
    for (auto& wake : waiters) wake();
  }

  std::mutex mutex_;
  bool loading_ = false;
  std::vector<std::function<void()>> waiters_;
};

}  // namespace tarnwell::detail
