// File: tarnwell/presentation/survey_presenter_view.h
//
// SurveyPresenterView is the view model of one survey on screen: it resolves the survey to one
// of the template flows (star rating, NPS, multi-step, ...), keeps the answers and the step the
// user is on, and builds the node tree a renderer draws, with every text, colour and button
// resolved. The overlay host hands it the two ways out: a submission and a dismissal.
//
//   SurveyPresenterView view(survey, {
//       .submit = [&](const Survey& s, JSONObject answers, bool completed, std::function<void(bool)> done) {
//         sdk.submitSurveyResponse(s, std::move(answers), completed, std::move(done));
//       },
//       .dismiss = [&] { sdk.dismissCurrentSurvey(); }});
//   testing::HeadlessDriver screen([&] { return view.tree(); });
//   screen.tap("@symbol:star.fill#4");        // four stars: {"rating": 4} when the id is "rating"
//   screen.tap("Submit");                     // submit(survey, answers, true, done)
//
// Contract:
// - Main context only; not copyable or movable, because the tree's actions point back at it.
//   A tree built by tree() may be used only while its view lives.
// - The survey's structure and config are parsed once, at construction; a structure that does
//   not parse reads as no questions, and the generic flow then shows the title alone.
// - A question without an id is answered under a fresh random key at every read and write, so
//   its answer is sent but it never shows as answered.
// - Submission always reports `completed` true; closing, dismissing and Back on the first step
//   call `dismiss` and never `submit`. A second submit while one runs does nothing; a failed
//   submission (done(false)) keeps every answer so the user can press again. `done` may be
//   called after the view is gone: it then does nothing.
// - Node ids are built only from the survey's id, a question's key (or its index when it has
//   no id), the node's role and an index, so they are the same in every process.
// - Never throws on bad input: malformed documents, bad colours and huge numbers fall back.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tarnwell/core/color.h>
#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>
#include <tarnwell/surveys/survey.h>
#include <tarnwell/surveys/survey_config.h>
#include <tarnwell/surveys/survey_structure.h>
#include <tarnwell/ui/node.h>
#include <tarnwell/ui/node_id.h>

namespace tarnwell {

// The template flows, by their codes; 9 is reserved and no word selects it.
enum class SurveyTemplateKind {
  starRating = 0,
  thumbsFeedback = 1,
  postSupportFeedback = 2,
  textFeedback = 3,
  nps = 4,
  csat = 5,
  emojiMoodTracker = 6,
  multipleChoice = 7,
  singleQuestionPoll = 8,
  customerDiscovery = 10,
  productMarketFit = 11,
  exitSurvey = 12,
  multiStep = 13,
  generic = 15,
};

struct SurveyPresenterActions {
  // Sends the answers; the receiver calls `done` once, with true when the response was taken.
  std::function<void(const Survey& survey, JSONObject responses, bool completed, std::function<void(bool)> done)>
      submit;
  // The user closed the survey without finishing it.
  std::function<void()> dismiss;
};

class TARNWELL_API SurveyPresenterView {
 public:
  SurveyPresenterView(Survey survey, SurveyPresenterActions actions);
  SurveyPresenterView(const SurveyPresenterView&) = delete;
  SurveyPresenterView& operator=(const SurveyPresenterView&) = delete;

  // --- Derived readings, fixed for the view's life.
  const Survey& survey() const noexcept { return survey_; }
  SurveyTemplateKind templateKind() const noexcept { return kind_; }
  // The structure's questions; empty when it does not parse.
  const std::vector<SurveyQuestion>& questions() const noexcept { return questions_; }
  // The first question, if any.
  const SurveyQuestion* primaryQuestion() const noexcept;
  // From the second question on, the first whose normalised type is "text".
  const SurveyQuestion* followUpQuestion() const noexcept;

  // --- View state.
  const JSONObject& answers() const noexcept { return answers_; }
  bool isSubmitting() const noexcept { return isSubmitting_; }
  const std::string& feedbackText() const noexcept { return feedbackText_; }
  int currentStepIndex() const noexcept { return currentStepIndex_; }
  int csatSelectedScore() const noexcept { return csatSelectedScore_; }

  // The question's id, or a fresh random UUID at every call.
  std::string questionKey(const SurveyQuestion& question) const;
  // By the question's normalised type: text has characters, a star rating is above 0, thumbs
  // exist, a multiple choice holds an entry, anything else reads as text.
  bool isAnswered(const SurveyQuestion& question) const;

