#include "tarnwell/platform/detail/closable_seams.h"

#include <algorithm>
#include <condition_variable>

namespace tarnwell::detail {

struct ClosableClock::Pending final : ClockTimer {
  std::mutex mutex;
  std::function<void()> fire;
  std::shared_ptr<ClockTimer> inner;

  // The inner timer's callback holds this object: letting go of `inner` once the timer has
  // fired or been cancelled breaks that cycle.
  void cancel() noexcept override {
    std::function<void()> dropped;
    std::shared_ptr<ClockTimer> timer;
    {
      std::lock_guard lock(mutex);
      dropped = std::move(fire);
      timer = std::move(inner);
    }
    if (timer) timer->cancel();
  }

  void run() {
    std::function<void()> callback;
    std::shared_ptr<ClockTimer> timer;
    {
      std::lock_guard lock(mutex);
      callback = std::move(fire);
      timer = std::move(inner);
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
  // A timer that fired (or was cancelled) before this line needs no handle any more.
  if (pending->fire) pending->inner = std::move(inner);
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

struct ClosableTransport::Tracking {
  std::mutex mutex;
  std::condition_variable idle;
  bool closed = false;
  int running = 0;  // completions not yet returned
  std::vector<std::weak_ptr<HttpTransfer>> inFlight;
};

ClosableTransport::ClosableTransport(std::shared_ptr<HttpTransport> inner)
    : inner_(std::move(inner)), tracking_(std::make_shared<Tracking>()) {}

std::shared_ptr<HttpTransfer> ClosableTransport::post(HttpRequest request, Completion completion) {
  bool closed = false;
  {
    std::lock_guard lock(tracking_->mutex);
    closed = tracking_->closed;
    if (!closed) {
      ++tracking_->running;
      std::erase_if(tracking_->inFlight, [](const auto& weak) { return weak.expired(); });
    }
  }
  if (closed) {
    completion(TransportError{TransportErrorCode::cancelled, "the SDK is shutting down"});
    return nullptr;
  }
  auto transfer =
      inner_->post(std::move(request), [tracking = tracking_, completion = std::move(completion)](HttpResult result) {
        completion(std::move(result));
        {
          std::lock_guard lock(tracking->mutex);
          --tracking->running;
        }
        tracking->idle.notify_all();
      });
  bool cancelNow = false;
  {
    std::lock_guard lock(tracking_->mutex);
    tracking_->inFlight.push_back(transfer);
    cancelNow = tracking_->closed;  // a close() that ran meanwhile missed this transfer
  }
  if (cancelNow && transfer) transfer->cancel();
  return transfer;
}

void ClosableTransport::close(std::chrono::milliseconds patience) {
  std::vector<std::weak_ptr<HttpTransfer>> inFlight;
  {
    std::lock_guard lock(tracking_->mutex);
    tracking_->closed = true;
    inFlight.swap(tracking_->inFlight);
  }
  for (const auto& weak : inFlight) {
    if (auto transfer = weak.lock()) transfer->cancel();
  }
  std::unique_lock lock(tracking_->mutex);
  tracking_->idle.wait_for(lock, patience, [&] { return tracking_->running == 0; });
}

}  // namespace tarnwell::detail
