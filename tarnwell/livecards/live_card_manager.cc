#include "tarnwell/livecards/detail/live_card_manager.h"

#include "tarnwell/core/detail/text.h"
#include "tarnwell/core/iso8601.h"
#include "tarnwell/platform/detail/async.h"
#include "tarnwell/targeting/detail/rule_evaluation.h"

namespace tarnwell::detail {
namespace {

// Parsing a few hundred targeting documents stays off the main context, with the fetch.
asio::awaitable<LiveCardList> fetchLiveCardItems(LiveCardRepository repository) {
  std::vector<LiveCard> cards = co_await repository.getLiveCards();
  co_return std::make_shared<const LiveCardSet>(std::move(cards));
}

asio::awaitable<bool> sendLiveCardClick(LiveCardRepository repository, LiveCardClick click) {
  co_return co_await repository.trackClick(click);
}

bool hasCardId(const LiveCard& card) { return card.id && !card.id->empty(); }

}  // namespace

LiveCardItem::LiveCardItem(LiveCard record)
    : card(std::move(record)),
      targeting(card.targeting()),
      scheduleStart(parseISO8601Date(card.scheduleStart)),
      scheduleEnd(parseISO8601Date(card.scheduleEnd)),
      isActive(card.isActive()) {}

LiveCardSet::LiveCardSet(std::vector<LiveCard> cards) {
  items.reserve(cards.size());
  for (LiveCard& card : cards) {
    const LiveCardItem& item = items.emplace_back(std::move(card));
    if (item.isActive && item.card.eventTriggerId) {
      byTrigger[toLowerAscii(*item.card.eventTriggerId)].push_back(items.size() - 1);
    }
  }
}

const std::vector<std::size_t>* LiveCardSet::cardsFor(std::string_view triggerId) const {
  const auto found = byTrigger.find(toLowerAscii(triggerId));
  return found == byTrigger.end() ? nullptr : &found->second;
}

LiveCardManager::LiveCardManager(DeliveryManagerParts parts, LiveCardRepository repository)
    : services_(deliveryServices(parts)),
      workers_(parts.workers),
      repository_(std::move(repository)),
      reporting_(std::move(parts.reporting)),
      items_(std::make_shared<const LiveCardSet>()) {}

asio::awaitable<void> LiveCardManager::refresh() { items_ = co_await runOn(workers_, fetchLiveCardItems(repository_)); }

std::vector<LiveCard> LiveCardManager::cards() const {
  std::vector<LiveCard> cards;
  cards.reserve(items_->items.size());
  for (const LiveCardItem& item : items_->items) cards.push_back(item.card);
  return cards;
}

asio::awaitable<std::optional<LiveCard>> LiveCardManager::eligibleLiveCard(std::string triggerId) {
  // The walk may suspend on a segment lookup while a refresh replaces the list: hold this one.
  const LiveCardList items = items_;
  const LiveCardItem* chosen = co_await firstEligible(*items, triggerId);
  co_return chosen ? std::optional<LiveCard>(chosen->card) : std::nullopt;
}

asio::awaitable<bool> LiveCardManager::hasLiveCard(std::string triggerId) {
  const LiveCardList items = items_;
  co_return co_await firstEligible(*items, triggerId) != nullptr;
}

asio::awaitable<const LiveCardItem*> LiveCardManager::firstEligible(const LiveCardSet& cards,
                                                                    std::string_view triggerId) {
  const std::vector<std::size_t>* places = cards.cardsFor(triggerId);
  if (places == nullptr) co_return nullptr;
  for (const std::size_t place : *places) {
    const LiveCardItem& item = cards.items[place];
    if (co_await passesCheck(item, triggerId)) co_return &item;
  }
  co_return nullptr;
}

asio::awaitable<bool> LiveCardManager::passesCheck(const LiveCardItem& item, std::string_view triggerId) {
  const Timestamp now = services_.clock.now();
  if ((item.scheduleStart && now < *item.scheduleStart) || (item.scheduleEnd && now > *item.scheduleEnd)) {
    co_return false;
  }
  if (!item.targeting) co_return true;
  const LiveCardTargeting& targeting = *item.targeting;
  // Asked even for an empty id; a segment the backend does not know (or cannot give) restricts nothing.
  if (targeting.segmentId) {
    if (std::optional<Segment> segment = co_await services_.findSegment(*targeting.segmentId)) {
      if (!isInSegment(*segment, services_.properties, services_.sessions)) co_return false;
    }
  }
  // An empty rule list passes under any match type; rules that are all disabled pass only "all".
  if (!targeting.rules.empty() &&
      !enabledRulesHold(targeting.rules, targeting.matchType, services_.properties, services_.sessions)) {
    co_return false;
  }
  if (targeting.behavioralTrigger && targeting.behavioralTrigger->enabled) {
    // The card is asked for, not an event tracked: no pending occurrence counts.
    const auto match =
        evaluateBehavioralTrigger(*targeting.behavioralTrigger, std::string(triggerId), services_.tracker, false);
    if (!match) co_return false;
  }
  co_return true;
}

std::string LiveCardManager::freshRecordId() { return reporting_.newId ? toLowerAscii(reporting_.newId()) : ""; }

void LiveCardManager::report(std::string name, JSONObject properties) {
  if (reporting_.trackEvent) reporting_.trackEvent(std::move(name), std::move(properties), "live_card");
}

void LiveCardManager::trackImpression(const LiveCard& card) {
  if (!hasCardId(card) || trackedImpressionIds_.contains(*card.id)) return;
  const DeviceInfo device = reporting_.device ? reporting_.device() : DeviceInfo{};
  const Timestamp now = services_.clock.now();
  LiveCardImpression impression = makeLiveCardImpression(
      {services_.properties, services_.sessions.getCurrentSessionId(), device, now}, freshRecordId(), card);
  std::string impressionId = *impression.id;
  if (!repository_.trackImpression(impression)) return;
  trackedImpressionIds_.emplace(*card.id, std::move(impressionId));
  shownAtByCardId_.insert_or_assign(*card.id, now);
  report("live_card_impression", liveCardEventProperties(card, {}));
}

asio::awaitable<void> LiveCardManager::trackClick(LiveCard card, LiveCardAction action) {
  if (!hasCardId(card)) co_return;
  std::optional<std::string> impressionId;
  if (const auto found = trackedImpressionIds_.find(*card.id); found != trackedImpressionIds_.end()) {
    impressionId = found->second;
  }
  std::optional<Timestamp> shownAt;
  if (const auto found = shownAtByCardId_.find(*card.id); found != shownAtByCardId_.end()) shownAt = found->second;
  const DeviceInfo device = reporting_.device ? reporting_.device() : DeviceInfo{};
  LiveCardClick click =
      makeLiveCardClick({services_.properties, services_.sessions.getCurrentSessionId(), device, services_.clock.now()},
                        freshRecordId(), card, action, std::move(impressionId), shownAt);
  asio::awaitable<bool> sending = sendLiveCardClick(repository_, std::move(click));
  const bool accepted = co_await runOn(workers_, std::move(sending));
  // A refused click leaves no event and is not tried again.
  if (accepted) report("live_card_click", liveCardEventProperties(card, liveCardClickExtras(card, action)));
}

}  // namespace tarnwell::detail
