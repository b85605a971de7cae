#include "tarnwell/surveys/survey_targeting.h"

#include "tarnwell/surveys/detail/survey_fields.h"

namespace tarnwell {

SurveyTargeting SurveyTargeting::decode(const JSONValue& value) { return detail::decodeRecord<SurveyTargeting>(value); }
JSONValue SurveyTargeting::encode() const { return detail::encodeRecord(*this); }

}  // namespace tarnwell
