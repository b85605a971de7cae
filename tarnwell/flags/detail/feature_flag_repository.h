// File: tarnwell/flags/detail/feature_flag_repository.h
//
// FeatureFlagRepository fetches the flags (from the runtime bundle, else "get_feature_flags")
// and reports evaluations and exposures as telemetry, batched with the other bookkeeping of the
// tenant rather than sent one by one.
//
//   FeatureFlagRepository flags(gateway, runtimeBundle, telemetry);
//   std::vector<FeatureFlag> all = co_await flags.getFeatureFlags();
//   flags.trackExposure(exposure);
//
// Holds no state and never throws. Internal: includes Asio.
#pragma once

#include <asio/awaitable.hpp>

#include <vector>

#include "tarnwell/content/detail/content_repository.h"
#include "tarnwell/events/detail/runtime_telemetry_batcher.h"
#include "tarnwell/flags/feature_flag.h"
#include "tarnwell/flags/feature_flag_report.h"

namespace tarnwell::detail {

class FeatureFlagRepository : public ContentRepository {
 public:
  FeatureFlagRepository(RuntimeGatewayRepository gateway, RuntimeBundleRepository runtimeBundle,
                        RuntimeTelemetryBatcher& telemetryBatcher);

  // Empty, with "Failed to fetch feature flags" logged, when neither source answers.
  asio::awaitable<std::vector<FeatureFlag>> getFeatureFlags();
  // Queue "track_feature_flag_evaluation" / "track_feature_flag_exposure"; true once queued.
  bool trackEvaluation(const FeatureFlagEvaluation& evaluation);
  bool trackExposure(const FeatureFlagExposure& exposure);

 private:
  RuntimeTelemetryBatcher& telemetryBatcher_;
};

}  // namespace tarnwell::detail
