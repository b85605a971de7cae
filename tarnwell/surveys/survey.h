// File: tarnwell/surveys/survey.h
//
// Survey is the backend's record of a survey and of an announcement alike: a flat document of
// texts, four of which hold JSON documents of their own (structure, targeting, config,
// analytics). SurveyResponse is the record of one answered survey.
//
//   Survey survey = Survey::decode(JSONValue::decode(R"({
//       "$id":"s1","name":"NPS","status":"published","eventTriggerId":"checkout",
//       "targeting":"{\"rules\":[],\"audience\":\"all\",\"percentage\":100}"})"));
//   survey.id;                      // "s1": the wire key is "$id"
//   survey.targeting()->audience;   // "all", parsed from targetingJSON on this call
//   survey.config();                // std::nullopt: no "config" text
//
// Every Survey field is an optional text; a value of any other JSON type under one of its keys
// fails the whole record, and with it the list it came in. A malformed nested document never
// fails the record: only its accessor reads as absent.
// Plain values, safe on any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>
#include <tarnwell/surveys/survey_config.h>
#include <tarnwell/surveys/survey_structure.h>
#include <tarnwell/surveys/survey_targeting.h>

namespace tarnwell {

struct TARNWELL_API Survey {
  std::optional<std::string> id;  // "$id"; keys the delivery ledger and every event
  std::optional<std::string> name;
  std::optional<std::string> description;
  std::optional<std::string> templateId;
  std::optional<std::string> structureJSON;  // "structure"
  std::optional<std::string> targetingJSON;  // "targeting"
  std::optional<std::string> status;         // only Constants::surveyStatusPublished is delivered
  std::optional<std::string> ownerId;
  std::optional<std::string> organizationId;
  std::optional<std::string> projectId;
  std::optional<std::string> appId;
  std::optional<std::string> eventTriggerId;  // the event that triggers this item
  std::optional<std::string> configJSON;      // "config"
  std::optional<std::string> analyticsJSON;   // "analytics"
  std::optional<std::string> scheduleStart;   // ISO 8601; not delivered before
  std::optional<std::string> scheduleEnd;     // ISO 8601; not delivered after
  std::optional<std::string> createdAt;       // "$createdAt", kept as text
  std::optional<std::string> updatedAt;       // "$updatedAt", kept as text

  friend bool operator==(const Survey&, const Survey&) = default;

  // Throws DecodingError naming the key of the first value that is not text.
  static Survey decode(const JSONValue& value);
  JSONValue encode() const;

  // The nested documents, parsed afresh on every call so they can never disagree with the
  // texts. Absent when the text is absent, empty or does not decode; nothing is logged.
  std::optional<SurveyStructure> structure() const;
  std::optional<SurveyTargeting> targeting() const;
  std::optional<SurveyConfig> config() const;
  std::optional<SurveyAnalytics> analytics() const;
};

// One answered survey or announcement, as the client fills it in.
struct TARNWELL_API SurveyResponse {
  std::optional<std::string> id;
  std::optional<std::string> userId;
  std::optional<std::string> appId;
  std::optional<std::string> appVersion;
  std::optional<std::string> platform;
  std::optional<std::string> metadata;
  std::optional<std::string> organizationId;
  std::optional<std::string> projectId;
  std::optional<std::string> surveyId;
  std::optional<std::string> responsesJSON;  // "responses": the answers as JSON text
  bool completed = false;                    // required
  std::optional<std::string> surveyName;
  std::optional<std::string> userName;
  std::optional<std::string> userEmail;
  std::optional<std::string> userSegment;
  std::optional<std::string> answersJSON;  // "answers": the same text again
  std::optional<double> score;
  std::int64_t completionTime = 0;  // required; seconds on screen
  std::optional<std::string> deviceInfo;
  std::optional<std::string> location;
  std::optional<std::string> submittedAt;  // ISO 8601 with fractional seconds
  std::optional<std::string> ownerId;

  friend bool operator==(const SurveyResponse&, const SurveyResponse&) = default;

  static SurveyResponse decode(const JSONValue& value);
  JSONValue encode() const;
};

}  // namespace tarnwell
