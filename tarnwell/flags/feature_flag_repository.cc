#include "tarnwell/flags/detail/feature_flag_repository.h"

namespace tarnwell::detail {

FeatureFlagRepository::FeatureFlagRepository(RuntimeGatewayRepository gateway, RuntimeBundleRepository runtimeBundle,
                                             RuntimeTelemetryBatcher& telemetryBatcher)
    : ContentRepository(std::move(gateway), std::move(runtimeBundle)), telemetryBatcher_(telemetryBatcher) {}

asio::awaitable<std::vector<FeatureFlag>> FeatureFlagRepository::getFeatureFlags() {
  return readList(&RuntimeBundle::featureFlags, "get_feature_flags", "Failed to fetch feature flags");
}

bool FeatureFlagRepository::trackEvaluation(const FeatureFlagEvaluation& evaluation) {
  telemetryBatcher_.enqueue("track_feature_flag_evaluation", evaluation.payload());
  return true;
}

bool FeatureFlagRepository::trackExposure(const FeatureFlagExposure& exposure) {
  telemetryBatcher_.enqueue("track_feature_flag_exposure", exposure.payload());
  return true;
}

}  // namespace tarnwell::detail
