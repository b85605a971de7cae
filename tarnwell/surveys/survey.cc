#include "tarnwell/surveys/survey.h"

#include "tarnwell/core/detail/record_coding.h"
#include "tarnwell/surveys/detail/survey_fields.h"

namespace tarnwell {

Survey Survey::decode(const JSONValue& value) { return detail::decodeRecord<Survey>(value); }
JSONValue Survey::encode() const { return detail::encodeRecord(*this); }

std::optional<SurveyStructure> Survey::structure() const {
  return detail::decodeEmbedded<SurveyStructure>(structureJSON);
}
std::optional<SurveyTargeting> Survey::targeting() const {
  return detail::decodeEmbedded<SurveyTargeting>(targetingJSON);
}
std::optional<SurveyConfig> Survey::config() const { return detail::decodeEmbedded<SurveyConfig>(configJSON); }
std::optional<SurveyAnalytics> Survey::analytics() const {
  return detail::decodeEmbedded<SurveyAnalytics>(analyticsJSON);
}

SurveyResponse SurveyResponse::decode(const JSONValue& value) { return detail::decodeRecord<SurveyResponse>(value); }
JSONValue SurveyResponse::encode() const { return detail::encodeRecord(*this); }

}  // namespace tarnwell
