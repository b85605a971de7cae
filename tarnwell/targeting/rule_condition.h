// File: tarnwell/targeting/rule_condition.h
//
// The condition records of the rule language that surveys, announcements, live cards and
// feature flags share. Each names a field of the identity and property stores, an operator and
// an expected value; the consumer decides how conditions are grouped.
//
//   RuleCondition condition = RuleCondition::decode(JSONValue::decode(
//       R"({"field":"plan","operator":"equals","value":"pro","enabled":true})"));
//   condition.op;   // "equals": the wire key is "operator"
//
// Plain values, safe on any thread. decode throws DecodingError naming the key path when a
// required key is missing or a value has the wrong JSON type.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>

namespace tarnwell {

// One condition of a survey, announcement or live-card rule.
struct TARNWELL_API RuleCondition {
  std::optional<std::string> id;
  std::optional<std::string> field;
  std::optional<std::string> op;  // "operator"
  std::optional<JSONValue> value;
  bool enabled = false;  // required

  friend bool operator==(const RuleCondition&, const RuleCondition&) = default;
  static RuleCondition decode(const JSONValue& value);
  JSONValue encode() const;
};

// One condition of a feature flag; flags join their rules with "and".
struct TARNWELL_API TargetingRule {
  std::optional<std::string> id;
  std::optional<std::string> field;
  std::optional<std::string> op;  // "operator"
  std::optional<JSONValue> value;
  std::optional<std::vector<std::string>> variations;  // carried; no evaluation reads it

  friend bool operator==(const TargetingRule&, const TargetingRule&) = default;
  static TargetingRule decode(const JSONValue& value);
  JSONValue encode() const;
};

// Fires on the count of an event in the behavioral counters.
struct TARNWELL_API BehavioralTrigger {
  bool enabled = false;  // required
  std::optional<std::string> eventName;
  std::optional<std::string> op;  // "operator"
  std::optional<std::int64_t> count;

  friend bool operator==(const BehavioralTrigger&, const BehavioralTrigger&) = default;
  static BehavioralTrigger decode(const JSONValue& value);
  JSONValue encode() const;
};

}  // namespace tarnwell
