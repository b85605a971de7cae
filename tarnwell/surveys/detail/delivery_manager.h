// File: tarnwell/surveys/detail/delivery_manager.h
//
// What the survey and announcement managers share: the list of the last refresh, the current
// item that the overlay presents, the in-process record of presentations, and the one road from
// an event to a presentation. The subclasses say which items are candidates for an event, what
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

#include "tarnwell/platform/main_context.h"
#include "tarnwell/platform/published.h"
#include "tarnwell/surveys/detail/delivery_checks.h"
#include "tarnwell/targeting/detail/segment_repository.h"

namespace tarnwell::detail {

// What the facade hands every delivery manager it builds.
struct DeliveryManagerParts {
  MainContext& main;
  asio::any_io_executor workers;
  SegmentRepository segments;
  PropertyManager& properties;
  const SessionManager& sessions;
  BehavioralEventTracker& tracker;
  const Clock& clock;
};

// The services the checks of a manager built over `parts` read; segment lookups run on the
// worker pool.
DeliveryServices deliveryServices(const DeliveryManagerParts& parts);

class DeliveryManager {
 public:
  // The list of the last refresh, as its repository gives it (never throws; empty on failure).
  using Fetch = std::function<asio::awaitable<std::vector<Survey>>()>;

  DeliveryManager(DeliveryManagerParts parts, Fetch fetch);
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

  asio::any_io_executor workers_;
  Fetch fetch_;
  DeliveryList items_;
  Published<std::optional<Survey>> current_;
  ShownTimestamps shownAt_;
};

}  // namespace tarnwell::detail
