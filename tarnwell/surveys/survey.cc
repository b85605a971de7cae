#include "tarnwell/surveys/survey.h"

#include "tarnwell/core/detail/record_coding.h"
#include "tarnwell/surveys/detail/survey_fields.h"

namespace tarnwell {

Survey Survey::decode(const JSONValue& value) { return decodeRecord<Survey>(value); }
JSONValue Survey::encode() const { return encodeRecord(*this); }

std::optional<SurveyStructure> Survey::structure() const { return decodeEmbedded<SurveyStructure>(structureJSON); }
std::optional<SurveyTargeting> Survey::targeting() const { return decodeEmbedded<SurveyTargeting>(targetingJSON); }
std::optional<SurveyConfig> Survey::config() const { return decodeEmbedded<SurveyConfig>(configJSON); }
std::optional<SurveyAnalytics> Survey::analytics() const { return decodeEmbedded<SurveyAnalytics>(analyticsJSON); }

SurveyResponse SurveyResponse::decode(const JSONValue& value) { return decodeRecord<SurveyResponse>(value); }
JSONValue SurveyResponse::encode() const { return encodeRecord(*this); }

}  // namespace tarnwell
