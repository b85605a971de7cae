#include <tarnwell/presentation/survey_presenter_view.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <tarnwell/testing/headless_driver.h>

#include "tests/presentation/shows_text.h"

namespace tarnwell {
namespace {

using Texts = std::vector<std::string>;

Survey makeSurvey(std::optional<std::string> templateId, std::optional<std::string> structure,
                  std::optional<std::string> config = std::nullopt) {
  Survey survey;
  survey.id = "s1";
  survey.templateId = std::move(templateId);
  survey.structureJSON = std::move(structure);
  survey.configJSON = std::move(config);
  return survey;
}

using testing::shows;

// The host's side of the view: what it was asked to send and to dismiss, and the completion of
// the submission in flight, which the test answers when it chooses.
struct Host {
  struct Sent {
    JSONObject responses;
    bool completed = false;
  };
  std::vector<Sent> sent;
  int dismissals = 0;
  std::function<void(bool)> pending;

  SurveyPresenterActions actions() {
    return {.submit =
                [this](const Survey& survey, JSONObject responses, bool completed, std::function<void(bool)> done) {
                  EXPECT_EQ(survey.id, "s1");
                  sent.push_back({std::move(responses), completed});
                  pending = std::move(done);
                },
            .dismiss = [this] { ++dismissals; }};
  }
};

// A view over a survey with a driver that rebuilds the tree for every call.
struct Screen {
  Host host;
  std::unique_ptr<SurveyPresenterView> view;
  std::unique_ptr<testing::HeadlessDriver> driver;

