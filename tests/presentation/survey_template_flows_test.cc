#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <tarnwell/presentation/survey_presenter_view.h>
#include <tarnwell/testing/headless_driver.h>

#include "tarnwell/presentation/detail/survey_template_rules.h"
#include "tests/presentation/shows_text.h"

namespace tarnwell {
namespace {

using Texts = std::vector<std::string>;

using testing::shows;

// A survey on screen with a host that records what it was asked to do.
struct Flow {
  std::vector<JSONObject> sent;
  int dismissals = 0;
  std::unique_ptr<SurveyPresenterView> view;
  std::unique_ptr<testing::HeadlessDriver> screen;

  Flow(std::string templateId, std::optional<std::string> structure) {
    Survey survey;
    survey.id = "s1";
    survey.templateId = std::move(templateId);
    survey.structureJSON = std::move(structure);
    view = std::make_unique<SurveyPresenterView>(
        survey, SurveyPresenterActions{
                    .submit =
                        [this](const Survey&, JSONObject responses, bool completed, std::function<void(bool)> done) {
                          EXPECT_TRUE(completed);
                          sent.push_back(std::move(responses));
                          done(true);
                        },
                    .dismiss = [this] { ++dismissals; }});
    screen = std::make_unique<testing::HeadlessDriver>([this] { return view->tree(); });
  }
  Texts texts() { return screen->visibleTexts(); }
  bool tap(std::string_view target) { return screen->tap(target); }
  bool type(std::string_view target, std::string_view text) { return screen->type(target, text); }
  bool has(std::string_view target) { return screen->find(target).has_value(); }
};

void expectShows(Flow& flow, const Texts& expected) {
  const Texts texts = flow.texts();
  for (const std::string& text : expected) EXPECT_TRUE(shows(texts, text)) << "missing: " << text;
}

// --- Single-question templates, with their built-in texts and the key each answer goes under.

TEST(SurveyTemplateFlowsTest, EachSingleQuestionTemplateShowsItsTextsAndSendsItsAnswer) {
  struct Case {
    std::string templateId;
    std::string structure;
    Texts texts;
    std::vector<std::string> taps;
    std::optional<std::pair<std::string, std::string>> typed;  // placeholder, text
    JSONObject sent;
  };
  const std::vector<Case> cases{
      {"star_rating",
       R"({"questions":[{"id":"rating","type":"rating"},{"id":"more","type":"text"}]})",
       {"Survey", "Poor", "Excellent", "What can we improve?", "Submit", "Dismiss"},
       {"@symbol:star.fill#5"},
       std::pair<std::string, std::string>{"Please share your suggestions...", "More themes"},
       {{"rating", 5}, {"more", "More themes"}}},
      {"thumbs_feedback",
       R"({"questions":[{"id":"useful","type":"thumbs_feedback"},{"id":"more","type":"text"}]})",
       {"Helpful", "Not Helpful", "Tell us more", "Any additional feedback?"},
       {"Not Helpful"},
       std::pair<std::string, std::string>{"Share your feedback...", "Too long"},
       {{"useful", false}, {"more", "Too long"}}},
      {"text_feedback",
       R"({"questions":[{"id":"comment","type":"text"}]})",
       {"Share your feedback"},
       {},
       std::pair<std::string, std::string>{"Share your thoughts...", "  Lovely  "},
       {{"comment", "Lovely"}}},
      {"nps_survey",
       R"({"questions":[{"id":"nps_score","type":"nps"},{"id":"why","type":"text"}]})",
       {"Not likely", "Extremely likely", "What\u2019s the main reason for your score?", "0", "10"},
       {"survey/s1/q/nps_score/score/0"},
       std::pair<std::string, std::string>{"Optional feedback...", "Price"},
       {{"nps_score", 0}, {"why", "Price"}}},
      {"csat_survey",
       R"({"questions":[{"id":"satisfaction_score","type":"csat","scale":9},{"id":"why","type":"text"}]})",
       {"1", "5", "What could we do better?"},
       {"survey/s1/q/satisfaction_score/csat/4"},
       std::pair<std::string, std::string>{"Your suggestions help us improve...", "Hours"},
       {{"satisfaction_score", 4}, {"why", "Hours"}}},
      {"emoji_mood_tracker",
       R"({"questions":[{"id":"mood"}]})",
       {"Mood check", "Pick the feeling that matches closest", "\U0001F61E", "\U0001F641", "\U0001F610", "\U0001F642",
        "\U0001F929"},
       {"\U0001F610"},
       std::nullopt,
       {{"mood", "neutral"}}},
      {"single_question_poll",
       R"({"questions":[{"id":"pick","type":"single_choice","options":["Cats",{"value":"d","label":"Dogs"}]}]})",
       {"Quick poll", "Cats", "Dogs"},
       {"Dogs"},
       std::nullopt,
       {{"pick", "d"}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.templateId);
    Flow flow(c.templateId, c.structure);
    expectShows(flow, c.texts);
    for (const std::string& target : c.taps) EXPECT_TRUE(flow.tap(target)) << target;
    if (c.typed) {
      EXPECT_TRUE(flow.type("@placeholder:" + c.typed->first, c.typed->second));
    }
    ASSERT_TRUE(flow.tap("survey/s1/submit"));
    ASSERT_EQ(flow.sent.size(), 1u);
    EXPECT_EQ(flow.sent[0], c.sent);
    EXPECT_EQ(flow.dismissals, 0);
  }
}

TEST(SurveyTemplateFlowsTest, RatingDrawsItsRangeWithLabelsAndNeverMoreThanTenStars) {
  Flow labelled("star_rating", R"({"questions":[{"id":"r","minRating":0,"maxRating":3,
      "labels":{"min":" Meh ","max":"  "}}]})");
  expectShows(labelled, {"Meh", "Excellent"});
  EXPECT_TRUE(labelled.has("survey/s1/q/r/star/0"));
  EXPECT_TRUE(labelled.has("survey/s1/q/r/star/3"));
  EXPECT_FALSE(labelled.has("survey/s1/q/r/star/4"));
  Flow huge("star_rating", R"({"questions":[{"id":"r","maxRating":9000000000000,"maxLength":9000000000000}]})");
  EXPECT_TRUE(huge.has("survey/s1/q/r/star/10"));
  EXPECT_FALSE(huge.has("survey/s1/q/r/star/11"));
  // CSAT stops at five whatever the scale says.
  Flow csat("csat_survey", R"({"questions":[{"id":"c","scale":3}]})");
  EXPECT_TRUE(csat.has("survey/s1/q/c/csat/3"));
  EXPECT_FALSE(csat.has("survey/s1/q/c/csat/4"));
  EXPECT_FALSE(csat.tap("Submit"));
  csat.tap("survey/s1/q/c/csat/2");
  EXPECT_EQ(csat.view->csatSelectedScore(), 2);
}

