#include "tarnwell/livecards/live_card.h"

#include "tarnwell/core/constants.h"
#include "tarnwell/core/detail/record_coding.h"
#include "tarnwell/livecards/detail/live_card_fields.h"

namespace tarnwell {

LiveCard LiveCard::decode(const JSONValue& value) { return detail::decodeRecord<LiveCard>(value); }
JSONValue LiveCard::encode() const { return detail::encodeRecord(*this); }

bool LiveCard::isActive() const {
  // Cards share the content-wide "published" word besides their own "live".
  return status == Constants::liveCardStatusLive || status == Constants::surveyStatusPublished;
}

std::optional<LiveCardStructure> LiveCard::structure() const {
  return detail::decodeEmbedded<LiveCardStructure>(structureJSON);
}
std::optional<LiveCardConfig> LiveCard::config() const { return detail::decodeEmbedded<LiveCardConfig>(configJSON); }
std::optional<LiveCardTargeting> LiveCard::targeting() const {
  return detail::decodeEmbedded<LiveCardTargeting>(targetingJSON);
}

}  // namespace tarnwell
