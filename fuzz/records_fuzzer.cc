// One content record as the backend serves it, with every reading the SDK derives from it. The
// first byte picks the record: 's' survey, 'f' feature flag, 'l' live card, 'g' segment, 'r'
// runtime configuration (any other byte by its value); the rest is the record's JSON. Whatever
// decodes, and every nested document read out of it, must survive its own encoding.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "tarnwell/backend/runtime_config.h"
#include "tarnwell/flags/feature_flag.h"
#include "tarnwell/livecards/live_card.h"
#include "tarnwell/surveys/survey.h"
#include "tarnwell/targeting/segment.h"

namespace tarnwell {
namespace {

template <typename Record>
std::optional<Record> decodeOrNothing(const JSONValue& value) {
  try {
    return Record::decode(value);
  } catch (const DecodingError&) {
    return std::nullopt;  // a record the backend got wrong is dropped, not an error
  }
}

template <typename Document>
void checkDocument(const std::optional<Document>& document, std::string_view what) {
  if (document) fuzz::requireRoundTrip(*document, what);
}

void checkSurvey(const Survey& survey) {
  fuzz::requireRoundTrip(survey, "the survey");
  checkDocument(survey.structure(), "the survey's structure");
  checkDocument(survey.targeting(), "the survey's targeting");
  checkDocument(survey.config(), "the survey's config");
  checkDocument(survey.analytics(), "the survey's analytics");
}

void checkFlag(const FeatureFlag& flag) {
  fuzz::requireRoundTrip(flag, "the feature flag");
  for (const Variation& variation : flag.variations()) fuzz::requireRoundTrip(variation, "a variation");
  for (const TargetingRule& rule : flag.targetingRules()) fuzz::requireRoundTrip(rule, "a targeting rule");
  (void)flag.rolloutConfig();
  (void)flag.scheduleConfig();
  if (const auto experiment = flag.experimentConfig()) (void)experiment->encode().encode();
  (void)flag.deliveryMode();
  const std::vector<AudienceVariantGroup> groups = flag.audienceVariants();
  fuzz::require(std::ranges::is_sorted(groups, {}, &AudienceVariantGroup::priority),
                "audience variants are not in ascending priority");
  for (const AudienceVariantGroup& group : groups) {
    for (const TargetingRule& rule : group.rules.value_or(std::vector<TargetingRule>{})) {
      fuzz::requireRoundTrip(rule, "an audience variant's rule");
    }
  }
}

void checkLiveCard(const LiveCard& card) {
  fuzz::requireRoundTrip(card, "the live card");
  fuzz::require(card.isActive() == (card.status == "live" || card.status == "published"),
                "isActive does not follow the status");
  checkDocument(card.structure(), "the live card's structure");
  checkDocument(card.config(), "the live card's config");
  checkDocument(card.targeting(), "the live card's targeting");
}

void checkSegment(const Segment& segment) {
  fuzz::requireRoundTrip(segment, "the segment");
  for (const SegmentCondition& condition : segment.conditions()) {
    fuzz::requireRoundTrip(condition, "a segment condition");
  }
}

// The configuration is all or nothing: the record when it decodes, else the defaults.
void checkRuntimeConfig(const JSONValue& value) {
  const std::optional<RuntimeConfig> config = decodeOrNothing<RuntimeConfig>(value);
  fuzz::require(makeRuntimeConfig(&value) == config.value_or(defaultRuntimeConfig()),
                "makeRuntimeConfig is neither the record nor the defaults");
  checkDocument(config, "the runtime config");
  checkDocument(decodeOrNothing<ApiKeyConfig>(value), "the API key config");
}

}  // namespace
}  // namespace tarnwell

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarnwell;
  if (size == 0) return 0;
  constexpr std::string_view kKinds = "sflgr";
  const std::size_t named = kKinds.find(static_cast<char>(data[0]));
  const std::size_t kind = named != std::string_view::npos ? named : data[0] % kKinds.size();
  JSONValue value;
  try {
    value = JSONValue::decode(fuzz::asText(data + 1, size - 1));
  } catch (const DecodingError&) {
    return 0;
  }
  switch (kind) {
    case 0:
      if (const auto survey = decodeOrNothing<Survey>(value)) checkSurvey(*survey);
      break;
    case 1:
      if (const auto flag = decodeOrNothing<FeatureFlag>(value)) checkFlag(*flag);
      break;
    case 2:
      if (const auto card = decodeOrNothing<LiveCard>(value)) checkLiveCard(*card);
      break;
    case 3:
      if (const auto segment = decodeOrNothing<Segment>(value)) checkSegment(*segment);
      break;
    default: checkRuntimeConfig(value); break;
  }
  return 0;
}
