#include "tarnwell/livecards/detail/live_card_repository.h"

#include "tarnwell/backend/detail/content_list_reader.h"

namespace tarnwell {

LiveCardRepository::LiveCardRepository(RuntimeGatewayRepository gateway, RuntimeBundleRepository runtimeBundle)
    : gateway_(std::move(gateway)), runtimeBundle_(std::move(runtimeBundle)) {}

asio::awaitable<std::vector<LiveCard>> LiveCardRepository::getLiveCards() {
  return readContentList(runtimeBundle_, gateway_, &RuntimeBundle::liveCards, "get_live_cards",
                         "Failed to fetch live cards");
}

}  // namespace tarnwell
