// The overlay: the host's content behind the current survey and announcement, one presenter per
// layer keyed by the item's id, and the facade's feeds behind it.
#include <gtest/gtest.h>

#include "tarnwell/presentation/overlay_host.h"
#include "tarnwell/testing/sdk_harness.h"
#include "tarnwell/ui/node_query.h"

namespace tarnwell {
namespace {

Survey item(std::optional<std::string> id, std::string title) {
  Survey survey;
  survey.id = std::move(id);
  survey.status = "published";
  survey.structureJSON = JSONValue(JSONObject{{"type", "nps"}, {"title", title}}).encode();
  return survey;
}

struct OverlayHostTest : ::testing::Test {
  MainContext main{MainContext::Mode::hostPumped};
  Published<std::optional<Survey>> survey{main, std::nullopt};
  Published<std::optional<Survey>> announcement{main, std::nullopt};
  int changes = 0;
  TarnwellOverlayHost overlay{
      OverlayFeeds{.watchSurvey = [this](auto observer) { return survey.subscribe(std::move(observer)); },
                   .watchAnnouncement = [this](auto observer) { return announcement.subscribe(std::move(observer)); },
                   .surveyActions = {},
                   .announcementActions = {}},
      [] { return ui::text("Host screen", ui::TextRole::body); }};

  OverlayHostTest() {
    overlay.setOnChange([this] { ++changes; });
  }
  std::vector<std::string> layerTitles() {
    main.poll();
    std::vector<std::string> titles;
    const ui::Node tree = overlay.tree();
    for (std::size_t i = 1; i < tree.children.size(); ++i) {
      const std::vector<std::string> texts = ui::visibleTexts(tree.children[i]);
      titles.push_back(texts.empty() ? "" : texts.front());
    }
    return titles;
  }
};

TEST_F(OverlayHostTest, LayersStackContentThenSurveyThenAnnouncement) {
  EXPECT_TRUE(layerTitles().empty());
  EXPECT_EQ(ui::visibleTexts(overlay.tree()), (std::vector<std::string>{"Host screen"}));
  announcement.set(item("a1", "News"));
  survey.set(item("s1", "How likely?"));
  ASSERT_EQ(layerTitles().size(), 2u);
  const ui::Node tree = overlay.tree();
  EXPECT_EQ(tree.children[1].transition,
            (ui::Transition{ui::TransitionEffect::scaleWithOpacity, TarnwellOverlayHost::kLayerSpring, "s1"}));
  EXPECT_EQ(tree.children[2].transition->key, "a1");
  EXPECT_EQ(overlay.announcementView()->announcement().id, "a1");
  announcement.set(std::nullopt);
  EXPECT_EQ(layerTitles().size(), 1u);
  EXPECT_EQ(overlay.surveyView()->survey().id, "s1");
  EXPECT_GE(changes, 3);
}

TEST_F(OverlayHostTest, TheSameIdKeepsTheAnswersAndANewIdStartsAfresh) {
  survey.set(item("s1", "First"));
  layerTitles();
  SurveyPresenterView* view = overlay.surveyView();
  ASSERT_NE(view, nullptr);
  view->setFeedbackText("kept");
  survey.set(item("s1", "First, again"));
  layerTitles();
  EXPECT_EQ(overlay.surveyView()->feedbackText(), "kept");
  survey.set(item("s2", "Second"));
  layerTitles();
  EXPECT_EQ(overlay.surveyView()->feedbackText(), "");
  // Without an id the key stays absent: the layer shows, and its key does not change.
  survey.set(item(std::nullopt, "Anonymous"));
  layerTitles();
  EXPECT_EQ(overlay.tree().children[1].transition->key, std::nullopt);
}

TEST(OverlayOverFacadeTest, AnEventPutsTheSurveyOnTheOverlayAndItsCloseReachesTheFacade) {
  testing::SdkHarness sdk;
  sdk.answer("get_runtime_bundle",
             R"({"ok":true,"data":{"versions":{},"items":{"surveys":[{"$id":"s1","status":"published",)"
             R"("eventTriggerId":"checkout","structure":"{\"type\":\"nps\",\"title\":\"Rate us\"}"}]}}})");
  TarnwellOverlayHost overlay(sdk->overlayFeeds(), [] { return ui::vstack({}); });
  ASSERT_EQ(sdk.start(), SDKState::ready());
  sdk->trackEvent("checkout");
  ASSERT_TRUE(sdk.waitUntil([&] { return overlay.surveyView() != nullptr; }));
  EXPECT_EQ(overlay.surveyView()->survey().id, "s1");
  overlay.surveyView()->dismiss();
  EXPECT_TRUE(sdk.waitUntil([&] { return overlay.surveyView() == nullptr; }));
}

}  // namespace
}  // namespace tarnwell