  explicit Screen(Survey survey) {
    view = std::make_unique<SurveyPresenterView>(std::move(survey), host.actions());
    driver = std::make_unique<testing::HeadlessDriver>([this] { return view->tree(); });
  }
  Texts texts() { return driver->visibleTexts(); }
  bool tap(std::string_view target) { return driver->tap(target); }
  bool type(std::string_view target, std::string_view text) { return driver->type(target, text); }
  bool enabled(std::string_view target) {
    std::optional<ui::Node> node = driver->find(target);
    return node && node->enabled && ui::findTarget(driver->tree(), target).enabled;
  }
};

// --- Template words.

TEST(SurveyTemplateKindTest, TemplateWordsInAnyCaseComeFirstThenTheStructureTypeThenTheGenericFlow) {
  struct Case {
    std::optional<std::string> templateId;
    std::optional<std::string> structure;
    SurveyTemplateKind kind;
  };
  const std::vector<Case> cases{
      {"star_rating", std::nullopt, SurveyTemplateKind::starRating},
      {" THUMBS_FEEDBACK\n", std::nullopt, SurveyTemplateKind::thumbsFeedback},
      {"Post_Support_Feedback", std::nullopt, SurveyTemplateKind::postSupportFeedback},
      {"text_feedback", std::nullopt, SurveyTemplateKind::textFeedback},
      {"nps_survey", R"({"type":"emoji"})", SurveyTemplateKind::nps},
      {"csat_survey", std::nullopt, SurveyTemplateKind::csat},
      {"emoji_mood_tracker", std::nullopt, SurveyTemplateKind::emojiMoodTracker},
      {"multiple_choice_survey", std::nullopt, SurveyTemplateKind::multipleChoice},
      {"single_question_poll", std::nullopt, SurveyTemplateKind::singleQuestionPoll},
      {"customer_discovery_survey", std::nullopt, SurveyTemplateKind::customerDiscovery},
      {"pmf_survey", std::nullopt, SurveyTemplateKind::productMarketFit},
      {"exit_survey", std::nullopt, SurveyTemplateKind::exitSurvey},
      {"multi_step_survey", std::nullopt, SurveyTemplateKind::multiStep},
      // An unknown word falls through to the structure's type, normalised.
      {"nps-survey", R"({"type":"Star-Rating"})", SurveyTemplateKind::starRating},
      {"mystery", R"({"type":"thumbs_feedback"})", SurveyTemplateKind::thumbsFeedback},
      {std::nullopt, R"({"type":" NPS "})", SurveyTemplateKind::nps},
      {std::nullopt, R"({"type":"emoji"})", SurveyTemplateKind::emojiMoodTracker},
      {std::nullopt, R"({"type":"Emoji_Mood-Tracker"})", SurveyTemplateKind::emojiMoodTracker},
      {std::nullopt, R"({"type":"multiple-choice"})", SurveyTemplateKind::multipleChoice},
      {std::nullopt, R"({"type":"csat"})", SurveyTemplateKind::generic},
      {std::nullopt, R"({"type":"text","questions":[{"id":"a"}]})", SurveyTemplateKind::textFeedback},
      {std::nullopt, R"({"type":"text","questions":[{"id":"a"},{"id":"b"}]})", SurveyTemplateKind::generic},
      {std::nullopt, "{not json", SurveyTemplateKind::generic},
      {std::nullopt, std::nullopt, SurveyTemplateKind::generic},
  };
  for (const Case& c : cases) {
    SurveyPresenterView view(makeSurvey(c.templateId, c.structure), {});
    EXPECT_EQ(view.templateKind(), c.kind) << c.templateId.value_or("-") << " " << c.structure.value_or("-");
  }
}

// --- Shared rules: titles, buttons, colours, ids.

TEST(SurveyPresenterViewTest, AStructureThatDoesNotParseShowsTheTitleAloneAndNeverCrashes) {
  Screen screen(makeSurvey(std::nullopt, R"({"questions":[{"id":1}]})"));
  EXPECT_TRUE(screen.view->questions().empty());
  EXPECT_EQ(screen.texts(), Texts{"Survey"});
  EXPECT_TRUE(screen.tap("survey/s1/close"));
  EXPECT_EQ(screen.host.dismissals, 1);
}

TEST(SurveyPresenterViewTest, TitlesPreferTheFirstQuestionThenTheStructureThenTheTemplate) {
  SurveyPresenterView own(makeSurvey("emoji_mood_tracker", R"({"title":"Structure title","subtitle":" ",
      "questions":[{"id":"q","title":"  Question title ","description":"Described"}]})"),
                          {});
  EXPECT_EQ(own.title(), "Question title");
  EXPECT_EQ(own.subtitle(), "Described");
  SurveyPresenterView structure(makeSurvey("emoji_mood_tracker", R"({"title":"Structure title","questions":[{}]})"),
                                {});
  EXPECT_EQ(structure.title(), "Structure title");
  EXPECT_EQ(structure.subtitle(), "Pick the feeling that matches closest");
  SurveyPresenterView builtIn(makeSurvey("emoji_mood_tracker", std::nullopt), {});
  EXPECT_EQ(builtIn.title(), "Mood check");
  SurveyPresenterView none(makeSurvey("star_rating", R"({"title":"   "})"), {});
  EXPECT_EQ(none.title(), "Survey");
}

TEST(SurveyPresenterViewTest, ButtonTextsAndVisibilityFollowTheStructureThenTheConfig) {
  SurveyPresenterView plain(makeSurvey("thumbs_feedback", "{}"), {});
  EXPECT_EQ(plain.submitButtonText(), "Submit");
  EXPECT_EQ(plain.dismissButtonText(), "Dismiss");
  SurveyPresenterView skip(makeSurvey("thumbs_feedback", "{}", R"({"behavior":{"allowSkip":true}})"), {});
  EXPECT_EQ(skip.dismissButtonText(), "Skip");
  SurveyPresenterView named(makeSurvey("thumbs_feedback",
                                       R"({"buttons":{"primary":{"text":"  "},"submitText":{"text":" Send "},
                                           "secondary":{"text":"Later","visible":false}}})",
                                       R"({"behavior":{"allowSkip":true}})"),
                            {});
  EXPECT_EQ(named.submitButtonText(), "Send");
  EXPECT_EQ(named.dismissButtonText(), "Later");
  EXPECT_TRUE(named.isSubmitButtonVisible());
  EXPECT_FALSE(named.isDismissButtonVisible());
  Screen screen(makeSurvey("thumbs_feedback", R"({"buttons":{"primary":{"text":"Go","visible":false}}})"));
  EXPECT_FALSE(screen.driver->find("survey/s1/submit"));
  EXPECT_TRUE(screen.driver->find("survey/s1/dismiss"));
}

