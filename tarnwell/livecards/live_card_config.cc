#include "tarnwell/livecards/live_card_config.h"

#include "tarnwell/livecards/detail/live_card_fields.h"

namespace tarnwell {

LiveCardConfig LiveCardConfig::decode(const JSONValue& value) { return detail::decodeRecord<LiveCardConfig>(value); }
JSONValue LiveCardConfig::encode() const { return detail::encodeRecord(*this); }

}  // namespace tarnwell
