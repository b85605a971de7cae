// The node trees of the template flows: which controls each flow draws, with its built-in texts,
// option lists and glyphs. The state they read and the actions they call live in
// survey_presenter_view.cc.
#include <tarnwell/presentation/survey_presenter_view.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "tarnwell/presentation/detail/survey_template_rules.h"

namespace tarnwell {

namespace {

constexpr Color kStarOn{1.0, 0.8, 0.0, 1.0};
constexpr Color kStarOff{0.78, 0.78, 0.8, 1.0};
// A rating row never draws more stars than this, whatever range the document names.
constexpr std::int64_t kMaxStars = 10;
constexpr int kNpsMax = 10;
constexpr std::int64_t kCsatMax = 5;

}  // namespace

ui::NodeId SurveyPresenterView::questionNode(const SurveyQuestion* question, int index) const {
  // A question without an id has no stable key, so its nodes are named by its place instead.
  if (question && question->id) return root_.question(*question->id);
  return root_.part("question", index);
}

ui::Node SurveyPresenterView::bodyText(std::string words) const {
  return ui::text(std::move(words), ui::TextRole::body, secondaryText_);
}

ui::Node SurveyPresenterView::header(std::optional<std::string> eyebrow, std::string title,
                                     std::optional<std::string> subtitle) {
  std::vector<ui::Node> top;
  if (eyebrow) top.push_back(ui::text(std::move(*eyebrow), ui::TextRole::eyebrow, secondaryText_));
  top.push_back(ui::spacer());
  top.push_back(ui::symbolButton(root_.part("close"), "xmark", [this] { dismiss(); }).withColor(secondaryText_));
  std::vector<ui::Node> rows{ui::hstack(std::move(top), 8),
                             ui::text(std::move(title), ui::TextRole::title, primaryText_)};
  if (subtitle) rows.push_back(ui::text(std::move(*subtitle), ui::TextRole::subtitle, secondaryText_));
  return ui::vstack(std::move(rows), 6);
}

ui::Node SurveyPresenterView::starRow(const SurveyQuestion* question, int index) {
  const ui::NodeId node = questionNode(question, index);
  std::int64_t low = question ? question->minRating.value_or(1) : 1;
  std::int64_t high = question ? question->maxRating.value_or(5) : 5;
  low = std::clamp<std::int64_t>(low, 0, 1000);
  high = std::clamp<std::int64_t>(high, low, low + kMaxStars - 1);
  const double current = answerOf(question).value_or(JSONValue()).doubleValue().value_or(0);
  std::vector<ui::Node> stars;
  for (std::int64_t n = low; n <= high; ++n) {
    const int score = static_cast<int>(n);
    stars.push_back(ui::symbolButton(node.part("star", score), "star.fill", [this, question, score] {
                      answer(question, score);
                    }).withColor(score <= current ? kStarOn : kStarOff));
  }
  std::string minLabel = "Poor";
  std::string maxLabel = "Excellent";
  if (question && question->labels) {
    if (auto it = question->labels->find("min"); it != question->labels->end()) {
      minLabel = detail::cleanedText(it->second).value_or("Poor");
    }
    if (auto it = question->labels->find("max"); it != question->labels->end()) {
      maxLabel = detail::cleanedText(it->second).value_or("Excellent");
    }
  }
  return ui::vstack({ui::hstack(std::move(stars), 8),
                     ui::hstack({ui::text(std::move(minLabel), ui::TextRole::caption, secondaryText_), ui::spacer(),
                                 ui::text(std::move(maxLabel), ui::TextRole::caption, secondaryText_)})},
                    4);
}

ui::Node SurveyPresenterView::npsRow(const SurveyQuestion* question, int index) {
  const ui::NodeId node = questionNode(question, index);
  const std::optional<double> current = answerOf(question).value_or(JSONValue()).doubleValue();
  std::vector<ui::Node> scores;
  for (int score = 0; score <= kNpsMax; ++score) {
    const bool chosen = current && *current == score;
    scores.push_back(ui::button(node.part("score", score), std::to_string(score), [this, question, score] {
                       answer(question, score);
                     }).withBackground(chosen ? std::optional<Color>(detail::kSurveyAccent) : std::nullopt));
  }
  return ui::vstack({ui::hstack(std::move(scores), 4),
                     ui::hstack({ui::text("Not likely", ui::TextRole::caption, secondaryText_), ui::spacer(),
                                 ui::text("Extremely likely", ui::TextRole::caption, secondaryText_)})},
                    4);
}

ui::Node SurveyPresenterView::csatRow(const SurveyQuestion* question, int index) {
  const ui::NodeId node = questionNode(question, index);
  const std::int64_t top = std::min(question ? question->scale.value_or(kCsatMax) : kCsatMax, kCsatMax);
  std::vector<ui::Node> scores;
  for (int score = 1; score <= top; ++score) {
    scores.push_back(
        ui::button(node.part("csat", score), std::to_string(score), [this, question, score] {
          selectCsatScore(question, score);
        }).withBackground(score == csatSelectedScore_ ? std::optional<Color>(detail::kSurveyAccent) : std::nullopt));
  }
  return ui::hstack(std::move(scores), 8);
}

ui::Node SurveyPresenterView::thumbsRow(const SurveyQuestion* question, int index) {
  const ui::NodeId node = questionNode(question, index);
  const std::optional<JSONValue> current = answerOf(question);
  const bool* chosen = current ? current->asBool() : nullptr;
  ui::Node up = ui::button(node.part("up"), "Helpful", [this, question] { answer(question, true); });
  up.symbol = "hand.thumbsup.fill";
  ui::Node down = ui::button(node.part("down"), "Not Helpful", [this, question] { answer(question, false); });
  down.symbol = "hand.thumbsdown.fill";
  up.selected = chosen && *chosen;
  down.selected = chosen && !*chosen;
  return ui::hstack({std::move(up), std::move(down)}, 12);
}

ui::Node SurveyPresenterView::choiceList(const ui::NodeId& node, const std::vector<SurveyOption>& options,
                                         const std::optional<JSONValue>& current,
                                         std::function<void(std::string)> choose) {
  const std::string chosen = detail::answerText(current);
  std::vector<ui::Node> rows;
  int position = 0;
  for (const SurveyOption& option : options) {
    std::string value = detail::optionValue(option);
    std::string label = option.label.value_or(value);
    const bool selected = current && chosen == value;
    rows.push_back(ui::choiceRow(node.part("option", position++), std::move(label), ui::ChoiceStyle::single, selected,
                                 [choose, value] { choose(value); }));
    if (auto description = detail::cleanedText(option.description)) {
      rows.push_back(ui::text(std::move(*description), ui::TextRole::caption, secondaryText_));
    }
  }
  return ui::vstack(std::move(rows), 8);
}

ui::Node SurveyPresenterView::multipleChoiceList(const SurveyQuestion* question, int index) {
  const ui::NodeId node = questionNode(question, index);
  std::vector<std::string> chosen;
  if (const std::optional<JSONValue> current = answerOf(question); current && current->asArray()) {
    for (const JSONValue& item : *current->asArray()) {
      if (const JSONString* text = item.asString()) chosen.push_back(text->str());
    }
  }
  std::vector<ui::Node> rows;
  if (question && question->maxSelections) {
    rows.push_back(ui::text("Choose up to " + std::to_string(*question->maxSelections) + " options",
                            ui::TextRole::caption, secondaryText_));
  }
  int position = 0;
  for (const SurveyOption& option : question ? question->options : std::vector<SurveyOption>{}) {
    std::string value = detail::optionValue(option);
    const bool selected = std::find(chosen.begin(), chosen.end(), value) != chosen.end();
    rows.push_back(ui::choiceRow(node.part("option", position++), option.label.value_or(value),
                                 ui::ChoiceStyle::multiple, selected,
                                 [this, question, value] { toggleOption(*question, value); }));
  }
  if (chosen.size() == 1) {
    rows.push_back(ui::text("1 selected", ui::TextRole::caption, secondaryText_));
  } else if (chosen.size() > 1) {
    rows.push_back(ui::text(std::to_string(chosen.size()) + " selected", ui::TextRole::caption, secondaryText_));
  }
  return ui::vstack(std::move(rows), 8);
}

ui::Node SurveyPresenterView::emojiRow(const SurveyQuestion* question, int index) {
  const ui::NodeId node = questionNode(question, index);
  std::vector<std::pair<std::string, std::string>> faces;  // value, glyph
  if (question && !question->options.empty()) {
    for (const SurveyOption& option : question->options) {
      std::string value = detail::optionValue(option);
      faces.emplace_back(value, detail::emojiGlyphForLabel(option.label.value_or(value)));
    }
  } else {
    faces = {{"very_sad", "\U0001F61E"},
             {"sad", "\U0001F641"},
             {"neutral", "\U0001F610"},
             {"happy", "\U0001F642"},
             {"very_happy", "\U0001F929"}};
  }
  const std::optional<JSONValue> current = answerOf(question);
  const std::string chosen = detail::answerText(current);
  std::vector<ui::Node> row;
  int position = 0;
  for (auto& face : faces) {
    const std::string value = face.first;
    const bool selected = current && chosen == value;
    row.push_back(ui::choiceRow(node.part("emoji", position++), std::move(face.second), ui::ChoiceStyle::emoji,
                                selected, [this, question, value] { answer(question, value); }));
  }
  return ui::hstack(std::move(row), 8);
}

ui::Node SurveyPresenterView::feedbackEditor(const std::string& placeholder) {
  const SurveyQuestion* followUp = followUpQuestion();
  return ui::textEditor(root_.part("feedback"), feedbackText_, placeholder,
                        detail::fieldLimit(followUp ? followUp->maxLength : std::nullopt),
                        [this](std::string text) { setFeedbackText(std::move(text)); });
}

ui::Node SurveyPresenterView::followUpField(const char* title, const char* subtitle, const char* placeholder) {
  const SurveyQuestion* followUp = followUpQuestion();
  std::vector<ui::Node> rows{
      ui::text(detail::questionTextOr(followUp, &SurveyQuestion::title, title), ui::TextRole::subtitle, primaryText_)};
  if (auto own = followUp ? detail::cleanedText(followUp->subtitle) : std::nullopt) {
    rows.push_back(bodyText(std::move(*own)));
  } else if (subtitle) {
    rows.push_back(bodyText(subtitle));
  }
  rows.push_back(feedbackEditor(detail::questionTextOr(followUp, &SurveyQuestion::placeholder, placeholder)));
  return ui::vstack(std::move(rows), 6);
}

ui::Node SurveyPresenterView::submitButton(bool enabled) {
  return ui::button(root_.part("submit"), submitButtonText(), [this] { submit(); })
      .withEnabled(enabled && !isSubmitting_)
      .withBackground(detail::kSurveyAccent);
}

ui::Node SurveyPresenterView::actionRow(bool submitEnabled) {
  std::vector<ui::Node> buttons;
  if (isDismissButtonVisible()) {
    buttons.push_back(ui::button(root_.part("dismiss"), dismissButtonText(), [this] { dismiss(); }));
  }
  buttons.push_back(ui::spacer());
  if (isSubmitButtonVisible()) buttons.push_back(submitButton(submitEnabled));
  return ui::hstack(std::move(buttons), 12);
}

ui::Node SurveyPresenterView::stepButtons(bool onLastStep, bool nextEnabled, bool withSkip, const char* nextLabel) {
  std::vector<ui::Node> buttons{ui::button(root_.part("back"), "Back", [this] { back(); })};
  buttons.push_back(ui::spacer());
  if (withSkip && !onLastStep) buttons.push_back(ui::button(root_.part("skip"), "Skip", [this] { skip(); }));
  if (onLastStep) {
    buttons.push_back(submitButton(nextEnabled));
  } else {
    buttons.push_back(ui::button(root_.part("next"), nextLabel, [this] { next(); }).withEnabled(nextEnabled));
  }
  return ui::hstack(std::move(buttons), 12);
}

ui::Node SurveyPresenterView::questionControl(const SurveyQuestion& question, int index) {
  const std::string type = detail::normalisedQuestionType(question.type);
  const ui::NodeId node = questionNode(&question, index);
  std::vector<ui::Node> rows;
  if (auto title = detail::cleanedText(question.title)) {
    rows.push_back(ui::text(std::move(*title), ui::TextRole::subtitle, primaryText_));
  }
  rows.push_back(ui::text(question.required ? "Required" : "Optional", ui::TextRole::caption, secondaryText_));
  const SurveyQuestion* q = &question;
  if (type == "singlechoice" || type == "singlequestionpoll") {
    rows.push_back(choiceList(node, question.options, answerOf(q), [this, q](std::string value) { answer(q, value); }));
  } else if (type == "csat") {
    rows.push_back(csatRow(q, index));
  } else if (type == "rating" || type == "starrating" || type == "starratingprompt") {
    rows.push_back(starRow(q, index));
  } else if (type == "multiplechoice") {
    rows.push_back(multipleChoiceList(q, index));
  } else if (type == "emoji" || type == "emojimoodtracker") {
    rows.push_back(emojiRow(q, index));
  } else if (type == "thumbsfeedback") {
    rows.push_back(thumbsRow(q, index));
  } else {
    rows.push_back(ui::textField(node.part("text"), detail::answerText(answerOf(q)), question.placeholder.value_or(""),
                                 detail::fieldLimit(question.maxLength),
                                 [this, q](std::string text) { answer(q, std::move(text)); }));
  }
  return ui::vstack(std::move(rows), 6);
}

ui::Node SurveyPresenterView::singleQuestionFlow() {
  const SurveyQuestion* first = primaryQuestion();
  std::optional<std::string> eyebrow;
  if (kind_ == SurveyTemplateKind::singleQuestionPoll) eyebrow = "Quick poll";
  std::vector<ui::Node> rows{header(std::move(eyebrow), title(), subtitle())};
  const bool hasFollowUp = followUpQuestion() != nullptr;
  switch (kind_) {
    case SurveyTemplateKind::starRating:
      rows.push_back(starRow(first, 0));
      rows.push_back(followUpField("What can we improve?", nullptr, "Please share your suggestions..."));
      break;
    case SurveyTemplateKind::thumbsFeedback:
      rows.push_back(thumbsRow(first, 0));
      rows.push_back(followUpField("Tell us more", "Any additional feedback?", "Share your feedback..."));
      break;
    case SurveyTemplateKind::textFeedback:
      rows.push_back(
          feedbackEditor(detail::questionTextOr(first, &SurveyQuestion::placeholder, "Share your thoughts...")));
      break;
    case SurveyTemplateKind::nps:
      rows.push_back(npsRow(first, 0));
      rows.push_back(followUpField("What\u2019s the main reason for your score?", nullptr, "Optional feedback..."));
      break;
    case SurveyTemplateKind::csat:
      rows.push_back(csatRow(first, 0));
      rows.push_back(followUpField("What could we do better?", nullptr, "Your suggestions help us improve..."));
      break;
    case SurveyTemplateKind::emojiMoodTracker:
      rows.push_back(emojiRow(first, 0));
      if (hasFollowUp) rows.push_back(followUpField("", nullptr, ""));
      break;
    case SurveyTemplateKind::multipleChoice:
      rows.push_back(multipleChoiceList(first, 0));
      if (hasFollowUp) rows.push_back(followUpField("", nullptr, ""));
      break;
    default:  // the single question poll
      rows.push_back(choiceList(questionNode(first, 0), first ? first->options : std::vector<SurveyOption>{},
                                answerOf(first), [this, first](std::string value) { answer(first, value); }));
      if (hasFollowUp) rows.push_back(followUpField("", nullptr, ""));
      break;
  }
  rows.push_back(actionRow(primaryReady()));
  return ui::vstack(std::move(rows), 16);
}

ui::Node SurveyPresenterView::genericFlow() {
  std::vector<ui::Node> rows{header(std::nullopt, title(), subtitle())};
  // With no question to answer there is nothing to send: the title stands alone.
  if (questions_.empty()) return ui::vstack(std::move(rows), 16);
  for (std::size_t i = 0; i < questions_.size(); ++i) {
    rows.push_back(questionControl(questions_[i], static_cast<int>(i)));
  }
  rows.push_back(actionRow(requiredQuestionsAnswered()));
  return ui::vstack(std::move(rows), 16);
}

ui::Node SurveyPresenterView::tree() {
  const int step = std::clamp(currentStepIndex_, 0, stepCount() - 1);
  ui::Node body;
  switch (kind_) {
    case SurveyTemplateKind::postSupportFeedback: body = postSupportFlow(step); break;
    case SurveyTemplateKind::customerDiscovery: body = customerDiscoveryFlow(step); break;
    case SurveyTemplateKind::productMarketFit: body = productMarketFitFlow(step); break;
    case SurveyTemplateKind::exitSurvey: body = exitSurveyFlow(step); break;
    case SurveyTemplateKind::multiStep: body = multiStepFlow(step); break;
    case SurveyTemplateKind::generic: body = genericFlow(); break;
    default: body = singleQuestionFlow(); break;
  }
  return std::move(body).withPadding(20).withCornerRadius(cornerRadius_).withBackground(Color{1, 1, 1, 1});
}

}  // namespace tarnwell
