// The ImGui renderer without a GPU: frames are built with a font atlas alone, and the mouse and
// keyboard are fed through ImGuiIO the way a platform backend would.
#include <tarnwell/imgui.h>

#include <gtest/gtest.h>
#include <imgui.h>

#include <string>
#include <vector>

#include "tests/renderers/overlay_scene.h"

namespace tarnwell::imgui {
namespace {

struct HeadlessFrames : ::testing::Test {
  ImGuiContext* context = nullptr;
  NodeRenderer renderer;

  HeadlessFrames() {
    context = ImGui::CreateContext();
    ImGuiIO& io = ImGui::GetIO();
    io.IniFilename = nullptr;
    io.DisplaySize = ImVec2(800, 600);
    io.DeltaTime = 1.0f / 60;
    // Large trees need more than 64k vertices, as the GL backends allow.
    io.BackendFlags |= ImGuiBackendFlags_RendererHasVtxOffset;
    addSymbolFont(*io.Fonts);
    unsigned char* pixels = nullptr;
    int width = 0;
    int height = 0;
    io.Fonts->GetTexDataAsRGBA32(&pixels, &width, &height);
  }
  ~HeadlessFrames() override { ImGui::DestroyContext(context); }

  void frame(const ui::Node& tree) {
    ImGui::NewFrame();
    renderer.draw(tree);
    ImGui::Render();
  }
  // Draws until every layer has come to rest on its transition.
  template <typename Build>
  void settle(Build build) {
    for (int k = 0; k < 600; ++k) {
      frame(build());
      if (k >= 2 && !renderer.animating()) return;
    }
    FAIL() << "the transition never came to rest";
  }
  int vertices() const { return ImGui::GetDrawData() ? ImGui::GetDrawData()->TotalVtxCount : 0; }

