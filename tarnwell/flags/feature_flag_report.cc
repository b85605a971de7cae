#include "tarnwell/flags/feature_flag_report.h"

#include <tuple>

#include "tarnwell/core/detail/record_coding.h"
#include "tarnwell/core/detail/timestamp_coding.h"

namespace tarnwell {

namespace detail {

// Telemetry keeps every key: an absent optional is written as null.
template <>
struct RecordFields<FeatureFlagEvaluation> {
  using R = FeatureFlagEvaluation;
  static constexpr auto fields = std::make_tuple(
      field(&R::flagId, "flagId"), field(&R::flagKey, "flagKey"), field(&R::userId, "userId"),
      field(&R::deviceId, "deviceId"), nullableField(&R::sessionId, "sessionId"), field(&R::value, "value"),
      nullableField(&R::variationId, "variationId"), nullableField(&R::variationName, "variationName"),
      nullableField(&R::reason, "reason"), nullableField(&R::context, "context"), nullableField(&R::latency, "latency"),
      field(&R::evaluatedAt, "evaluatedAt"), nullableField(&R::organizationId, "organizationId"),
      nullableField(&R::projectId, "projectId"), nullableField(&R::teamId, "teamId"), nullableField(&R::appId, "appId"),
      nullableField(&R::environment, "environment"));
};

template <>
struct RecordFields<FeatureFlagExposure> {
  using R = FeatureFlagExposure;
  static constexpr auto fields =
      std::make_tuple(field(&R::flagId, "flagId"), nullableField(&R::variationId, "variationId"),
                      nullableField(&R::variationName, "variationName"), field(&R::userId, "userId"),
                      field(&R::deviceId, "deviceId"), nullableField(&R::sessionId, "sessionId"),
                      nullableField(&R::context, "context"), field(&R::exposedAt, "exposedAt"),
                      nullableField(&R::organizationId, "organizationId"), nullableField(&R::projectId, "projectId"),
                      nullableField(&R::teamId, "teamId"), nullableField(&R::appId, "appId"));
};

}  // namespace detail

namespace {

JSONObject asObject(JSONValue encoded) { return std::move(*encoded.asObject()); }

}  // namespace

JSONObject FeatureFlagEvaluation::payload() const { return asObject(detail::encodeRecord(*this)); }
JSONObject FeatureFlagExposure::payload() const { return asObject(detail::encodeRecord(*this)); }

}  // namespace tarnwell
