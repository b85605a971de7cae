#include "tarnwell/surveys/detail/delivery_manager.h"

#include "tarnwell/platform/detail/async.h"
#include "tarnwell/surveys/detail/response_reporting.h"

namespace tarnwell::detail {
namespace {

asio::awaitable<DeliveryList> fetchItems(DeliveryManager::Fetch fetch) {
  std::vector<Survey> records = co_await fetch();
  co_return makeDeliveryList(std::move(records));
}

asio::awaitable<bool> sendResponse(DeliveryManager::Submit submit, SurveyResponse response) {
  co_return co_await submit(response);
}

asio::awaitable<std::optional<Segment>> lookUpSegment(SegmentRepository segments, std::string id) {
  co_return co_await segments.getSegment(std::move(id));
}

}  // namespace

DeliveryServices deliveryServices(const DeliveryManagerParts& parts) {
  return {.findSegment = [workers = parts.workers, segments = parts.segments](
                             std::string id) { return runOn(workers, lookUpSegment(segments, std::move(id))); },
          .properties = parts.properties,
          .sessions = parts.sessions,
          .tracker = parts.tracker,
          .clock = parts.clock};
}

DeliveryManager::DeliveryManager(DeliveryManagerParts parts, DeliveryWording wording, Fetch fetch, Submit submit)
    : services_(deliveryServices(parts)),
      workers_(parts.workers),
      fetch_(std::move(fetch)),
      submit_(std::move(submit)),
      items_(makeDeliveryList({})),
      current_(parts.main, std::nullopt),
      reporting_(std::move(parts.reporting)),
      wording_(wording) {
  // Like every observer of the current item, this one hears of it on a later turn of the main
  // context, after the presentation's own bookkeeping and the caller's answer.
  currentObserver_ = current_.subscribe([this](const std::optional<Survey>& item) { observeCurrent(item); });
}

asio::awaitable<void> DeliveryManager::refresh() { items_ = co_await runOn(workers_, fetchItems(fetch_)); }

std::vector<Survey> DeliveryManager::list() const {
  std::vector<Survey> records;
  records.reserve(items_->size());
  for (const DeliveryItem& item : *items_) records.push_back(item.survey);
  return records;
}

asio::awaitable<bool> DeliveryManager::canShow(std::string eventName) {
  // The check may suspend on a segment lookup while a refresh replaces the list: hold this one.
  const DeliveryList items = items_;
  for (const DeliveryItem* item : candidates(*items, eventName)) {
    if (co_await check(*item, eventName, true) == DeliveryVerdict::eligible) co_return true;
  }
  co_return false;
}

asio::awaitable<std::optional<Survey>> DeliveryManager::show(std::string eventName) {
  DeliveryList items = items_;
  Candidates chosen = candidates(*items, eventName);
  recordForShow(eventName, chosen);
  const DeliveryItem* shown = co_await presentFirstEligible(std::move(chosen), eventName, true);
  co_return shown ? std::optional<Survey>(shown->survey) : std::nullopt;
}

asio::awaitable<void> DeliveryManager::onEventTriggered(std::string eventName) {
  recordForEvent(eventName);
  DeliveryList items = items_;
  Candidates chosen = candidates(*items, eventName);
  co_await presentFirstEligible(std::move(chosen), eventName, false);
}

asio::awaitable<std::vector<DeliveryExplanation>> DeliveryManager::explain(std::string eventName) {
  const DeliveryList items = items_;
  std::vector<DeliveryExplanation> explanations;
  for (const DeliveryItem* item : candidates(*items, eventName)) {
    // Awaited apart from the aggregate: g++ 12 destroys temporaries of a co_await inside a
    // braced initialiser twice.
    const DeliveryVerdict verdict = co_await check(*item, eventName, true);
    explanations.push_back({item->survey.id, verdict});
  }
  co_return explanations;
}

asio::awaitable<const DeliveryItem*> DeliveryManager::presentFirstEligible(Candidates candidates, std::string eventName,
                                                                           bool useItemTrigger) {
  for (const DeliveryItem* item : candidates) {
    if (co_await check(*item, eventName, false) != DeliveryVerdict::eligible) continue;
    const BehavioralTrigger* trigger =
        item->targeting && item->targeting->behavioralTrigger ? &*item->targeting->behavioralTrigger : nullptr;
    const bool itemNamesItsTrigger = useItemTrigger && trigger != nullptr && trigger->eventName;
    present(*item, itemNamesItsTrigger ? std::string_view(*trigger->eventName) : std::string_view(eventName));
    co_return item;
  }
  co_return nullptr;
}

void DeliveryManager::present(const DeliveryItem& item, std::string_view triggerEvent) {
  current_.set(item.survey);
  if (item.survey.id) shownAt_[*item.survey.id] = services_.clock.now();
  recordPresentation(item);
  markPresentedMilestone(item, triggerEvent, services_.tracker);
}

asio::awaitable<bool> DeliveryManager::submit(SurveyResponse response) {
  co_return co_await runOn(workers_, sendResponse(submit_, std::move(response)));
}

void DeliveryManager::observeCurrent(const std::optional<Survey>& item) {
  presentedAt_ = item ? std::optional<Timestamp>(services_.clock.now()) : std::nullopt;
  if (!item || (reporting_.killSwitches && reporting_.killSwitches().*wording_.impressionSwitch)) return;
  if (const auto analytics = item->analytics()) {
    if (auto name = configuredEventName(analytics->impressionEvent)) trackItemEvent(*name, *item, {});
  }
  trackItemEvent(wording_.impressionEvent, *item, {});
}

void DeliveryManager::trackItemEvent(std::string_view name, const Survey& item, JSONObject properties) {
  if (!reporting_.trackEvent) return;
  reporting_.trackEvent(std::string(name), wording_.eventProperties(item, std::move(properties)),
                        std::string(wording_.eventType));
}

void DeliveryManager::trackAnsweredEvents(const Survey& item, const JSONObject& responses) {
  const auto analytics = item.analytics();
  if (!analytics) return;
  for (const auto& configured : {analytics->submitEvent, analytics->responseEvent}) {
    if (auto name = configuredEventName(configured)) trackItemEvent(*name, item, responses);
  }
}

std::optional<SurveyResponse> DeliveryManager::makeResponse(const Survey& item, const JSONObject& responses,
                                                            bool completed) {
  const std::optional<ApiKeyConfig> tenant = reporting_.tenant ? reporting_.tenant() : std::nullopt;
  if (!tenant) return std::nullopt;
  const DeviceInfo device = reporting_.device ? reporting_.device() : DeviceInfo{};
  return makeSurveyResponse({services_.properties, *tenant, device, presentedAt_, services_.clock.now()}, item,
                            responses, completed);
}

}  // namespace tarnwell::detail
