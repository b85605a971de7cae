// File: tarnwell/surveys/detail/delivery_manager.h
//
// What the survey and announcement managers share: the list of the last refresh, the current
// item that the overlay presents, the in-process record of presentations, the one road from
// an event to a presentation, and the events that report what became of an item (its
// impression, its answers). The subclasses say which items are candidates for an event, what
// the check asks beyond the shared steps, and what an event or a show records.
//
//   SurveyManager surveys(parts, repository, store);
//   co_await surveys.refresh();
//   co_await surveys.onEventTriggered("checkout_completed");   // may make a survey current
//   surveys.current().value();                                  // the survey now on screen
//
// Threads: every member but current() runs on the main context, where the managers live;
// current() is a Published value and may be read from anywhere. Fetching and segment lookups
// run on the worker pool. Neither show nor an event looks at the current item: an item that
// passes replaces the one on screen. Nothing throws but std::bad_alloc.
#pragma once

#include <asio/any_io_executor.hpp>
#include <asio/awaitable.hpp>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tarnwell/backend/runtime_config.h"
#include "tarnwell/platform/device_info.h"
#include "tarnwell/platform/main_context.h"
#include "tarnwell/platform/published.h"
#include "tarnwell/surveys/detail/delivery_checks.h"
#include "tarnwell/targeting/detail/segment_repository.h"

namespace tarnwell::detail {

// How a manager reports what became of its items. A part left empty reports nothing.
struct DeliveryReporting {
  // Sends an event (the facade's trackEvent, with its state gate and queue).
  std::function<void(std::string name, JSONObject properties, std::string eventType)> trackEvent;
  // The backend's kill switches as they stand now.
  std::function<RuntimeConfig::KillSwitchConfig()> killSwitches;
  // The tenant of the last start-up; absent before one succeeded, and then nothing is answered.
  std::function<std::optional<ApiKeyConfig>()> tenant;
  DeviceInfoProvider device;
  // A fresh UUID text: for a response the events name, or a live card record.
  std::function<std::string()> newId;
};

// What the facade hands every delivery manager it builds.
struct DeliveryManagerParts {
  MainContext& main;
  asio::any_io_executor workers;
  SegmentRepository segments;
  PropertyManager& properties;
  const SessionManager& sessions;
  BehavioralEventTracker& tracker;
  const Clock& clock;
  DeliveryReporting reporting = {};
};

// What tells the reports of one kind of item apart.
struct DeliveryWording {
  std::string_view eventType;        // "survey", "announcement"
  std::string_view impressionEvent;  // "survey_impression", ...
  bool RuntimeConfig::KillSwitchConfig::*impressionSwitch;
  // The item's ids and names added to an event's properties.
  JSONObject (*eventProperties)(const Survey& item, JSONObject properties);
};

// The services the checks of a manager built over `parts` read; segment lookups run on the
// worker pool.
DeliveryServices deliveryServices(const DeliveryManagerParts& parts);

class DeliveryManager {
 public:
  // The list of the last refresh, as its repository gives it (never throws; empty on failure).
  using Fetch = std::function<asio::awaitable<std::vector<Survey>>()>;
  // Whether the backend took a response (never throws).
  using Submit = std::function<asio::awaitable<bool>(const SurveyResponse&)>;

  DeliveryManager(DeliveryManagerParts parts, DeliveryWording wording, Fetch fetch, Submit submit);
  virtual ~DeliveryManager() = default;
  DeliveryManager(const DeliveryManager&) = delete;
  DeliveryManager& operator=(const DeliveryManager&) = delete;

  // Fetches the list on the worker pool (readings parsed there) and puts it in place of the last.
  asio::awaitable<void> refresh();
  std::vector<Survey> list() const;
  Published<std::optional<Survey>>& current() noexcept { return current_; }

  // Whether an item would be shown for the event now, counting the event as if recorded.
  // Records nothing.
  asio::awaitable<bool> canShow(std::string eventName);
  // Records what a show records, and presents the first eligible candidate; that one, if any.
  asio::awaitable<std::optional<Survey>> show(std::string eventName);
  // A tracked event: records what an event records and presents the first eligible candidate.
  asio::awaitable<void> onEventTriggered(std::string eventName);
  // Every candidate in decision order with the step that decided it, checked as canShow checks.
  asio::awaitable<std::vector<DeliveryExplanation>> explain(std::string eventName);

 protected:
  using Candidates = std::vector<const DeliveryItem*>;

  // The items an event may show, in decision order.
  virtual Candidates candidates(const std::vector<DeliveryItem>& items, std::string_view eventName) const = 0;
  // The whole eligibility check of one candidate.
  virtual asio::awaitable<DeliveryVerdict> check(const DeliveryItem& item, std::string_view eventName,
                                                 bool preview) = 0;
  // What a show records, after the candidates were taken and before they are checked.
  virtual void recordForShow(std::string_view eventName, const Candidates& candidates) = 0;
  // What a tracked event records before its candidates are taken.
  virtual void recordForEvent(std::string_view eventName) = 0;
  // The subclass's own bookkeeping of a presentation, after the in-process stamp and before the
  // trigger's milestone.
  virtual void recordPresentation(const DeliveryItem&) {}

  // Sends a response on the worker pool.
  asio::awaitable<bool> submit(SurveyResponse response);
  // An event about `item` with its ids and names added.
  void trackItemEvent(std::string_view name, const Survey& item, JSONObject properties);
  // The dashboard's own submit and response events of an accepted answer, with the answers.
  void trackAnsweredEvents(const Survey& item, const JSONObject& responses);
  // The response record of the answers, with the seconds the current item has been on screen;
  // absent before a start-up succeeded.
  std::optional<SurveyResponse> makeResponse(const Survey& item, const JSONObject& responses, bool completed);
  // When the current item went on screen, as its observer heard: a dismissal clears it a turn later.
  std::optional<Timestamp> presentedAt() const noexcept { return presentedAt_; }
  std::string newResponseId() { return reporting_.newId ? reporting_.newId() : std::string(); }

  // The shared steps of the check (see checkSharedSteps).
  asio::awaitable<std::optional<DeliveryVerdict>> checkShared(const DeliveryItem& item, std::string_view eventName,
                                                              bool preview, GuardExcuse excuse) {
    return checkSharedSteps(item, eventName, preview, shownAt_, excuse, services_);
  }

  DeliveryServices services_;

 private:
  // The first eligible candidate, presented with `triggerEvent` (or the item's own trigger
  // event when `useItemTrigger`); absent when none passes. The caller holds the candidates' list.
  asio::awaitable<const DeliveryItem*> presentFirstEligible(Candidates candidates, std::string eventName,
                                                            bool useItemTrigger);
  void present(const DeliveryItem& item, std::string_view triggerEvent);
  // Each value of the current item, a turn after it was set: the time it went on screen, and
  // its impression events unless the backend's kill switch silences them.
  void observeCurrent(const std::optional<Survey>& item);

  asio::any_io_executor workers_;
  Fetch fetch_;
  Submit submit_;
  DeliveryList items_;
  Published<std::optional<Survey>> current_;
  std::optional<Timestamp> presentedAt_;  // when the current item went on screen
  ShownTimestamps shownAt_;
  DeliveryReporting reporting_;
  DeliveryWording wording_;
  Subscription currentObserver_;  // after current_: it goes first
};

}  // namespace tarnwell::detail