TEST(SurveyTemplateFlowsTest, HugeAndOutOfRangeValuesFallBackInsteadOfBreakingTheView) {
  const std::string longTitle(100000, 'x');
  Flow flow("anything", R"({"title":")" + longTitle + R"(","questions":[
      {"id":"r","type":"rating","minRating":7,"maxRating":2},{"id":"c","type":"csat","scale":-3},
      {"id":"t","type":"text","maxLength":-5},{"id":"m","type":"multiple_choice","maxSelections":-1,"options":["A"]}]})");
  expectShows(flow, {longTitle});
  EXPECT_TRUE(flow.has("survey/s1/q/r/star/7"));  // an upside-down range draws its lower end alone
  EXPECT_FALSE(flow.has("survey/s1/q/r/star/8"));
  EXPECT_FALSE(flow.has("survey/s1/q/c/csat/1"));
  ASSERT_TRUE(flow.type("survey/s1/q/t/text", "words"));
  EXPECT_EQ(flow.view->answers(), (JSONObject{{"t", ""}}));
  EXPECT_TRUE(flow.tap("A"));  // a negative limit is already reached
  EXPECT_EQ(flow.view->answers().size(), 1u);
}

TEST(SurveyTemplateFlowsTest, EmojiOptionsOfTheSurveyShowTheGlyphOfTheirFirstMoodWord) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"very_sad", "\U0001F641"},  // caught by "sad" first, as the product does
      {"Very_Happy", "\U0001F929"}, {"Amazing day", "\U0001F929"},  {"good", "\U0001F642"},
      {"It's okay", "\U0001F610"},  {"feeling down", "\U0001F641"}, {"ANGRY", "\U0001F61E"},
      {"upset", "\U0001F61E"},      {"whatever", "\U0001F642"},     {"\U0001F389 party", "\U0001F389 party"},
  };
  for (const auto& [label, glyph] : cases) EXPECT_EQ(detail::emojiGlyphForLabel(label), glyph) << label;
  Flow flow("emoji_mood_tracker", R"({"questions":[{"id":"mood","options":["very_sad","Great"]}]})");
  ASSERT_TRUE(flow.tap("\U0001F642"));
  flow.tap("Submit");
  EXPECT_EQ(flow.sent.at(0), (JSONObject{{"mood", "great"}}));
}

// --- Step flows.

