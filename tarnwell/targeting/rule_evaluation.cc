#include "tarnwell/targeting/detail/rule_evaluation.h"

#include <locale.h>
#include <stdlib.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "tarnwell/core/detail/text.h"
#include "tarnwell/core/iso8601.h"

namespace tarnwell::detail {
namespace {

enum class Operator { equals, notEquals, contains, in, greaterThan, greaterThanEquals, lessThan, lessThanEquals };

bool containsIgnoringAsciiCase(std::string_view text, std::string_view part) noexcept {
  if (part.size() > text.size()) return false;
  for (std::size_t at = 0; at + part.size() <= text.size(); ++at) {
    if (equalsIgnoringAsciiCase(text.substr(at, part.size()), part)) return true;
  }
  return false;
}

// Operator names are ASCII, so folding ASCII letters is the same as lower-casing the name.
std::optional<Operator> parseOperator(std::string_view op) noexcept {
  static constexpr std::pair<std::string_view, Operator> kOperators[] = {
      {"equals", Operator::equals},
      {"not_equals", Operator::notEquals},
      {"contains", Operator::contains},
      {"in", Operator::in},
      {"greater_than", Operator::greaterThan},
      {"greater_than_equals", Operator::greaterThanEquals},
      {"less_than", Operator::lessThan},
      {"less_than_equals", Operator::lessThanEquals},
  };
  for (const auto& [name, value] : kOperators) {
    if (equalsIgnoringAsciiCase(op, name)) return value;
  }
  return std::nullopt;
}

bool strictlyEqual(const std::optional<JSONValue>& actual, const std::optional<JSONValue>& expected) noexcept {
  if (!actual || !expected) return !actual && !expected;
  return *actual == *expected;  // never equal across cases: 1 is not "1"
}

// The text "contains" reads, viewing into the value or into `numberText`; absent for objects,
// lists and null.
std::optional<std::string_view> containsText(const JSONValue& value, std::string& numberText) {
  if (const JSONString* text = value.asString()) return text->view();
  if (const bool* flag = value.asBool()) return *flag ? "true" : "false";
  if (const double* number = value.asNumber()) {
    numberText = shortestNumberText(*number);
    return numberText;
  }
  return std::nullopt;
}

bool evaluateContains(const std::optional<JSONValue>& actual, const std::optional<JSONValue>& expected) {
  if (!actual || !expected) return false;
  std::string actualNumber;
  std::string expectedNumber;
  const auto text = containsText(*actual, actualNumber);
  const auto part = containsText(*expected, expectedNumber);
  return text && part && !part->empty() && containsIgnoringAsciiCase(*text, *part);
}

bool evaluateIn(const std::optional<JSONValue>& actual, const std::optional<JSONValue>& expected) noexcept {
  static const JSONValue null;
  const JSONArray* candidates = expected ? expected->asArray() : nullptr;
  if (candidates == nullptr) return false;
  const JSONValue& value = actual ? *actual : null;
  return std::ranges::any_of(*candidates, [&](const JSONValue& candidate) { return candidate == value; });
}

locale_t neutralLocale() noexcept {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", locale_t{});
  return locale;
}

// strtod's reading of the whole text in the "C" locale. strtod itself would skip leading blanks
// and stop before trailing junk; both make the text unreadable here. An overflowing exponent
// reads as infinity, as strtod gives it.
std::optional<double> parseNumericText(std::string_view text) {
  if (text.empty() || std::string_view(" \t\n\v\f\r").find(text.front()) != std::string_view::npos) {
    return std::nullopt;
  }
  const locale_t locale = neutralLocale();
  if (locale == locale_t{}) return std::nullopt;
  // strtod wants a terminated text; numbers are short, so a copy on the stack nearly always does.
  char shortCopy[64];
  std::string longCopy;
  const char* begin = shortCopy;
  if (text.size() < sizeof shortCopy) {
    std::memcpy(shortCopy, text.data(), text.size());
    shortCopy[text.size()] = '\0';
  } else {
    longCopy.assign(text);
    begin = longCopy.c_str();
  }
  char* end = nullptr;
  const double value = strtod_l(begin, &end, locale);
  // An embedded NUL ends the parse early and fails here too.
  if (end != begin + text.size()) return std::nullopt;
  return value;
}

std::optional<double> numericOperand(const std::optional<JSONValue>& value) {
  if (!value) return std::nullopt;
  if (const double* number = value->asNumber()) return *number;
  if (const JSONString* text = value->asString()) return parseNumericText(text->view());
  return std::nullopt;
}

bool evaluateNumeric(Operator op, const std::optional<JSONValue>& actual, const std::optional<JSONValue>& expected) {
  const std::optional<double> left = numericOperand(actual);
  if (!left) return false;
  const std::optional<double> right = numericOperand(expected);
  if (!right) return false;
  // Every comparison with NaN is false, as IEEE 754 has it.
  switch (op) {
    case Operator::greaterThan: return *left > *right;
    case Operator::greaterThanEquals: return *left >= *right;
    case Operator::lessThan: return *left < *right;
    case Operator::lessThanEquals: return *left <= *right;
    default: return false;
  }
}

std::optional<JSONValue> resolveFieldNamed(std::string_view field, PropertyManager& properties,
                                           const SessionManager& sessions) {
  if (field.empty()) return std::nullopt;
  if (equalsIgnoringAsciiCase(field, "user_id")) return JSONValue(properties.getUserId());
  if (equalsIgnoringAsciiCase(field, "device_id")) return JSONValue(properties.getDeviceId());
  if (equalsIgnoringAsciiCase(field, "session_id")) {
    // Null, not absent: a rule whose value is missing must not match "no session".
    std::optional<std::string> sessionId = sessions.getCurrentSessionId();
    return sessionId ? JSONValue(*sessionId) : JSONValue(nullptr);
  }
  return properties.findTargetingProperty(field);
}

std::int64_t saturatingIncrement(std::int64_t count) noexcept {
  return count < std::numeric_limits<std::int64_t>::max() ? count + 1 : count;
}

}  // namespace

std::optional<JSONValue> resolveField(const std::optional<std::string>& field, PropertyManager& properties,
                                      const SessionManager& sessions) {
  if (!field) return std::nullopt;
  return resolveFieldNamed(*field, properties, sessions);
}

bool evaluateOperator(const std::optional<JSONValue>& actual, std::string_view op,
                      const std::optional<JSONValue>& expected) {
  const std::optional<Operator> parsed = parseOperator(op);
  if (!parsed) return false;
  switch (*parsed) {
    case Operator::equals: return strictlyEqual(actual, expected);
    case Operator::notEquals: return !strictlyEqual(actual, expected);
    case Operator::contains: return evaluateContains(actual, expected);
    case Operator::in: return evaluateIn(actual, expected);
    case Operator::greaterThan:
    case Operator::greaterThanEquals:
    case Operator::lessThan:
    case Operator::lessThanEquals: return evaluateNumeric(*parsed, actual, expected);
  }
  return false;
}

bool evaluateCondition(const std::optional<std::string>& field, const std::optional<std::string>& op,
                       const std::optional<JSONValue>& value, PropertyManager& properties,
                       const SessionManager& sessions) {
  return evaluateOperator(resolveField(field, properties, sessions), op ? std::string_view(*op) : "equals", value);
}

std::optional<BehavioralTriggerMatch> evaluateBehavioralTrigger(const BehavioralTrigger& trigger,
                                                                const std::optional<std::string>& currentEventName,
                                                                const BehavioralEventTracker& tracker,
                                                                bool includePending) {
  if (!trigger.enabled || !trigger.eventName) return std::nullopt;
  const std::string_view name = trimWhitespaceAndNewlines(*trigger.eventName);
  // The current name comes as the host tracked it and is not trimmed here.
  if (name.empty() || !currentEventName || !equalsIgnoringAsciiCase(name, *currentEventName)) return std::nullopt;
  if (!trigger.count || *trigger.count < 1) return std::nullopt;

  const std::int64_t every = *trigger.count;
  std::int64_t count = tracker.getEventCount(name);
  if (includePending) count = saturatingIncrement(count);
  std::string op = trigger.op ? toLowerAscii(*trigger.op) : std::string("equals");
  // Unknown operators, "less_than" among them, count as "equals" rather than failing.
  bool fires = false;
  if (op == "every_nth") {
    fires = count >= 1 && count % every == 0;
  } else if (op == "greater_than_equals") {
    fires = count >= every;
  } else if (op == "greater_than") {
    fires = count > every;
  } else {
    fires = count == every;
  }
  if (!fires) return std::nullopt;
  return BehavioralTriggerMatch{std::string(name), count, std::move(op)};
}

bool isWithinSchedule(const std::optional<std::string>& start, const std::optional<std::string>& end, Timestamp now) {
  if (const auto from = parseISO8601Date(start); from && now < *from) return false;
  if (const auto until = parseISO8601Date(end); until && now > *until) return false;
  return true;
}

bool isInSegment(const Segment& segment, PropertyManager& properties, const SessionManager& sessions) {
  for (const SegmentCondition& condition : segment.conditions()) {
    if (!evaluateOperator(resolveFieldNamed(condition.field, properties, sessions), condition.op, condition.value)) {
      return false;
    }
  }
  return true;
}

}  // namespace tarnwell::detail
