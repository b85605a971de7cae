// File: tarnwell/flags/feature_flag_report.h
//
// What the SDK reports about flags: one evaluation (what a flag resolved to, for whom, how
// fast) and one exposure (that a user was shown a variation). Both travel as telemetry, never
// as a gateway call of their own, with every key present and null where a field is absent.
//
//   FeatureFlagExposure exposure{.flagId = "ff_1", .variationId = "b", .userId = "user-42",
//                                .deviceId = "device-1", .exposedAt = clock.now()};
//   JSONObject payload = exposure.payload();   // 12 keys, "exposedAt" as ISO 8601 text
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <tarnwell/core/json_value.h>
#include <tarnwell/core/timestamp.h>
#include <tarnwell/export.h>

namespace tarnwell {

struct TARNWELL_API FeatureFlagEvaluation {
  std::string flagId;
  std::string flagKey;
  std::string userId;  // the effective user
  std::string deviceId;
  std::optional<std::string> sessionId;
  std::string value;  // the resolved value as text
  std::optional<std::string> variationId;
  std::optional<std::string> variationName;
  std::optional<std::string> reason;  // "Flag evaluated", "Flag inactive" or "Flag not found"
  std::optional<JSONObject> context;
  std::optional<std::int64_t> latency;  // milliseconds
  Timestamp evaluatedAt;
  std::optional<std::string> organizationId;
  std::optional<std::string> projectId;
  std::optional<std::string> teamId;
  std::optional<std::string> appId;
  std::optional<std::string> environment;

  friend bool operator==(const FeatureFlagEvaluation&, const FeatureFlagEvaluation&) = default;
  // The "track_feature_flag_evaluation" payload: 17 keys in field order.
  JSONObject payload() const;
};

struct TARNWELL_API FeatureFlagExposure {
  std::string flagId;
  std::optional<std::string> variationId;
  std::optional<std::string> variationName;
  std::string userId;
  std::string deviceId;
  std::optional<std::string> sessionId;
  std::optional<JSONObject> context;
  Timestamp exposedAt;
  std::optional<std::string> organizationId;
  std::optional<std::string> projectId;
  std::optional<std::string> teamId;
  std::optional<std::string> appId;

  friend bool operator==(const FeatureFlagExposure&, const FeatureFlagExposure&) = default;
  // The "track_feature_flag_exposure" payload: 12 keys in field order.
  JSONObject payload() const;
};

}  // namespace tarnwell
