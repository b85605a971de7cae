// The node trees of the flows that run in steps: post-support feedback, customer discovery,
// product-market fit, the exit survey and the multi-step survey, with their built-in texts and
// option lists. Which step comes next is decided in survey_presenter_view.cc.
#include <tarnwell/presentation/survey_presenter_view.h>

#include <array>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "tarnwell/presentation/detail/survey_template_rules.h"

namespace tarnwell {

namespace {

std::vector<SurveyOption> builtInOptions(std::initializer_list<std::array<const char*, 3>> rows) {
  std::vector<SurveyOption> options;
  for (const auto& [value, label, description] : rows) options.push_back({value, label, description});
  return options;
}

}  // namespace

ui::Node SurveyPresenterView::postSupportFlow(int step) {
  const SurveyQuestion* first = primaryQuestion();
  const std::optional<JSONValue> current = answerOf(first);
  const bool* helpful = current ? current->asBool() : nullptr;
  if (step == 0) {
    const ui::NodeId node = questionNode(first, 0);
    return ui::vstack(
        {header("Support follow-up", title(), subtitle()),
         ui::choiceRow(node.part("option", 0), "That answer resolved what you needed.", ui::ChoiceStyle::single,
                       helpful && *helpful, [this, first] { answer(first, true); }),
         ui::choiceRow(node.part("option", 1), "Something still felt incomplete or off.", ui::ChoiceStyle::single,
                       helpful && !*helpful, [this, first] { answer(first, false); }),
         stepButtons(false, canGoOn(), true, "Continue")},
        16);
  }
  const SurveyQuestion* followUp = followUpQuestion();
  if (helpful && *helpful) {
    return ui::vstack({header("Support follow-up", "Any additional feedback?", std::nullopt),
                       bodyText("Optional notes help our team understand what felt confusing, incomplete, or "
                                "frustrating."),
                       feedbackEditor(detail::questionTextOr(followUp, &SurveyQuestion::placeholder, "")),
                       stepButtons(true, true, true, "Continue")},
                      16);
  }
  return ui::vstack(
      {header("Support follow-up", "Tell us more", std::nullopt),
       bodyText("Optional, but especially helpful when support missed the mark."),
       feedbackEditor(detail::questionTextOr(followUp, &SurveyQuestion::placeholder, "Tell us how we can improve...")),
       stepButtons(true, true, true, "Continue")},
      16);
}

ui::Node SurveyPresenterView::firstChoiceStep(const std::string& key, std::vector<SurveyOption> builtIn) {
  const SurveyQuestion* first = primaryQuestion();
  const std::vector<SurveyOption>& options = first && !first->options.empty() ? first->options : builtIn;
  return ui::vstack({header(std::nullopt, title(), subtitle()),
                     choiceList(root_.question(key), options, answerFor(key),
                                [this, key](std::string value) { writeAnswer(key, value); }),
                     // Step 1 is the point of the survey: nothing goes out before it is answered.
                     stepButtons(!hasSecondStep(), answerFor(key).has_value(), false, "Next")},
                    16);
}

ui::Node SurveyPresenterView::customerDiscoveryFlow(int step) {
  const SurveyQuestion* second = followUpQuestion();
  if (step == 0) {
    return firstChoiceStep(
        customerDiscoveryKey(),
        builtInOptions({{"this_week", "This week", "I used it within the past 7 days"},
                        {"last_30_days", "During last 30 days", "I used it within the past month"},
                        {"been_a_while", "It's been a while", "It has been more than a month since I last used it"}}));
  }
  return ui::vstack({header(std::nullopt,
                            detail::questionTextOr(second, &SurveyQuestion::title,
                                                   "What would make you use our service more frequently?"),
                            detail::questionTextOr(
                                second, &SurveyQuestion::subtitle,
                                "Optional feedback that helps us understand what would create more value for you.")),
                     feedbackEditor(detail::questionTextOr(second, &SurveyQuestion::placeholder,
                                                           "Please share what features or improvements would help...")),
                     stepButtons(true, true, false, "Next")},
                    16);
}

ui::Node SurveyPresenterView::productMarketFitFlow(int step) {
  if (step == 0) {
    return firstChoiceStep(
        productMarketFitKey(),
        builtInOptions(
            {{"very_disappointed", "Very disappointed", "It would be a significant loss for me"},
             {"somewhat_disappointed", "Somewhat disappointed", "I would miss it but could find alternatives"},
             {"not_disappointed", "Not disappointed", "It wouldn't really affect me"}}));
  }
  const bool benefit = pmfShowsBenefit();
  const SurveyQuestion* found = pmfQuestion(benefit ? "primary_benefit" : "improvement_suggestions");
  const std::string key = found && found->id ? *found->id : "improvement_suggestions";
  std::vector<ui::Node> rows;
  if (benefit) {
    rows.push_back(header(std::nullopt, "What is the primary benefit you get from our service?", std::nullopt));
    rows.push_back(bodyText("A short answer helps us better understand the value you expect from this experience."));
  } else {
    rows.push_back(header(std::nullopt, "What could we do to make our service more valuable to you?", std::nullopt));
  }
  rows.push_back(
      ui::textEditor(root_.question(key).part("text"), detail::answerText(answerFor(key)),
                     benefit ? "Please describe the main value you receive..." : "Your suggestions help us improve...",
                     detail::fieldLimit(found ? found->maxLength : std::nullopt),
                     [this, key](std::string text) { writeAnswer(key, std::move(text)); }));
  rows.push_back(stepButtons(true, true, false, "Next"));
  return ui::vstack(std::move(rows), 16);
}

ui::Node SurveyPresenterView::exitSurveyFlow(int step) {
  const SurveyQuestion* first = primaryQuestion();
  if (step == 0) {
    return ui::vstack(
        {header(std::nullopt, title(), subtitle()),
         ui::text(detail::questionTextOr(first, &SurveyQuestion::title, "What is the main reason you're leaving?"),
                  ui::TextRole::subtitle, primaryText_),
         choiceList(questionNode(first, 0), first ? first->options : std::vector<SurveyOption>{}, answerOf(first),
                    [this, first](std::string value) { answer(first, value); }),
         stepButtons(false, canGoOn(), true, "Next")},
        16);
  }
  const SurveyQuestion* followUp = followUpQuestion();
  return ui::vstack(
      {header(std::nullopt, detail::questionTextOr(followUp, &SurveyQuestion::title, "What could we have done better?"),
              std::nullopt),
       bodyText("Optional feedback gives us the context we need to improve the experience."),
       feedbackEditor(
           detail::questionTextOr(followUp, &SurveyQuestion::placeholder, "Tell us more about your experience...")),
       stepButtons(true, true, true, "Next")},
      16);
}

ui::Node SurveyPresenterView::multiStepFlow(int step) {
  const int count = stepCount();
  std::vector<ui::Node> rows{header(std::nullopt, title(), subtitle()),
                             ui::text("Step " + std::to_string(step + 1) + " of " + std::to_string(count),
                                      ui::TextRole::caption, secondaryText_),
                             ui::progress(static_cast<double>(step + 1) / count, detail::kSurveyAccent)};
  const bool onLast = step + 1 >= count;
  bool ready = true;
  if (!questions_.empty()) {
    const SurveyQuestion& question = questions_[static_cast<std::size_t>(step)];
    rows.push_back(questionControl(question, step));
    ready = !question.required || isAnswered(question);
  }
  rows.push_back(stepButtons(onLast, ready, true, "Next"));
  return ui::vstack(std::move(rows), 16);
}

}  // namespace tarnwell
