// Foreground, background, explicit flushes and shutdown.
#include "tarnwell/sdk/detail/facade_impl.h"

namespace tarnwell {

void Tarnwell::Impl::handleForeground() {
  {
    std::lock_guard lock(mutex);
    isAppInForeground = true;
  }
  if (!sessions->getCurrentSessionId() && isReady()) {
    startSessionTracking();
  } else {
    sessions->appDidEnterForeground();
    scheduleUserSync(std::chrono::milliseconds(0));
  }
  syncPushToken();
}

void Tarnwell::Impl::handleBackground() {
  {
    std::lock_guard lock(mutex);
    isAppInForeground = false;
  }
  sessions->appDidEnterBackground();
  flushInBackground();
}

void Tarnwell::Impl::flushInBackground() {
  // A second background entry while one runs keeps the running task.
  if (backgroundFlushTaskId == BackgroundTaskHost::invalidTask) {
    backgroundFlushTaskId = backgroundTasks->begin("com.tarnwell.eventFlush", [this] {
      // Expiry cancels nothing: the flush runs on as far as the host lets it.
      runOnMain([this] { endBackgroundTask(); });
    });
  }
  spawnOnMain(backgroundFlush());
}

void Tarnwell::Impl::endBackgroundTask() {
  if (backgroundFlushTaskId != BackgroundTaskHost::invalidTask) {
    backgroundTasks->end(std::exchange(backgroundFlushTaskId, BackgroundTaskHost::invalidTask));
  }
}

asio::awaitable<void> Tarnwell::Impl::backgroundFlush() {
  co_await userSync().sync();
  co_await eventManager()->flushEvents(true);
  co_await telemetry().flush();
  endBackgroundTask();
}

void Tarnwell::Impl::startFlushAll() {
  // Counted before it is even posted, so a waiter never sees a flush that is on its way as done.
  {
    std::lock_guard lock(flushMutex);
    ++flushesInFlight;
  }
  spawnOnMain(flushAll());
}

asio::awaitable<void> Tarnwell::Impl::flushAll() {
  co_await eventManager()->flushEvents(true);
  co_await telemetry().flush();
  {
    std::lock_guard lock(flushMutex);
    --flushesInFlight;
  }
  flushesDone.notify_all();
}

// ---- Public lifecycle operations -----------------------------------------------------------

void Tarnwell::onStart() {
  impl_->runOnMain([impl = impl_.get()] { impl->handleForeground(); });
}

void Tarnwell::onStop() {
  impl_->runOnMain([impl = impl_.get()] { impl->handleBackground(); });
}

bool Tarnwell::isApplicationInForeground() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->isAppInForeground;
}

void Tarnwell::clearCurrentActivity() {}

void Tarnwell::flush() { impl_->startFlushAll(); }

bool Tarnwell::flushAndWait(std::chrono::milliseconds timeout) {
  const detail::LogScope scope(impl_->logSink);
  if (impl_->main->runningInThisThread()) {
    logWarn("flushAndWait called on the SDK's main context; not waiting");
    return false;
  }
  flush();
  // Every flush that runs, this one and any shutdown's, must be done.
  auto allDone = [impl = impl_.get()] { return impl->flushesInFlight == 0; };
  if (impl_->main->mode() == MainContext::Mode::hostPumped) {
    // The flush runs on the context this thread pumps.
    const auto doneNow = [&] {
      std::lock_guard lock(impl_->flushMutex);
      return allDone();
    };
    impl_->main->runFor(timeout, doneNow);
    return doneNow();
  }
  std::unique_lock lock(impl_->flushMutex);
  return impl_->flushesDone.wait_until(lock, saturatingDeadline(std::chrono::steady_clock::now(), timeout), allDone);
}

void Tarnwell::shutdown() {
  impl_->runOnMain([impl = impl_.get()] {
    impl->flushLoop->stop();
    impl->endSessionTracking();
    impl->startFlushAll();
    impl->state.set(SDKState::shutdown());
  });
}

}  // namespace tarnwell
