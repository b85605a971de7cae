#include "tarnwell/livecards/live_card_targeting.h"

#include "tarnwell/livecards/detail/live_card_fields.h"

namespace tarnwell {

LiveCardTargeting LiveCardTargeting::decode(const JSONValue& value) {
  return detail::decodeRecord<LiveCardTargeting>(value);
}
JSONValue LiveCardTargeting::encode() const { return detail::encodeRecord(*this); }

}  // namespace tarnwell
