// File: tarnwell/platform/published.h
//
// Published<T> is an observable value: the SDK's state, its managers and the view models' fields
// are published so a host (or its UI layer) can follow them.
//
//   tarnwell::Published<int> unread(main, 0);
//   tarnwell::Subscription s = unread.subscribe([](const int& n) { badge(n); });
//   unread.set(3);   // badge(3) runs later, on the main context
//
// value() and set() may be called from any thread. A subscriber first receives the value current
// when it subscribed, then every later value, in order; deliveries are always posted to the main
// context, never run inside set() or subscribe(). Destroying (or cancelling) the Subscription
// stops deliveries, including ones already posted and not yet run. The MainContext must outlive
// the Published value.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <tarnwell/platform/main_context.h>

namespace tarnwell {

// Keeps a subscription alive; movable, not copyable.
class Subscription {
 public:
  Subscription() = default;
  explicit Subscription(std::function<void()> cancel) : cancel_(std::move(cancel)) {}
  Subscription(Subscription&& other) noexcept : cancel_(std::exchange(other.cancel_, nullptr)) {}
  Subscription& operator=(Subscription&& other) noexcept {
    if (this != &other) {
      cancel();
      cancel_ = std::exchange(other.cancel_, nullptr);
    }
    return *this;
  }
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;
  ~Subscription() { cancel(); }

  void cancel() noexcept {
    if (auto cancel = std::exchange(cancel_, nullptr)) {
      cancel();
    }
  }

 private:
  std::function<void()> cancel_;
};

template <typename T>
class Published {
 public:
  using Observer = std::function<void(const T&)>;

  Published(MainContext& main, T initial) : state_(std::make_shared<State>(main, std::move(initial))) {}
  Published(const Published&) = delete;
  Published& operator=(const Published&) = delete;

  T value() const {
    std::lock_guard lock(state_->mutex);
    return state_->value;
  }

  void set(T value) {
    std::vector<std::shared_ptr<Observer>> observers;
    {
      std::lock_guard lock(state_->mutex);
      state_->value = value;
      for (const auto& [id, observer] : state_->observers) observers.push_back(observer);
    }
    for (auto& observer : observers) {
      deliver(state_->main, observer, value);
    }
  }

  [[nodiscard]] Subscription subscribe(Observer onValue) {
    auto observer = std::make_shared<Observer>(std::move(onValue));
    std::uint64_t id = 0;
    T current;
    {
      std::lock_guard lock(state_->mutex);
      id = state_->nextId++;
      state_->observers.emplace(id, observer);
      current = state_->value;
    }
    deliver(state_->main, observer, std::move(current));
    return Subscription([weakState = std::weak_ptr<State>(state_), id] {
      if (auto state = weakState.lock()) {
        std::lock_guard lock(state->mutex);
        state->observers.erase(id);
      }
    });
  }

 private:
  struct State {
    State(MainContext& main, T value) : main(main), value(std::move(value)) {}
    MainContext& main;
    std::mutex mutex;
    T value;
    std::uint64_t nextId = 0;
    std::map<std::uint64_t, std::shared_ptr<Observer>> observers;
  };

  static void deliver(MainContext& main, const std::shared_ptr<Observer>& observer, T value) {
    // The delivery holds the observer weakly: a cancelled subscription drops its last owner, so
    // a delivery already queued finds nothing to call.
    main.post([weakObserver = std::weak_ptr<Observer>(observer), value = std::move(value)] {
      if (auto observer = weakObserver.lock()) {
        (*observer)(value);
      }
    });
  }

  std::shared_ptr<State> state_;
};

}  // namespace tarnwell
