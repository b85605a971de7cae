// File: tarnwell/livecards/detail/live_card_repository.h
//
// LiveCardRepository reads the live cards of the application: from the runtime bundle, else
// through "get_live_cards", in the order of the source (neither sorted nor filtered). It reports
// what happened to a card: an impression through the telemetry queue, batched with the tenant's
// other bookkeeping; a click straight through "track_live_card_click".
//
//   LiveCardRepository cards(gateway, runtimeBundle, telemetry);
//   std::vector<LiveCard> all = co_await cards.getLiveCards();
//   cards.trackImpression(impression);               // queued; true
//   bool taken = co_await cards.trackClick(click);   // false: logged, not kept for later
//
// Both tracking payloads carry all 17 keys, null where a field is absent. Holds no state and
// never throws; the telemetry batcher must outlive it. Internal: includes Asio.
#pragma once

#include "tarnwell/content/detail/content_repository.h"
#include "tarnwell/events/detail/runtime_telemetry_batcher.h"
#include "tarnwell/livecards/live_card.h"
#include "tarnwell/livecards/live_card_tracking.h"

namespace tarnwell::detail {

class LiveCardRepository : public ContentRepository {
 public:
  LiveCardRepository(RuntimeGatewayRepository gateway, RuntimeBundleRepository runtimeBundle,
                     RuntimeTelemetryBatcher& telemetryBatcher)
      : ContentRepository(std::move(gateway), std::move(runtimeBundle)), telemetryBatcher_(&telemetryBatcher) {}

  // Empty, with "Failed to fetch live cards" logged, when neither source answers.
  asio::awaitable<std::vector<LiveCard>> getLiveCards() {
    return readList(&RuntimeBundle::liveCards, "get_live_cards", "Failed to fetch live cards");
  }

  // Hands the impression to the telemetry queue as "track_live_card_impression"; delivery and
  // retry are the queue's. Always true: a card counts as seen once its impression is queued.
  bool trackImpression(const LiveCardImpression& impression) {
    telemetryBatcher_->enqueue("track_live_card_impression", impression.toPayload());
    return true;
  }

  // Whether the backend took the click; a failure logs "Failed to track live card click".
  asio::awaitable<bool> trackClick(const LiveCardClick& click) {
    return submit("track_live_card_click", click.toPayload(), "Failed to track live card click");
  }

 private:
  RuntimeTelemetryBatcher* telemetryBatcher_;
};

}  // namespace tarnwell::detail
