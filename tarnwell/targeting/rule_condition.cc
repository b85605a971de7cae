#include "tarnwell/targeting/rule_condition.h"

#include "tarnwell/targeting/detail/rule_condition_fields.h"

namespace tarnwell {

RuleCondition RuleCondition::decode(const JSONValue& value) { return decodeRecord<RuleCondition>(value); }
JSONValue RuleCondition::encode() const { return encodeRecord(*this); }

TargetingRule TargetingRule::decode(const JSONValue& value) { return decodeRecord<TargetingRule>(value); }
JSONValue TargetingRule::encode() const { return encodeRecord(*this); }

BehavioralTrigger BehavioralTrigger::decode(const JSONValue& value) { return decodeRecord<BehavioralTrigger>(value); }
JSONValue BehavioralTrigger::encode() const { return encodeRecord(*this); }

}  // namespace tarnwell
