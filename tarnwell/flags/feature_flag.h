// File: tarnwell/flags/feature_flag.h
//
// FeatureFlag is a flag as the backend serves it: a flat document whose structured parts
// (variations, targeting rules, rollout, schedule, experiment, metadata) are JSON texts inside
// string fields. The typed views parse those texts on every read; a text that is absent, empty
// or does not decode gives the view's fallback, silently, so one bad text only degrades its view.
//
//   FeatureFlag flag = FeatureFlag::decode(document);   // strict types; every key optional
//   for (const Variation& v : flag.variations()) ...    // parsed from flag.variationsJSON
//   if (flag.deliveryMode() == "audience_variants") ... // from the metadata text
//
// Plain values, safe on any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>
#include <tarnwell/targeting/rule_condition.h>

namespace tarnwell {

struct TARNWELL_API Variation {
  std::optional<std::string> id;
  std::optional<std::string> name;
  std::optional<JSONValue> value;
  std::optional<std::string> description;
  std::optional<double> weight;
  std::optional<bool> isControl;

  friend bool operator==(const Variation&, const Variation&) = default;
  static Variation decode(const JSONValue& value);
  JSONValue encode() const;
};

// Decoded and carried; the SDK performs no percentage rollout of its own.
struct TARNWELL_API RolloutConfig {
  std::optional<std::int64_t> percentage;
  std::optional<std::string> seed;
  friend bool operator==(const RolloutConfig&, const RolloutConfig&) = default;
};

struct TARNWELL_API ScheduleConfig {
  std::optional<bool> enabled;  // not consulted: only the two dates bound a flag
  std::optional<std::string> startDate;
  std::optional<std::string> endDate;
  std::optional<std::string> timezone;
  friend bool operator==(const ScheduleConfig&, const ScheduleConfig&) = default;
};

struct TARNWELL_API Goal {
  std::optional<std::string> id;
  std::optional<std::string> name;
  std::optional<std::string> eventName;
  friend bool operator==(const Goal&, const Goal&) = default;
};

// Handed to the application as it stands.
struct TARNWELL_API ExperimentConfig {
  std::optional<std::string> hypothesis;
  std::optional<std::vector<Goal>> goals;
  std::optional<std::string> winningVariationId;
  std::optional<std::int64_t> minSampleSize;
  std::optional<double> confidenceLevel;
  std::optional<std::int64_t> minDurationDays;
  friend bool operator==(const ExperimentConfig&, const ExperimentConfig&) = default;
  JSONValue encode() const;
};

// A value served to the users its rules select, before any variation is assigned.
struct TARNWELL_API AudienceVariantGroup {
  std::optional<std::string> id;
  std::optional<std::string> name;
  std::optional<std::string> segmentId;  // not consulted
  std::int64_t priority = 0;             // required; lower goes first
  std::optional<JSONValue> value;
  std::optional<std::vector<TargetingRule>> rules;
  friend bool operator==(const AudienceVariantGroup&, const AudienceVariantGroup&) = default;
};

struct TARNWELL_API FeatureFlag {
  std::optional<std::string> id;  // "$id"
  std::optional<std::string> name;
  std::optional<std::string> key;
  std::optional<std::string> description;
  std::optional<std::string> type;  // "experiment", "multi_variant", "number", ...
  std::optional<std::string> defaultValue;
  std::optional<std::string> variationsJSON;      // "variations"
  std::optional<std::string> targetingRulesJSON;  // "targetingRules"
  std::optional<std::string> rolloutConfigJSON;   // "rolloutConfig"
  std::optional<std::string> scheduleConfigJSON;  // "scheduleConfig"
  std::optional<std::string> status;              // "active" or "published" make it live
  std::optional<std::string> experimentStatus;
  std::optional<std::string> experimentConfigJSON;  // "experimentConfig"
  std::optional<std::string> ownerId;
  std::optional<std::string> organizationId;
  std::optional<std::string> projectId;
  std::optional<std::string> appId;
  std::optional<std::string> environment;
  std::optional<std::string> metadata;  // JSON text of an object
  std::optional<std::vector<std::string>> tags;
  std::optional<std::string> version;
  std::optional<bool> archived;
  std::optional<std::string> archivedAt;
  std::optional<std::string> archivedBy;
  std::optional<std::string> createdAt;  // "$createdAt"
  std::optional<std::string> updatedAt;  // "$updatedAt"

  friend bool operator==(const FeatureFlag&, const FeatureFlag&) = default;
  // Throws DecodingError when a value has the wrong JSON type.
  static FeatureFlag decode(const JSONValue& value);
  JSONValue encode() const;

  std::vector<Variation> variations() const;
  std::vector<TargetingRule> targetingRules() const;
  std::optional<RolloutConfig> rolloutConfig() const;
  std::optional<ScheduleConfig> scheduleConfig() const;
  std::optional<ExperimentConfig> experimentConfig() const;
  // The metadata text as an object; empty when it is not one.
  JSONObject metadataMap() const;
  // "deliveryMode" of the metadata as text (numbers and bools through their text), else "standard".
  std::string deliveryMode() const;
  // "audienceVariants" of the metadata, groups that do not decode skipped, sorted by ascending
  // priority with ties in their given order.
  std::vector<AudienceVariantGroup> audienceVariants() const;
};

}  // namespace tarnwell
