// File: tarnwell/livecards/detail/live_card_repository.h
//
// LiveCardRepository reads the live cards of the application: from the runtime bundle, else
// through "get_live_cards", in the order of the source (neither sorted nor filtered). It holds
// no state and never throws. Internal: includes Asio.
#pragma once

#include <asio/awaitable.hpp>

#include <vector>

#include "tarnwell/backend/detail/runtime_bundle_repository.h"
#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/livecards/live_card.h"

namespace tarnwell {

class LiveCardRepository {
 public:
  LiveCardRepository(RuntimeGatewayRepository gateway, RuntimeBundleRepository runtimeBundle);

  // Empty, with "Failed to fetch live cards" logged, when neither source answers.
  asio::awaitable<std::vector<LiveCard>> getLiveCards();

 private:
  RuntimeGatewayRepository gateway_;
  RuntimeBundleRepository runtimeBundle_;
};

}  // namespace tarnwell
