// The ImGui renderer without a GPU: frames are built with a font atlas alone, and the mouse and
// keyboard are fed through ImGuiIO the way a platform backend would.
#include <tarnwell/imgui/node_renderer.h>

#include <gtest/gtest.h>
#include <imgui.h>

#include <string>
#include <vector>

#include "tests/renderers/nps_overlay.h"

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
  frame(nps.tree());
  frame(nps.tree());
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
