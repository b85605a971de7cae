#include <tarnwell/testing/headless_driver.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <tarnwell/ui/node_id.h>

namespace tarnwell {
namespace {

using testing::HeadlessDriver;
using Texts = std::vector<std::string>;

// A feedback view with its own state, rebuilt by the driver for every call as a host would.
struct FeedbackScreen {
  int rating = 0;
  std::string comment;
  int pageIndex = 0;
  bool consent = false;
  bool submitting = false;
  std::vector<std::string> taps;

  ui::Node body() {
    const ui::NodeId survey("survey", "s1");
    const ui::NodeId question = survey.question("rate");
    std::vector<ui::Node> stars;
    for (int i = 1; i <= 5; ++i) {
      stars.push_back(
          ui::symbolButton(question.part("star", i), i <= rating ? "star.fill" : "star", [this, i] { rating = i; }));
    }
    return ui::vstack({
        ui::hstack({ui::text("Feedback", ui::TextRole::eyebrow), ui::spacer(),
                    ui::symbolButton(survey.part("close"), "xmark", [this] { taps.push_back("close"); })}),
        ui::text("How did we do?", ui::TextRole::title),
        ui::hstack(std::move(stars)),
        ui::textEditor(question.part("comment"), comment, "Tell us more", 6,
                       [this](std::string text) { comment = std::move(text); }),
        ui::choiceRow(survey.question("consent").part("option", 0), "You may contact me", ui::ChoiceStyle::multiple,
                      consent, [this] { consent = !consent; }),
        ui::pager(survey.part("pages"),
                  {ui::vstack({ui::text("Page one"),
                               ui::button(survey.part("next"), "Next", [this] { taps.push_back("next on one"); })}),
                   ui::vstack({ui::text("Page two"),
                               ui::button(survey.part("back"), "Back", [this] { taps.push_back("back"); })}),
                   ui::text("Page three")},
                  pageIndex, [this](int index) { pageIndex = index; }),
        ui::vstack(
            {ui::button(survey.part("submit"), "Send", [this] { taps.push_back("send"); }).withEnabled(rating > 0)})
            .withEnabled(!submitting),
    });
  }
};

class HeadlessDriverTest : public ::testing::Test {
 protected:
  FeedbackScreen state;
  HeadlessDriver screen{[this] { return state.body(); }};
};

TEST_F(HeadlessDriverTest, SymbolTargetsCountNodesWithThatSymbolInDrawingOrder) {
  state.rating = 4;
  EXPECT_TRUE(screen.tap("@symbol:star.fill#3"));
  EXPECT_EQ(state.rating, 3);
  // The tree was rebuilt: only three stars are filled now, so the fourth filled one is gone.
  EXPECT_FALSE(screen.tap("@symbol:star.fill#4"));
  EXPECT_TRUE(screen.tap("@symbol:star#2"));  // the fifth star, the second unfilled one
  EXPECT_EQ(state.rating, 5);
  EXPECT_TRUE(screen.tap("@symbol:star.fill"));  // no count is the first
  EXPECT_EQ(state.rating, 1);
  EXPECT_TRUE(screen.tap("@symbol:xmark#1"));
  EXPECT_EQ(state.taps, Texts{"close"});
}

TEST_F(HeadlessDriverTest, AnExactIdWinsOverALabelEarlierInDrawingOrder) {
  std::vector<std::string> pressed;
  HeadlessDriver fixed(ui::vstack({
      ui::button("a", "survey/s1/submit", [&] { pressed.push_back("labelled like the id"); }),
      ui::button("survey/s1/submit", "Send", [&] { pressed.push_back("by id"); }),
  }));
  EXPECT_TRUE(fixed.tap("survey/s1/submit"));
  EXPECT_EQ(pressed, Texts{"by id"});
}

TEST_F(HeadlessDriverTest, ALabelNamesTheFirstInteractiveNodeWithExactlyThatText) {
  std::vector<std::string> pressed;
  HeadlessDriver fixed(ui::vstack({
      ui::text("Next"),  // words, not a control
      ui::button("send ", "Next ", [&] { pressed.push_back("trailing blank"); }),
      ui::hstack({ui::button("first", "Next", [&] { pressed.push_back("first"); })}),
      ui::button("second", "Next", [&] { pressed.push_back("second"); }),
  }));
  EXPECT_TRUE(fixed.tap("Next"));
  EXPECT_FALSE(fixed.tap("next"));
  EXPECT_EQ(pressed, Texts{"first"});
  EXPECT_EQ(fixed.find("Next")->id, "first");
}

TEST_F(HeadlessDriverTest, PlaceholderTargetsReachFieldsAndTypingReplacesTheText) {
  state.comment = "old";
  EXPECT_TRUE(screen.type("@placeholder:Tell us more", "Great"));
  EXPECT_EQ(state.comment, "Great");
  EXPECT_TRUE(screen.type("survey/s1/q/rate/comment", "Fine"));
  EXPECT_EQ(state.comment, "Fine");
  EXPECT_EQ(screen.find("@placeholder:Tell us more")->kind, ui::Kind::textEditor);
  EXPECT_FALSE(screen.type("@placeholder:Tell us", "partial placeholder"));
  EXPECT_EQ(state.comment, "Fine");
}

TEST_F(HeadlessDriverTest, TypingKeepsTheFirstMaxLengthCodePoints) {
  // The editor allows six: "é" and "👍" take two and four bytes but count one each.
  EXPECT_TRUE(screen.type("@placeholder:Tell us more", "caf\u00E9 \U0001F44D and more"));
  EXPECT_EQ(state.comment, "caf\u00E9 \U0001F44D");
  EXPECT_TRUE(screen.type("@placeholder:Tell us more", "short"));
  EXPECT_EQ(state.comment, "short");
}

TEST_F(HeadlessDriverTest, ADisabledNodeOrAnyInsideADisabledContainerRefuses) {
  EXPECT_FALSE(screen.tap("Send"));  // no rating yet
  EXPECT_TRUE(state.taps.empty());
  state.rating = 2;
  state.submitting = true;  // the button is enabled, the stack around it is not
  EXPECT_FALSE(screen.tap("survey/s1/submit"));
  EXPECT_TRUE(state.taps.empty());
  state.submitting = false;
  EXPECT_TRUE(screen.tap("Send"));
  EXPECT_EQ(state.taps, Texts{"send"});
}

TEST_F(HeadlessDriverTest, AnActionTheNodeDoesNotTakeOrABadTargetAnswersFalse) {
  EXPECT_FALSE(screen.type("Send", "text into a button"));
  EXPECT_FALSE(screen.tap("@placeholder:Tell us more"));
  EXPECT_FALSE(screen.page("survey/s1/close", 0));
  EXPECT_FALSE(screen.tap("How did we do?"));  // plain words take no tap
  for (const char* target : {"", "nothing here", "@symbol:", "@symbol:#2", "@symbol:star#0",
                             "@symbol:star#99999999999999999999", "@symbol:star#6", "@placeholder:"}) {
    EXPECT_FALSE(screen.tap(target)) << target;
    EXPECT_FALSE(screen.find(target)) << target;
  }
  EXPECT_EQ(state.rating, 0);
  EXPECT_TRUE(state.taps.empty());
}

TEST_F(HeadlessDriverTest, PagesCountFromZeroAndOnlyTheSelectedPageCanBeReached) {
  EXPECT_FALSE(screen.tap("Back"));  // on page two, not drawn
  EXPECT_TRUE(screen.page("survey/s1/pages", 1));
  EXPECT_EQ(state.pageIndex, 1);
  EXPECT_TRUE(screen.tap("Back"));
  EXPECT_FALSE(screen.tap("Next"));
  EXPECT_EQ(state.taps, Texts{"back"});

  EXPECT_TRUE(screen.page("survey/s1/pages", 2));
  EXPECT_EQ(state.pageIndex, 2);
  EXPECT_FALSE(screen.page("survey/s1/pages", 3));
  EXPECT_FALSE(screen.page("survey/s1/pages", -1));
  EXPECT_EQ(state.pageIndex, 2);
}

TEST_F(HeadlessDriverTest, VisibleTextsAreTheDrawnWordsTopToBottom) {
  state.comment = "typed";
  EXPECT_EQ(screen.visibleTexts(),
            (Texts{"Feedback", "How did we do?", "You may contact me", "Page one", "Next", "Send"}));
  EXPECT_TRUE(screen.page("survey/s1/pages", 2));
  EXPECT_EQ(screen.visibleTexts(), (Texts{"Feedback", "How did we do?", "You may contact me", "Page three", "Send"}));

  // Words exactly as drawn, blanks included; an image's fallback and a pager turned past its
  // last page show no words.
  const ui::Node tree = ui::zstack({
      ui::image("https://cdn.example/a.png", "photo"),
      ui::text(" Hello "),
      ui::pager("p", {ui::text("only page")}, 4, [](int) {}),
      ui::text(""),
  });
  EXPECT_EQ(HeadlessDriver(tree).visibleTexts(), Texts{" Hello "});
}

TEST_F(HeadlessDriverTest, EachActionReadsTheTreeTheLastOneLeft) {
  EXPECT_TRUE(screen.tap("You may contact me"));
  EXPECT_TRUE(state.consent);
  EXPECT_TRUE(screen.find("You may contact me")->selected);
  EXPECT_TRUE(screen.tap("You may contact me"));
  EXPECT_FALSE(state.consent);

  // A fixed tree stays as it was built however its actions change the host's state.
  HeadlessDriver fixed(state.body());
  EXPECT_TRUE(fixed.tap("@symbol:star#5"));
  EXPECT_EQ(state.rating, 5);
  EXPECT_TRUE(fixed.tap("@symbol:star#5"));
  EXPECT_FALSE(fixed.find("@symbol:star.fill"));
}

}  // namespace
}  // namespace tarnwell
