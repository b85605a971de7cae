#include "tarnwell/flags/detail/feature_flag_repository.h"

#include "tarnwell/backend/detail/content_list_reader.h"

namespace tarnwell {

FeatureFlagRepository::FeatureFlagRepository(RuntimeGatewayRepository gateway, RuntimeBundleRepository runtimeBundle,
                                             RuntimeTelemetryBatcher& telemetryBatcher)
    : gateway_(std::move(gateway)), runtimeBundle_(std::move(runtimeBundle)), telemetryBatcher_(telemetryBatcher) {}

asio::awaitable<std::vector<FeatureFlag>> FeatureFlagRepository::getFeatureFlags() {
  return readContentList(runtimeBundle_, gateway_, &RuntimeBundle::featureFlags, "get_feature_flags",
                         "Failed to fetch feature flags");
}

bool FeatureFlagRepository::trackEvaluation(const FeatureFlagEvaluation& evaluation) {
  telemetryBatcher_.enqueue("track_feature_flag_evaluation", evaluation.payload());
  return true;
}

bool FeatureFlagRepository::trackExposure(const FeatureFlagExposure& exposure) {
  telemetryBatcher_.enqueue("track_feature_flag_exposure", exposure.payload());
  return true;
}

}  // namespace tarnwell
