// File: tarnwell/surveys/detail/survey_repository.h
//
// SurveyRepository reads the surveys of the application: from the runtime bundle, else through
// "get_surveys". It holds no state and never throws. Internal: includes Asio.
#pragma once

#include "tarnwell/content/detail/content_repository.h"
#include "tarnwell/surveys/survey.h"

namespace tarnwell::detail {

class SurveyRepository : public ContentRepository {
 public:
  using ContentRepository::ContentRepository;

  // Empty, with "Failed to fetch surveys" logged, when neither source answers.
  asio::awaitable<std::vector<Survey>> getSurveys() {
    return readList(&RuntimeBundle::surveys, "get_surveys", "Failed to fetch surveys");
  }
};

}  // namespace tarnwell::detail