  // --- Actions, as the tree's controls call them.
  // Writes `value` under the question's key.
  void setAnswer(const SurveyQuestion& question, JSONValue value);
  // Adds or removes one option of a multiple choice, honouring maxSelections.
  void toggleOption(const SurveyQuestion& question, const std::string& value);
  void selectCsatScore(const SurveyQuestion* question, int score);
  void setFeedbackText(std::string text);
  // Multi-step flows: Next goes on when the step's requirement holds; Skip goes on regardless;
  // Back goes back, or dismisses on the first step.
  void next();
  void skip();
  void back();
  // The shared submit routine (see the contract above).
  void submit();
  // The close mark and the dismiss button.
  void dismiss();

  // --- Resolved texts, buttons and colours.
  std::string title() const;
  std::optional<std::string> subtitle() const;
  std::string submitButtonText() const;  // "Submitting..." while a submission runs
  std::string dismissButtonText() const;
  bool isSubmitButtonVisible() const;
  bool isDismissButtonVisible() const;
  Color primaryTextColor() const noexcept { return primaryText_; }
  Color secondaryTextColor() const noexcept { return secondaryText_; }
  double cornerRadius() const noexcept { return cornerRadius_; }
  // The number of steps of the flow as it stands (step flows may grow once step 1 is answered).
  int stepCount() const;

  // The whole view. Its actions call this object's methods; rebuild it after any of them.
  ui::Node tree();

 private:
  std::optional<JSONValue> answerFor(const std::string& key) const;
  void writeAnswer(const std::string& key, JSONValue value);
  ui::NodeId questionNode(const SurveyQuestion* question, int index) const;
  std::string customerDiscoveryKey() const;
  std::string productMarketFitKey() const;
  std::vector<std::string> customerDiscoveryFollowUpSet() const;
  // Product-market fit: the text question whose id holds `idWord`, the step 1 answers that lead
  // to it, and whether the answer given leads to the benefit question.
  const SurveyQuestion* pmfQuestion(std::string_view idWord) const;
  std::vector<std::string> pmfAnswersLeadingTo(std::string_view idWord) const;
  bool pmfShowsBenefit() const;
  bool hasSecondStep() const;
  bool canGoOn() const;
  bool primaryReady() const;
  bool requiredQuestionsAnswered() const;
  std::string resolvedTitle(const char* builtIn) const;

  // Reads and writes the answer of a question that may be absent (a template with no
  // structure): an absent question is keyed like one without an id.
  std::optional<JSONValue> answerOf(const SurveyQuestion* question) const;
  void answer(const SurveyQuestion* question, JSONValue value);

  // Tree pieces (survey_template_flows.cc; the step flows in survey_step_flows.cc).
  ui::Node header(std::optional<std::string> eyebrow, std::string title, std::optional<std::string> subtitle);
  ui::Node bodyText(std::string words) const;
  ui::Node questionControl(const SurveyQuestion& question, int index);
  ui::Node starRow(const SurveyQuestion* question, int index);
  ui::Node npsRow(const SurveyQuestion* question, int index);
  ui::Node csatRow(const SurveyQuestion* question, int index);
  ui::Node thumbsRow(const SurveyQuestion* question, int index);
  ui::Node choiceList(const ui::NodeId& node, const std::vector<SurveyOption>& options,
                      const std::optional<JSONValue>& current, std::function<void(std::string)> choose);
  ui::Node multipleChoiceList(const SurveyQuestion* question, int index);
  ui::Node emojiRow(const SurveyQuestion* question, int index);
  ui::Node feedbackEditor(const std::string& placeholder);
  ui::Node followUpField(const char* title, const char* subtitle, const char* placeholder);
  ui::Node actionRow(bool submitEnabled);
  ui::Node stepButtons(bool onLastStep, bool nextEnabled, bool withSkip, const char* nextLabel);
  ui::Node submitButton(bool enabled);
  ui::Node singleQuestionFlow();
  ui::Node postSupportFlow(int step);
  // The first step of discovery and fit: one choice stored under `key`, the survey's own options
  // or the built-in ones.
  ui::Node firstChoiceStep(const std::string& key, std::vector<SurveyOption> builtIn);
  ui::Node customerDiscoveryFlow(int step);
  ui::Node productMarketFitFlow(int step);
  ui::Node exitSurveyFlow(int step);
  ui::Node multiStepFlow(int step);
  ui::Node genericFlow();

  Survey survey_;
  SurveyPresenterActions actions_;
  std::optional<SurveyStructure> structure_;
  std::optional<SurveyConfig> config_;
  std::vector<SurveyQuestion> questions_;
  SurveyTemplateKind kind_ = SurveyTemplateKind::generic;
  Color primaryText_;
  Color secondaryText_;
  double cornerRadius_ = 20;
  ui::NodeId root_;

  JSONObject answers_;
  bool isSubmitting_ = false;
  std::string feedbackText_;
  int currentStepIndex_ = 0;
  int csatSelectedScore_ = 0;
  // Lets a late `done` see that the view is gone.
  std::shared_ptr<SurveyPresenterView*> self_;
};

}  // namespace tarnwell
