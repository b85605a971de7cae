// File: tarnwell/surveys/detail/survey_manager.h
//
// SurveyManager decides whether a survey may be shown for an event and makes one survey the
// current one that the overlay presents. Beyond the steps it shares with announcements it asks
// the trigger count rule, the delivery ledger's frequency limits and the sampling bucket.
//
//   SurveyManager surveys(parts, repository, store);
//   co_await surveys.refresh();
//   std::optional<Survey> shown = co_await surveys.show("Checkout Done");   // meets "checkout_done"
//   co_await surveys.submitResponse(*shown, {{"nps_score", 9}}, true);     // ledger: completed + 1
//
// Candidates are the published surveys whose eventTriggerId, behavioural trigger event or
// trigger count rule event (in that order) equals the normalised event name, sorted stably by
// priority, highest first. A show records the event once more in the tracker, on top of the
// recording every tracked event gets: the doubling is intended. Threads and failures as
// DeliveryManager; the host's callback runs on the main context.
#pragma once

#include <memory>

#include "tarnwell/platform/key_value_store.h"
#include "tarnwell/surveys/detail/delivery_manager.h"
#include "tarnwell/surveys/detail/survey_delivery_ledger.h"
#include "tarnwell/surveys/detail/survey_repository.h"
#include "tarnwell/surveys/survey_callback.h"

namespace tarnwell::detail {

class SurveyManager final : public DeliveryManager {
 public:
  SurveyManager(DeliveryManagerParts parts, SurveyRepository repository, KeyValueStore& deliveryDefaults);

  // The host's callback for every later outcome, until another replaces it.
  void setCallback(std::shared_ptr<SurveyCallback> callback) { callback_ = std::move(callback); }
  // The host's callback outlives the manager that took it: a new start-up's manager carries it
  // over, and only teardown lets go of it.
  void carryOverHostState(const SurveyManager& previous) { callback_ = previous.callback_; }

  // Sends the answers; whether the backend took them. Taken: the "survey_submitted" (or, not
  // completed, "survey_cancelled") event and the dashboard's own events, the host's
  // onSurveySubmitted, then the completion below. Refused: nothing, and the survey stays so the
  // view can send again. Absent before a start-up succeeded.
  asio::awaitable<bool> submitResponse(Survey survey, JSONObject responses, bool completed);
  // A dismissal without a response: the current survey's "dismissed" goes up and the host hears
  // of it; none is current after.
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
  void reportOutcome(const Survey& survey, const JSONObject& responses, bool completed);
  DeliveryVerdict surveyOnlySteps(const DeliveryItem& item, std::string_view eventName) const;

  SurveyDeliveryLedger ledger_;
  std::shared_ptr<SurveyCallback> callback_;
};

}  // namespace tarnwell::detail
