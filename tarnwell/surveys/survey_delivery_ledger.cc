#include "tarnwell/surveys/detail/survey_delivery_ledger.h"

#include <cmath>
#include <limits>
#include <variant>

namespace tarnwell::detail {
namespace {

double readNumber(const std::optional<StoreValue>& value) {
  if (!value) return 0;
  if (const auto* integer = std::get_if<std::int64_t>(&*value)) return static_cast<double>(*integer);
  if (const auto* real = std::get_if<double>(&*value)) return std::isfinite(*real) ? *real : 0;
  return 0;
}

}  // namespace

std::string SurveyDeliveryLedger::key(std::string_view surveyId, std::string_view metric) const {
  std::string text = "tarnwell_survey_delivery::";
  text += properties_.getDeliveryUserKey();
  text += "::";
  text += surveyId;
  text += "::";
  text += metric;
  return text;
}

std::int64_t SurveyDeliveryLedger::count(std::string_view surveyId, std::string_view metric) const {
  const std::optional<StoreValue> value = defaults_.get(key(surveyId, metric));
  if (value && std::holds_alternative<std::int64_t>(*value)) return std::get<std::int64_t>(*value);
  const double number = readNumber(value);
  constexpr double kLimit = static_cast<double>(std::numeric_limits<std::int64_t>::max());
  if (number >= kLimit) return std::numeric_limits<std::int64_t>::max();
  if (number <= -kLimit) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(number);
}

void SurveyDeliveryLedger::increment(std::string_view surveyId, std::string_view metric) {
  const std::int64_t current = count(surveyId, metric);
  defaults_.set(key(surveyId, metric), current < std::numeric_limits<std::int64_t>::max() ? current + 1 : current);
}

SurveyLedgerEntry SurveyDeliveryLedger::entry(std::string_view surveyId) const {
  return {count(surveyId, "impressions"), readNumber(defaults_.get(key(surveyId, "last_shown"))),
          count(surveyId, "dismissed"), count(surveyId, "completed")};
}

void SurveyDeliveryLedger::recordPresentation(std::string_view surveyId, Timestamp now) {
  increment(surveyId, "impressions");
  defaults_.set(key(surveyId, "last_shown"), toEpochSeconds(now));
}

void SurveyDeliveryLedger::recordDismissal(std::string_view surveyId) { increment(surveyId, "dismissed"); }

void SurveyDeliveryLedger::recordCompletion(std::string_view surveyId) { increment(surveyId, "completed"); }

}  // namespace tarnwell::detail
