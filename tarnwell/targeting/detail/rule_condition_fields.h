// File: tarnwell/targeting/detail/rule_condition_fields.h
//
// The field tables of the condition records, for records that nest them (survey and live-card
// targeting, flag audience groups) and decode them in the same pass.
#pragma once

#include <tuple>

#include "tarnwell/core/detail/record_coding.h"
#include "tarnwell/targeting/rule_condition.h"

namespace tarnwell::detail {

template <>
struct RecordFields<RuleCondition> {
  using R = RuleCondition;
  static constexpr auto fields =
      std::make_tuple(field(&R::id, "id"), field(&R::field, "field"), field(&R::op, "operator"),
                      field(&R::value, "value"), field(&R::enabled, "enabled"));
};

template <>
struct RecordFields<TargetingRule> {
  using R = TargetingRule;
  static constexpr auto fields =
      std::make_tuple(field(&R::id, "id"), field(&R::field, "field"), field(&R::op, "operator"),
                      field(&R::value, "value"), field(&R::variations, "variations"));
};

template <>
struct RecordFields<BehavioralTrigger> {
  using R = BehavioralTrigger;
  static constexpr auto fields = std::make_tuple(field(&R::enabled, "enabled"), field(&R::eventName, "eventName"),
                                                 field(&R::op, "operator"), field(&R::count, "count"));
};

}  // namespace tarnwell::detail
