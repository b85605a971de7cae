// Live cards in the facade: the manager, built at start-up and replaced by a new one; the
// questions a host asks for a trigger, and the handle with the card's tracking hooks.
#include "tarnwell/sdk/detail/facade_impl.h"

namespace tarnwell {

void Tarnwell::Impl::configureLiveCardManager() {
  detail::LiveCardRepository repository(detail::RuntimeGatewayRepository(client(), transport),
                                        makeRuntimeBundleRepository(), telemetry());
  // A new start-up starts from no cards and no reported impressions.
  liveCards.set(std::make_shared<detail::LiveCardManager>(deliveryManagerParts(), std::move(repository)));
}

asio::awaitable<void> Tarnwell::Impl::createLiveCardView(
    std::string triggerId, std::function<void(std::optional<LiveCardHandle>)> completion) {
  const std::shared_ptr<detail::LiveCardManager> manager = liveCards.get();
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
  impl_->spawnOnMain(
      impl_->liveCards.call(&detail::LiveCardManager::hasLiveCard, false, std::move(completion), std::move(triggerId)));
}

void Tarnwell::getLiveCard(std::string triggerId, std::function<void(std::optional<LiveCard>)> completion) {
  impl_->spawnOnMain(impl_->liveCards.call(&detail::LiveCardManager::eligibleLiveCard, std::nullopt,
                                           std::move(completion), std::move(triggerId)));
}

void Tarnwell::createLiveCardView(std::string triggerId,
                                  std::function<void(std::optional<LiveCardHandle>)> completion) {
  impl_->spawnOnMain(impl_->createLiveCardView(std::move(triggerId), std::move(completion)));
}

void Tarnwell::getLiveCards(std::function<void(std::optional<std::vector<LiveCard>>)> completion) {
  impl_->answerOnMain(
      impl_->liveCards, [](detail::LiveCardManager& manager) { return manager.cards(); }, std::move(completion));
}

}  // namespace tarnwell
