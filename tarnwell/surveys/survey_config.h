// File: tarnwell/surveys/survey_config.h
//
// How a survey or announcement behaves on screen, and which extra events the dashboard asked
// for: the documents that a Survey carries as JSON text under "config" and "analytics".
//
//   SurveyConfig config = SurveyConfig::decode(JSONValue::decode(R"({
//       "behavior":{"showProgress":true,"displayDuration":8},
//       "layout":{"position":"bottom","width":0.9,"maxWidth":480}})"));
//   config.layout->width;        // 0.9
//   SurveyAnalytics analytics = SurveyAnalytics::decode(JSONValue::decode(
//       R"({"submitEvent":"nps_sent"})"));
//
// Every field may be missing and then stays absent; a present value of the wrong JSON type
// fails the document. Plain values, safe on any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>
#include <tarnwell/surveys/survey_structure.h>

namespace tarnwell {

struct SurveyBehavior {
  std::optional<bool> showProgress;
  std::optional<bool> allowSkip;
  std::optional<bool> autoDismiss;
  std::optional<bool> requireConfirmation;
  std::optional<bool> showQuestionCount;
  std::optional<bool> autoAdvance;
  std::optional<bool> fullscreen;
  std::optional<bool> preventClose;
  std::optional<std::int64_t> displayDuration;

  friend bool operator==(const SurveyBehavior&, const SurveyBehavior&) = default;
};

struct SurveyLayout {
  std::optional<std::string> position;
  std::optional<double> width;
  std::optional<std::int64_t> maxWidth;
  std::optional<std::string> animation;
  std::optional<std::string> overlayColor;

  friend bool operator==(const SurveyLayout&, const SurveyLayout&) = default;
};

struct TARNWELL_API SurveyConfig {
  std::optional<SurveyStyle> style;
  std::optional<SurveyBehavior> behavior;
  std::optional<SurveyLayout> layout;
  std::optional<JSONObject> targeting;
  std::optional<JSONObject> segmentation;

  friend bool operator==(const SurveyConfig&, const SurveyConfig&) = default;

  // Throws DecodingError naming the key path of the first value that does not fit.
  static SurveyConfig decode(const JSONValue& value);
  JSONValue encode() const;
};

// Names of custom events tracked besides the built-in ones.
struct TARNWELL_API SurveyAnalytics {
  std::optional<std::string> impressionEvent;
  std::optional<std::string> submitEvent;
  std::optional<std::string> responseEvent;

  friend bool operator==(const SurveyAnalytics&, const SurveyAnalytics&) = default;

  static SurveyAnalytics decode(const JSONValue& value);
  JSONValue encode() const;
};

}  // namespace tarnwell
