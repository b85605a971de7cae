#include "tarnwell/backend/runtime_config.h"

#include "tarnwell/core/detail/record_coding.h"

namespace tarnwell {

namespace detail {

template <>
struct RecordFields<RuntimeConfig::CacheConfig> {
  using R = RuntimeConfig::CacheConfig;
  static constexpr auto fields =
      std::make_tuple(field(&R::featureFlagsTtlMs, "featureFlagsTtlMs"), field(&R::surveysTtlMs, "surveysTtlMs"),
                      field(&R::announcementsTtlMs, "announcementsTtlMs"), field(&R::liveCardsTtlMs, "liveCardsTtlMs"),
                      field(&R::messageCenterSettingsTtlMs, "messageCenterSettingsTtlMs"));
};

template <>
struct RecordFields<RuntimeConfig::SamplingConfig> {
  using R = RuntimeConfig::SamplingConfig;
  static constexpr auto fields = std::make_tuple(
      field(&R::defaultPercent, "defaultPercent"), field(&R::sdkPercent, "sdkPercent"),
      field(&R::sessionPercent, "sessionPercent"), field(&R::surveyPercent, "surveyPercent"),
      field(&R::announcementPercent, "announcementPercent"), field(&R::liveCardPercent, "liveCardPercent"),
      field(&R::featureFlagPercent, "featureFlagPercent"), field(&R::warningPercent, "warningPercent"),
      field(&R::errorPercent, "errorPercent"));
};

template <>
struct RecordFields<RuntimeConfig::EventsConfig> {
  using R = RuntimeConfig::EventsConfig;
  static constexpr auto fields =
      std::make_tuple(field(&R::enabled, "enabled"), field(&R::flushIntervalMs, "flushIntervalMs"),
                      field(&R::batchSize, "batchSize"), field(&R::maxQueueSize, "maxQueueSize"),
                      field(&R::maxRetryAttempts, "maxRetryAttempts"), field(&R::dedupeWindowMs, "dedupeWindowMs"),
                      field(&R::maxEventsPerMinute, "maxEventsPerMinute"), field(&R::sampling, "sampling"));
};

template <>
struct RecordFields<RuntimeConfig::MessageCenterConfig> {
  using R = RuntimeConfig::MessageCenterConfig;
  static constexpr auto fields = std::make_tuple(field(&R::passivePollingEnabled, "passivePollingEnabled"),
                                                 field(&R::listPollingIntervalMs, "listPollingIntervalMs"),
                                                 field(&R::chatPollingIntervalMs, "chatPollingIntervalMs"),
                                                 field(&R::foregroundRefreshTtlMs, "foregroundRefreshTtlMs"));
};

template <>
struct RecordFields<RuntimeConfig::KillSwitchConfig> {
  using R = RuntimeConfig::KillSwitchConfig;
  static constexpr auto fields = std::make_tuple(
      field(&R::disableEventLogs, "disableEventLogs"), field(&R::disableSurveyImpressions, "disableSurveyImpressions"),
      field(&R::disableAnnouncementImpressions, "disableAnnouncementImpressions"),
      field(&R::disableLiveCardImpressions, "disableLiveCardImpressions"),
      field(&R::disableFeatureFlagExposureLogs, "disableFeatureFlagExposureLogs"),
      field(&R::disablePassiveMessagePolling, "disablePassiveMessagePolling"));
};

template <>
struct RecordFields<RuntimeConfig> {
  using R = RuntimeConfig;
  static constexpr auto fields =
      std::make_tuple(field(&R::cache, "cache"), field(&R::events, "events"), field(&R::messageCenter, "messageCenter"),
                      field(&R::killSwitches, "killSwitches"));
};

template <>
struct RecordFields<ApiKeyConfig> {
  using R = ApiKeyConfig;
  static constexpr auto fields = std::make_tuple(
      field(&R::organizationId, "organizationId"), field(&R::projectId, "projectId"), field(&R::appId, "appId"),
      field(&R::teamId, "teamId"), field(&R::apiKeyId, "apiKeyId"), field(&R::apiKey, "apiKey"),
      field(&R::environment, "environment"), field(&R::runtimeConfig, "runtimeConfig"));
};

}  // namespace detail

RuntimeConfig RuntimeConfig::decode(const JSONValue& value) { return detail::decodeRecord<RuntimeConfig>(value); }
JSONValue RuntimeConfig::encode() const { return detail::encodeRecord(*this); }

RuntimeConfig defaultRuntimeConfig() { return RuntimeConfig{}; }

RuntimeConfig makeRuntimeConfig(const JSONValue* value) {
  if (value == nullptr) {
    return defaultRuntimeConfig();
  }
  try {
    return RuntimeConfig::decode(*value);
  } catch (const DecodingError&) {
    // One bad field discards the whole answer: the backend's tuning is all or nothing.
    return defaultRuntimeConfig();
  }
}

ApiKeyConfig ApiKeyConfig::decode(const JSONValue& value) { return detail::decodeRecord<ApiKeyConfig>(value); }
JSONValue ApiKeyConfig::encode() const { return detail::encodeRecord(*this); }

}  // namespace tarnwell
