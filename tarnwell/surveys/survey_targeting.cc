#include "tarnwell/surveys/survey_targeting.h"

#include "tarnwell/surveys/detail/survey_fields.h"

namespace tarnwell {

SurveyTargeting SurveyTargeting::decode(const JSONValue& value) { return decodeRecord<SurveyTargeting>(value); }
JSONValue SurveyTargeting::encode() const { return encodeRecord(*this); }

}  // namespace tarnwell
