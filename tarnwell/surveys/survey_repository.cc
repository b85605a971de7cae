#include "tarnwell/surveys/detail/survey_repository.h"

namespace tarnwell::detail {

JSONObject responsePayload(const SurveyResponse& r, std::string_view idKey, std::string_view nameKey) {
  JSONObject payload;
  payload.reserve(19);
  payload.set("id", textOrNull(r.id));
  payload.set("userId", textOrNull(r.userId));
  payload.set("appVersion", textOrNull(r.appVersion));
  payload.set("platform", textOrNull(r.platform));
  payload.set("metadata", textOrNull(r.metadata));
  payload.set(std::string(idKey), textOrNull(r.surveyId));
  payload.set("responses", textOrNull(r.responsesJSON));
  payload.set("completed", JSONValue(r.completed));
  payload.set(std::string(nameKey), textOrNull(r.surveyName));
  payload.set("userName", textOrNull(r.userName));
  payload.set("userEmail", textOrNull(r.userEmail));
  payload.set("userSegment", textOrNull(r.userSegment));
  payload.set("answers", textOrNull(r.answersJSON));
  payload.set("score", r.score ? JSONValue(*r.score) : JSONValue());
  payload.set("completionTime", JSONValue(static_cast<double>(r.completionTime)));
  payload.set("deviceInfo", textOrNull(r.deviceInfo));
  payload.set("location", textOrNull(r.location));
  payload.set("submittedAt", textOrNull(r.submittedAt));
  payload.set("ownerId", textOrNull(r.ownerId));
  return payload;
}

}  // namespace tarnwell::detail
