// File: tarnwell/presentation/detail/survey_template_rules.h
//
// The readings a survey presenter takes from a survey before drawing it: which template flow a
// survey runs, how a question's type word is normalised, which glyph an emoji answer shows, and
// the cleaning of display texts.
//
//   detail::normalisedQuestionType(" Star-Rating ");            // "starrating"
//   detail::resolveTemplateKind("NPS_Survey", structure);       // SurveyTemplateKind::nps
//   detail::emojiGlyphForLabel("Feeling great");                // "\U0001F642"
//
// Pure functions of their arguments: any thread, nothing logged, nothing thrown but
// std::bad_alloc.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tarnwell/core/color.h>
#include <tarnwell/core/json_value.h>
#include <tarnwell/presentation/survey_presenter_view.h>
#include <tarnwell/surveys/survey_structure.h>

namespace tarnwell::detail {

// Trimmed text, or absent when nothing is left (or there was no text).
std::optional<std::string> cleanedText(const std::optional<std::string>& text);

// The tint of chosen scores and of the submit button.
inline constexpr Color kSurveyAccent{0.0, 0.48, 1.0, 1.0};

// The cleaned text of a question's field, otherwise `fallback` (also when there is no question).
std::string questionTextOr(const SurveyQuestion* question, std::optional<std::string> SurveyQuestion::*field,
                           std::string_view fallback);

// An answer as a field or a choice reads it: its scalar text, empty for none.
std::string answerText(const std::optional<JSONValue>& value);

// A field's maxLength for the node tree: clamped to 0...INT_MAX.
std::optional<int> fieldLimit(std::optional<std::int64_t> maxLength);

// Lower case, every '_' and '-' removed, trimmed; an absent type is empty.
std::string normalisedQuestionType(const std::optional<std::string>& type);

// The template word of `templateId` first, then the structure's own type word; a structure
// that did not parse counts as one with no type and no questions.
SurveyTemplateKind resolveTemplateKind(const std::optional<std::string>& templateId,
                                       const std::optional<SurveyStructure>& structure);

// Whether the text holds a code point of the emoji blocks (pictographs, symbols, dingbats).
bool containsEmoji(std::string_view text);

// The face an emoji answer shows: the label itself when it already holds an emoji, otherwise
// the first hit of the mood words searched as substrings of the lower-case text, in the order
// happy-est first ("very_sad" is caught by "sad": that order is the product's).
std::string emojiGlyphForLabel(std::string_view label);

// The answer an option stands for: its value, otherwise its label, otherwise empty.
std::string optionValue(const SurveyOption& option);

// Texts of a JSON value read element by element with the scalar text rule (a string as it is,
// a boolean "true"/"false", a number as "2.0"); a single scalar gives a list of one.
std::vector<std::string> scalarTexts(const JSONValue& value);

}  // namespace tarnwell::detail
