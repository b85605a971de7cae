// File: tarnwell/surveys/detail/survey_manager.h
//
// SurveyManager decides whether a survey may be shown for an event and makes one survey the
// current one that the overlay presents. Beyond the steps it shares with announcements it asks
// the trigger count rule, the delivery ledger's frequency limits and the sampling bucket.
//
//   SurveyManager surveys(parts, repository, store);
//   co_await surveys.refresh();
//   std::optional<Survey> shown = co_await surveys.show("Checkout Done");   // meets "checkout_done"
//   surveys.completeCurrentSurvey(*shown);                                 // ledger: completed + 1
//
// Candidates are the published surveys whose eventTriggerId, behavioural trigger event or
// trigger count rule event (in that order) equals the normalised event name, sorted stably by
// priority, highest first. A show records the event once more in the tracker, on top of the
// recording every tracked event gets: the doubling is intended. Threads and failures as
// DeliveryManager.
#pragma once

#include "tarnwell/platform/key_value_store.h"
#include "tarnwell/surveys/detail/delivery_manager.h"
#include "tarnwell/surveys/detail/survey_delivery_ledger.h"
#include "tarnwell/surveys/detail/survey_repository.h"

namespace tarnwell::detail {

class SurveyManager final : public DeliveryManager {
 public:
  SurveyManager(DeliveryManagerParts parts, SurveyRepository repository, KeyValueStore& deliveryDefaults);

  // A dismissal without a response: the current survey's "dismissed" goes up; none is current after.
  void dismissCurrentSurvey();
  // An accepted response: the survey's "completed" goes up, and it stops being current if it
  // still is (same id, or both without one); a survey that replaced it stays.
  void completeCurrentSurvey(const Survey& survey);

 protected:
  Candidates candidates(const std::vector<DeliveryItem>& items, std::string_view eventName) const override;
  asio::awaitable<DeliveryVerdict> check(const DeliveryItem& item, std::string_view eventName, bool preview) override;
  void recordForShow(std::string_view eventName, const Candidates&) override { recordEvent(eventName); }
  void recordForEvent(std::string_view eventName) override { recordEvent(eventName); }
  void recordPresentation(const DeliveryItem& item) override;

 private:
  void recordEvent(std::string_view eventName);
  DeliveryVerdict surveyOnlySteps(const DeliveryItem& item, std::string_view eventName) const;

  SurveyDeliveryLedger ledger_;
};

}  // namespace tarnwell::detail
