// Survey responses, dismissal and the host's survey callback.
#include "tarnwell/core/detail/text.h"
#include "tarnwell/platform/detail/async.h"
#include "tarnwell/sdk/detail/facade_impl.h"
#include "tarnwell/surveys/detail/response_reporting.h"

namespace tarnwell {

asio::awaitable<void> Tarnwell::Impl::submitSurveyResponse(Survey survey, JSONObject responses, bool completed,
                                                           std::function<void(bool)> completion) {
  bool accepted = false;
  std::optional<SurveyResponse> response;
  if (surveys.manager) response = makeResponse(DeliveredContent::surveys, survey, responses, completed);
  if (response) {
    detail::SurveyRepository repository(detail::RuntimeGatewayRepository(client(), transport),
                                        makeRuntimeBundleRepository());
    accepted = co_await detail::runOn(pool->executor(), submitThrough(std::move(repository), *response));
  }
  // Refused: no event, no callback, no ledger entry; the survey stays so the view can send again.
  if (accepted) {
    reportSurveyOutcome(survey, responses, completed);
    if (survey.id && surveyCallback) surveyCallback->onSurveySubmitted({*survey.id, responses, {}, {}});
    // A cancelled survey that reached the backend counts as completed too.
    if (const auto manager = surveyManager()) manager->completeCurrentSurvey(survey);
  }
  if (completion) completion(accepted);
}

void Tarnwell::Impl::reportSurveyOutcome(const Survey& survey, const JSONObject& responses, bool completed) {
  if (!completed) {
    trackItemEvent(DeliveredContent::surveys, "survey_cancelled", survey, {});
    return;
  }
  // Not linked to the backend's row: the id lives in the events only.
  const std::string responseId = detail::toLowerAscii(uuids->next());
  const auto now = std::chrono::duration_cast<std::chrono::seconds>(clock->now().time_since_epoch()).count();
  trackItemEvent(DeliveredContent::surveys, "survey_submitted", survey,
                 JSONObject{{"response_id", JSONValue(responseId)},
                            {"completion_time", JSONValue(now)},
                            {"responses_count", JSONValue(responses.size())},
                            {"score", JSONValue(detail::responseScore(responses).value_or(0.0))}});
  trackAnsweredEvents(DeliveredContent::surveys, survey, responses);
}

void Tarnwell::Impl::dismissCurrentSurvey() {
  const auto manager = surveyManager();
  const std::optional<Survey> shown = manager ? manager->current().value() : std::nullopt;
  const std::string id = shown ? shown->id.value_or("") : "";
  if (manager) manager->dismissCurrentSurvey();
  if (!id.empty() && surveyCallback) surveyCallback->onSurveyDismissed(id);
}

// ---- Public survey operations ----------------------------------------------------------------

void Tarnwell::showSurvey(std::string eventName, std::shared_ptr<SurveyCallback> callback,
                          std::function<void(bool)> completion) {
  impl_->showKeepingCallback(
      Impl::DeliveredContent::surveys, std::move(eventName),
      [impl = impl_.get(), callback = std::move(callback)]() mutable { impl->surveyCallback = std::move(callback); },
      std::move(completion));
}

void Tarnwell::submitSurveyResponse(Survey survey, JSONObject responses, bool completed,
                                    std::function<void(bool)> completion) {
  impl_->spawnOnMain(
      impl_->submitSurveyResponse(std::move(survey), std::move(responses), completed, std::move(completion)));
}

void Tarnwell::dismissCurrentSurvey() {
  impl_->runOnMain([impl = impl_.get()] { impl->dismissCurrentSurvey(); });
}

void Tarnwell::getSurveyLedgerEntry(std::string surveyId, std::function<void(SurveyLedgerEntry)> completion) {
  impl_->runOnMain([impl = impl_.get(), surveyId = std::move(surveyId), completion = std::move(completion)] {
    // The ledger lives in the store: it reads the same with or without a manager.
    const detail::SurveyDeliveryLedger ledger(*impl->store, *impl->properties);
    if (completion) completion(ledger.entry(surveyId));
  });
}

}  // namespace tarnwell
