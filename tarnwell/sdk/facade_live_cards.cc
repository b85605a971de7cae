// Live cards in the facade: the manager, built at start-up and replaced by a new one; the
// refresh with its time to live; the questions a host asks for a trigger, and the handle with
// the card's tracking hooks.
#include "tarnwell/sdk/detail/facade_impl.h"

namespace tarnwell {

void Tarnwell::Impl::configureLiveCardManager() {
  detail::LiveCardRepository repository(detail::RuntimeGatewayRepository(client(), transport),
                                        makeRuntimeBundleRepository(), telemetry());
  // The manager's events go through trackEvent like the host's own, state gate and queue included.
  detail::LiveCardReporting reporting{
      .uuids = *uuids, .device = deviceInfo, .trackEvent = [this](std::string name, JSONObject eventProperties) {
        trackEvent(name, eventProperties, "live_card");
      }};
  // A new start-up starts from no cards and no reported impressions.
  liveCardManager =
      std::make_shared<detail::LiveCardManager>(deliveryManagerParts(), std::move(repository), std::move(reporting));
}

asio::awaitable<void> Tarnwell::Impl::refreshLiveCards(bool force) {
  // Held for the whole refresh: a new start-up may replace the manager meanwhile.
  const std::shared_ptr<detail::LiveCardManager> manager = liveCardManager;
  // Without a manager the stamp stays as it is.
  if (!manager) co_return;
  std::int64_t ttlMs = 0;
  {
    std::lock_guard lock(mutex);
    ttlMs = runtimeConfig.cache.liveCardsTtlMs;
  }
  if (!detail::shouldRefresh(refreshStamps.lastLiveCardsRefreshAt, ttlMs, force, clock->now())) co_return;
  co_await manager->refresh();
}

asio::awaitable<bool> Tarnwell::Impl::hasLiveCard(std::string triggerId) {
  const std::shared_ptr<detail::LiveCardManager> manager = liveCardManager;
  if (!manager) co_return false;
  co_return co_await manager->hasLiveCard(std::move(triggerId));
}

asio::awaitable<void> Tarnwell::Impl::reportHasLiveCard(std::string triggerId, std::function<void(bool)> completion) {
  const bool found = co_await hasLiveCard(std::move(triggerId));
  if (completion) completion(found);
}

asio::awaitable<void> Tarnwell::Impl::getLiveCard(std::string triggerId,
                                                  std::function<void(std::optional<LiveCard>)> completion) {
  const std::shared_ptr<detail::LiveCardManager> manager = liveCardManager;
  std::optional<LiveCard> card;
  if (manager) card = co_await manager->eligibleLiveCard(std::move(triggerId));
  if (completion) completion(std::move(card));
}

asio::awaitable<void> Tarnwell::Impl::createLiveCardView(
    std::string triggerId, std::function<void(std::optional<LiveCardHandle>)> completion) {
  const std::shared_ptr<detail::LiveCardManager> manager = liveCardManager;
  std::optional<LiveCard> card;
  if (manager) card = co_await manager->eligibleLiveCard(std::move(triggerId));
  std::optional<LiveCardHandle> handle;
  if (card) handle = makeLiveCardHandle(manager, std::move(*card));
  if (completion) completion(std::move(handle));
}

LiveCardHandle Tarnwell::Impl::makeLiveCardHandle(std::shared_ptr<detail::LiveCardManager> manager, LiveCard card) {
  LiveCardHandle handle;
  handle.card = card;
  // The hooks keep the manager that chose the card, as a view of it would.
  handle.trackImpression = [this, manager, card] { runOnMain([manager, card] { manager->trackImpression(card); }); };
  handle.trackClick = [this, manager, card = std::move(card)](LiveCardAction action, std::function<void()> completion) {
    spawnThen(manager->trackClick(card, std::move(action)), std::move(completion));
  };
  return handle;
}

// ---- Public live-card operations -------------------------------------------------------------

void Tarnwell::hasLiveCard(std::string triggerId, std::function<void(bool)> completion) {
  impl_->spawnOnMain(impl_->reportHasLiveCard(std::move(triggerId), std::move(completion)));
}

void Tarnwell::getLiveCard(std::string triggerId, std::function<void(std::optional<LiveCard>)> completion) {
  impl_->spawnOnMain(impl_->getLiveCard(std::move(triggerId), std::move(completion)));
}

void Tarnwell::createLiveCardView(std::string triggerId,
                                  std::function<void(std::optional<LiveCardHandle>)> completion) {
  impl_->spawnOnMain(impl_->createLiveCardView(std::move(triggerId), std::move(completion)));
}

void Tarnwell::getLiveCards(std::function<void(std::optional<std::vector<LiveCard>>)> completion) {
  impl_->runOnMain([impl = impl_.get(), completion = std::move(completion)] {
    std::optional<std::vector<LiveCard>> cards;
    if (impl->liveCardManager) cards = impl->liveCardManager->cards();
    if (completion) completion(std::move(cards));
  });
}

}  // namespace tarnwell
