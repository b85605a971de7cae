#include <tarnwell/presentation/announcement_presenter_view.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include <tarnwell/testing/headless_driver.h>

namespace tarnwell {
namespace {

using testing::HeadlessDriver;
using Texts = std::vector<std::string>;

Survey announcementWith(std::optional<std::string> templateId, std::optional<std::string> structure,
                        std::optional<std::string> name = "Spring news", std::optional<std::string> config = {}) {
  Survey item;
  item.id = "a_7";
  item.name = std::move(name);
  item.templateId = std::move(templateId);
  item.structureJSON = std::move(structure);
  item.configJSON = std::move(config);
  return item;
}

struct Press {
  JSONObject responses;
  bool completed = false;
};

// What the host heard from the view's buttons.
struct Recorder {
  std::vector<Press> presses;
  int dismissals = 0;

  AnnouncementPresenterActions actions() {
    return {[this](Survey, JSONObject responses, bool completed) {
              presses.push_back({responses, completed});
            },
            [this] { ++dismissals; }};
  }
};

bool contains(const Texts& texts, const std::string& text) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

struct LayoutCase {
  std::optional<std::string> templateId;
  std::optional<std::string> structure;
  AnnouncementLayout expected;
};

TEST(AnnouncementPresenterViewTest, ClassificationFollowsTheOrderOfDecision) {
  const std::string twoSlides = R"({"items":[{"title":"One"},{"title":"Two"}]})";
  const std::vector<LayoutCase> cases = {
      {"carousel_announcement", std::nullopt, AnnouncementLayout::carousel},
      {"  CAROUSEL_Announcement \n", std::nullopt, AnnouncementLayout::carousel},
      {"feature_announcement", R"({"type":" Carousel "})", AnnouncementLayout::carousel},
      {"mandatory_update", twoSlides, AnnouncementLayout::carousel},
      {"mandatory_update", R"({"items":[{"title":"One"}]})", AnnouncementLayout::blocking},
      {"feature_announcement", std::nullopt, AnnouncementLayout::feature},
      {" Version_Update", std::nullopt, AnnouncementLayout::feature},
      {"maintenance_alert", std::nullopt, AnnouncementLayout::feature},
      {"feature_adoption_prompt", std::nullopt, AnnouncementLayout::feature},
      {"service_outage", std::nullopt, AnnouncementLayout::blocking},
      {"MANDATORY_UPDATE ", std::nullopt, AnnouncementLayout::blocking},
      {std::nullopt, std::nullopt, AnnouncementLayout::notice},
      {"", R"({"type":"banner"})", AnnouncementLayout::notice},
      {"survey", std::nullopt, AnnouncementLayout::notice},
      // A structure that does not parse leaves the template to decide.
      {"service_outage", "{not json", AnnouncementLayout::blocking},
      {std::nullopt, R"({"type":"carousel","title":5})", AnnouncementLayout::notice},
  };
  for (const LayoutCase& c : cases) {
    AnnouncementPresenterView view(announcementWith(c.templateId, c.structure), {});
    EXPECT_EQ(view.layout(), c.expected) << c.templateId.value_or("<none>") << " " << c.structure.value_or("<none>");
  }
}

TEST(AnnouncementPresenterViewTest, TitleFallsBackFromStructureToNameToTheDefault) {
  EXPECT_EQ(AnnouncementPresenterView(announcementWith("", R"({"title":"  New look\n"})"), {}).title(), "New look");
  EXPECT_EQ(AnnouncementPresenterView(announcementWith("", R"({"title":" \n\t "})"), {}).title(), "Spring news");
  EXPECT_EQ(AnnouncementPresenterView(announcementWith("", "{broken", "  Broken one "), {}).title(), "Broken one");
  EXPECT_EQ(AnnouncementPresenterView(announcementWith("", R"({"title":""})", "   "), {}).title(), "Announcement");
  EXPECT_EQ(AnnouncementPresenterView(announcementWith("", std::nullopt, std::nullopt), {}).title(), "Announcement");

  AnnouncementPresenterView view(announcementWith("", R"({"title":"New look","subtitle":" Now faster "})"), {});
  EXPECT_EQ(view.subtitle(), "Now faster");
  HeadlessDriver screen([&] { return view.tree(); });
  Texts shown = screen.visibleTexts();
  ASSERT_GE(shown.size(), 2u);
  EXPECT_EQ(shown[0], "New look");
  EXPECT_EQ(shown[1], "Now faster");
}

struct ButtonCase {
  std::optional<std::string> templateId;
  std::string structure;
  std::string primary;
  std::string secondary;
};

TEST(AnnouncementPresenterViewTest, ButtonTextsTakeTheStructureElseTheDefaultsOfTheLayout) {
  const std::vector<ButtonCase> cases = {
      {"feature_announcement", "{}", "Try Now", "Maybe Later"},
      {"feature_adoption_prompt", "{}", "Start Tutorial", "Maybe Later"},
      {"carousel_announcement", "{}", "Get Started", "Skip"},
      {"service_outage", "{}", "Continue", "Dismiss"},
      {std::nullopt, "{}", "Continue", "Dismiss"},
      {"feature_announcement", R"({"buttons":{"primary":{"text":"  Update now "},"secondary":{"text":"Later"}}})",
       "Update now", "Later"},
      {"feature_announcement", R"({"buttons":{"primary":{"text":" \n "},"secondary":{}}})", "Try Now", "Maybe Later"},
  };
  for (const ButtonCase& c : cases) {
    AnnouncementPresenterView view(announcementWith(c.templateId, c.structure), {});
    EXPECT_EQ(view.primaryButtonText(), c.primary) << c.structure;
    EXPECT_EQ(view.secondaryButtonText(), c.secondary) << c.structure;
    HeadlessDriver screen([&] { return view.tree(); });
    EXPECT_EQ(screen.find("announcement/a_7/primary")->text, c.primary);
    EXPECT_EQ(screen.find("announcement/a_7/secondary")->text, c.secondary);
  }
}

TEST(AnnouncementPresenterViewTest, TheFeatureCardShowsItsIconWithThePictureSymbolAsFallback) {
  AnnouncementPresenterView withIcon(
      announcementWith("feature_announcement", R"({"iconUrl":" https://cdn.example/icon.png "})"), {});
  ui::Node icon = withIcon.tree().children.at(1).children.at(0);
  EXPECT_EQ(icon.kind, ui::Kind::image);
  EXPECT_EQ(icon.imageURL, "https://cdn.example/icon.png");
  EXPECT_EQ(icon.symbol, "photo.on.rectangle.angled");

  AnnouncementPresenterView withoutIcon(announcementWith("feature_announcement", R"({"iconUrl":"  "})"), {});
  EXPECT_EQ(withoutIcon.tree().children.at(1).children.at(0).symbol, "sparkles");
  // Other layouts draw no icon: the title comes first.
  AnnouncementPresenterView notice(announcementWith("", R"({"iconUrl":"https://cdn.example/icon.png"})"), {});
  EXPECT_EQ(notice.tree().children.at(1).children.at(0).text, "Spring news");
}

TEST(AnnouncementPresenterViewTest, BulletsLoseTheirMarksAndTheViewDrawsItsOwnMarkAsANode) {
  AnnouncementPresenterView view(
      announcementWith("feature_announcement", R"({"description":"Meet the new editor.\\nIt saves as you type.\\n\\n  ",
          "bullets":["\u2022 Faster sync","- Faster sync","\u00B7\u00B7 * Offline mode","\u2022\u2022\u2022","   ",
                     "*Bold* claims","Plain entry"]})"),
      {});
  EXPECT_EQ(view.descriptionLines(), (Texts{"Meet the new editor.", "It saves as you type."}));
  EXPECT_EQ(view.body(), "Meet the new editor.\nIt saves as you type.");
  // Only the first run of marks goes: a mark after a blank is part of the words.
  EXPECT_EQ(view.bullets(), (Texts{"Faster sync", "Faster sync", "* Offline mode", "Bold* claims", "Plain entry"}));

  HeadlessDriver screen([&] { return view.tree(); });
  Texts shown = screen.visibleTexts();
  // Title, body, then each bullet as its mark and its words.
  Texts expected = {"Spring news", "Meet the new editor.\nIt saves as you type."};
  for (const std::string& bullet : view.bullets()) {
    expected.push_back("\u2022");
    expected.push_back(bullet);
  }
  expected.push_back("Try Now");
  expected.push_back("Maybe Later");
  EXPECT_EQ(shown, expected);
}

TEST(AnnouncementPresenterViewTest, ADescriptionWrittenAsADashListBecomesTheBullets) {
  AnnouncementPresenterView view(
      announcementWith("feature_announcement",
                       "{\"description\":\"- Dark mode\\r\\n  * Widgets \\n\\n\",\"bullets\":[\"-\"]}"),
      {});
  EXPECT_EQ(view.bullets(), (Texts{"Dark mode", "Widgets"}));
  EXPECT_EQ(view.body(), "");

  AnnouncementPresenterView plain(announcementWith("", R"({"description":"We are back.\nThanks for waiting."})"), {});
  EXPECT_EQ(plain.descriptionLines(), (Texts{"We are back.", "Thanks for waiting."}));
  EXPECT_EQ(plain.bullets(), (Texts{"We are back.", "Thanks for waiting."}));
}

TEST(AnnouncementPresenterViewTest, FieldColoursComeFromFieldStylesThenTheConfigStyle) {
  const std::string structure = R"({"title":"T","subtitle":"S","description":"D","fieldStyles":{
      "title":{"textColor":"#FF0000"},"subtitle":{"textColor":"80FF6600"},"description":{"textColor":"#1234567"}}})";
  AnnouncementPresenterView view(announcementWith("", structure, "n", R"({"style":{"textColor":"00FF00"}})"), {});
  EXPECT_EQ(view.titleColor(), (Color{1, 0, 0, 1}));
  EXPECT_EQ(view.subtitleColor(), (Color{1, 102 / 255.0, 0, 128 / 255.0}));
  // Seven digits are no colour, so the config style's colour applies.
  EXPECT_EQ(view.descriptionColor(), (Color{0, 1, 0, 1}));

  HeadlessDriver screen([&] { return view.tree(); });
  EXPECT_EQ(screen.tree().children.at(1).children.at(0).color, (Color{1, 0, 0, 1}));

  AnnouncementPresenterView bare(announcementWith("", R"({"title":"T","fieldStyles":{"title":{"textColor":"red"}}})",
                                                  "n", R"({"style":{"textColor":"#GGGGGG"}})"),
                                 {});
  EXPECT_EQ(bare.titleColor(), std::nullopt);
  EXPECT_EQ(bare.subtitleColor(), std::nullopt);
  EXPECT_EQ(bare.descriptionColor(), std::nullopt);
}

TEST(AnnouncementPresenterViewTest, ThePrimaryAndSecondaryPressesSendTheirMapsAndCompletion) {
  Recorder host;
  AnnouncementPresenterView view(
      announcementWith("feature_announcement",
                       R"({"buttons":{"primary":{"text":"  Let's Go!! "},"secondary":{"text":"???"}}})"),
      host.actions());
  HeadlessDriver screen([&] { return view.tree(); });

  ASSERT_TRUE(screen.tap("Let's Go!!"));
  ASSERT_TRUE(screen.tap("announcement/a_7/secondary"));
  ASSERT_EQ(host.presses.size(), 2u);
  EXPECT_EQ(host.presses[0].responses, (JSONObject{{"action", "primary"}, {"button_clicked", "let_s_go"}}));
  EXPECT_TRUE(host.presses[0].completed);
  EXPECT_EQ(host.presses[1].responses, (JSONObject{{"action", "secondary"}, {"button_clicked", "action"}}));
  EXPECT_FALSE(host.presses[1].completed);
  EXPECT_EQ(host.dismissals, 0);

  AnnouncementPresenterView defaults(announcementWith("feature_adoption_prompt", "{}"), host.actions());
  defaults.pressPrimary();
  defaults.pressSecondary();
  ASSERT_EQ(host.presses.size(), 4u);
  EXPECT_EQ(host.presses[2].responses, (JSONObject{{"action", "primary"}, {"button_clicked", "start_tutorial"}}));
  EXPECT_EQ(host.presses[3].responses, (JSONObject{{"action", "secondary"}, {"button_clicked", "maybe_later"}}));
}

TEST(AnnouncementPresenterViewTest, APressWhileItsSubmissionRunsIsIgnored) {
  int calls = 0;
  AnnouncementPresenterView* self = nullptr;
  AnnouncementPresenterView view(announcementWith("", "{}"),
                                 {[&](Survey, JSONObject, bool) {
                                    ++calls;
                                    EXPECT_TRUE(self->isSubmittingPrimary() || self->isSubmittingSecondary());
                                    self->pressPrimary();
                                    self->pressSecondary();
                                  },
                                  {}});
  self = &view;
  view.pressPrimary();
  // The nested secondary press was its own button, so it went through; the nested primary did not.
  EXPECT_EQ(calls, 2);
  EXPECT_FALSE(view.isSubmittingPrimary());
  EXPECT_FALSE(view.isSubmittingSecondary());
  view.pressPrimary();
  EXPECT_EQ(calls, 4);
}

TEST(AnnouncementPresenterViewTest, TheCloseMarkDismissesAndSubmitsNothing) {
  Recorder host;
  AnnouncementPresenterView view(announcementWith("service_outage", "{}"), host.actions());
  HeadlessDriver screen([&] { return view.tree(); });
  ASSERT_TRUE(screen.tap("@symbol:xmark"));
  EXPECT_EQ(host.dismissals, 1);
  EXPECT_TRUE(host.presses.empty());
  EXPECT_EQ(screen.find("@symbol:xmark")->id, "announcement/a_7/close");

  // Without actions wired, every press is harmless.
  AnnouncementPresenterView unwired(announcementWith("", "{}"), {});
  HeadlessDriver bare([&] { return unwired.tree(); });
  EXPECT_TRUE(bare.tap("@symbol:xmark"));
  EXPECT_TRUE(bare.tap("Continue"));
  EXPECT_TRUE(bare.tap("Dismiss"));
}

const char* const kThreeSlides = R"({"showIndicators":false,"allowSwipe":false,"autoAdvance":true,
    "autoAdvanceInterval":4,"items":[
    {"title":"Welcome","description":"Start here","imageUrl":"  https://cdn.example/1.png ","deepLink":""},
    {"title":42,"description":true,"imageUrl":"   ","backgroundColor":"#000000","textColor":"FFFFFF"},
    {"title":"Go","description":["x"],"deepLink":"app://go"}]})";

TEST(AnnouncementPresenterViewTest, TheCarouselPagesWithItsPositionLineAndSendsThePageKeys) {
  Recorder host;
  AnnouncementPresenterView view(announcementWith("", kThreeSlides), host.actions());
  ASSERT_EQ(view.layout(), AnnouncementLayout::carousel);
  ASSERT_EQ(view.slides().size(), 3u);
  EXPECT_EQ(view.slides()[0].imageURL, "https://cdn.example/1.png");
  EXPECT_EQ(view.slides()[1].imageURL, std::nullopt);
  EXPECT_EQ(view.slides()[1].title, "42.0");
  EXPECT_EQ(view.slides()[1].description, "true");
  EXPECT_EQ(view.slides()[1].backgroundColor, (Color{0, 0, 0, 1}));
  EXPECT_EQ(view.slides()[1].textColor, (Color{1, 1, 1, 1}));
  EXPECT_EQ(view.slides()[2].description, "");
  EXPECT_FALSE(view.allowsSwipe());
  EXPECT_TRUE(view.autoAdvances());
  EXPECT_EQ(view.autoAdvanceInterval(), 4);

  HeadlessDriver screen([&] { return view.tree(); });
  EXPECT_EQ(screen.find("announcement/a_7/carousel")->showsIndicators, false);
  EXPECT_EQ(screen.find("@symbol:photo.on.rectangle.angled")->imageURL, "https://cdn.example/1.png");
  EXPECT_EQ(screen.visibleTexts(),
            (Texts{"Spring news", "Welcome", "Start here", "Item 1 of 3", "Get Started", "Skip"}));

  ASSERT_TRUE(screen.tap("Get Started"));
  ASSERT_TRUE(screen.page("announcement/a_7/carousel", 1));
  ui::Node second = screen.find("announcement/a_7/carousel")->children.at(1);
  EXPECT_EQ(second.background, (Color{0, 0, 0, 1}));
  EXPECT_EQ(second.children.at(0).color, (Color{1, 1, 1, 1}));
  EXPECT_TRUE(contains(screen.visibleTexts(), "Item 2 of 3"));
  ASSERT_TRUE(screen.page("announcement/a_7/carousel", 2));
  EXPECT_EQ(view.selectedCarouselIndex(), 2);
  EXPECT_TRUE(contains(screen.visibleTexts(), "Item 3 of 3"));
  ASSERT_TRUE(screen.tap("Get Started"));
  ASSERT_TRUE(screen.tap("Skip"));

  ASSERT_EQ(host.presses.size(), 3u);
  // An empty deep link adds no key.
  EXPECT_EQ(
      host.presses[0].responses,
      (JSONObject{
          {"action", "primary"}, {"button_clicked", "get_started"}, {"page_index", 0}, {"page_title", "Welcome"}}));
  EXPECT_EQ(host.presses[1].responses, (JSONObject{{"action", "primary"},
                                                   {"button_clicked", "get_started"},
                                                   {"page_index", 2},
                                                   {"page_title", "Go"},
                                                   {"deep_link", "app://go"}}));
  EXPECT_TRUE(host.presses[1].completed);
  EXPECT_EQ(host.presses[2].responses, (JSONObject{{"action", "secondary"}, {"button_clicked", "skip"}}));
  EXPECT_FALSE(host.presses[2].completed);
}

TEST(AnnouncementPresenterViewTest, TheCarouselHandsItsPagingSettingsToThePager) {
  struct IntervalCase {
    std::string structure;
    std::optional<double> seconds;  // absent: the pager does not turn by itself
  };
  const std::string slides = R"("items":[{"title":"One"},{"title":"Two"}])";
  const std::vector<IntervalCase> cases = {
      {"{" + slides + "}", std::nullopt},
      {R"({"autoAdvance":true,)" + slides + "}", 5.0},
      {R"({"autoAdvance":true,"autoAdvanceInterval":3,)" + slides + "}", 3.0},
      {R"({"autoAdvance":true,"autoAdvanceInterval":4500,)" + slides + "}", 4.5},
      {R"({"autoAdvance":true,"autoAdvanceInterval":-2,)" + slides + "}", 5.0},
      {R"({"autoAdvance":true,"autoAdvanceInterval":99999999999,)" + slides + "}", 3600.0},
      {R"({"autoAdvance":false,"autoAdvanceInterval":3,)" + slides + "}", std::nullopt},
  };
  for (const IntervalCase& c : cases) {
    AnnouncementPresenterView view(announcementWith("carousel_announcement", c.structure), {});
    const std::optional<ui::Node> pager = testing::HeadlessDriver(view.tree()).find("announcement/a_7/carousel");
    ASSERT_TRUE(pager) << c.structure;
    EXPECT_EQ(pager->autoAdvanceSeconds, c.seconds) << c.structure;
    EXPECT_TRUE(pager->allowsSwipe);
  }
  AnnouncementPresenterView fixed(announcementWith("carousel_announcement", R"({"allowSwipe":false,)" + slides + "}"),
                                  {});
  EXPECT_FALSE(testing::HeadlessDriver(fixed.tree()).find("announcement/a_7/carousel")->allowsSwipe);
}

TEST(AnnouncementPresenterViewTest, ACarouselWithoutSlidesSendsNoPageKeysAndIgnoresPaging) {
  Recorder host;
  AnnouncementPresenterView view(announcementWith("carousel_announcement", "{}"), host.actions());
  EXPECT_FALSE(view.selectCarouselPage(0));
  EXPECT_FALSE(view.selectCarouselPage(-1));
  EXPECT_TRUE(view.showsIndicators());
  HeadlessDriver screen([&] { return view.tree(); });
  EXPECT_FALSE(contains(screen.visibleTexts(), "Item 1 of 0"));
  ASSERT_TRUE(screen.tap("Get Started"));
  ASSERT_EQ(host.presses.size(), 1u);
  EXPECT_EQ(host.presses[0].responses, (JSONObject{{"action", "primary"}, {"button_clicked", "get_started"}}));
}

TEST(AnnouncementPresenterViewTest, IdsComeFromTheItemAndRoleOnlySoTwoViewsAgree) {
  Survey item = announcementWith("", kThreeSlides);
  AnnouncementPresenterView first(item, {});
  AnnouncementPresenterView second(item, {});
  EXPECT_EQ(first.tree().toJSON().encode(), second.tree().toJSON().encode());
  HeadlessDriver screen([&] { return first.tree(); });
  for (const char* id : {"announcement/a_7/close", "announcement/a_7/carousel", "announcement/a_7/primary",
                         "announcement/a_7/secondary"}) {
    EXPECT_TRUE(screen.find(id).has_value()) << id;
  }
}

TEST(AnnouncementPresenterViewTest, OversizedContentIsKeptWholeWithoutFailing) {
  std::string items;
  for (int i = 0; i < 1000; ++i) items += (i ? ",{\"title\":\"S" : "{\"title\":\"S") + std::to_string(i) + "\"}";
  Recorder host;
  AnnouncementPresenterView many(announcementWith("", "{\"items\":[" + items + "]}"), host.actions());
  ASSERT_EQ(many.slides().size(), 1000u);
  HeadlessDriver screen([&] { return many.tree(); });
  EXPECT_TRUE(contains(screen.visibleTexts(), "Item 1 of 1000"));
  ASSERT_TRUE(screen.page("announcement/a_7/carousel", 999));
  EXPECT_TRUE(contains(screen.visibleTexts(), "Item 1000 of 1000"));
  ASSERT_TRUE(screen.tap("Get Started"));
  ASSERT_EQ(host.presses.size(), 1u);
  EXPECT_EQ(host.presses[0].responses["page_title"], JSONValue("S999"));

  const std::string longTitle(100000, 'x');
  AnnouncementPresenterView wide(announcementWith("", "{\"title\":\"" + longTitle + "\"}"), {});
  EXPECT_EQ(wide.title(), longTitle);
  EXPECT_EQ(HeadlessDriver([&] { return wide.tree(); }).visibleTexts().at(0), longTitle);
}

}  // namespace
}  // namespace tarnwell
