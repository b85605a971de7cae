// Content refresh: when each kind of content is asked for, gated by its time to live.
#include <asio/co_spawn.hpp>
#include <asio/experimental/awaitable_operators.hpp>

#include "tarnwell/sdk/detail/facade_impl.h"

namespace tarnwell {

asio::awaitable<void> Tarnwell::Impl::refreshAllContent() {
  // Four tasks in parallel on the main context, sharing nothing but the stored bundle. Live
  // cards alone are forced: every call refetches them whatever their stamp says.
  using namespace asio::experimental::awaitable_operators;
  auto flags = refreshFeatureFlags(false);
  auto surveys = refreshDeliveredContent(DeliveredContent::surveys, false);
  auto announcements = refreshDeliveredContent(DeliveredContent::announcements, false);
  auto liveCards = refreshLiveCards(true);
  co_await (std::move(flags) && std::move(surveys) && std::move(announcements) && std::move(liveCards));
}

asio::awaitable<void> Tarnwell::Impl::refreshFeatureFlags(bool force) {
  if (!isReady()) co_return;
  std::int64_t ttlMs = 0;
  {
    std::lock_guard lock(mutex);
    ttlMs = runtimeConfig.cache.featureFlagsTtlMs;
  }
  if (!detail::shouldRefresh(refreshStamps.lastFeatureFlagsRefreshAt, ttlMs, force, clock->now())) co_return;
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
  impl_->spawnThen(impl_->refreshAllContent(), std::move(completion));
}

void Tarnwell::refreshFeatureFlags(bool force, std::function<void()> completion) {
  impl_->spawnThen(impl_->refreshFeatureFlags(force), std::move(completion));
}

void Tarnwell::getStoredRuntimeBundle(std::function<void(std::optional<RuntimeBundle>)> completion) {
  impl_->spawnOnMain(impl_->readStoredRuntimeBundle(std::move(completion)));
}

void Tarnwell::Impl::refreshDeliveredContentThen(DeliveredContent kind, bool force, std::function<void()> completion) {
  spawnThen(refreshDeliveredContent(kind, force), std::move(completion));
}

void Tarnwell::refreshSurveys(bool force, std::function<void()> completion) {
  impl_->refreshDeliveredContentThen(Impl::DeliveredContent::surveys, force, std::move(completion));
}

void Tarnwell::refreshAnnouncements(bool force, std::function<void()> completion) {
  impl_->refreshDeliveredContentThen(Impl::DeliveredContent::announcements, force, std::move(completion));
}

void Tarnwell::refreshLiveCards(bool force, std::function<void()> completion) {
  impl_->spawnThen(impl_->refreshLiveCards(force), std::move(completion));
}

}  // namespace tarnwell
