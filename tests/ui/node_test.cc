#include <tarnwell/ui/node.h>

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include <tarnwell/ui/node_id.h>
#include <tarnwell/ui/node_query.h>

namespace tarnwell {
namespace {

TEST(NodeJSONTest, TextPrintsItsRoleAndColourWithAlphaLast) {
  // Documents carry alpha first; the printed form puts it last.
  const ui::Node title = ui::text("How did we do?", ui::TextRole::title, parseColorText("#80FF6600"));
  EXPECT_EQ(title.toJSON().encode(),
            R"({"kind":"text","id":null,"text":"How did we do?","role":"title","color":"#FF660080"})");
  EXPECT_EQ(ui::text("fine print", ui::TextRole::caption).toJSON().encode(),
            R"({"kind":"text","id":null,"text":"fine print","role":"caption","color":null})");
  EXPECT_EQ(ui::text("NEW", ui::TextRole::eyebrow).toJSON()["role"], JSONValue("eyebrow"));
  EXPECT_EQ(ui::text("x", ui::TextRole::subtitle).toJSON()["role"], JSONValue("subtitle"));
}

TEST(NodeJSONTest, FieldsPrintTheirTextPlaceholderAndLimit) {
  const auto ignore = [](std::string) {};
  EXPECT_EQ(ui::textField("survey/s1/q/name/field", "Ada", "Your name", 20, ignore).toJSON().encode(),
            R"({"kind":"textField","id":"survey/s1/q/name/field","text":"Ada","placeholder":"Your name",)"
            R"("maxLength":20,"enabled":true})");
  EXPECT_EQ(ui::textEditor("e", "", "", std::nullopt, ignore).withEnabled(false).toJSON().encode(),
            R"({"kind":"textEditor","id":"e","text":"","placeholder":null,"maxLength":null,"enabled":false})");
}

TEST(NodeJSONTest, ControlsPrintTheKeysOfTheirKindOnly) {
  const auto noop = [] {};
  EXPECT_EQ(ui::symbolButton("survey/s1/close", "xmark", noop).withEnabled(false).toJSON().encode(),
            R"({"kind":"button","id":"survey/s1/close","text":null,"symbol":"xmark","enabled":false,"color":null})");
  EXPECT_EQ(ui::button("b", "Send", noop).withColor(Color{0, 0, 1, 1}).toJSON().encode(),
            R"({"kind":"button","id":"b","text":"Send","symbol":null,"enabled":true,"color":"#0000FFFF"})");
  EXPECT_EQ(ui::choiceRow("c", "Yes", ui::ChoiceStyle::multiple, true, noop).toJSON().encode(),
            R"({"kind":"choiceRow","id":"c","text":"Yes","enabled":true,"selected":true})");
  EXPECT_EQ(ui::symbol("star.fill").toJSON().encode(),
            R"({"kind":"symbol","id":null,"symbol":"star.fill","color":null})");
  EXPECT_EQ(ui::image("https://cdn.example/a.png", "photo").toJSON().encode(),
            R"({"kind":"image","id":null,"symbol":"photo"})");
  EXPECT_EQ(ui::progress(0.5).toJSON().encode(), R"({"kind":"progress","id":null,"color":null})");
  EXPECT_EQ(ui::spacer().toJSON().encode(), R"({"kind":"spacer","id":null})");
}

TEST(NodeJSONTest, ContainersPrintEveryChildAndPagersTheirSelectedIndex) {
  const ui::Node tree = ui::vstack({
      ui::hstack({ui::spacer()}),
      ui::pager("p", {ui::text("one"), ui::text("two")}, 1, [](int) {}),
      ui::zstack({}),
  });
  EXPECT_EQ(tree.toJSON().encode(), R"({"kind":"vstack","id":null,"children":[)"
                                    R"({"kind":"hstack","id":null,"children":[{"kind":"spacer","id":null}]},)"
                                    R"({"kind":"pager","id":"p","enabled":true,"selectedIndex":1,"children":[)"
                                    R"({"kind":"text","id":null,"text":"one","role":"body","color":null},)"
                                    R"({"kind":"text","id":null,"text":"two","role":"body","color":null}]},)"
                                    R"({"kind":"zstack","id":null,"children":[]}]})");
}

TEST(NodeJSONTest, AnIdWithoutAnActionPrintsNull) {
  ui::Node label = ui::text("Score");
  label.id = "survey/s1/score";
  EXPECT_TRUE(label.toJSON()["id"].isNull());
  ui::Node inert = ui::button("survey/s1/submit", "Send", nullptr);
  EXPECT_TRUE(inert.toJSON()["id"].isNull());
  inert.onTap = [] {};
  EXPECT_EQ(inert.toJSON()["id"], JSONValue("survey/s1/submit"));
}

TEST(ColorTextTest, RoundsEachComponentAndClampsOutOfRangeValues) {
  EXPECT_EQ(ui::colorText(Color{1, 0.5, 0, 1}), "#FF8000FF");
  EXPECT_EQ(ui::colorText(Color{10 / 255.0, 171 / 255.0, 205 / 255.0, 239 / 255.0}), "#0AABCDEF");
  EXPECT_EQ(ui::colorText(Color{-1, 2, std::nan(""), 0}), "#00FF0000");
  EXPECT_EQ(ui::colorText(*parseColorText("#11223344")), "#22334411");
}

TEST(NodeIdTest, JoinsTheItemQuestionRoleAndIndex) {
  const ui::NodeId question = ui::NodeId("survey", "s_42").question("nps");
  EXPECT_EQ(question.part("star", 3).str(), "survey/s_42/q/nps/star/3");
  EXPECT_EQ(std::string(ui::NodeId("announcement", "a_7").part("primary")), "announcement/a_7/primary");
  EXPECT_EQ(question.part("option", 0).str(), "survey/s_42/q/nps/option/0");
}

TEST(NodeIdTest, SlashesInsideSegmentsCannotMakeTwoPathsOne) {
  EXPECT_NE(ui::NodeId("survey", "a/b").part("c"), ui::NodeId("survey", "a").part("b/c"));
  EXPECT_EQ(ui::NodeId("survey", "a/b%").question("k/1").str(), "survey/a%2Fb%25/q/k%2F1");
  // An escape written literally stays apart from the character it stands for.
  EXPECT_NE(ui::NodeId("survey", "a%2Fb"), ui::NodeId("survey", "a/b"));
}

// A rating view as a survey would build it: the ids come from the item and the question only.
ui::Node ratingView(const std::string& surveyId, const std::string& key, int& tapped) {
  const ui::NodeId question = ui::NodeId("survey", surveyId).question(key);
  std::vector<ui::Node> stars;
  for (int i = 1; i <= 3; ++i)
    stars.push_back(ui::symbolButton(question.part("star", i), "star", [&tapped, i] { tapped = i; }));
  return ui::vstack({ui::hstack(std::move(stars)), ui::textField(question.part("comment"), "", "Why?", 100,
                                                                 [&tapped](std::string) { tapped = -1; })});
}

TEST(NodeIdTest, BuildingAViewAgainGivesTheSameIds) {
  int tapped = 0;
  const std::string first = ratingView("s1", "rate", tapped).toJSON().encode();
  EXPECT_EQ(ratingView("s1", "rate", tapped).toJSON().encode(), first);
  ratingView("s2", "rate", tapped);
  EXPECT_EQ(ratingView("s1", "rate", tapped).toJSON().encode(), first);
  EXPECT_NE(first.find(R"("id":"survey/s1/q/rate/star/3")"), std::string::npos);
  EXPECT_NE(first.find(R"("id":"survey/s1/q/rate/comment")"), std::string::npos);
}

TEST(NodeValueTest, BuildingCopyingAndReadingATreeNeverRunsAnAction) {
  int tapped = 0;
  const ui::Node tree = ratingView("s1", "rate", tapped)
                            .withTransition({ui::TransitionEffect::moveFromBottom, ui::Spring{0.32, 0.88, 0}});
  ui::Node copy = tree;
  copy.toJSON();
  ui::visibleTexts(copy);
  ui::findTarget(copy, "@symbol:star#2");
  EXPECT_EQ(tapped, 0);

  // The copy carries the same actions and the overlay's spring; changing it leaves the original.
  copy.children[0].children[1].onTap();
  EXPECT_EQ(tapped, 2);
  ASSERT_TRUE(copy.transition && copy.transition->spring);
  EXPECT_EQ(*copy.transition->spring, (ui::Spring{0.32, 0.88, 0}));
  copy.children[0].children.clear();
  EXPECT_EQ(tree.children[0].children.size(), 3u);
}

TEST(NodeQueryTest, AnActionMayReplaceTheTreeItWasFoundIn) {
  // A host that keeps one tree rebuilds it inside the action; the running action must survive.
  ui::Node tree;
  std::string seen;
  tree = ui::button("go", "Go", [&tree, &seen, note = std::string(64, 'x')] {
    tree = ui::text("gone");
    seen = note;
  });
  EXPECT_TRUE(ui::performTap(tree, "Go"));
  EXPECT_EQ(seen, std::string(64, 'x'));
  EXPECT_EQ(ui::visibleTexts(tree), std::vector<std::string>{"gone"});
}

TEST(LimitToCodePointsTest, CountsCodePointsNotBytes) {
  EXPECT_EQ(ui::limitToCodePoints("h\u00E9llo!", 5), "h\u00E9llo");
  EXPECT_EQ(ui::limitToCodePoints("\U0001F44D\U0001F44D\U0001F44D", 2), "\U0001F44D\U0001F44D");
  EXPECT_EQ(ui::limitToCodePoints("\u00E9\u00E9", 2), "\u00E9\u00E9");
  EXPECT_EQ(ui::limitToCodePoints("abc", 0), "");
  EXPECT_EQ(ui::limitToCodePoints("abc", -4), "");
  EXPECT_EQ(ui::limitToCodePoints("abc", std::nullopt), "abc");
}

}  // namespace
}  // namespace tarnwell
