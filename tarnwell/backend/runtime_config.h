// File: tarnwell/backend/runtime_config.h
//
// RuntimeConfig is the backend's tuning of the SDK, received with every bootstrap and fixed
// until the next start-up. Every field of every group is required on the wire: an answer with
// one field missing or mistyped is discarded whole and defaultRuntimeConfig() applies.
//
// Some fields are received and kept but drive nothing (maxRetryAttempts, dedupeWindowMs, the
// message center's polling fields, messageCenterSettingsTtlMs, disableLiveCardImpressions,
// disableFeatureFlagExposureLogs, disablePassiveMessagePolling); they travel with the record.
#pragma once

#include <cstdint>
#include <optional>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>

namespace tarnwell {

struct TARNWELL_API RuntimeConfig {
  struct CacheConfig {
    std::int64_t featureFlagsTtlMs = 300000;
    std::int64_t surveysTtlMs = 900000;
    std::int64_t announcementsTtlMs = 900000;
    std::int64_t liveCardsTtlMs = 900000;
    std::int64_t messageCenterSettingsTtlMs = 300000;
    friend bool operator==(const CacheConfig&, const CacheConfig&) = default;
  };

  struct SamplingConfig {  // percentages
    std::int64_t defaultPercent = 100;
    std::int64_t sdkPercent = 100;
    std::int64_t sessionPercent = 100;
    std::int64_t surveyPercent = 100;
    std::int64_t announcementPercent = 100;
    std::int64_t liveCardPercent = 100;
    std::int64_t featureFlagPercent = 25;
    std::int64_t warningPercent = 100;
    std::int64_t errorPercent = 100;
    friend bool operator==(const SamplingConfig&, const SamplingConfig&) = default;
  };

  struct EventsConfig {
    bool enabled = true;
    std::int64_t flushIntervalMs = 120000;
    std::int64_t batchSize = 50;
    std::int64_t maxQueueSize = 500;
    std::int64_t maxRetryAttempts = 2;
    std::int64_t dedupeWindowMs = 1500;
    std::int64_t maxEventsPerMinute = 120;
    SamplingConfig sampling;
    friend bool operator==(const EventsConfig&, const EventsConfig&) = default;
  };

  struct MessageCenterConfig {
    bool passivePollingEnabled = false;
    std::int64_t listPollingIntervalMs = 60000;
    std::int64_t chatPollingIntervalMs = 10000;
    std::int64_t foregroundRefreshTtlMs = 60000;
    friend bool operator==(const MessageCenterConfig&, const MessageCenterConfig&) = default;
  };

  struct KillSwitchConfig {
    bool disableEventLogs = false;
    bool disableSurveyImpressions = false;
    bool disableAnnouncementImpressions = false;
    bool disableLiveCardImpressions = false;
    bool disableFeatureFlagExposureLogs = false;
    bool disablePassiveMessagePolling = true;
    friend bool operator==(const KillSwitchConfig&, const KillSwitchConfig&) = default;
  };

  CacheConfig cache;
  EventsConfig events;
  MessageCenterConfig messageCenter;
  KillSwitchConfig killSwitches;

  friend bool operator==(const RuntimeConfig&, const RuntimeConfig&) = default;

  // Throws DecodingError naming the first field that does not fit.
  static RuntimeConfig decode(const JSONValue& value);
  JSONValue encode() const;
};

TARNWELL_API RuntimeConfig defaultRuntimeConfig();

// The record in `value`, or the defaults when it is absent or does not decode, silently.
TARNWELL_API RuntimeConfig makeRuntimeConfig(const JSONValue* value);

// What the backend tells an API key's holder about its tenant, kept for the life of a start-up.
struct TARNWELL_API ApiKeyConfig {
  std::string organizationId;
  std::string projectId;
  std::string appId;
  std::string teamId;
  std::string apiKeyId;
  std::string apiKey;                      // the key that was sent
  std::optional<std::string> environment;  // the backend's, else the one that was sent
  RuntimeConfig runtimeConfig;

  friend bool operator==(const ApiKeyConfig&, const ApiKeyConfig&) = default;

  static ApiKeyConfig decode(const JSONValue& value);
  JSONValue encode() const;
};

}  // namespace tarnwell
