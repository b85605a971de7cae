// File: tarnwell/surveys/detail/survey_repository.h
//
// SurveyRepository reads the surveys of the application: from the runtime bundle, else through
// "get_surveys". It holds no state and never throws. Internal: includes Asio.
#pragma once

#include <asio/awaitable.hpp>

#include <vector>

#include "tarnwell/backend/detail/runtime_bundle_repository.h"
#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/surveys/survey.h"

namespace tarnwell {

class SurveyRepository {
 public:
  SurveyRepository(RuntimeGatewayRepository gateway, RuntimeBundleRepository runtimeBundle);

  // Empty, with "Failed to fetch surveys" logged, when neither source answers.
  asio::awaitable<std::vector<Survey>> getSurveys();

 private:
  RuntimeGatewayRepository gateway_;
  RuntimeBundleRepository runtimeBundle_;
};

}  // namespace tarnwell
