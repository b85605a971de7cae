// File: tarnwell/livecards/detail/live_card_manager.h
//
// LiveCardManager holds the live cards of the last refresh, answers which card belongs to a
// trigger for the current user, and reports what happened to a card: its impression once, and
// every click.
//
//   LiveCardManager cards(parts, repository);
//   co_await cards.refresh();
//   std::optional<LiveCard> card = co_await cards.eligibleLiveCard("HOME_TOP");   // meets "home_top"
//   if (card) cards.trackImpression(*card);
//   co_await cards.trackClick(*card, tap);                                       // a LiveCardAction
//
// Choice: the first card in list order that is active ("live" or "published", exactly), whose
// eventTriggerId equals the trigger ignoring case (no trimming), and that passes the check:
// schedule window, then targeting (absent passes), segment (an unknown one never excludes),
// enabled rules, enabled behavioural trigger (no pending occurrence). priority plays no part.
// Each card's targeting and schedule are parsed once, when the list arrives.
//
// Reporting: an impression goes out once per card for the life of the manager (the record
// through the telemetry queue, then a "live_card_impression" event); a click goes out every
// time (the record to the backend, then, if it took it, a "live_card_click" event). Neither is
// refused for a card that is not in the list, nor a click without an impression.
//
// Threads: every member runs on the main context, where the manager lives. Fetching, segment
// lookups and the click's call run on the worker pool; a refresh during a check takes effect at
// the next question. Nothing throws but std::bad_alloc.
#pragma once

#include <asio/any_io_executor.hpp>
#include <asio/awaitable.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tarnwell/livecards/detail/live_card_reporting.h"
#include "tarnwell/livecards/detail/live_card_repository.h"
#include "tarnwell/livecards/live_card_handle.h"
#include "tarnwell/platform/detail/uuid.h"
#include "tarnwell/surveys/detail/delivery_manager.h"

namespace tarnwell::detail {

// A live card as delivery reads it: the record with its targeting and schedule parsed once.
// A text that does not parse reads as absent, as the record's own accessors read it.
struct LiveCardItem {
  explicit LiveCardItem(LiveCard record);

  LiveCard card;
  std::optional<LiveCardTargeting> targeting;
  std::optional<Timestamp> scheduleStart;  // absent when the bound is absent or does not parse
  std::optional<Timestamp> scheduleEnd;
  bool isActive = false;
};

// The cards of one refresh, with the active ones indexed by trigger, so a question reads only
// the cards that name its trigger.
struct LiveCardSet {
  explicit LiveCardSet(std::vector<LiveCard> cards = {});
  // The places in `items` of the active cards whose trigger equals `triggerId` ignoring ASCII
  // case, in source order; null when there are none.
  const std::vector<std::size_t>* cardsFor(std::string_view triggerId) const;

  std::vector<LiveCardItem> items;  // source order
  // Keyed by the trigger in lower case.
  std::unordered_map<std::string, std::vector<std::size_t>> byTrigger;
};

using LiveCardList = std::shared_ptr<const LiveCardSet>;

class LiveCardManager {
 public:
  // Reports through `parts.reporting`: its device, fresh ids and events of the type "live_card".
  LiveCardManager(DeliveryManagerParts parts, LiveCardRepository repository);
  LiveCardManager(const LiveCardManager&) = delete;
  LiveCardManager& operator=(const LiveCardManager&) = delete;

  // Replaces the cards with the repository's list, whatever it is: a failed fetch empties them.
  asio::awaitable<void> refresh();
  // The cards of the last refresh in source order; empty before the first.
  std::vector<LiveCard> cards() const;

  // The first eligible card for the trigger, absent when none is.
  asio::awaitable<std::optional<LiveCard>> eligibleLiveCard(std::string triggerId);
  asio::awaitable<bool> hasLiveCard(std::string triggerId);

  // Reports the card as seen, unless it has no id or was reported by this manager before.
  void trackImpression(const LiveCard& card);
  // Reports a click on the card (none for a card without an id); ends once the backend answered.
  asio::awaitable<void> trackClick(LiveCard card, LiveCardAction action);

 private:
  // The first eligible item of `cards`, which the caller holds; null when none is.
  asio::awaitable<const LiveCardItem*> firstEligible(const LiveCardSet& cards, std::string_view triggerId);
  // The check of one card for the trigger, without the status and trigger match.
  asio::awaitable<bool> passesCheck(const LiveCardItem& item, std::string_view triggerId);
  std::string freshRecordId();
  void report(std::string name, JSONObject properties);

  DeliveryServices services_;
  asio::any_io_executor workers_;
  LiveCardRepository repository_;
  DeliveryReporting reporting_;
  LiveCardList items_;
  // By card id: the impression reported for it, and when. Never cleared while the manager lives.
  std::unordered_map<std::string, std::string> trackedImpressionIds_;
  std::unordered_map<std::string, Timestamp> shownAtByCardId_;
};

}  // namespace tarnwell::detail
