// File: tarnwell/targeting/detail/rule_evaluation.h
//
// The rule language that surveys, announcements, live cards and feature flags share: resolve a
// named field from the identity and property stores, compare it with the backend's value by an
// operator, fire a trigger on an event's count, test a schedule window, test segment membership.
// How conditions group into rules, and what a verdict leads to, is up to each consumer.
//
//   bool pro = evaluateCondition(rule.field, rule.op, rule.value, properties, sessions);
//   // the same as evaluateOperator(resolveField(rule.field, ...), rule.op.value_or("equals"), rule.value)
//   if (auto match = evaluateBehavioralTrigger(trigger, "checkout", tracker, true)) show(match->count);
//
// Evaluation never throws (but std::bad_alloc) and never logs: a value of the wrong type, an
// unknown operator or an unreadable number makes a condition false. resolveField and the
// functions built on it read PropertyManager and SessionManager, which take their own locks;
// the SDK calls them from its main context and from the flag manager alike. The rest is pure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tarnwell/core/json_value.h>
#include <tarnwell/core/timestamp.h>
#include <tarnwell/targeting/rule_condition.h>
#include <tarnwell/targeting/segment.h>
#include "tarnwell/core/detail/text.h"
#include "tarnwell/events/detail/behavioral_event_tracker.h"
#include "tarnwell/identity/detail/property_manager.h"
#include "tarnwell/identity/detail/session_manager.h"

namespace tarnwell::detail {

// The value a rule reads for `field`. Absent for an absent or empty name. "user_id",
// "device_id" and "session_id", in any case, name the identity: the effective user id, the
// device id, and the running session's id (JSON null, not absent, when none runs). Any other
// name is looked up, ignoring case, in the application, device, user and custom properties, in
// that order (PropertyManager::findTargetingProperty); absent when none has it. Not trimmed.
std::optional<JSONValue> resolveField(const std::optional<std::string>& field, PropertyManager& properties,
                                      const SessionManager& sessions);

// Compares the resolved value with the expected one. The operator is matched ignoring case but
// not trimmed; an unknown operator is false.
//   "equals", "not_equals": strict equality (1 differs from "1", absent from null; absent equals
//       absent); "not_equals" is exactly its negation.
//   "contains": both sides as text (a number in its shortest form, so 42 reads "42.0"; a bool as
//       "true"/"false"); the expected text occurs in the actual one ignoring ASCII case. False
//       for an absent side, an object, a list, null, or an empty expected text.
//   "in": the expected value is a non-empty list holding an element strictly equal to the actual
//       value; an absent actual value is looked for as null.
//   "greater_than", "greater_than_equals", "less_than", "less_than_equals": numbers, or texts
//       that parse whole as a floating-point number in the "C" locale (no leading blank, nothing
//       after; "1e400" is infinity). Anything else, on either side, is false; so is NaN.
// Allocates nothing except to turn a number into text for "contains".
bool evaluateOperator(const std::optional<JSONValue>& actual, std::string_view op,
                      const std::optional<JSONValue>& expected);

// One condition as every consumer evaluates it: the resolved field against `value` by `op`,
// "equals" when `op` is absent.
bool evaluateCondition(const std::optional<std::string>& field, const std::optional<std::string>& op,
                       const std::optional<JSONValue>& value, PropertyManager& properties,
                       const SessionManager& sessions);

// Whether the rules of a survey, announcement or live card hold: the enabled rules only, each
// the "and" of its enabled conditions (requireAllConditions is never read). A matchType of "all"
// in any case, or none, needs every verdict, anything else at least one, so "any" over no
// enabled rule fails while "all" passes. `Rule` has `enabled` and `conditions` (SurveyRule,
// LiveCardRule).
template <typename Rule>
bool enabledRulesHold(const std::vector<Rule>& rules, const std::optional<std::string>& matchType,
                      PropertyManager& properties, const SessionManager& sessions) {
  const bool matchAll = !matchType || equalsIgnoringAsciiCase(*matchType, "all");
  for (const Rule& rule : rules) {
    if (!rule.enabled) continue;
    bool holds = true;
    for (const RuleCondition& condition : rule.conditions) {
      if (condition.enabled &&
          !evaluateCondition(condition.field, condition.op, condition.value, properties, sessions)) {
        holds = false;
        break;
      }
    }
    if (matchAll && !holds) return false;
    if (!matchAll && holds) return true;
  }
  return matchAll;
}

// Why a behavioral trigger fired.
struct BehavioralTriggerMatch {
  std::string eventName;   // the trigger's name, trimmed
  std::int64_t count = 0;  // the event's count, the pending occurrence included
  std::string op;          // lower-cased; "equals" when the trigger has none

  friend bool operator==(const BehavioralTriggerMatch&, const BehavioralTriggerMatch&) = default;
};

// Whether `trigger` fires for the event `currentEventName` now. It needs to be enabled, to name
// the current event (its name trimmed, compared ignoring case) and to have a count N of at least
// 1. The event's count in `tracker`, plus one when `includePending` (the current occurrence is
// not recorded yet), must then meet N by the operator: "every_nth" a non-zero multiple of N,
// "greater_than_equals" at least N, "greater_than" more than N, and any other operator, unknown
// ones included, exactly N.
std::optional<BehavioralTriggerMatch> evaluateBehavioralTrigger(const BehavioralTrigger& trigger,
                                                                const std::optional<std::string>& currentEventName,
                                                                const BehavioralEventTracker& tracker,
                                                                bool includePending);

// Whether `now` lies in the window from `start` to `end`, bounds included. A bound that is
// absent, empty or not an ISO 8601 date (with or without fractional seconds) is no bound.
bool isWithinSchedule(const std::optional<std::string>& start, const std::optional<std::string>& end, Timestamp now);

// Whether the current user meets every condition of `segment`, tested in order until the first
// that fails. A segment without conditions holds everybody.
bool isInSegment(const Segment& segment, PropertyManager& properties, const SessionManager& sessions);

}  // namespace tarnwell::detail
