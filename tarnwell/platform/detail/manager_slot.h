// File: tarnwell/platform/detail/manager_slot.h
//
// ManagerSlot<T> holds the manager the last start-up built; a later start-up replaces it. An
// operation takes the manager when it starts and holds it to its end, so a replacement meanwhile
// neither frees the manager under the operation nor mixes two managers in one answer.
//
//   ManagerSlot<MessageManager> messages;
//   messages.set(std::make_shared<MessageManager>(...));
//   co_spawn(main, messages.call(&MessageManager::deleteThread, false, completion, threadId), detached);
//
// get() and set() may be called from any thread. call() returns a coroutine that reads the slot
// only when it runs, on the caller's executor; the slot must outlive it.
#pragma once

#include <asio/awaitable.hpp>

#include <functional>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>

namespace tarnwell::detail {

template <typename Manager>
class ManagerSlot {
 public:
  std::shared_ptr<Manager> get() const {
    std::lock_guard lock(mutex_);
    return manager_;
  }

  void set(std::shared_ptr<Manager> manager) {
    std::lock_guard lock(mutex_);
    manager_ = std::move(manager);
  }

  // Awaits `operation` of the held manager with `args` and hands its result to `completion`;
  // without a manager hands over `fallback`. `Owner` may be a base class of Manager.
  template <typename Result, typename Owner, typename... Params, typename... Args>
  asio::awaitable<void> call(asio::awaitable<Result> (Owner::*operation)(Params...),
                             std::type_identity_t<Result> fallback,
                             std::type_identity_t<std::function<void(Result)>> completion, Args... args) const {
    Result result = std::move(fallback);
    if (const std::shared_ptr<Manager> manager = get()) result = co_await ((*manager).*operation)(std::move(args)...);
    if (completion) completion(std::move(result));
  }

  // The same for an operation without a result: `completion` runs with or without a manager.
  template <typename Owner, typename... Params, typename... Args>
  asio::awaitable<void> call(asio::awaitable<void> (Owner::*operation)(Params...), std::function<void()> completion,
                             Args... args) const {
    if (const std::shared_ptr<Manager> manager = get()) co_await ((*manager).*operation)(std::move(args)...);
    if (completion) completion();
  }

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<Manager> manager_;
};

}  // namespace tarnwell::detail