TEST(SurveyTemplateFlowsTest, PostSupportAsksFirstThenShowsTheSecondStageOfTheChoice) {
  Flow flow("post_support_feedback", R"({"questions":[{"id":"helped"},{"id":"notes","type":"text"}]})");
  expectShows(flow, {"Support follow-up", "Was this answer helpful?",
                     "A quick check-in helps us understand whether support solved the issue clearly.",
                     "That answer resolved what you needed.", "Something still felt incomplete or off.", "Back",
                     "Continue", "Skip"});
  EXPECT_FALSE(flow.tap("Continue"));
  flow.tap("Something still felt incomplete or off.");
  ASSERT_TRUE(flow.tap("Continue"));
  expectShows(flow, {"Tell us more", "Optional, but especially helpful when support missed the mark."});
  ASSERT_TRUE(flow.type("@placeholder:Tell us how we can improve...", "Wrong link"));
  flow.tap("Back");
  flow.tap("That answer resolved what you needed.");
  flow.tap("Continue");
  expectShows(flow, {"Any additional feedback?",
                     "Optional notes help our team understand what felt confusing, incomplete, or frustrating."});
  flow.tap("Submit");
  EXPECT_EQ(flow.sent.at(0), (JSONObject{{"helped", true}, {"notes", "Wrong link"}}));
}

TEST(SurveyTemplateFlowsTest, CustomerDiscoveryOffersStepTwoOnlyForAnswersInTheFollowUpSet) {
  Flow builtIn("customer_discovery_survey", std::nullopt);
  expectShows(builtIn, {"When was the last time you completed a task using our service?",
                        "This helps us understand your engagement patterns", "This week",
                        "I used it within the past 7 days", "During last 30 days", "I used it within the past month",
                        "It's been a while", "It has been more than a month since I last used it"});
  EXPECT_FALSE(builtIn.tap("Submit"));  // nothing chosen yet
  builtIn.tap("This week");
  EXPECT_FALSE(builtIn.has("survey/s1/next"));  // no second step: the button submits
  EXPECT_TRUE(builtIn.screen->find("Submit")->enabled);
  builtIn.tap("It's been a while");
  ASSERT_TRUE(builtIn.tap("Next"));
  expectShows(builtIn, {"What would make you use our service more frequently?",
                        "Optional feedback that helps us understand what would create more value for you."});
  EXPECT_TRUE(builtIn.has("@placeholder:Please share what features or improvements would help..."));
  builtIn.tap("Submit");
  EXPECT_EQ(builtIn.sent.at(0), (JSONObject{{"usage_recency", "been_a_while"}}));

  // The step 2 question's conditions come first, then the logic of step 1.
  Flow conditions("customer_discovery_survey", R"({"questions":[{"id":"recency","options":["Often","Rarely"]},
      {"id":"why","type":"text","conditions":{"usage_recency":["rarely",true]}}]})");
  conditions.tap("Often");
  EXPECT_FALSE(conditions.has("survey/s1/next"));
  conditions.tap("Rarely");
  ASSERT_TRUE(conditions.tap("Next"));
  conditions.type("survey/s1/feedback", "Price");
  conditions.tap("Submit");
  EXPECT_EQ(conditions.sent.at(0), (JSONObject{{"recency", "rarely"}, {"why", "Price"}}));

  Flow logic("customer_discovery_survey", R"({"questions":[{"id":"recency","options":["Often","Rarely"],
      "logic":{"often":{"action":"follow_up"},"rarely":{"action":"end"}}},{"id":"why","type":"text"}]})");
  logic.tap("Rarely");
  EXPECT_FALSE(logic.has("survey/s1/next"));
  logic.tap("Often");
  EXPECT_TRUE(logic.has("survey/s1/next"));
}

