#include "tarnwell/flags/feature_flag.h"

#include <algorithm>

#include "tarnwell/flags/detail/feature_flag_fields.h"

namespace tarnwell {

Variation Variation::decode(const JSONValue& value) { return detail::decodeRecord<Variation>(value); }
JSONValue Variation::encode() const { return detail::encodeRecord(*this); }

JSONValue ExperimentConfig::encode() const { return detail::encodeRecord(*this); }

FeatureFlag FeatureFlag::decode(const JSONValue& value) { return detail::decodeRecord<FeatureFlag>(value); }
JSONValue FeatureFlag::encode() const { return detail::encodeRecord(*this); }

std::vector<Variation> FeatureFlag::variations() const {
  return detail::decodeEmbedded<std::vector<Variation>>(variationsJSON).value_or(std::vector<Variation>{});
}

std::vector<TargetingRule> FeatureFlag::targetingRules() const {
  return detail::decodeEmbedded<std::vector<TargetingRule>>(targetingRulesJSON).value_or(std::vector<TargetingRule>{});
}

std::optional<RolloutConfig> FeatureFlag::rolloutConfig() const {
  return detail::decodeEmbedded<RolloutConfig>(rolloutConfigJSON);
}

std::optional<ScheduleConfig> FeatureFlag::scheduleConfig() const {
  return detail::decodeEmbedded<ScheduleConfig>(scheduleConfigJSON);
}

std::optional<ExperimentConfig> FeatureFlag::experimentConfig() const {
  return detail::decodeEmbedded<ExperimentConfig>(experimentConfigJSON);
}

JSONObject FeatureFlag::metadataMap() const {
  return detail::decodeEmbedded<JSONObject>(metadata).value_or(JSONObject{});
}

std::string FeatureFlag::deliveryMode() const { return metadataMap().scalarText("deliveryMode").value_or("standard"); }

std::vector<AudienceVariantGroup> FeatureFlag::audienceVariants() const {
  const JSONObject meta = metadataMap();
  const JSONValue* groups = meta.find("audienceVariants");
  if (groups == nullptr || !groups->isArray()) return {};
  std::vector<AudienceVariantGroup> result;
  for (const JSONValue& element : *groups->asArray()) {
    try {
      result.push_back(detail::decodeRecord<AudienceVariantGroup>(element));
    } catch (const DecodingError&) {
      // A group the backend got wrong is left out; the others still serve.
    }
  }
  std::stable_sort(result.begin(), result.end(), [](const AudienceVariantGroup& a, const AudienceVariantGroup& b) {
    return a.priority < b.priority;
  });
  return result;
}

}  // namespace tarnwell
