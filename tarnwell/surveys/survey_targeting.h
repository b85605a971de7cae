// File: tarnwell/surveys/survey_targeting.h
//
// Who may see a survey or announcement and how often: the targeting document that a Survey
// carries as JSON text under "targeting".
//
//   SurveyTargeting targeting = SurveyTargeting::decode(JSONValue::decode(R"({
//       "rules":[{"conditions":[{"field":"plan","operator":"equals","value":"pro","enabled":true}],
//                 "enabled":true,"requireAllConditions":true}],
//       "audience":"all","percentage":100,"samplingPercentage":50,
//       "triggerCountRule":{"enabled":true,"eventName":"checkout","count":3,"operator":"gte"}})"));
//   targeting.triggerCountRule->op;   // "gte": the wire key is "operator"
//
// "rules", "audience" and "percentage" are required: a document without any of them does not
// decode, and the survey then counts as having no targeting at all. Of the rest, delivery
// reads matchType, segmentId, behavioralTrigger, samplingPercentage, priority, frequency and
// triggerCountRule; audience, percentage and schedule travel with the record unread.
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

// A group of conditions, always joined by "and"; requireAllConditions is kept, never read.
struct SurveyRule {
  std::optional<std::string> id;
  std::optional<std::string> name;
  std::vector<RuleCondition> conditions;  // required
  bool enabled = false;                   // required
  bool requireAllConditions = false;      // required

  friend bool operator==(const SurveyRule&, const SurveyRule&) = default;
};

// Kept as it came; the window that counts is Survey::scheduleStart and Survey::scheduleEnd.
struct SurveySchedule {
  std::optional<bool> enabled;
  std::optional<std::string> startDate;
  std::optional<std::string> endDate;
  std::optional<std::string> timezone;

  friend bool operator==(const SurveySchedule&, const SurveySchedule&) = default;
};

struct SurveyFrequency {
  std::optional<bool> showOncePerUser;
  std::optional<bool> reshowAfterDismiss;
  std::optional<std::int64_t> maxImpressions;
  std::optional<std::int64_t> cooldownMinutes;

  friend bool operator==(const SurveyFrequency&, const SurveyFrequency&) = default;
};

// A second event-count condition; shaped like BehavioralTrigger but a type of its own.
struct SurveyTriggerCountRule {
  bool enabled = false;  // required
  std::optional<std::string> eventName;
  std::optional<std::int64_t> count;
  std::optional<std::string> op;  // "operator"

  friend bool operator==(const SurveyTriggerCountRule&, const SurveyTriggerCountRule&) = default;
};

struct TARNWELL_API SurveyTargeting {
  std::vector<SurveyRule> rules;         // required
  std::optional<std::string> matchType;  // "all" when absent, any case; anything else means "any"
  std::optional<SurveySchedule> schedule;
  std::optional<std::string> segmentId;
  std::optional<BehavioralTrigger> behavioralTrigger;
  std::string audience;                            // required
  std::int64_t percentage = 0;                     // required
  std::optional<std::int64_t> samplingPercentage;  // the one percentage delivery applies
  std::optional<std::int64_t> priority;            // absent counts as 0; higher goes first
  std::optional<SurveyFrequency> frequency;
  std::optional<SurveyTriggerCountRule> triggerCountRule;

  friend bool operator==(const SurveyTargeting&, const SurveyTargeting&) = default;

  // Throws DecodingError naming the key path of the first value that does not fit.
  static SurveyTargeting decode(const JSONValue& value);
  JSONValue encode() const;
};

}  // namespace tarnwell
