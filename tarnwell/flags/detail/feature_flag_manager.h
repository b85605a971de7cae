// File: tarnwell/flags/detail/feature_flag_manager.h
//
// FeatureFlagManager answers what a flag's value is for this user now, on the device, from the
// flags last fetched: status, schedule, targeting rules, audience groups, then a variation for
// experiments, then the flag's default. It reports what it did, at most once per 900 seconds per
// flag, user, device and session unless the answer changes, and keeps each assigned variation
// for the life of the process.
//
//   auto flags = FeatureFlagManager::create(pool.executor(), std::move(repository), properties,
//                                           sessions, clock, processStringHasher(), tracker);
//   co_await flags->refresh(false);
//   FeatureFlagResolution answer = co_await flags->resolveValue("checkout_flow");
//
// Threads: the state lives on a strand of its own; every member may be awaited from any
// executor and resumes the caller on its own. The property and session stores are read from the
// strand as they stand (both are thread-safe). Nothing throws but std::bad_alloc.
#pragma once

#include <asio/any_io_executor.hpp>
#include <asio/awaitable.hpp>
#include <asio/strand.hpp>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "tarnwell/flags/detail/feature_flag_repository.h"
#include "tarnwell/flags/feature_flag.h"
#include "tarnwell/identity/detail/property_manager.h"
#include "tarnwell/identity/detail/session_manager.h"
#include "tarnwell/platform/clock.h"
#include "tarnwell/platform/detail/string_hash.h"

namespace tarnwell::detail {

// Where an answer came from: the flag was evaluated, is off, or does not exist.
enum class EvaluationSource { cache, inactive, error };

struct FeatureFlagResolution {
  std::optional<JSONValue> value;
  EvaluationSource source = EvaluationSource::error;
  friend bool operator==(const FeatureFlagResolution&, const FeatureFlagResolution&) = default;
};

// The last reported evaluation under one marker key.
struct EvaluationWriteMarker {
  std::optional<std::string> variationId;
  std::string value;
  Timestamp recordedAt;
};

class FeatureFlagManager : public std::enable_shared_from_this<FeatureFlagManager> {
 public:
  // Reaches the facade's trackEvent with a name, properties and an event type.
  using EventTracker = std::function<void(std::string, JSONObject, std::string)>;
  static constexpr double evaluationWriteCooldown = 900.0;  // seconds

  // `platformName` stands in for a missing "platform" in the evaluation context.
  static std::shared_ptr<FeatureFlagManager> create(const asio::any_io_executor& executor,
                                                    FeatureFlagRepository repository, PropertyManager& properties,
                                                    SessionManager& sessions, Clock& clock, const StringHasher& hasher,
                                                    EventTracker eventTracker, std::string platformName);

  // Fetches the flags and replaces the known ones in one step; a failed fetch leaves none. The
  // time-to-live gate lies with the caller.
  asio::awaitable<void> refresh();
  asio::awaitable<std::optional<FeatureFlag>> getFlag(std::string key);
  asio::awaitable<FeatureFlagResolution> resolveValue(std::string key);

  // Experiments. The variation comes by assignment whatever the flag's status or rules.
  asio::awaitable<std::optional<Variation>> getExperimentVariation(std::string key);
  asio::awaitable<std::optional<ExperimentConfig>> getExperimentConfig(std::string key);
  asio::awaitable<void> trackExperimentExposure(std::string key, JSONObject context);
  asio::awaitable<void> trackExperimentConversion(std::string key, std::optional<std::string> goalId,
                                                  std::optional<JSONValue> value, JSONObject context);

  // The default value of a flag read from its text (bools, numbers for "number" flags, any JSON
  // document, a floating-point number, else the text itself).
  static std::optional<JSONValue> parseDefaultValue(const FeatureFlag& flag);
  // The text an evaluation reports its value as.
  static std::string reportedValueText(const std::optional<JSONValue>& value);

 private:
  // A fetched flag with its views parsed once: the record never changes while it is held, so
  // the parse cannot disagree with its text.
  struct LoadedFlag {
    FeatureFlag flag;
    std::vector<TargetingRule> targetingRules;
    std::optional<ScheduleConfig> scheduleConfig;
    std::vector<Variation> variations;
    std::string deliveryMode;
    std::vector<AudienceVariantGroup> audienceVariants;
  };

  FeatureFlagManager(const asio::any_io_executor& executor, FeatureFlagRepository repository,
                     PropertyManager& properties, SessionManager& sessions, Clock& clock, const StringHasher& hasher,
                     EventTracker eventTracker, std::string platformName);

  template <typename Work>
  asio::awaitable<std::invoke_result_t<Work&>> onStrand(Work work);
  asio::awaitable<void> refreshOnStrand();

  void replaceFlags(std::vector<FeatureFlag> flags);
  const LoadedFlag* find(const std::string& key) const;
  FeatureFlagResolution resolve(const std::string& key);
  bool rulesHold(const std::vector<TargetingRule>& rules) const;
  std::optional<Variation> assignVariation(const LoadedFlag& loaded);
  JSONObject evaluationContext() const;
  void reportEvaluation(const FeatureFlag& flag, const FeatureFlagResolution& resolution, Timestamp startedAt,
                        const std::optional<Variation>& variation);
  void reportExposure(const FeatureFlag& flag, const Variation& variation, JSONObject context);
  JSONObject experimentEventProperties(const std::string& key, const Variation& variation, JSONObject context) const;

  asio::strand<asio::any_io_executor> strand_;
  FeatureFlagRepository repository_;
  PropertyManager& propertyManager_;
  SessionManager& sessionManager_;
  Clock& clock_;
  const StringHasher& hasher_;
  EventTracker eventTracker_;
  std::string platformName_;
  std::map<std::string, LoadedFlag, std::less<>> flagsByKey_;
  std::map<std::string, Variation, std::less<>> experimentAssignments_;
  std::map<std::string, EvaluationWriteMarker, std::less<>> persistedEvaluationMarkers_;
};

}  // namespace tarnwell::detail
