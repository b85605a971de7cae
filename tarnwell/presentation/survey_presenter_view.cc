#include <tarnwell/presentation/survey_presenter_view.h>

#include <algorithm>
#include <utility>

#include "tarnwell/core/detail/text.h"
#include "tarnwell/platform/detail/uuid.h"
#include "tarnwell/presentation/detail/survey_template_rules.h"

namespace tarnwell {

namespace {

constexpr Color kPrimaryTextFallback{0, 0, 0, 0.88};
constexpr Color kSecondaryTextFallback{0, 0, 0, 0.58};
constexpr double kSecondaryTextOpacity = 0.64;
constexpr double kDefaultCornerRadius = 20;

bool isStarType(const std::string& type) {
  return type == "rating" || type == "starrating" || type == "starratingprompt";
}

bool contains(const std::vector<std::string>& list, const std::string& value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

}  // namespace

SurveyPresenterView::SurveyPresenterView(Survey survey, SurveyPresenterActions actions)
    : survey_(std::move(survey)),
      actions_(std::move(actions)),
      root_("survey", survey_.id.value_or("")),
      self_(std::make_shared<SurveyPresenterView*>(this)) {
  structure_ = survey_.structure();
  config_ = survey_.config();
  if (structure_) questions_ = structure_->questions;
  kind_ = detail::resolveTemplateKind(survey_.templateId, structure_);

  const SurveyStyle* style = config_ && config_->style ? &*config_->style : nullptr;
  std::optional<Color> text = style && style->textColor ? parseColorText(*style->textColor) : std::nullopt;
  primaryText_ = text.value_or(kPrimaryTextFallback);
  secondaryText_ = kSecondaryTextFallback;
  if (text) {
    secondaryText_ = *text;
    secondaryText_.alpha *= kSecondaryTextOpacity;
  }
  if (style && style->borderRadius) {
    cornerRadius_ = std::max<double>(0, static_cast<double>(*style->borderRadius));
  } else {
    cornerRadius_ = kDefaultCornerRadius;
  }
}

const SurveyQuestion* SurveyPresenterView::primaryQuestion() const noexcept {
  return questions_.empty() ? nullptr : &questions_.front();
}

const SurveyQuestion* SurveyPresenterView::followUpQuestion() const noexcept {
  for (std::size_t i = 1; i < questions_.size(); ++i) {
    if (detail::normalisedQuestionType(questions_[i].type) == "text") return &questions_[i];
  }
  return nullptr;
}

std::string SurveyPresenterView::questionKey(const SurveyQuestion& question) const {
  // A question without an id is keyed anew at every read and write, as the product does: its
  // answer is sent but never reads back.
  return question.id ? *question.id : detail::makeUuid();
}

std::optional<JSONValue> SurveyPresenterView::answerFor(const std::string& key) const {
  if (const JSONValue* value = answers_.find(key)) return *value;
  return std::nullopt;
}

void SurveyPresenterView::writeAnswer(const std::string& key, JSONValue value) { answers_.set(key, std::move(value)); }

bool SurveyPresenterView::isAnswered(const SurveyQuestion& question) const {
  const std::optional<JSONValue> value = answerFor(questionKey(question));
  if (!value) return false;
  const std::string type = detail::normalisedQuestionType(question.type);
  if (type == "thumbsfeedback") return true;
  if (isStarType(type)) return value->doubleValue().value_or(0) > 0;
  if (type == "multiplechoice") return value->asArray() && !value->asArray()->empty();
  const std::optional<std::string> text = value->stringifyScalar();
  return text && !text->empty();
}

void SurveyPresenterView::setAnswer(const SurveyQuestion& question, JSONValue value) {
  writeAnswer(questionKey(question), std::move(value));
}

void SurveyPresenterView::toggleOption(const SurveyQuestion& question, const std::string& value) {
  std::vector<std::string> chosen;
  if (const std::optional<JSONValue> current = answerFor(questionKey(question))) {
    if (const JSONArray* items = current->asArray()) {
      for (const JSONValue& item : *items) {
        if (const JSONString* text = item.asString()) chosen.push_back(text->str());
      }
    }
  }
  if (contains(chosen, value)) {
    std::erase(chosen, value);
  } else if (question.maxSelections && *question.maxSelections != 0 &&
             static_cast<std::int64_t>(chosen.size()) >= *question.maxSelections) {
    return;
  } else {
    chosen.push_back(value);
  }
  JSONArray list;
  for (std::string& text : chosen) list.emplace_back(std::move(text));
  setAnswer(question, std::move(list));
}

void SurveyPresenterView::selectCsatScore(const SurveyQuestion* question, int score) {
  csatSelectedScore_ = score;
  answer(question, score);
}

std::optional<JSONValue> SurveyPresenterView::answerOf(const SurveyQuestion* question) const {
  return answerFor(question ? questionKey(*question) : detail::makeUuid());
}

void SurveyPresenterView::answer(const SurveyQuestion* question, JSONValue value) {
  writeAnswer(question ? questionKey(*question) : detail::makeUuid(), std::move(value));
}

bool SurveyPresenterView::primaryReady() const {
  switch (kind_) {
    case SurveyTemplateKind::textFeedback: return !detail::trimWhitespaceAndNewlines(feedbackText_).empty();
    case SurveyTemplateKind::csat: return csatSelectedScore_ > 0;
    default: return primaryQuestion() && isAnswered(*primaryQuestion());
  }
}

bool SurveyPresenterView::requiredQuestionsAnswered() const {
  return std::all_of(questions_.begin(), questions_.end(),
                     [this](const SurveyQuestion& question) { return !question.required || isAnswered(question); });
}

void SurveyPresenterView::setFeedbackText(std::string text) { feedbackText_ = std::move(text); }

// --- Steps.

std::string SurveyPresenterView::customerDiscoveryKey() const {
  const SurveyQuestion* first = primaryQuestion();
  return first && first->id ? *first->id : "usage_recency";
}

std::string SurveyPresenterView::productMarketFitKey() const {
  const SurveyQuestion* first = primaryQuestion();
  return first && first->id ? *first->id : "disappointment_level";
}

std::vector<std::string> SurveyPresenterView::customerDiscoveryFollowUpSet() const {
  if (const SurveyQuestion* second = followUpQuestion(); second && second->conditions) {
    if (const JSONValue* listed = second->conditions->find("usage_recency")) {
      std::vector<std::string> set = detail::scalarTexts(*listed);
      if (!set.empty()) return set;
    }
  }
  std::vector<std::string> set;
  if (const SurveyQuestion* first = primaryQuestion(); first && first->logic) {
    for (const auto& [answer, rule] : *first->logic) {
      const JSONString* action = rule["action"].asString();
      if (rule.isObject() && action && *action == "follow_up") set.push_back(answer);
    }
  }
  if (set.empty()) set.push_back("been_a_while");
  return set;
}

const SurveyQuestion* SurveyPresenterView::pmfQuestion(std::string_view idWord) const {
  for (const SurveyQuestion& question : questions_) {
    if (detail::normalisedQuestionType(question.type) != "text" || !question.id) continue;
    if (detail::toLowerAscii(*question.id).find(idWord) != std::string::npos) return &question;
  }
  return nullptr;
}

std::vector<std::string> SurveyPresenterView::pmfAnswersLeadingTo(std::string_view idWord) const {
  if (const SurveyQuestion* question = pmfQuestion(idWord); question && question->conditions) {
    if (const JSONValue* listed = question->conditions->find("disappointment_level")) {
      std::vector<std::string> answers = detail::scalarTexts(*listed);
      if (!answers.empty()) return answers;
    }
  }
  if (idWord == "primary_benefit") return {"very_disappointed"};
  return {"somewhat_disappointed", "not_disappointed"};
}

bool SurveyPresenterView::pmfShowsBenefit() const {
  const std::optional<JSONValue> answer = answerFor(productMarketFitKey());
  const std::optional<std::string> text = answer ? answer->stringifyScalar() : std::nullopt;
  return text && contains(pmfAnswersLeadingTo("primary_benefit"), *text);
}

bool SurveyPresenterView::hasSecondStep() const {
  if (kind_ == SurveyTemplateKind::customerDiscovery) {
    const std::optional<JSONValue> answer = answerFor(customerDiscoveryKey());
    const std::optional<std::string> text = answer ? answer->stringifyScalar() : std::nullopt;
    return text && contains(customerDiscoveryFollowUpSet(), *text);
  }
  if (kind_ == SurveyTemplateKind::productMarketFit) {
    const std::optional<JSONValue> answer = answerFor(productMarketFitKey());
    const std::optional<std::string> text = answer ? answer->stringifyScalar() : std::nullopt;
    return text && (contains(pmfAnswersLeadingTo("primary_benefit"), *text) ||
                    contains(pmfAnswersLeadingTo("improvement_suggestions"), *text));
  }
  return false;
}

int SurveyPresenterView::stepCount() const {
  switch (kind_) {
    case SurveyTemplateKind::multiStep: return std::max<int>(1, static_cast<int>(questions_.size()));
    case SurveyTemplateKind::customerDiscovery:
    case SurveyTemplateKind::productMarketFit: return hasSecondStep() ? 2 : 1;
    case SurveyTemplateKind::postSupportFeedback:
    case SurveyTemplateKind::exitSurvey: return 2;
    default: return 1;
  }
}

bool SurveyPresenterView::canGoOn() const {
  if (currentStepIndex_ + 1 >= stepCount()) return false;
  switch (kind_) {
    case SurveyTemplateKind::multiStep: {
      const SurveyQuestion& question = questions_[static_cast<std::size_t>(currentStepIndex_)];
      return !question.required || isAnswered(question);
    }
    case SurveyTemplateKind::postSupportFeedback: {
      const SurveyQuestion* first = primaryQuestion();
      return first && answerFor(questionKey(*first)).has_value();
    }
    case SurveyTemplateKind::exitSurvey: {
      const SurveyQuestion* first = primaryQuestion();
      return !first || !first->required || isAnswered(*first);
    }
    default: return true;  // the step flows of discovery and fit exist only once step 1 leads on
  }
}

void SurveyPresenterView::next() {
  if (canGoOn()) ++currentStepIndex_;
}

void SurveyPresenterView::skip() {
  if (currentStepIndex_ + 1 < stepCount()) ++currentStepIndex_;
}

void SurveyPresenterView::back() {
  if (currentStepIndex_ >= 1) {
    --currentStepIndex_;
  } else {
    dismiss();
  }
}

// --- Submission and dismissal.

void SurveyPresenterView::submit() {
  if (isSubmitting_) return;
  isSubmitting_ = true;
  const std::string trimmed(detail::trimWhitespaceAndNewlines(feedbackText_));
  const SurveyQuestion* followUp = followUpQuestion();
  if (!trimmed.empty() && followUp) {
    writeAnswer(questionKey(*followUp), trimmed);
  } else if (kind_ == SurveyTemplateKind::textFeedback && !trimmed.empty()) {
    const SurveyQuestion* first = primaryQuestion();
    writeAnswer(first ? questionKey(*first) : detail::makeUuid(), trimmed);
  }
  if (!actions_.submit) {
    isSubmitting_ = false;
    return;
  }
  // Success takes the survey off screen through the host; either way the button comes back.
  std::weak_ptr<SurveyPresenterView*> weak = self_;
  actions_.submit(survey_, answers_, true, [weak](bool) {
    if (auto self = weak.lock()) (*self)->isSubmitting_ = false;
  });
}

void SurveyPresenterView::dismiss() {
  if (actions_.dismiss) actions_.dismiss();
}

// --- Texts and buttons.

std::string SurveyPresenterView::resolvedTitle(const char* builtIn) const {
  const SurveyQuestion* first = primaryQuestion();
  if (auto text = first ? detail::cleanedText(first->title) : std::nullopt) return *text;
  if (auto text = structure_ ? detail::cleanedText(structure_->title) : std::nullopt) return *text;
  return builtIn ? builtIn : "Survey";
}

std::string SurveyPresenterView::title() const {
  switch (kind_) {
    case SurveyTemplateKind::postSupportFeedback: return resolvedTitle("Was this answer helpful?");
    case SurveyTemplateKind::textFeedback: return resolvedTitle("Share your feedback");
    case SurveyTemplateKind::emojiMoodTracker: return resolvedTitle("Mood check");
    case SurveyTemplateKind::customerDiscovery:
      return resolvedTitle("When was the last time you completed a task using our service?");
    case SurveyTemplateKind::productMarketFit:
      return resolvedTitle("How disappointed would you be if you could no longer use our service?");
    case SurveyTemplateKind::exitSurvey:
      // The exit survey heads its own question with a title of the survey's.
      if (auto text = structure_ ? detail::cleanedText(structure_->title) : std::nullopt) return *text;
      return "Before you go";
    default: return resolvedTitle(nullptr);
  }
}

std::optional<std::string> SurveyPresenterView::subtitle() const {
  if (const SurveyQuestion* first = primaryQuestion()) {
    if (auto text = detail::cleanedText(first->subtitle)) return text;
    if (auto text = detail::cleanedText(first->description)) return text;
  }
  if (auto text = structure_ ? detail::cleanedText(structure_->subtitle) : std::nullopt) return text;
  switch (kind_) {
    case SurveyTemplateKind::postSupportFeedback:
      return "A quick check-in helps us understand whether support solved the issue clearly.";
    case SurveyTemplateKind::emojiMoodTracker: return "Pick the feeling that matches closest";
    case SurveyTemplateKind::customerDiscovery: return "This helps us understand your engagement patterns";
    case SurveyTemplateKind::productMarketFit: return "This helps us understand the value our service provides to you";
    case SurveyTemplateKind::exitSurvey:
      return "Your quick reason helps us understand where the experience is falling short.";
    default: return std::nullopt;
  }
}

std::string SurveyPresenterView::submitButtonText() const {
  if (isSubmitting_) return "Submitting...";
  const SurveyButtons* buttons = structure_ && structure_->buttons ? &*structure_->buttons : nullptr;
  if (buttons && buttons->primary) {
    if (auto text = detail::cleanedText(buttons->primary->text)) return *text;
  }
  if (buttons && buttons->submitText) {
    if (auto text = detail::cleanedText(buttons->submitText->text)) return *text;
  }
  return "Submit";
}

std::string SurveyPresenterView::dismissButtonText() const {
  const SurveyButtons* buttons = structure_ && structure_->buttons ? &*structure_->buttons : nullptr;
  if (buttons && buttons->secondary) {
    if (auto text = detail::cleanedText(buttons->secondary->text)) return *text;
  }
  const bool allowSkip = config_ && config_->behavior && config_->behavior->allowSkip.value_or(false);
  return allowSkip ? "Skip" : "Dismiss";
}

bool SurveyPresenterView::isSubmitButtonVisible() const {
  return !(structure_ && structure_->buttons && structure_->buttons->primary && !structure_->buttons->primary->visible);
}

bool SurveyPresenterView::isDismissButtonVisible() const {
  return !(structure_ && structure_->buttons && structure_->buttons->secondary &&
           !structure_->buttons->secondary->visible);
}

}  // namespace tarnwell
