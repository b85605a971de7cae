// Content refresh: when each kind of content is asked for, gated by its time to live.
#include <asio/co_spawn.hpp>

#include "tarnwell/core/detail/tarnwell_impl.h"

namespace tarnwell {

asio::awaitable<void> Tarnwell::Impl::refreshAllContent() {
  // Surveys, announcements and live cards (the latter always forced) join here once their
  // delivery managers exist; until then their gates are closed.
  co_await refreshFeatureFlags(false);
}

asio::awaitable<void> Tarnwell::Impl::refreshFeatureFlags(bool force) {
  if (!isReady()) co_return;
  std::int64_t ttlMs = 0;
  {
    std::lock_guard lock(mutex);
    ttlMs = runtimeConfig.cache.featureFlagsTtlMs;
  }
  if (!shouldRefresh(refreshStamps.lastFeatureFlagsRefreshAt, ttlMs, force, clock->now())) co_return;
  co_await featureFlagManager()->refresh();
}

void Tarnwell::Impl::spawnThen(asio::awaitable<void> work, std::function<void()> completion) {
  spawnOnMain([](asio::awaitable<void> work, std::function<void()> completion) -> asio::awaitable<void> {
    co_await std::move(work);
    if (completion) completion();
  }(std::move(work), std::move(completion)));
}

asio::awaitable<void> Tarnwell::Impl::readStoredRuntimeBundle(
    std::function<void(std::optional<RuntimeBundle>)> completion) {
  // Decoding a bundle of some hundred kilobytes stays off the main context.
  auto read = [bundles = makeRuntimeBundleRepository()] { return bundles.readCachedBundle(); };
  std::optional<RuntimeBundle> bundle = co_await pool->run(std::move(read));
  if (completion) completion(std::move(bundle));
}

// ---- Public refresh operations -------------------------------------------------------------

void Tarnwell::refreshAllContent(std::function<void()> completion) {
  impl_->runOnMain([impl = impl_.get(), completion = std::move(completion)]() mutable {
    impl->spawnThen(impl->refreshAllContent(), std::move(completion));
  });
}

void Tarnwell::refreshFeatureFlags(bool force, std::function<void()> completion) {
  impl_->runOnMain([impl = impl_.get(), force, completion = std::move(completion)]() mutable {
    impl->spawnThen(impl->refreshFeatureFlags(force), std::move(completion));
  });
}

void Tarnwell::getStoredRuntimeBundle(std::function<void(std::optional<RuntimeBundle>)> completion) {
  impl_->runOnMain([impl = impl_.get(), completion = std::move(completion)]() mutable {
    impl->spawnOnMain(impl->readStoredRuntimeBundle(std::move(completion)));
  });
}

void Tarnwell::refreshSurveys(bool, std::function<void()> completion) {
  impl_->runOnMain([completion = std::move(completion)] {
    if (completion) completion();
  });
}

void Tarnwell::refreshAnnouncements(bool force, std::function<void()> completion) {
  refreshSurveys(force, std::move(completion));
}

void Tarnwell::refreshLiveCards(bool force, std::function<void()> completion) {
  refreshSurveys(force, std::move(completion));
}

}  // namespace tarnwell