TEST(SurveyPresenterViewTest, ColoursAndCornerRadiusComeFromTheConfigStyleWithFallbacks) {
  SurveyPresenterView styled(makeSurvey(std::nullopt, "{}", R"({"style":{"textColor":"#FF0000","borderRadius":8}})"),
                             {});
  EXPECT_EQ(styled.primaryTextColor(), (Color{1, 0, 0, 1}));
  EXPECT_EQ(styled.secondaryTextColor(), (Color{1, 0, 0, 0.64}));
  EXPECT_EQ(styled.cornerRadius(), 8);
  EXPECT_EQ(styled.tree().cornerRadius, 8);
  SurveyPresenterView bad(makeSurvey(std::nullopt, "{}", R"({"style":{"textColor":"not a colour"}})"), {});
  EXPECT_EQ(bad.primaryTextColor(), (Color{0, 0, 0, 0.88}));
  EXPECT_EQ(bad.secondaryTextColor(), (Color{0, 0, 0, 0.58}));
  EXPECT_EQ(bad.cornerRadius(), 20);
  SurveyPresenterView brokenConfig(makeSurvey(std::nullopt, "{}", "{broken"), {});
  EXPECT_EQ(brokenConfig.primaryTextColor(), (Color{0, 0, 0, 0.88}));
  EXPECT_EQ(brokenConfig.dismissButtonText(), "Dismiss");
}

TEST(SurveyPresenterViewTest, TwoViewsOfOneSurveyBuildTheSameIdsEvenForQuestionsWithoutId) {
  const Survey survey = makeSurvey(std::nullopt, R"({"questions":[{"type":"rating"},{"id":"why","type":"text"}]})");
  SurveyPresenterView first(survey, {});
  SurveyPresenterView second(survey, {});
  EXPECT_EQ(first.tree().toJSON().encode(), second.tree().toJSON().encode());
  testing::HeadlessDriver screen([&] { return first.tree(); });
  EXPECT_TRUE(screen.find("survey/s1/question/0/star/5"));
  EXPECT_TRUE(screen.find("survey/s1/q/why/text"));
}

// --- Answers.

TEST(SurveyPresenterViewTest, AQuestionWithoutIdIsSentUnderAFreshKeyButNeverLooksAnswered) {
  Screen screen(makeSurvey("star_rating", R"({"questions":[{"type":"rating"}]})"));
  ASSERT_TRUE(screen.tap("@symbol:star.fill#4"));
  EXPECT_FALSE(screen.view->isAnswered(screen.view->questions()[0]));
  EXPECT_FALSE(screen.enabled("survey/s1/submit"));
  ASSERT_EQ(screen.view->answers().size(), 1u);
  const auto& [key, value] = *screen.view->answers().begin();
  EXPECT_EQ(key.size(), 36u);  // a UUID
  EXPECT_EQ(value, JSONValue(4));
  screen.tap("@symbol:star.fill#2");
  EXPECT_EQ(screen.view->answers().size(), 2u);  // a second fresh key
}

TEST(SurveyPresenterViewTest, AnsweredDependsOnTheQuestionType) {
  SurveyPresenterView view(makeSurvey(std::nullopt, R"({"questions":[
      {"id":"t","type":"text"},{"id":"r","type":"Star_Rating"},{"id":"th","type":"thumbs-feedback"},
      {"id":"m","type":"multiple_choice"},{"id":"o","type":"single_choice"}]})"),
                           {});
  const auto& q = view.questions();
  for (const SurveyQuestion& question : q) EXPECT_FALSE(view.isAnswered(question));
  view.setAnswer(q[0], "");
  view.setAnswer(q[1], 0);
  view.setAnswer(q[2], false);
  view.setAnswer(q[3], JSONArray{});
  view.setAnswer(q[4], "");
  EXPECT_FALSE(view.isAnswered(q[0]));
  EXPECT_FALSE(view.isAnswered(q[1]));
  EXPECT_TRUE(view.isAnswered(q[2]));  // thumbs down is an answer
  EXPECT_FALSE(view.isAnswered(q[3]));
  EXPECT_FALSE(view.isAnswered(q[4]));
  view.setAnswer(q[0], "x");
  view.setAnswer(q[1], 1);
  view.setAnswer(q[3], JSONArray{"a"});
  view.setAnswer(q[4], 0);  // any other type reads the value as text: "0.0"
  for (const SurveyQuestion& question : q) EXPECT_TRUE(view.isAnswered(question));
}

TEST(SurveyPresenterViewTest, MultipleChoiceHonoursMaxSelectionsAndDeselectRemovesEveryOccurrence) {
  Screen screen(makeSurvey("multiple_choice_survey", R"({"questions":[{"id":"m","type":"multiple_choice",
      "maxSelections":2,"options":["Red","Green","Blue"]}]})"));
  EXPECT_TRUE(shows(screen.texts(), "Choose up to 2 options"));
  EXPECT_FALSE(screen.enabled("survey/s1/submit"));
  screen.tap("Red");
  EXPECT_TRUE(shows(screen.texts(), "1 selected"));
  screen.tap("Green");
  EXPECT_TRUE(shows(screen.texts(), "2 selected"));
  screen.tap("Blue");  // the limit is reached: nothing changes
  EXPECT_EQ(screen.view->answers(), (JSONObject{{"m", JSONArray{"red", "green"}}}));
  EXPECT_TRUE(screen.driver->find("survey/s1/q/m/option/1")->selected);
  EXPECT_FALSE(screen.driver->find("survey/s1/q/m/option/2")->selected);

  const SurveyQuestion& question = screen.view->questions()[0];
  screen.view->setAnswer(question, JSONArray{"red", "green", "red"});
  screen.view->toggleOption(question, "red");
  EXPECT_EQ(screen.view->answers(), (JSONObject{{"m", JSONArray{"green"}}}));
  screen.tap("Green");
  EXPECT_FALSE(shows(screen.texts(), "1 selected"));
  EXPECT_FALSE(shows(screen.texts(), "0 selected"));

  SurveyPresenterView unlimited(makeSurvey("multiple_choice_survey", R"({"questions":[{"id":"m",
      "type":"multiplechoice","maxSelections":0}]})"),
                                {});
  for (const char* value : {"a", "b", "c"}) unlimited.toggleOption(unlimited.questions()[0], value);
  EXPECT_EQ(unlimited.answers(), (JSONObject{{"m", JSONArray{"a", "b", "c"}}}));
}

