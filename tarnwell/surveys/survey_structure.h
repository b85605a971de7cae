// File: tarnwell/surveys/survey_structure.h
//
// What a survey or announcement presenter draws: the structure document that a Survey carries
// as JSON text under "structure", with its questions, options, buttons and style.
//
//   SurveyStructure structure = SurveyStructure::decode(JSONValue::decode(R"({
//       "type":"nps","title":"How are we doing?","iconUrl":"https://cdn.example/i.png",
//       "questions":[{"id":"q1","type":"single","options":["Very Happy",{"value":"no","label":"No"}]}],
//       "buttons":{"primary":{"text":"Send"}}})"));
//   structure.iconURL;                           // the key is "iconUrl"
//   structure.questions[0].required;             // false: missing means optional
//   structure.questions[0].options[0].value;     // "very_happy", label "Very Happy"
//   structure.buttons->primary->visible;         // true unless the document says false
//
// Every field may be missing. The defaults that decoding fills in are the member initialisers
// below (an empty question or option list, a non-required question, a visible button); all
// other missing fields stay absent. A present value of the wrong JSON type fails the document.
// Plain values, safe on any thread.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>

namespace tarnwell {

// One answer choice. A document may give it as a bare string: the trimmed text becomes the
// label and its lower-cased form, blanks turned into "_", the value ("Very Happy" gives
// "very_happy"); a string of blanks only gives neither. The object form is taken as it stands.
struct SurveyOption {
  std::optional<std::string> value;
  std::optional<std::string> label;
  std::optional<std::string> description;

  friend bool operator==(const SurveyOption&, const SurveyOption&) = default;
};

struct SurveyQuestion {
  std::optional<std::string> id;
  std::optional<std::string> type;
  std::optional<std::string> title;
  std::optional<std::string> subtitle;
  std::optional<std::string> description;
  std::optional<std::string> placeholder;
  bool required = false;
  std::vector<SurveyOption> options;
  std::optional<std::int64_t> minRating;
  std::optional<std::int64_t> maxRating;
  std::optional<std::int64_t> maxLength;
  std::optional<std::int64_t> maxSelections;
  std::optional<std::int64_t> scale;
  std::optional<JSONObject> logic;
  std::optional<JSONObject> conditions;
  std::optional<JSONObject> style;
  std::optional<bool> allowScreenshot;
  std::optional<std::string> screenshotLabel;
  std::optional<std::map<std::string, std::string>> labels;

  friend bool operator==(const SurveyQuestion&, const SurveyQuestion&) = default;
};

struct SurveyButton {
  std::optional<std::string> text;
  std::optional<std::string> type;
  bool visible = true;  // a missing or null "visible" shows the button
  std::optional<std::string> action;
  std::optional<std::string> deeplinkURI;  // "deeplinkUri"
  std::optional<std::string> target;

  friend bool operator==(const SurveyButton&, const SurveyButton&) = default;
};

// The button slots a template may fill; each names the button by its role.
struct SurveyButtons {
  std::optional<SurveyButton> primary;
  std::optional<SurveyButton> secondary;
  std::optional<SurveyButton> submitText;
  std::optional<SurveyButton> cancelText;
  std::optional<SurveyButton> skipText;
  std::optional<SurveyButton> nextText;
  std::optional<SurveyButton> previousText;
  std::optional<SurveyButton> confirmText;
  std::optional<SurveyButton> dismissText;

  friend bool operator==(const SurveyButtons&, const SurveyButtons&) = default;
};

// Colours are hexadecimal texts; sizes are texts the presenter resolves.
struct SurveyStyle {
  std::optional<std::string> primaryColor;
  std::optional<std::string> backgroundColor;
  std::optional<std::string> textColor;
  std::optional<std::string> buttonTextColor;
  std::optional<std::string> buttonBackgroundColor;
  std::optional<std::string> secondaryButtonColor;
  std::optional<std::string> secondaryButtonTextColor;
  std::optional<std::string> bulletTextColor;
  std::optional<std::string> fontFamily;
  std::optional<std::string> titleSize;
  std::optional<std::string> textSize;
  std::optional<std::int64_t> borderRadius;
  std::optional<bool> shadow;
  std::optional<std::string> iconColor;
  std::optional<std::string> iconSize;

  friend bool operator==(const SurveyStyle&, const SurveyStyle&) = default;
};

struct TARNWELL_API SurveyStructure {
  std::optional<std::string> type;  // the template word
  std::optional<std::string> title;
  std::optional<std::string> subtitle;
  std::optional<std::string> description;
  std::vector<SurveyQuestion> questions;
  std::optional<SurveyButtons> buttons;
  std::optional<SurveyStyle> style;
  std::optional<JSONObject> config;
  std::optional<JSONObject> targeting;
  std::optional<std::string> iconURL;  // "iconUrl"
  std::optional<std::string> icon;
  std::optional<JSONObject> fieldStyles;
  std::optional<std::vector<JSONObject>> items;  // carousel slides of an announcement
  std::optional<bool> showIndicators;
  std::optional<bool> allowSwipe;
  std::optional<bool> autoAdvance;
  std::optional<std::int64_t> autoAdvanceInterval;
  std::optional<std::vector<std::string>> bullets;

  friend bool operator==(const SurveyStructure&, const SurveyStructure&) = default;

  // Throws DecodingError naming the key path of the first value that does not fit.
  static SurveyStructure decode(const JSONValue& value);
  JSONValue encode() const;
};

}  // namespace tarnwell
