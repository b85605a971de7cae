#include "tarnwell/surveys/survey_config.h"

#include "tarnwell/surveys/detail/survey_fields.h"

namespace tarnwell {

SurveyConfig SurveyConfig::decode(const JSONValue& value) { return detail::decodeRecord<SurveyConfig>(value); }
JSONValue SurveyConfig::encode() const { return detail::encodeRecord(*this); }

SurveyAnalytics SurveyAnalytics::decode(const JSONValue& value) { return detail::decodeRecord<SurveyAnalytics>(value); }
JSONValue SurveyAnalytics::encode() const { return detail::encodeRecord(*this); }

}  // namespace tarnwell
