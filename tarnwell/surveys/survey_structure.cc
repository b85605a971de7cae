#include "tarnwell/surveys/survey_structure.h"

#include "tarnwell/surveys/detail/survey_fields.h"

namespace tarnwell {

SurveyStructure SurveyStructure::decode(const JSONValue& value) { return detail::decodeRecord<SurveyStructure>(value); }
JSONValue SurveyStructure::encode() const { return detail::encodeRecord(*this); }

}  // namespace tarnwell
