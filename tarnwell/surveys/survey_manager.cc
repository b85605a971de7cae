#include "tarnwell/surveys/detail/survey_manager.h"

#include <algorithm>
#include <limits>

#include "tarnwell/core/detail/text.h"
#include "tarnwell/surveys/detail/response_reporting.h"

namespace tarnwell::detail {
namespace {

// The trigger count rule: the count of the rule's event, without the pending occurrence
// (unlike the behavioural trigger), against its target.
bool triggerCountRuleHolds(const SurveyTriggerCountRule& rule, std::string_view eventName,
                           const BehavioralEventTracker& tracker) {
  const std::string ruleEvent = normalizeEventName(rule.eventName.value_or(""));
  if (ruleEvent.empty() || ruleEvent != normalizeEventName(eventName)) return false;
  if (!rule.count || *rule.count < 1) return false;
  const std::int64_t target = *rule.count;
  const std::int64_t count = tracker.getEventCount(ruleEvent);
  const std::string op = toLowerAscii(rule.op.value_or(""));
  if (op == "equals") return count == target;
  if (op == "every_nth") return count >= 1 && count % target == 0;
  if (op == "greater_than") return count > target;
  return count >= target;
}

bool frequencyAllows(const std::optional<SurveyFrequency>& frequency, const SurveyLedgerEntry& ledger, Timestamp now) {
  std::int64_t cooldownMinutes = 0;
  if (frequency) {
    if (frequency->showOncePerUser.value_or(false) && ledger.completed > 0) return false;
    if (frequency->reshowAfterDismiss == false && ledger.completed == 0 && ledger.dismissed > 0) return false;
    if (frequency->maxImpressions && *frequency->maxImpressions >= 1 &&
        ledger.impressions >= *frequency->maxImpressions) {
      return false;
    }
    cooldownMinutes = std::max<std::int64_t>(frequency->cooldownMinutes.value_or(0), 0);
  }
  // Remote data must not overflow the multiplication: a cooldown past the range lasts for ever.
  constexpr std::int64_t kMaxMinutes = std::numeric_limits<std::int64_t>::max() / 60;
  const double cooldownSeconds = static_cast<double>(std::min(cooldownMinutes, kMaxMinutes) * 60);
  if (cooldownSeconds == 0 || ledger.lastShown <= 0) return true;
  return toEpochSeconds(now) - ledger.lastShown >= cooldownSeconds;
}

}  // namespace

SurveyManager::SurveyManager(DeliveryManagerParts parts, SurveyRepository repository, KeyValueStore& deliveryDefaults)
    : DeliveryManager(
          parts,
          {"survey", "survey_impression", &RuntimeConfig::KillSwitchConfig::disableSurveyImpressions,
           &surveyEventProperties},
          [repository]() mutable { return repository.getSurveys(); },
          [repository](const SurveyResponse& response) mutable { return repository.submitResponse(response); }),
      ledger_(deliveryDefaults, parts.properties) {}

DeliveryManager::Candidates SurveyManager::candidates(const std::vector<DeliveryItem>& items,
                                                      std::string_view eventName) const {
  Candidates chosen;
  const std::string name = normalizeEventName(eventName);
  if (name.empty()) return chosen;
  for (const DeliveryItem& item : items) {
    if (!item.isPublished) continue;
    if (std::any_of(item.triggerNames.begin(), item.triggerNames.end(),
                    [&](const std::optional<std::string>& trigger) { return trigger == name; })) {
      chosen.push_back(&item);
    }
  }
  std::stable_sort(chosen.begin(), chosen.end(),
                   [](const DeliveryItem* a, const DeliveryItem* b) { return a->priority() > b->priority(); });
  return chosen;
}

asio::awaitable<DeliveryVerdict> SurveyManager::check(const DeliveryItem& item, std::string_view eventName,
                                                      bool preview) {
  if (auto verdict = co_await checkShared(item, eventName, preview, GuardExcuse::triggerOrFrequency)) {
    co_return *verdict;
  }
  co_return surveyOnlySteps(item, eventName);
}

DeliveryVerdict SurveyManager::surveyOnlySteps(const DeliveryItem& item, std::string_view eventName) const {
  const SurveyTargeting& targeting = *item.targeting;
  if (targeting.triggerCountRule && targeting.triggerCountRule->enabled &&
      !triggerCountRuleHolds(*targeting.triggerCountRule, eventName, services_.tracker)) {
    return DeliveryVerdict::triggerCount;
  }
  const std::optional<std::string>& id = item.survey.id;
  if (id && !frequencyAllows(targeting.frequency, ledger_.entry(*id), services_.clock.now())) {
    return DeliveryVerdict::frequency;
  }
  if (!id || !targeting.samplingPercentage) return DeliveryVerdict::eligible;
  // A percentage of 0 still admits one bucket out of a hundred.
  const std::int64_t percentage = std::max<std::int64_t>(*targeting.samplingPercentage, 1);
  if (percentage >= 100) return DeliveryVerdict::eligible;
  const std::uint32_t bucket = fnv1a32(*id + "::" + services_.properties.getDeliveryUserKey()) % 100;
  return bucket < percentage ? DeliveryVerdict::eligible : DeliveryVerdict::sampling;
}

void SurveyManager::recordEvent(std::string_view eventName) {
  services_.tracker.recordEvent(eventName, services_.clock.now());
}

void SurveyManager::recordPresentation(const DeliveryItem& item) {
  if (item.survey.id) ledger_.recordPresentation(*item.survey.id, services_.clock.now());
}

asio::awaitable<bool> SurveyManager::submitResponse(Survey survey, JSONObject responses, bool completed) {
  const std::optional<SurveyResponse> response = makeResponse(survey, responses, completed);
  if (!response) co_return false;
  const bool accepted = co_await submit(*response);
  if (!accepted) co_return false;
  reportOutcome(survey, responses, completed);
  if (survey.id && callback_) callback_->onSurveySubmitted({*survey.id, responses, {}, {}});
  // A cancelled survey that reached the backend counts as completed too.
  completeCurrentSurvey(survey);
  co_return true;
}

void SurveyManager::reportOutcome(const Survey& survey, const JSONObject& responses, bool completed) {
  if (!completed) {
    trackItemEvent("survey_cancelled", survey, {});
    return;
  }
  // Not linked to the backend's row: the id lives in the events only.
  const std::string responseId = toLowerAscii(newResponseId());
  const auto now = std::chrono::duration_cast<std::chrono::seconds>(services_.clock.now().time_since_epoch()).count();
  trackItemEvent("survey_submitted", survey,
                 JSONObject{{"response_id", JSONValue(responseId)},
                            {"completion_time", JSONValue(now)},
                            {"responses_count", JSONValue(responses.size())},
                            {"score", JSONValue(responseScore(responses).value_or(0.0))}});
  trackAnsweredEvents(survey, responses);
}

void SurveyManager::dismissCurrentSurvey() {
  const std::optional<Survey> shown = current().value();
  if (shown && shown->id) ledger_.recordDismissal(*shown->id);
  current().set(std::nullopt);
  if (shown && shown->id && !shown->id->empty() && callback_) callback_->onSurveyDismissed(*shown->id);
}

void SurveyManager::completeCurrentSurvey(const Survey& survey) {
  if (survey.id) ledger_.recordCompletion(*survey.id);
  if (const std::optional<Survey> shown = current().value(); shown && shown->id == survey.id)
    current().set(std::nullopt);
}

}  // namespace tarnwell::detail
