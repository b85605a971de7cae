// File: tarnwell/livecards/detail/live_card_repository.h
//
// LiveCardRepository reads the live cards of the application: from the runtime bundle, else
// through "get_live_cards", in the order of the source (neither sorted nor filtered). It holds
// no state and never throws. Internal: includes Asio.
#pragma once

#include "tarnwell/content/detail/content_repository.h"
#include "tarnwell/livecards/live_card.h"

namespace tarnwell::detail {

class LiveCardRepository : public ContentRepository {
 public:
  using ContentRepository::ContentRepository;

  // Empty, with "Failed to fetch live cards" logged, when neither source answers.
  asio::awaitable<std::vector<LiveCard>> getLiveCards() {
    return readList(&RuntimeBundle::liveCards, "get_live_cards", "Failed to fetch live cards");
  }
};

}  // namespace tarnwell::detail
