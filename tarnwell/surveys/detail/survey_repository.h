// File: tarnwell/surveys/detail/survey_repository.h
//
// SurveyRepository reads the surveys of the application (from the runtime bundle, else through
// "get_surveys") and submits their responses ("submit_survey_response"). It holds no state and
// never throws. Internal: includes Asio.
//
//   bool accepted = co_await surveys.submitResponse(response);   // false: logged, nothing kept
#pragma once

#include <string_view>

#include "tarnwell/content/detail/content_repository.h"
#include "tarnwell/surveys/survey.h"

namespace tarnwell::detail {

// The payload of a response submission: its 19 keys in the backend's order, an absent text as
// null, never a missing key. `idKey` and `nameKey` name the survey's id and name ("surveyId",
// "surveyName"; announcements send "bannerId", "bannerName"). appId, organizationId and
// projectId stay out.
JSONObject responsePayload(const SurveyResponse& response, std::string_view idKey, std::string_view nameKey);

class SurveyRepository : public ContentRepository {
 public:
  using ContentRepository::ContentRepository;

  // Empty, with "Failed to fetch surveys" logged, when neither source answers.
  asio::awaitable<std::vector<Survey>> getSurveys() {
    return readList(&RuntimeBundle::surveys, "get_surveys", "Failed to fetch surveys");
  }

  // Whether the backend took the response; a failure logs "Failed to submit survey response".
  asio::awaitable<bool> submitResponse(const SurveyResponse& response) {
    return submit("submit_survey_response", responsePayload(response, "surveyId", "surveyName"),
                  "Failed to submit survey response");
  }
};

}  // namespace tarnwell::detail
