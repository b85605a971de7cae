#include "tarnwell/livecards/live_card.h"

#include "tarnwell/core/constants.h"
#include "tarnwell/livecards/detail/live_card_fields.h"
#include "tarnwell/surveys/detail/embedded_document.h"

namespace tarnwell {

LiveCard LiveCard::decode(const JSONValue& value) { return decodeRecord<LiveCard>(value); }
JSONValue LiveCard::encode() const { return encodeRecord(*this); }

bool LiveCard::isActive() const {
  // Cards share the content-wide "published" word besides their own "live".
  return status == Constants::liveCardStatusLive || status == Constants::surveyStatusPublished;
}

std::optional<LiveCardStructure> LiveCard::structure() const {
  return decodeEmbeddedDocument<LiveCardStructure>(structureJSON);
}
std::optional<LiveCardConfig> LiveCard::config() const { return decodeEmbeddedDocument<LiveCardConfig>(configJSON); }
std::optional<LiveCardTargeting> LiveCard::targeting() const {
  return decodeEmbeddedDocument<LiveCardTargeting>(targetingJSON);
}

}  // namespace tarnwell