// --- Submission and dismissal.

TEST(SurveyPresenterViewTest, SubmitSendsOnceWhilePendingAndAFailureKeepsTheAnswersForAnotherTry) {
  Screen screen(makeSurvey("star_rating", R"({"questions":[{"id":"rating","type":"rating"},
      {"id":"why","type":"text"}]})"));
  EXPECT_FALSE(screen.tap("Submit"));  // nothing rated yet
  screen.tap("survey/s1/q/rating/star/4");
  screen.type("@placeholder:Please share your suggestions...", "  Faster please \n");
  ASSERT_TRUE(screen.tap("Submit"));
  ASSERT_EQ(screen.host.sent.size(), 1u);
  EXPECT_TRUE(screen.host.sent[0].completed);
  EXPECT_EQ(screen.host.sent[0].responses, (JSONObject{{"rating", 4}, {"why", "Faster please"}}));
  EXPECT_TRUE(screen.view->isSubmitting());
  EXPECT_TRUE(shows(screen.texts(), "Submitting..."));
  EXPECT_FALSE(screen.tap("Submitting..."));
  screen.view->submit();  // a second press in the meantime
  EXPECT_EQ(screen.host.sent.size(), 1u);

  screen.host.pending(false);
  EXPECT_FALSE(screen.view->isSubmitting());
  EXPECT_TRUE(shows(screen.texts(), "Submit"));
  EXPECT_TRUE(screen.driver->find("survey/s1/q/rating/star/4"));
  EXPECT_EQ(screen.view->answers(), (JSONObject{{"rating", 4}, {"why", "Faster please"}}));
  ASSERT_TRUE(screen.tap("Submit"));
  ASSERT_EQ(screen.host.sent.size(), 2u);
  EXPECT_EQ(screen.host.sent[1].responses, screen.host.sent[0].responses);
  EXPECT_EQ(screen.host.dismissals, 0);
}

TEST(SurveyPresenterViewTest, BlankFeedbackAddsNoEntryAndALateCompletionAfterTheViewIsGoneIsHarmless) {
  Host host;
  std::function<void(bool)> late;
  {
    SurveyPresenterView view(makeSurvey("thumbs_feedback", R"({"questions":[{"id":"t"},{"id":"more","type":"text"}]})"),
                             host.actions());
    view.setAnswer(view.questions()[0], true);
    view.setFeedbackText(" \n\t");
    view.submit();
    late = host.pending;
  }
  ASSERT_EQ(host.sent.size(), 1u);
  EXPECT_EQ(host.sent[0].responses, (JSONObject{{"t", true}}));
  late(true);
}

TEST(SurveyPresenterViewTest, FeedbackTextGoesOnlyToAFollowUpQuestionFromTheSecondOnOrToATextFeedback) {
  Host host;
  // The first question is never its own follow-up, even when it is a text question.
  SurveyPresenterView thumbs(makeSurvey("thumbs_feedback", R"({"questions":[{"id":"t","type":"text"}]})"),
                             host.actions());
  EXPECT_EQ(thumbs.followUpQuestion(), nullptr);
  thumbs.setAnswer(thumbs.questions()[0], true);
  thumbs.setFeedbackText("Nice");
  thumbs.submit();
  // Without a follow-up question only a text feedback keeps the words, under its first question.
  SurveyPresenterView stars(makeSurvey("star_rating", R"({"questions":[{"id":"r"},{"id":"x","type":"rating"}]})"),
                            host.actions());
  stars.setAnswer(stars.questions()[0], 3);
  stars.setFeedbackText("Nice");
  stars.submit();
  ASSERT_EQ(host.sent.size(), 2u);
  EXPECT_EQ(host.sent[0].responses, (JSONObject{{"t", true}}));
  EXPECT_EQ(host.sent[1].responses, (JSONObject{{"r", 3}}));
}

TEST(SurveyPresenterViewTest, CloseAndDismissCallDismissAndNeverSubmit) {
  Screen screen(makeSurvey("thumbs_feedback", R"({"questions":[{"id":"t"}]})"));
  screen.tap("Helpful");
  EXPECT_TRUE(screen.tap("@symbol:xmark"));
  EXPECT_TRUE(screen.tap("Dismiss"));
  EXPECT_EQ(screen.host.dismissals, 2);
  EXPECT_TRUE(screen.host.sent.empty());
}

}  // namespace
}  // namespace tarnwell
