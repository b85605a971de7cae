#include "tarnwell/flags/detail/feature_flag_manager.h"

#include <cmath>
#include <cstdlib>
#include <utility>

#include "tarnwell/core/coding_error.h"
#include "tarnwell/core/log.h"
#include "tarnwell/platform/detail/async.h"
#include "tarnwell/targeting/detail/rule_evaluation.h"

namespace tarnwell::detail {

namespace {

bool isExperimentType(const std::optional<std::string>& type) {
  return type == "experiment" || type == "multi_variant";
}

std::string markerKey(const FeatureFlag& flag, const std::string& userId, const std::string& deviceId,
                      const std::optional<std::string>& sessionId) {
  return flag.id.value_or(flag.key.value_or("flag")) + "::" + userId + "::" + deviceId +
         "::" + sessionId.value_or("no-session");
}

const char* reasonFor(EvaluationSource source) {
  switch (source) {
    case EvaluationSource::cache: return "Flag evaluated";
    case EvaluationSource::inactive: return "Flag inactive";
    case EvaluationSource::error: break;
  }
  return "Flag not found";
}

}  // namespace

std::shared_ptr<FeatureFlagManager> FeatureFlagManager::create(const asio::any_io_executor& executor,
                                                               FeatureFlagRepository repository,
                                                               PropertyManager& properties, SessionManager& sessions,
                                                               Clock& clock, const StringHasher& hasher,
                                                               EventTracker eventTracker, std::string platformName) {
  return std::shared_ptr<FeatureFlagManager>(new FeatureFlagManager(executor, std::move(repository), properties,
                                                                    sessions, clock, hasher, std::move(eventTracker),
                                                                    std::move(platformName)));
}

FeatureFlagManager::FeatureFlagManager(const asio::any_io_executor& executor, FeatureFlagRepository repository,
                                       PropertyManager& properties, SessionManager& sessions, Clock& clock,
                                       const StringHasher& hasher, EventTracker eventTracker, std::string platformName)
    : strand_(asio::make_strand(executor)),
      repository_(std::move(repository)),
      propertyManager_(properties),
      sessionManager_(sessions),
      clock_(clock),
      hasher_(hasher),
      eventTracker_(std::move(eventTracker)),
      platformName_(std::move(platformName)) {}

template <typename Work>
asio::awaitable<std::invoke_result_t<Work&>> FeatureFlagManager::onStrand(Work work) {
  const auto self = shared_from_this();
  co_return co_await callOn(strand_, std::move(work));
}

// ---- Flags ---------------------------------------------------------------------------------

asio::awaitable<void> FeatureFlagManager::refresh() {
  const auto self = shared_from_this();
  co_await runOn(strand_, refreshOnStrand());
}

asio::awaitable<void> FeatureFlagManager::refreshOnStrand() {
  std::vector<FeatureFlag> flags = co_await repository_.getFeatureFlags();
  replaceFlags(std::move(flags));
}

void FeatureFlagManager::replaceFlags(std::vector<FeatureFlag> flags) {
  std::map<std::string, LoadedFlag, std::less<>> byKey;
  for (FeatureFlag& flag : flags) {
    if (!flag.key) continue;
    if (byKey.contains(*flag.key)) {
      // Keys are unique on a sound backend; a broken one must not take the host down.
      logError("Duplicate values for key: '" + *flag.key + "'");
      continue;
    }
    const std::string key = *flag.key;
    LoadedFlag& loaded = byKey[key];
    loaded.flag = std::move(flag);
    loaded.targetingRules = loaded.flag.targetingRules();
    loaded.scheduleConfig = loaded.flag.scheduleConfig();
    loaded.variations = loaded.flag.variations();
    loaded.deliveryMode = loaded.flag.deliveryMode();
    loaded.audienceVariants = loaded.flag.audienceVariants();
  }
  flagsByKey_ = std::move(byKey);
}

const FeatureFlagManager::LoadedFlag* FeatureFlagManager::find(const std::string& key) const {
  const auto found = flagsByKey_.find(key);
  return found == flagsByKey_.end() ? nullptr : &found->second;
}

asio::awaitable<std::optional<FeatureFlag>> FeatureFlagManager::getFlag(std::string key) {
  return onStrand([this, key = std::move(key)]() -> std::optional<FeatureFlag> {
    const LoadedFlag* loaded = find(key);
    if (loaded == nullptr) return std::nullopt;
    return loaded->flag;
  });
}

// ---- Evaluation ----------------------------------------------------------------------------

asio::awaitable<FeatureFlagResolution> FeatureFlagManager::resolveValue(std::string key) {
  return onStrand([this, key = std::move(key)] { return resolve(key); });
}

FeatureFlagResolution FeatureFlagManager::resolve(const std::string& key) {
  const Timestamp startedAt = clock_.now();
  const LoadedFlag* loaded = find(key);
  if (loaded == nullptr) return {std::nullopt, EvaluationSource::error};
  const FeatureFlag& flag = loaded->flag;

  const bool live = flag.status == "active" || flag.status == "published";
  const bool scheduled = !loaded->scheduleConfig || isWithinSchedule(loaded->scheduleConfig->startDate,
                                                                     loaded->scheduleConfig->endDate, startedAt);
  if (!live || !scheduled) {
    const FeatureFlagResolution off{std::nullopt, EvaluationSource::inactive};
    reportEvaluation(flag, off, startedAt, std::nullopt);
    return off;
  }

  if (!rulesHold(loaded->targetingRules)) {
    const FeatureFlagResolution fallback{parseDefaultValue(flag), EvaluationSource::cache};
    reportEvaluation(flag, fallback, startedAt, std::nullopt);
    return fallback;
  }

  if (loaded->deliveryMode == "audience_variants") {
    for (const AudienceVariantGroup& group : loaded->audienceVariants) {
      if (group.rules && !rulesHold(*group.rules)) continue;
      const FeatureFlagResolution chosen{group.value, EvaluationSource::cache};
      reportEvaluation(flag, chosen, startedAt, std::nullopt);
      return chosen;
    }
  }

  if (isExperimentType(flag.type)) {
    if (std::optional<Variation> variation = assignVariation(*loaded)) {
      const FeatureFlagResolution assigned{variation->value, EvaluationSource::cache};
      reportEvaluation(flag, assigned, startedAt, variation);
      if (flag.type == "experiment") reportExposure(flag, *variation, evaluationContext());
      return assigned;
    }
  }

  const FeatureFlagResolution fallback{parseDefaultValue(flag), EvaluationSource::cache};
  reportEvaluation(flag, fallback, startedAt, std::nullopt);
  return fallback;
}

bool FeatureFlagManager::rulesHold(const std::vector<TargetingRule>& rules) const {
  for (const TargetingRule& rule : rules) {
    if (!evaluateCondition(rule.field, rule.op, rule.value, propertyManager_, sessionManager_)) return false;
  }
  return true;
}

std::optional<JSONValue> FeatureFlagManager::parseDefaultValue(const FeatureFlag& flag) {
  if (!flag.defaultValue) return std::nullopt;
  const std::string& text = *flag.defaultValue;
  if (text == "true") return JSONValue(true);
  if (text == "false") return JSONValue(false);
  const JSONValue asText(text);
  if (flag.type == "number") {
    if (std::optional<double> number = asText.doubleValue()) return JSONValue(*number);
  }
  try {
    return JSONValue::decode(text);
  } catch (const DecodingError&) {
    // Not a JSON document: a number in a looser spelling, or plain text.
  }
  if (std::optional<double> number = asText.doubleValue(); number && std::isfinite(*number)) {
    return JSONValue(*number);
  }
  return asText;
}

std::optional<Variation> FeatureFlagManager::assignVariation(const LoadedFlag& loaded) {
  const FeatureFlag& flag = loaded.flag;
  if (!flag.key) return std::nullopt;
  if (const auto kept = experimentAssignments_.find(*flag.key); kept != experimentAssignments_.end()) {
    return kept->second;
  }
  const std::vector<Variation>& variations = loaded.variations;
  if (variations.empty()) return std::nullopt;

  const std::string assignmentText = propertyManager_.getUserId() + "::" + *flag.key;
  const auto hash = static_cast<std::int64_t>(hasher_(assignmentText));
  const std::int64_t bucket = std::llabs(hash % 10000);

  double totalWeight = 0;
  for (const Variation& variation : variations) {
    if (variation.weight && *variation.weight > 0) totalWeight += *variation.weight;
  }
  const Variation* pick = nullptr;
  if (totalWeight > 0) {
    const double target = static_cast<double>(bucket) / 10000.0 * totalWeight;
    double runningSum = 0;
    for (const Variation& variation : variations) {
      if (variation.weight && *variation.weight > 0) runningSum += *variation.weight;
      if (target <= runningSum) {
        pick = &variation;
        break;
      }
    }
    if (pick == nullptr) pick = &variations.front();
  } else {
    pick = &variations[static_cast<std::size_t>(bucket) % variations.size()];
  }
  experimentAssignments_.emplace(*flag.key, *pick);
  return *pick;
}

JSONObject FeatureFlagManager::evaluationContext() const {
  JSONObject context = propertyManager_.getAppProperties();
  for (const JSONObject& layer : {propertyManager_.getDeviceProperties(), propertyManager_.getUserProperties(),
                                  propertyManager_.getCustomProperties()}) {
    for (const auto& [key, value] : layer) context.set(key, value);
  }
  if (!context.contains("platform")) context.set("platform", JSONValue(platformName_));
  if (!context.contains("app_version")) {
    if (const JSONValue* versionName = context.find("version_name")) context.set("app_version", *versionName);
  }
  return context;
}

std::string FeatureFlagManager::reportedValueText(const std::optional<JSONValue>& value) {
  if (!value || value->isNull()) return "null";
  if (const JSONString* text = value->asString()) return text->str();
  if (const double* number = value->asNumber()) return shortestNumberText(*number);
  if (const bool* flag = value->asBool()) return *flag ? "true" : "false";
  try {
    return value->encode();
  } catch (const EncodingError&) {
    return "null";
  }
}

void FeatureFlagManager::reportEvaluation(const FeatureFlag& flag, const FeatureFlagResolution& resolution,
                                          Timestamp startedAt, const std::optional<Variation>& variation) {
  if (!flag.id || !flag.key) return;
  const std::string userId = propertyManager_.getUserId();
  const std::string deviceId = propertyManager_.getDeviceId();
  const std::optional<std::string> sessionId = sessionManager_.getCurrentSessionId();
  const Timestamp now = clock_.now();
  const std::string valueText = reportedValueText(resolution.value);
  const std::optional<std::string> variationId = variation ? variation->id : std::nullopt;

  const std::string key = markerKey(flag, userId, deviceId, sessionId);
  if (const auto marker = persistedEvaluationMarkers_.find(key); marker != persistedEvaluationMarkers_.end()) {
    const bool same = marker->second.variationId == variationId && marker->second.value == valueText;
    const double age = std::chrono::duration<double>(now - marker->second.recordedAt).count();
    if (same && age < evaluationWriteCooldown) return;
  }
  // The marker goes first, so the cooldown counts from this report.
  persistedEvaluationMarkers_[key] = EvaluationWriteMarker{variationId, valueText, now};

  const auto latency = std::chrono::duration_cast<std::chrono::milliseconds>(now - startedAt).count();
  repository_.trackEvaluation(FeatureFlagEvaluation{
      .flagId = *flag.id,
      .flagKey = *flag.key,
      .userId = userId,
      .deviceId = deviceId,
      .sessionId = sessionId,
      .value = valueText,
      .variationId = variationId,
      .variationName = variation ? variation->name : std::nullopt,
      .reason = std::string(reasonFor(resolution.source)),
      .context = evaluationContext(),
      .latency = std::max<std::int64_t>(latency, 0),
      .evaluatedAt = now,
      .organizationId = flag.organizationId,
      .projectId = flag.projectId,
      .teamId = std::nullopt,
      .appId = flag.appId,
      .environment = flag.environment,
  });
}

// ---- Experiments ---------------------------------------------------------------------------

void FeatureFlagManager::reportExposure(const FeatureFlag& flag, const Variation& variation, JSONObject context) {
  if (!flag.id) return;
  repository_.trackExposure(FeatureFlagExposure{
      .flagId = *flag.id,
      .variationId = variation.id,
      .variationName = variation.name,
      .userId = propertyManager_.getUserId(),
      .deviceId = propertyManager_.getDeviceId(),
      .sessionId = sessionManager_.getCurrentSessionId(),
      .context = std::move(context),
      .exposedAt = clock_.now(),
      .organizationId = flag.organizationId,
      .projectId = flag.projectId,
      .teamId = std::nullopt,
      .appId = flag.appId,
  });
}

asio::awaitable<std::optional<Variation>> FeatureFlagManager::getExperimentVariation(std::string key) {
  return onStrand([this, key = std::move(key)]() -> std::optional<Variation> {
    const LoadedFlag* loaded = find(key);
    if (loaded == nullptr || !isExperimentType(loaded->flag.type)) return std::nullopt;
    return assignVariation(*loaded);
  });
}

asio::awaitable<std::optional<ExperimentConfig>> FeatureFlagManager::getExperimentConfig(std::string key) {
  return onStrand([this, key = std::move(key)]() -> std::optional<ExperimentConfig> {
    const LoadedFlag* loaded = find(key);
    if (loaded == nullptr) return std::nullopt;
    return loaded->flag.experimentConfig();
  });
}

JSONObject FeatureFlagManager::experimentEventProperties(const std::string& key, const Variation& variation,
                                                         JSONObject context) const {
  context.set("flag_key", JSONValue(key));
  context.set("variation_id", JSONValue(variation.id.value_or("")));
  context.set("variation_name", JSONValue(variation.name.value_or("")));
  return context;
}

asio::awaitable<void> FeatureFlagManager::trackExperimentExposure(std::string key, JSONObject context) {
  return onStrand([this, key = std::move(key), context = std::move(context)]() mutable {
    const LoadedFlag* loaded = find(key);
    if (loaded == nullptr) return;
    const std::optional<Variation> variation = assignVariation(*loaded);
    if (!variation) return;
    reportExposure(loaded->flag, *variation, context);
    JSONObject properties = experimentEventProperties(key, *variation, std::move(context));
    properties.set("event_type", JSONValue("experiment_exposure"));
    if (eventTracker_) eventTracker_("experiment_exposure", std::move(properties), "business");
  });
}

asio::awaitable<void> FeatureFlagManager::trackExperimentConversion(std::string key, std::optional<std::string> goalId,
                                                                    std::optional<JSONValue> value,
                                                                    JSONObject context) {
  return onStrand([this, key = std::move(key), goalId = std::move(goalId), value = std::move(value),
                   context = std::move(context)]() mutable {
    const LoadedFlag* loaded = find(key);
    if (loaded == nullptr) return;
    const std::optional<Variation> variation = assignVariation(*loaded);
    if (!variation) return;
    JSONObject properties = experimentEventProperties(key, *variation, std::move(context));
    if (goalId) properties.set("goal_id", JSONValue(*goalId));
    if (value) properties.set("value", *value);
    properties.set("event_type", JSONValue("experiment_conversion"));
    if (eventTracker_) eventTracker_("experiment_conversion", std::move(properties), "business");
  });
}

}  // namespace tarnwell::detail
