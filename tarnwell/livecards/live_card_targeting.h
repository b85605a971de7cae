// File: tarnwell/livecards/live_card_targeting.h
//
// Who may see a live card: the targeting document that a LiveCard carries as JSON text under
// "targeting".
//
//   LiveCardTargeting targeting = LiveCardTargeting::decode(JSONValue::decode(R"({
//       "rules":[{"conditions":[{"field":"country","operator":"equals","value":"DE","enabled":true}],
//                 "enabled":true,"requireAllConditions":true}],
//       "audience":"all","percentage":100,"segmentId":"seg1"})"));
//
// "rules", "audience" and "percentage" are required: a document without any of them does not
// decode, and the card then counts as untargeted. Only rules, matchType, segmentId and
// behavioralTrigger are evaluated; the rest travels with the record unread.
// Plain values, safe on any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>
#include <tarnwell/targeting/rule_condition.h>

namespace tarnwell {

struct LiveCardRule {
  std::optional<std::string> id;
  std::optional<std::string> name;
  std::vector<RuleCondition> conditions;  // required
  bool enabled = false;                   // required
  bool requireAllConditions = false;      // required

  friend bool operator==(const LiveCardRule&, const LiveCardRule&) = default;
};

struct TARNWELL_API LiveCardTargeting {
  std::vector<LiveCardRule> rules;       // required
  std::optional<std::string> matchType;  // read as "all" when absent
  std::optional<std::string> segmentId;
  std::optional<BehavioralTrigger> behavioralTrigger;
  std::string audience;         // required
  std::int64_t percentage = 0;  // required
  std::optional<std::vector<std::string>> userSegments;
  std::optional<std::int64_t> minSessions;
  std::optional<std::string> minAppVersion;
  std::optional<std::string> maxAppVersion;
  std::optional<std::vector<std::string>> platforms;
  std::optional<std::vector<std::string>> languages;
  std::optional<std::vector<std::string>> triggerEvents;
  std::optional<std::vector<std::string>> excludeUsers;
  std::optional<JSONObject> requireUserProperties;

  friend bool operator==(const LiveCardTargeting&, const LiveCardTargeting&) = default;

  // Throws DecodingError naming the key path of the first value that does not fit.
  static LiveCardTargeting decode(const JSONValue& value);
  JSONValue encode() const;
};

}  // namespace tarnwell
