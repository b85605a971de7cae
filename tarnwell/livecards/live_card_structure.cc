#include "tarnwell/livecards/live_card_structure.h"

#include "tarnwell/livecards/detail/live_card_fields.h"

namespace tarnwell {

LiveCardStructure LiveCardStructure::decode(const JSONValue& value) {
  return detail::decodeRecord<LiveCardStructure>(value);
}
JSONValue LiveCardStructure::encode() const { return detail::encodeRecord(*this); }

}  // namespace tarnwell
