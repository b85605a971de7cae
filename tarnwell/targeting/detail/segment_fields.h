// File: tarnwell/targeting/detail/segment_fields.h
//
// The field tables of the segment records, for the records that nest them.
#pragma once

#include <tuple>

#include "tarnwell/core/detail/record_coding.h"
#include "tarnwell/targeting/segment.h"

namespace tarnwell::detail {

template <>
struct RecordFields<SegmentCondition> {
  using R = SegmentCondition;
  static constexpr auto fields =
      std::make_tuple(field(&R::id, "id"), field(&R::field, "field"), field(&R::op, "operator"),
                      field(&R::value, "value"), field(&R::type, "type"));
};

template <>
struct RecordFields<Segment> {
  using R = Segment;
  static constexpr auto fields =
      std::make_tuple(field(&R::id, "id"), field(&R::name, "name"), field(&R::description, "description"),
                      field(&R::conditionsJSON, "conditions"), field(&R::isActive, "isActive"));
};

}  // namespace tarnwell::detail