TEST(SurveyTemplateFlowsTest, ProductMarketFitRunsBothStepsWithOneQuestionAndPicksTheSecondByTheAnswer) {
  Flow flow("pmf_survey", R"({"questions":[{"type":"single_choice"}]})");
  expectShows(flow,
              {"How disappointed would you be if you could no longer use our service?",
               "This helps us understand the value our service provides to you", "Very disappointed",
               "It would be a significant loss for me", "Somewhat disappointed",
               "I would miss it but could find alternatives", "Not disappointed", "It wouldn't really affect me"});
  flow.tap("Very disappointed");
  ASSERT_TRUE(flow.tap("Next"));
  expectShows(flow, {"What is the primary benefit you get from our service?",
                     "A short answer helps us better understand the value you expect from this experience."});
  ASSERT_TRUE(flow.type("@placeholder:Please describe the main value you receive...", "Speed"));
  flow.tap("Back");
  flow.tap("Not disappointed");
  flow.tap("Next");
  expectShows(flow, {"What could we do to make our service more valuable to you?"});
  EXPECT_TRUE(flow.has("@placeholder:Your suggestions help us improve..."));
  flow.tap("Submit");
  EXPECT_EQ(flow.sent.at(0),
            (JSONObject{{"disappointment_level", "not_disappointed"}, {"improvement_suggestions", "Speed"}}));

  // Conditions of the found questions replace the built-in lists; an answer in neither submits.
  Flow custom("pmf_survey", R"({"questions":[{"id":"level","options":["A","B","C"]},
      {"id":"my_primary_benefit","type":"text","conditions":{"disappointment_level":["b"]}},
      {"id":"Improvement_Suggestions_2","type":"text","conditions":{"disappointment_level":["c"]}}]})");
  custom.tap("A");
  EXPECT_FALSE(custom.has("survey/s1/next"));
  custom.tap("B");
  custom.tap("Next");
  ASSERT_TRUE(custom.type("survey/s1/q/my_primary_benefit/text", "Focus"));
  custom.tap("Submit");
  EXPECT_EQ(custom.sent.at(0), (JSONObject{{"level", "b"}, {"my_primary_benefit", "Focus"}}));
}

TEST(SurveyTemplateFlowsTest, ExitSurveyGoesForwardAndBackAndBackOnTheFirstStepDismisses) {
  Flow flow("exit_survey", R"({"questions":[{"id":"reason","options":["Too expensive","Missing features"]},
      {"id":"better","type":"text"}]})");
  expectShows(flow,
              {"Before you go", "What is the main reason you're leaving?",
               "Your quick reason helps us understand where the experience is falling short.", "Next", "Back", "Skip"});
  flow.tap("Too expensive");
  ASSERT_TRUE(flow.tap("Next"));
  expectShows(flow, {"What could we have done better?",
                     "Optional feedback gives us the context we need to improve the experience."});
  flow.type("@placeholder:Tell us more about your experience...", "Discounts");
  flow.tap("Back");
  EXPECT_EQ(flow.view->currentStepIndex(), 0);
  EXPECT_EQ(flow.dismissals, 0);
  flow.tap("Back");
  EXPECT_EQ(flow.dismissals, 1);
  EXPECT_TRUE(flow.sent.empty());
  flow.tap("Skip");
  flow.tap("Submit");
  EXPECT_EQ(flow.sent.at(0), (JSONObject{{"reason", "too_expensive"}, {"better", "Discounts"}}));
}

TEST(SurveyTemplateFlowsTest, MultiStepShowsOneQuestionPerStepAndHoldsOnARequiredOne) {
  Flow flow("multi_step_survey", R"({"questions":[
      {"id":"stars","type":"rating","required":true,"title":"Rate us"},
      {"id":"pick","type":"multiple_choice","options":["X","Y"]},
      {"id":"note","type":"text","placeholder":"Anything else?","maxLength":5}]})");
  expectShows(flow, {"Step 1 of 3", "Rate us", "Required"});
  EXPECT_FALSE(flow.tap("Next"));
  flow.tap("survey/s1/q/stars/star/2");
  ASSERT_TRUE(flow.tap("Next"));
  expectShows(flow, {"Step 2 of 3", "Optional"});
  ASSERT_TRUE(flow.tap("Skip"));
  expectShows(flow, {"Step 3 of 3"});
  EXPECT_FALSE(flow.has("survey/s1/next"));
  flow.type("@placeholder:Anything else?", "Thanks a lot");
  flow.tap("Submit");
  EXPECT_EQ(flow.sent.at(0), (JSONObject{{"stars", 2}, {"note", "Thank"}}));
}

TEST(SurveyTemplateFlowsTest, GenericFlowDrawsEveryQuestionAndWaitsForTheRequiredOnes) {
  Flow flow("anything", R"({"title":"Tell us","questions":[
      {"id":"a","type":"single-choice","required":true,"options":["One","Two"]},
      {"id":"b","type":"thumbs_feedback"},{"id":"c","type":"emoji"},{"id":"d","type":"whatever"}]})");
  expectShows(flow, {"Tell us", "Required", "Optional", "One", "Helpful", "\U0001F929"});
  EXPECT_FALSE(flow.tap("Submit"));
  flow.tap("Two");
  flow.tap("Helpful");
  flow.type("survey/s1/q/d/text", "Hi");
  ASSERT_TRUE(flow.tap("Submit"));
  EXPECT_EQ(flow.sent.at(0), (JSONObject{{"a", "two"}, {"b", true}, {"d", "Hi"}}));
}

}  // namespace
}  // namespace tarnwell
