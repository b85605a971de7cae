#include "tarnwell/targeting/rule_condition.h"

#include "tarnwell/targeting/detail/rule_condition_fields.h"

namespace tarnwell {

RuleCondition RuleCondition::decode(const JSONValue& value) { return detail::decodeRecord<RuleCondition>(value); }
JSONValue RuleCondition::encode() const { return detail::encodeRecord(*this); }

TargetingRule TargetingRule::decode(const JSONValue& value) { return detail::decodeRecord<TargetingRule>(value); }
JSONValue TargetingRule::encode() const { return detail::encodeRecord(*this); }

BehavioralTrigger BehavioralTrigger::decode(const JSONValue& value) {
  return detail::decodeRecord<BehavioralTrigger>(value);
}
JSONValue BehavioralTrigger::encode() const { return detail::encodeRecord(*this); }

}  // namespace tarnwell
