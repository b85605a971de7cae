#include "tarnwell/surveys/detail/survey_repository.h"

#include "tarnwell/backend/detail/content_list_reader.h"

namespace tarnwell {

SurveyRepository::SurveyRepository(RuntimeGatewayRepository gateway, RuntimeBundleRepository runtimeBundle)
    : gateway_(std::move(gateway)), runtimeBundle_(std::move(runtimeBundle)) {}

asio::awaitable<std::vector<Survey>> SurveyRepository::getSurveys() {
  return readContentList(runtimeBundle_, gateway_, &RuntimeBundle::surveys, "get_surveys", "Failed to fetch surveys");
}

}  // namespace tarnwell
