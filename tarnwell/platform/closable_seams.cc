#include "tarnwell/platform/detail/closable_seams.h"

#include <algorithm>

namespace tarnwell::detail {

struct ClosableClock::Pending final : ClockTimer {
  std::mutex mutex;
  std::function<void()> fire;
  std::shared_ptr<ClockTimer> inner;

  void cancel() noexcept override {
    std::function<void()> dropped;
    std::shared_ptr<ClockTimer> timer;
    {
      std::lock_guard lock(mutex);
      dropped = std::move(fire);
      timer = inner;
    }
    if (timer) timer->cancel();
  }

  void run() {
    std::function<void()> callback;
    {
      std::lock_guard lock(mutex);
      callback = std::move(fire);
    }
    if (callback) callback();
  }
};

std::shared_ptr<ClockTimer> ClosableClock::startTimer(std::chrono::milliseconds delay, std::function<void()> fire) {
  auto pending = std::make_shared<Pending>();
  pending->fire = std::move(fire);
  {
    std::lock_guard lock(mutex_);
    if (closed_) {
      pending->fire = nullptr;
      return pending;
    }
    std::erase_if(pending_, [](const auto& weak) { return weak.expired(); });
    pending_.push_back(pending);
  }
  auto inner = inner_->startTimer(delay, [pending] { pending->run(); });
  std::lock_guard lock(pending->mutex);
  pending->inner = std::move(inner);
  return pending;
}

void ClosableClock::close() {
  std::vector<std::weak_ptr<Pending>> pending;
  {
    std::lock_guard lock(mutex_);
    closed_ = true;
    pending.swap(pending_);
  }
  for (const auto& weak : pending) {
    if (auto timer = weak.lock()) timer->cancel();
  }
}

std::shared_ptr<HttpTransfer> ClosableTransport::post(HttpRequest request, Completion completion) {
  bool closed = false;
  {
    std::lock_guard lock(mutex_);
    closed = closed_;
    std::erase_if(inFlight_, [](const auto& weak) { return weak.expired(); });
  }
  if (closed) {
    completion(TransportError{TransportErrorCode::cancelled, "the SDK is shutting down"});
    return nullptr;
  }
  auto transfer = inner_->post(std::move(request), std::move(completion));
  bool cancelNow = false;
  {
    std::lock_guard lock(mutex_);
    inFlight_.push_back(transfer);
    cancelNow = closed_;  // a close() that ran meanwhile missed this transfer
  }
  if (cancelNow && transfer) transfer->cancel();
  return transfer;
}

void ClosableTransport::close() {
  std::vector<std::weak_ptr<HttpTransfer>> inFlight;
  {
    std::lock_guard lock(mutex_);
    closed_ = true;
    inFlight.swap(inFlight_);
  }
  for (const auto& weak : inFlight) {
    if (auto transfer = weak.lock()) transfer->cancel();
  }
}

}  // namespace tarnwell::detail
