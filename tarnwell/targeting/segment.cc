#include "tarnwell/targeting/segment.h"

#include "tarnwell/core/coding_error.h"
#include "tarnwell/targeting/detail/segment_fields.h"

namespace tarnwell {

SegmentCondition SegmentCondition::decode(const JSONValue& value) {
  return detail::decodeRecord<SegmentCondition>(value);
}
JSONValue SegmentCondition::encode() const { return detail::encodeRecord(*this); }

Segment Segment::decode(const JSONValue& value) { return detail::decodeRecord<Segment>(value); }
JSONValue Segment::encode() const { return detail::encodeRecord(*this); }

std::vector<SegmentCondition> Segment::conditions() const {
  // Conditions the SDK can't read restrict nobody, like a segment that can't be fetched.
  return detail::decodeEmbedded<std::vector<SegmentCondition>>(conditionsJSON)
      .value_or(std::vector<SegmentCondition>{});
}

}  // namespace tarnwell
