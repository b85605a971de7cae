#include "tarnwell/presentation/detail/survey_template_rules.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <utility>

#include "tarnwell/core/detail/text.h"

namespace tarnwell::detail {

std::optional<std::string> cleanedText(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  std::string_view trimmed = trimWhitespaceAndNewlines(*text);
  if (trimmed.empty()) return std::nullopt;
  return std::string(trimmed);
}

std::string questionTextOr(const SurveyQuestion* question, std::optional<std::string> SurveyQuestion::*field,
                           std::string_view fallback) {
  if (question) {
    if (auto text = cleanedText(question->*field)) return *text;
  }
  return std::string(fallback);
}

std::string answerText(const std::optional<JSONValue>& value) {
  if (!value) return {};
  return value->stringifyScalar().value_or("");
}

std::optional<int> fieldLimit(std::optional<std::int64_t> maxLength) {
  if (!maxLength) return std::nullopt;
  return static_cast<int>(std::clamp<std::int64_t>(*maxLength, 0, INT_MAX));
}

std::string normalisedQuestionType(const std::optional<std::string>& type) {
  if (!type) return {};
  std::string word;
  for (char c : toLowerAscii(*type)) {
    if (c != '_' && c != '-') word.push_back(c);
  }
  return std::string(trimWhitespaceAndNewlines(word));
}

SurveyTemplateKind resolveTemplateKind(const std::optional<std::string>& templateId,
                                       const std::optional<SurveyStructure>& structure) {
  static constexpr std::array<std::pair<std::string_view, SurveyTemplateKind>, 13> kTemplateWords{{
      {"star_rating", SurveyTemplateKind::starRating},
      {"thumbs_feedback", SurveyTemplateKind::thumbsFeedback},
      {"post_support_feedback", SurveyTemplateKind::postSupportFeedback},
      {"text_feedback", SurveyTemplateKind::textFeedback},
      {"nps_survey", SurveyTemplateKind::nps},
      {"csat_survey", SurveyTemplateKind::csat},
      {"emoji_mood_tracker", SurveyTemplateKind::emojiMoodTracker},
      {"multiple_choice_survey", SurveyTemplateKind::multipleChoice},
      {"single_question_poll", SurveyTemplateKind::singleQuestionPoll},
      {"customer_discovery_survey", SurveyTemplateKind::customerDiscovery},
      {"pmf_survey", SurveyTemplateKind::productMarketFit},
      {"exit_survey", SurveyTemplateKind::exitSurvey},
      {"multi_step_survey", SurveyTemplateKind::multiStep},
  }};
  if (templateId) {
    const std::string word(trimWhitespaceAndNewlines(toLowerAscii(*templateId)));
    for (const auto& [name, kind] : kTemplateWords) {
      if (word == name) return kind;
    }
  }
  if (!structure) return SurveyTemplateKind::generic;
  const std::string type = normalisedQuestionType(structure->type);
  if (type == "starrating") return SurveyTemplateKind::starRating;
  if (type == "thumbsfeedback") return SurveyTemplateKind::thumbsFeedback;
  if (type == "nps") return SurveyTemplateKind::nps;
  if (type == "emoji" || type == "emojimoodtracker") return SurveyTemplateKind::emojiMoodTracker;
  if (type == "multiplechoice") return SurveyTemplateKind::multipleChoice;
  // Every decoded question is readable, so only the count decides.
  if (type == "text" && structure->questions.size() < 2) return SurveyTemplateKind::textFeedback;
  return SurveyTemplateKind::generic;
}

namespace {

// Decodes the UTF-8 code point at `i`, advancing it; a broken sequence gives U+FFFD and one byte.
char32_t nextCodePoint(std::string_view text, std::size_t& i) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned char lead = byte(i);
  int length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : (lead >> 3) == 0x1E ? 4 : 0;
  if (length == 0 || i + static_cast<std::size_t>(length) > text.size()) {
    ++i;
    return 0xFFFD;
  }
  char32_t value = length == 1 ? lead : lead & (0x7F >> length);
  for (int k = 1; k < length; ++k) {
    const unsigned char next = byte(i + static_cast<std::size_t>(k));
    if ((next & 0xC0) != 0x80) {
      ++i;
      return 0xFFFD;
    }
    value = (value << 6) | (next & 0x3F);
  }
  i += static_cast<std::size_t>(length);
  return value;
}

}  // namespace

bool containsEmoji(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const char32_t c = nextCodePoint(text, i);
    if ((c >= 0x1F000 && c <= 0x1FAFF) || (c >= 0x2600 && c <= 0x27BF) || c == 0x2B50 || c == 0x2764) return true;
  }
  return false;
}

std::string emojiGlyphForLabel(std::string_view label) {
  if (containsEmoji(label)) return std::string(label);
  struct Mood {
    std::array<std::string_view, 4> words;
    std::string_view glyph;
  };
  static constexpr std::array<Mood, 5> kMoods{{
      {{"very_happy", "excited", "amazing", ""}, "\U0001F929"},
      {{"happy", "good", "great", ""}, "\U0001F642"},
      {{"neutral", "okay", "fine", ""}, "\U0001F610"},
      {{"sad", "bad", "down", ""}, "\U0001F641"},
      {{"very_sad", "angry", "frustrated", "upset"}, "\U0001F61E"},
  }};
  const std::string lower = toLowerAscii(label);
  for (const Mood& mood : kMoods) {
    for (std::string_view word : mood.words) {
      if (!word.empty() && lower.find(word) != std::string::npos) return std::string(mood.glyph);
    }
  }
  return "\U0001F642";
}

std::string optionValue(const SurveyOption& option) {
  if (option.value) return *option.value;
  return option.label.value_or("");
}

std::vector<std::string> scalarTexts(const JSONValue& value) {
  std::vector<std::string> texts;
  if (const JSONArray* items = value.asArray()) {
    for (const JSONValue& item : *items) {
      if (auto text = item.stringifyScalar()) texts.push_back(std::move(*text));
    }
  } else if (auto text = value.stringifyScalar()) {
    texts.push_back(std::move(*text));
  }
  return texts;
}

}  // namespace tarnwell::detail
