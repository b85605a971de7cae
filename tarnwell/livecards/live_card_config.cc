#include "tarnwell/livecards/live_card_config.h"

#include "tarnwell/livecards/detail/live_card_fields.h"

namespace tarnwell {

LiveCardConfig LiveCardConfig::decode(const JSONValue& value) { return decodeRecord<LiveCardConfig>(value); }
JSONValue LiveCardConfig::encode() const { return encodeRecord(*this); }

}  // namespace tarnwell
