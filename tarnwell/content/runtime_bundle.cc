#include "tarnwell/content/runtime_bundle.h"

#include <tuple>

#include "tarnwell/core/detail/record_coding.h"
#include "tarnwell/flags/detail/feature_flag_fields.h"
#include "tarnwell/livecards/detail/live_card_fields.h"
#include "tarnwell/surveys/detail/survey_fields.h"

namespace tarnwell {

namespace detail {

template <>
struct RecordFields<RuntimeBundle> {
  using R = RuntimeBundle;
  static constexpr auto fields =
      std::make_tuple(field(&R::versions, "versions"), field(&R::loadedAt, "loadedAt"), field(&R::surveys, "surveys"),
                      field(&R::announcements, "announcements"), field(&R::liveCards, "liveCards"),
                      field(&R::featureFlags, "featureFlags"));
};

}  // namespace detail

RuntimeBundle RuntimeBundle::decode(const JSONValue& value) { return detail::decodeRecord<RuntimeBundle>(value); }

RuntimeBundle RuntimeBundle::decodeText(std::string_view json) { return decode(JSONValue::decode(json)); }

JSONValue RuntimeBundle::encode() const { return detail::encodeRecord(*this); }

namespace {

template <typename Record>
std::vector<Record> decodeTolerantList(const JSONValue& list) {
  std::vector<Record> records;
  const JSONArray* elements = list.asArray();
  if (elements == nullptr) return records;
  records.reserve(elements->size());
  for (const JSONValue& element : *elements) {
    try {
      records.push_back(detail::decodeRecord<Record>(element));
    } catch (const DecodingError&) {
      // Dropped on purpose: the backend's other records still serve.
    }
  }
  return records;
}

}  // namespace

std::vector<Survey> decodeSurveyList(const JSONValue& list) { return decodeTolerantList<Survey>(list); }
std::vector<LiveCard> decodeLiveCardList(const JSONValue& list) { return decodeTolerantList<LiveCard>(list); }
std::vector<FeatureFlag> decodeFeatureFlagList(const JSONValue& list) { return decodeTolerantList<FeatureFlag>(list); }

}  // namespace tarnwell
