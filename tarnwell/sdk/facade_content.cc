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
  auto surveyList = refreshSurveys(false);
  auto announcementList = refreshAnnouncements(false);
  auto liveCardList = refreshLiveCards(true);
  co_await (std::move(flags) && std::move(surveyList) && std::move(announcementList) && std::move(liveCardList));
}

bool Tarnwell::Impl::refreshDue(std::optional<Timestamp>& stamp, std::int64_t ttlMs, bool force) {
  return detail::shouldRefresh(stamp, ttlMs, force, clock->now());
}

RuntimeConfig Tarnwell::Impl::tuning() const {
  std::lock_guard lock(mutex);
  return runtimeConfig;
}

// Each manager is held for its whole refresh: a new start-up may replace it meanwhile.

asio::awaitable<void> Tarnwell::Impl::refreshFeatureFlags(bool force) {
  if (isReady() && refreshDue(refreshStamps.lastFeatureFlagsRefreshAt, tuning().cache.featureFlagsTtlMs, force)) {
    co_await featureFlagManager()->refresh();
  }
}

asio::awaitable<void> Tarnwell::Impl::refreshSurveys(bool force) {
  const auto manager = surveys.get();
  if (manager && refreshDue(refreshStamps.lastSurveysRefreshAt, tuning().cache.surveysTtlMs, force)) {
    co_await manager->refresh();
  }
}

asio::awaitable<void> Tarnwell::Impl::refreshAnnouncements(bool force) {
  const auto manager = announcements.get();
  if (manager && refreshDue(refreshStamps.lastAnnouncementsRefreshAt, tuning().cache.announcementsTtlMs, force)) {
    co_await manager->refresh();
  }
}

asio::awaitable<void> Tarnwell::Impl::refreshLiveCards(bool force) {
  const auto manager = liveCards.get();
  if (manager && refreshDue(refreshStamps.lastLiveCardsRefreshAt, tuning().cache.liveCardsTtlMs, force)) {
    co_await manager->refresh();
  }
}

asio::awaitable<void> Tarnwell::Impl::refreshMessageCenter() {
  const auto manager = messages.get();
  if (manager &&
      refreshDue(refreshStamps.lastMessageCenterRefreshAt, tuning().messageCenter.foregroundRefreshTtlMs, false)) {
    co_await manager->refreshCenter();
  }
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

void Tarnwell::refreshSurveys(bool force, std::function<void()> completion) {
  impl_->spawnThen(impl_->refreshSurveys(force), std::move(completion));
}

void Tarnwell::refreshAnnouncements(bool force, std::function<void()> completion) {
  impl_->spawnThen(impl_->refreshAnnouncements(force), std::move(completion));
}

void Tarnwell::refreshLiveCards(bool force, std::function<void()> completion) {
  impl_->spawnThen(impl_->refreshLiveCards(force), std::move(completion));
}

void Tarnwell::refreshMessageCenter(std::function<void()> completion) {
  impl_->spawnThen(impl_->refreshMessageCenter(), std::move(completion));
}

void Tarnwell::getStoredRuntimeBundle(std::function<void(std::optional<RuntimeBundle>)> completion) {
  impl_->spawnOnMain(impl_->readStoredRuntimeBundle(std::move(completion)));
}

}  // namespace tarnwell
