// File: tarnwell/platform/detail/closable_seams.h
//
// Wrappers that let an owner end everything it started on a shared clock or transport before it
// tears down the executors that work would resume on. A host may share (or outlive) the clock
// and transport it gives the SDK; without this, a timer firing or a transfer finishing after
// the SDK is gone would post into destroyed executors, and waiting for them could hang.
//
//   ClosableClock clock(hostClock);
//   ClosableTransport transport(hostTransport);
//   ...                       // hand the wrappers to every component
//   clock.close();            // pending sleeps are dropped, new ones never fire
//   transport.close();        // transfers in flight complete with `cancelled`, new ones at once
//
// Thread-safe. After close() nothing new is started on the wrapped seam.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <vector>

#include "tarnwell/platform/clock.h"
#include "tarnwell/platform/http_transport.h"

namespace tarnwell::detail {

class ClosableClock final : public Clock {
 public:
  explicit ClosableClock(std::shared_ptr<Clock> inner) : inner_(std::move(inner)) {}

  Timestamp now() const noexcept override { return inner_->now(); }
  std::shared_ptr<ClockTimer> startTimer(std::chrono::milliseconds delay, std::function<void()> fire) override;
  // Drops the callbacks of every pending timer (and with them what awaits them) and refuses to
  // fire any later one.
  void close();

 private:
  struct Pending;
  std::shared_ptr<Clock> inner_;
  std::mutex mutex_;
  bool closed_ = false;
  std::vector<std::weak_ptr<Pending>> pending_;
};

class ClosableTransport final : public HttpTransport {
 public:
  explicit ClosableTransport(std::shared_ptr<HttpTransport> inner);

  std::shared_ptr<HttpTransfer> post(HttpRequest request, Completion completion) override;
  // Cancels every transfer in flight and waits (up to `patience`) until their completions have
  // returned, so nothing is still posting into an executor when close() is done; later posts
  // complete with `cancelled` at once.
  void close(std::chrono::milliseconds patience = std::chrono::seconds(5));

 private:
  struct Tracking;
  std::shared_ptr<HttpTransport> inner_;
  std::shared_ptr<Tracking> tracking_;
};

}  // namespace tarnwell::detail
