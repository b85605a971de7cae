#include "tarnwell/targeting/segment.h"

#include "tarnwell/core/coding_error.h"
#include "tarnwell/targeting/detail/segment_fields.h"

namespace tarnwell {

SegmentCondition SegmentCondition::decode(const JSONValue& value) { return decodeRecord<SegmentCondition>(value); }
JSONValue SegmentCondition::encode() const { return encodeRecord(*this); }

Segment Segment::decode(const JSONValue& value) { return decodeRecord<Segment>(value); }
JSONValue Segment::encode() const { return encodeRecord(*this); }

std::vector<SegmentCondition> Segment::conditions() const {
  // Conditions the SDK can't read restrict nobody, like a segment that can't be fetched.
  return decodeEmbedded<std::vector<SegmentCondition>>(conditionsJSON).value_or(std::vector<SegmentCondition>{});
}

}  // namespace tarnwell
