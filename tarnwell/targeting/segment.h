// File: tarnwell/targeting/segment.h
//
// A segment is a named audience kept on the backend: a list of conditions that a user meets
// when every one of them holds. Surveys, announcements, live cards and flags name a segment by
// id and fetch it when they decide; the conditions travel as a JSON text inside the record.
//
//   Segment segment = Segment::decode(JSONValue::decode(R"({"id":"s1","name":"Pros",
//       "conditions":"[{\"field\":\"plan\",\"operator\":\"equals\",\"value\":\"pro\"}]"})"));
//   segment.conditions().at(0).op;   // "equals"
//
// Plain values, safe on any thread. decode throws DecodingError naming the key path when a
// required key is missing or a value has the wrong JSON type.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>

namespace tarnwell {

// One condition of a segment; unlike a rule condition its field and operator are required.
struct TARNWELL_API SegmentCondition {
  std::optional<std::string> id;
  std::string field;  // required
  std::string op;     // "operator", required
  std::optional<JSONValue> value;
  std::optional<std::string> type;  // carried; no evaluation reads it

  friend bool operator==(const SegmentCondition&, const SegmentCondition&) = default;
  static SegmentCondition decode(const JSONValue& value);
  JSONValue encode() const;
};

struct TARNWELL_API Segment {
  std::string id;    // required
  std::string name;  // required
  std::optional<std::string> description;
  std::optional<std::string> conditionsJSON;  // "conditions": a JSON text holding a list of conditions
  std::optional<bool> isActive;               // carried; no evaluation reads it

  // The conditions read from conditionsJSON on each call. Absent or empty text, text that is
  // not JSON, or a list with one condition that does not decode all give the empty list, which
  // every user meets. Never throws but std::bad_alloc.
  std::vector<SegmentCondition> conditions() const;

  friend bool operator==(const Segment&, const Segment&) = default;
  static Segment decode(const JSONValue& value);
  JSONValue encode() const;
};

}  // namespace tarnwell