  // Presses and releases the left button over the node's rectangle of the last frame.
  template <typename Build>
  void click(const std::string& id, Build build) {
    const std::optional<ItemRect> rect = renderer.itemRect(id);
    ASSERT_TRUE(rect) << "not drawn: " << id;
    ImGuiIO& io = ImGui::GetIO();
    io.MousePos = rect->center();
    frame(build());
    io.MouseDown[0] = true;
    frame(build());
    io.MouseDown[0] = false;
    frame(build());
  }
};

TEST_F(HeadlessFrames, DrawsTheNpsOverlayWithEveryScore) {
  testing::NpsOverlay nps;
  frame(nps.tree());
  frame(nps.tree());
  EXPECT_GT(vertices(), 0);
  for (int score = 0; score <= 10; ++score) {
    EXPECT_TRUE(renderer.itemRect("survey/s1/q/nps_score/score/" + std::to_string(score))) << score;
  }
}

TEST_F(HeadlessFrames, ClickingAScoreAnswersTheSurvey) {
  testing::NpsOverlay nps;
  settle([&] { return nps.tree(); });
  click("survey/s1/q/nps_score/score/7", [&] { return nps.tree(); });
  const JSONObject& answers = nps.overlay.surveyView()->answers();
  const JSONValue* score = answers.find("nps_score");
  ASSERT_NE(score, nullptr);
  EXPECT_EQ(*score, JSONValue(7));
}

TEST_F(HeadlessFrames, ClickingADrawnStarRatesTheSurvey) {
  Survey survey = testing::npsSurvey();
  survey.templateId = "star_rating";
  survey.structureJSON = R"({"questions":[{"id":"rating","type":"rating"}]})";
  SurveyPresenterView view(survey, {});
  frame(view.tree());
  click("survey/s1/q/rating/star/4", [&] { return view.tree(); });
  const JSONValue* rating = view.answers().find("rating");
  ASSERT_NE(rating, nullptr);
  EXPECT_EQ(*rating, JSONValue(4));
}

TEST_F(HeadlessFrames, ADisabledButtonIgnoresTheClick) {
  int taps = 0;
  auto build = [&](bool enabled) {
    return ui::vstack({ui::button("go", "Go", [&] { ++taps; }).withEnabled(enabled),
                       ui::button("other", "Other", [&] { taps += 100; })});
  };
  frame(build(false));
  click("go", [&] { return build(false); });
  EXPECT_EQ(taps, 0);
  click("go", [&] { return build(true); });
  EXPECT_EQ(taps, 1);
}

TEST_F(HeadlessFrames, TypingKeepsToTheFieldsMaxLength) {
  std::string typed;
  std::vector<std::string> calls;
  auto build = [&] {
    return ui::vstack({ui::textField("name", typed, "Your name", 3, [&](std::string text) {
      calls.push_back(text);
      typed = std::move(text);
    })});
  };
  frame(build());
  click("name", build);
  for (char c : std::string("abcdef")) ImGui::GetIO().AddInputCharacter(static_cast<unsigned int>(c));
  frame(build());
  frame(build());
  ASSERT_FALSE(calls.empty());
  EXPECT_EQ(typed, "abc");
  for (const std::string& call : calls) EXPECT_LE(call.size(), 3u) << call;
}

TEST_F(HeadlessFrames, APagerShowsOnePageAndItsArrowsTurnIt) {
  int page = 0;
  std::vector<int> asked;
  auto build = [&] {
    return ui::pager("cards",
                     {ui::button("first", "First", [] {}), ui::button("second", "Second", [] {}),
                      ui::button("third", "Third", [] {})},
                     page, [&](int index) {
                       asked.push_back(index);
                       page = index;
                     });
  };
  frame(build());
  EXPECT_TRUE(renderer.itemRect("first"));
  EXPECT_FALSE(renderer.itemRect("second"));
  click("cards/next", build);
  EXPECT_EQ(asked, (std::vector<int>{1}));
  frame(build());
  EXPECT_TRUE(renderer.itemRect("second"));
  EXPECT_FALSE(renderer.itemRect("first"));
  click("cards/previous", build);
  EXPECT_EQ(asked, (std::vector<int>{1, 0}));
}

TEST_F(HeadlessFrames, APagerThatTurnsByItselfWaitsItsIntervalAndWrapsAround) {
  int page = 1;
  std::vector<int> asked;
  auto build = [&] {
    return ui::pager("slides", {ui::text("One"), ui::text("Two"), ui::text("Three")}, page,
                     [&](int index) {
                       asked.push_back(index);
                       page = index;
                     })
        .withPaging(false, 1.0);
  };
  // 1/60 s a frame: nothing turns before the second has passed.
  for (int k = 0; k < 55; ++k) frame(build());
  EXPECT_TRUE(asked.empty());
  for (int k = 0; k < 10; ++k) frame(build());
  EXPECT_EQ(asked, (std::vector<int>{2}));
  for (int k = 0; k < 62; ++k) frame(build());
  EXPECT_EQ(asked, (std::vector<int>{2, 0}));
  // Without swiping, the arrows take no press.
  click("slides/next", build);
  EXPECT_EQ(asked, (std::vector<int>{2, 0}));
}

TEST_F(HeadlessFrames, AnActionMayReplaceTheTreeItWasPressedIn) {
  ui::Node tree;
  bool replaced = false;
  tree = ui::vstack({ui::button("swap", "Swap", [&] {
    tree = ui::text("Replaced");
    replaced = true;
  })});
  frame(tree);
  click("swap", [&] { return tree; });
  EXPECT_TRUE(replaced);
  EXPECT_EQ(tree.kind, ui::Kind::text);
}

TEST_F(HeadlessFrames, AnOverlayLayerComesInOnItsSpringAndGoesOutWithoutItsActions) {
  testing::NpsOverlay nps;
  frame(nps.tree());
  const std::optional<float> start = renderer.transitionProgress("s1");
  ASSERT_TRUE(start);
  EXPECT_LT(*start, 0.1f);
  EXPECT_TRUE(renderer.animating());
  // The overlay's spring (response 0.32 s, damping 0.88) is at rest within half a second.
  for (int k = 0; k < 30; ++k) frame(nps.tree());
  EXPECT_GT(*renderer.transitionProgress("s1"), 0.95f);
  settle([&] { return nps.tree(); });
  EXPECT_FLOAT_EQ(*renderer.transitionProgress("s1"), 1.0f);
  const std::optional<ItemRect> score = renderer.itemRect("survey/s1/q/nps_score/score/7");
  ASSERT_TRUE(score);

  nps.survey.set(std::nullopt);
  frame(nps.tree());
  EXPECT_FALSE(renderer.transitionProgress("s1"));
  EXPECT_TRUE(renderer.animating());
  EXPECT_FALSE(renderer.itemRect("survey/s1/q/nps_score/score/7"));
  // A press on the fading card reaches nothing.
  ImGuiIO& io = ImGui::GetIO();
  io.MousePos = score->center();
  io.MouseDown[0] = true;
  frame(nps.tree());
  io.MouseDown[0] = false;
  frame(nps.tree());
  EXPECT_EQ(nps.overlay.surveyView(), nullptr);
  settle([&] { return nps.tree(); });
  const int contentOnly = vertices();
  nps.survey.set(testing::npsSurvey());
  settle([&] { return nps.tree(); });
  EXPECT_GT(vertices(), contentOnly);
}

TEST_F(HeadlessFrames, WhatFollowsASpacerSitsAtTheRightEdgeOfItsCard) {
  auto build = [] {
    return ui::zstack(
        {ui::text("Host screen"),
         ui::vstack({ui::hstack({ui::text("Title"), ui::spacer(), ui::button("close", "Close", [] {})}),
                     ui::hstack({ui::button("left", "Left", [] {}), ui::button("next", "Next", [] {})}),
                     ui::hstack({ui::text("Poor"), ui::spacer(), ui::text("Excellent")})})
             .withTransition({ui::TransitionEffect::scaleWithOpacity, ui::Spring{0.32, 0.88, 0}, "card"})});
  };
  // The card grows on its spring meanwhile, so the edge moves under the measured rows.
  settle(build);
  // The card is 460 wide and centred on the 800-wide screen: its content ends near x = 612.
  const std::optional<ItemRect> close = renderer.itemRect("close");
  const std::optional<ItemRect> next = renderer.itemRect("next");
  ASSERT_TRUE(close && next);
  EXPECT_GT(close->max.x, 590.0f);
  EXPECT_LE(close->max.x, 630.0f);
  EXPECT_LT(next->max.x, 400.0f);
  // A word pushed to the edge stays on one line.
  const DrawnText& excellent = renderer.drawnTexts().back();
  ASSERT_EQ(excellent.text, "Excellent");
  EXPECT_GT(excellent.rect.max.x, 590.0f);
  EXPECT_LT(excellent.rect.max.y - excellent.rect.min.y, ImGui::GetTextLineHeightWithSpacing() * 1.5f);
}

TEST_F(HeadlessFrames, DrawnTextsComeInDrawingOrderWithTheirPlaces) {
  frame(ui::vstack(
      {ui::text("First line", ui::TextRole::title), ui::button("b", "Press", [] {}), ui::text("Last line")}));
  const std::vector<DrawnText>& texts = renderer.drawnTexts();
  ASSERT_EQ(texts.size(), 3u);
  EXPECT_EQ(texts[0].text, "First line");
  EXPECT_EQ(texts[1].text, "Press");
  EXPECT_EQ(texts[2].text, "Last line");
  EXPECT_LT(texts[0].rect.max.y, texts[2].rect.min.y);
  // The title is drawn larger than the body line.
  EXPECT_GT(texts[0].rect.max.y - texts[0].rect.min.y, texts[2].rect.max.y - texts[2].rect.min.y);
}

TEST_F(HeadlessFrames, OddTreesDrawWithoutFailing) {
  std::vector<ui::Node> many;
  for (int i = 0; i < 1000; ++i) many.push_back(ui::button("b" + std::to_string(i), "Button", [] {}));
  ui::Node deep = ui::text("bottom");
  for (int i = 0; i < 500; ++i) deep = ui::vstack({std::move(deep)});
  const std::vector<ui::Node> trees = {
      ui::vstack({}),
      ui::zstack({}),
      ui::zstack({ui::vstack({}), ui::hstack({}), ui::zstack({})}),
      ui::pager("empty", {}, 5, [](int) {}),
      ui::text(std::string(200000, 'w') + " \xF0\x9F\x98\x80 \xE2\x80\xA6"),
      ui::vstack(many, 2),
      ui::hstack(many),
      deep,
      ui::vstack({ui::progress(-3), ui::progress(7), ui::spacer(), ui::symbol("unknown.symbol"),
                  ui::image("", "star.fill"), ui::textEditor("e", std::string(100000, 'x'), "Tell us", 10, {})}),
  };
  for (const ui::Node& tree : trees) {
    frame(tree);
    EXPECT_GT(vertices(), 0) << tree.toJSON().encode().substr(0, 80);
  }
  frame(ui::vstack(many, 2));
  EXPECT_TRUE(renderer.itemRect("b0"));
}

}  // namespace
}  // namespace tarnwell::imgui
