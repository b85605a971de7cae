// The view commands: the overlay's tree and texts as a script reads them, and taps, typing and
// page turns on it, against a scripted gateway serving one survey.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/cli/cli_test_support.h"

namespace tarnwell::cli {
namespace {

using ViewLines = std::vector<std::string>;

// "v1", an NPS survey titled "Rate your checkout", answers the checkout_done event and may be
// shown again. Its view: a close mark, eleven score buttons, a feedback field ("Why?", at most
// five characters), and a Submit button that stays disabled until a score is picked. "c1", a
// two-slide carousel announcement, answers tour.
constexpr std::string_view kViewBundle = R"({"ok":true,"data":{"versions":{"surveys":"1"},"items":{"surveys":[
  {"$id":"v1","name":"Checkout NPS","templateId":"nps","status":"published","eventTriggerId":"checkout_done",
   "structure":"{\"type\":\"nps\",\"questions\":[{\"id\":\"score\",\"type\":\"nps\",\"title\":\"Rate your checkout\"},{\"id\":\"why\",\"type\":\"text\",\"placeholder\":\"Why?\",\"maxLength\":5}]}",
   "targeting":"{\"rules\":[],\"audience\":\"all\",\"percentage\":100,\"frequency\":{\"showOncePerUser\":false,\"maxImpressions\":5}}"}],
  "announcements":[{"$id":"c1","name":"Tour","status":"published","eventTriggerId":"tour",
    "templateId":"carousel_announcement",
    "structure":"{\"items\":[{\"title\":\"First slide\",\"description\":\"One\"},{\"title\":\"Second slide\",\"description\":\"Two\"}]}"}],
  "liveCards":[],"featureFlags":[]}}})";

// The overlay with nothing current: the host's empty content layer alone.
constexpr std::string_view kEmptyOverlayLine =
    R"({"cmd":"view","view":"overlay","tree":{"kind":"zstack","id":null,"children":[{"kind":"zstack","id":null,"children":[]}]}})";

// The node with `id` anywhere in a tree's JSON; null when there is none.
JSONValue viewNodeWithId(const JSONValue& node, std::string_view id) {
  if (node["id"] == JSONValue(id)) return node;
  if (const JSONArray* children = node["children"].asArray()) {
    for (const JSONValue& child : *children) {
      if (JSONValue found = viewNodeWithId(child, id); !found.isNull()) return found;
    }
  }
  return JSONValue();
}

// The tree of a `view overlay` line, checking the line's other members.
JSONValue overlayTreeOf(const std::string& line) {
  const JSONValue decoded = JSONValue::decode(line);
  EXPECT_EQ(decoded["cmd"], JSONValue("view")) << line;
  EXPECT_EQ(decoded["view"], JSONValue("overlay")) << line;
  return decoded["tree"];
}

struct ViewCommandsTest : testing::CommandHostFixture {
  void SetUp() override {
    transport->setResponder([](const HttpRequest& request) -> HttpResult {
      const std::optional<std::string> action = testing::gatewayInput(request)["action"].stringValue();
      if (action == "bootstrap") return tarnwell::testing::httpResponse(testing::kGoodBootstrap);
      if (action == "get_runtime_bundle") return tarnwell::testing::httpResponse(kViewBundle);
      return tarnwell::testing::httpResponse(R"({"ok":true,"data":{}})");
    });
  }

  void start(MainContext::Mode mode = MainContext::Mode::hostPumped) {
    startHost(testing::scriptedHostOptions(transport, mode));
    ASSERT_EQ(run({"init"}), ViewLines{R"({"cmd":"init","state":"ready"})"});
  }
};

TEST_F(ViewCommandsTest, WithNothingCurrentTheOverlayIsTheEmptyContentLayerAndShowsNoText) {
  start();
  EXPECT_EQ(run({"view overlay", R"(view "overlay")", "view-texts"}),
            (ViewLines{std::string(kEmptyOverlayLine), std::string(kEmptyOverlayLine),
                       R"({"cmd":"view-texts","texts":[]})"}));
  EXPECT_EQ(run({"view", "view screen", "view-texts now"}),
            (ViewLines{R"({"cmd":"view","error":"unknown view \"\"; the one view is overlay"})",
                       R"({"cmd":"view","error":"unknown view \"screen\"; the one view is overlay"})",
                       R"({"cmd":"view-texts","error":"takes no arguments"})"}));
}

// The survey an event presents shows in the overlay; its close mark takes it off again, also when
// the SDK's main context runs on a thread of its own.
struct ViewModeTest : ViewCommandsTest, ::testing::WithParamInterface<MainContext::Mode> {};

TEST_P(ViewModeTest, ThePresentedSurveyShowsItsTitleAndItsCloseMarkDismissesIt) {
  start(GetParam());
  ASSERT_EQ(run({"view overlay"}), ViewLines{std::string(kEmptyOverlayLine)});
  run({"track checkout_done"});
  const ViewLines texts = run({"view-texts"});
  ASSERT_EQ(texts.size(), 1u);
  const JSONValue shown = JSONValue::decode(texts[0])["texts"];
  ASSERT_TRUE(shown.asArray() != nullptr) << texts[0];
  EXPECT_EQ(shown.asArray()->front(), JSONValue("Rate your checkout"));
  EXPECT_NE(std::find(shown.asArray()->begin(), shown.asArray()->end(), JSONValue("Submit")), shown.asArray()->end());

  const ViewLines tree = run({"view overlay"});
  ASSERT_EQ(tree.size(), 1u);
  EXPECT_EQ(viewNodeWithId(overlayTreeOf(tree[0]), "survey/v1/close")["symbol"], JSONValue("xmark"));

  EXPECT_EQ(run({"view-tap @symbol:xmark", "current-survey", "view overlay"}),
            (ViewLines{R"({"cmd":"view-tap","ok":true})", std::string(kEmptyOverlayLine),
                       R"({"cmd":"current-survey","survey":null})", std::string(kEmptyOverlayLine)}));
}

INSTANTIATE_TEST_SUITE_P(ViewContextModes, ViewModeTest,
                         ::testing::Values(MainContext::Mode::hostPumped, MainContext::Mode::ownThread),
                         [](const auto& info) {
                           return info.param == MainContext::Mode::hostPumped ? "hostPumped" : "ownThread";
                         });

TEST_F(ViewCommandsTest, TypingAndTapsChangeTheNextTreeAndADisabledNodeAnswersFalse) {
  start();
  run({"track checkout_done"});
  // Submit waits for a score.
  ViewLines lines = run({"view-tap Submit"});
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], R"({"cmd":"view-tap","ok":false})");
  EXPECT_EQ(viewNodeWithId(overlayTreeOf(lines[1]), "survey/v1/submit")["enabled"], JSONValue(false));

  // A label names the score; the next tree lets Submit go.
  lines = run({"view-tap 9"});
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], R"({"cmd":"view-tap","ok":true})");
  EXPECT_EQ(viewNodeWithId(overlayTreeOf(lines[1]), "survey/v1/submit")["enabled"], JSONValue(true));

  // The field keeps the first five characters, its maxLength.
  lines = run({R"(view-type @placeholder:Why? "Fast and \"easy\"")"});
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], R"({"cmd":"view-type","ok":true})");
  const JSONValue field = viewNodeWithId(overlayTreeOf(lines[1]), "survey/v1/feedback");
  EXPECT_EQ(field["maxLength"], JSONValue(5));
  EXPECT_EQ(field["text"], JSONValue("Fast "));

  // Typing replaces what the field held; an id written as a JSON string names it too.
  lines = run({R"(view-type "survey/v1/feedback" "Ok")"});
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], R"({"cmd":"view-type","ok":true})");
  EXPECT_EQ(viewNodeWithId(overlayTreeOf(lines[1]), "survey/v1/feedback")["text"], JSONValue("Ok"));

  // A label names the first interactive node that shows it.
  EXPECT_EQ(run({"view-tap Dismiss", "current-survey"}),
            (ViewLines{R"({"cmd":"view-tap","ok":true})", std::string(kEmptyOverlayLine),
                       R"({"cmd":"current-survey","survey":null})"}));

  // Shown again, closed by the mark's id.
  run({"track checkout_done"});
  EXPECT_EQ(run({"view-tap survey/v1/close"}),
            (ViewLines{R"({"cmd":"view-tap","ok":true})", std::string(kEmptyOverlayLine)}));
}

TEST_F(ViewCommandsTest, ViewPageTurnsTheCarouselCountingFromZero) {
  start();
  run({"track tour"});
  const ViewLines before = run({"view-texts"});
  ASSERT_EQ(before.size(), 1u);
  EXPECT_NE(before[0].find(R"("First slide")"), std::string::npos) << before[0];
  EXPECT_NE(before[0].find(R"("Item 1 of 2")"), std::string::npos) << before[0];

  ViewLines lines = run({"view-page announcement/c1/carousel 1", "view-texts"});
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], R"({"cmd":"view-page","ok":true})");
  EXPECT_EQ(viewNodeWithId(overlayTreeOf(lines[1]), "announcement/c1/carousel")["selectedIndex"], JSONValue(1));
  EXPECT_NE(lines[2].find(R"("Second slide")"), std::string::npos) << lines[2];
  EXPECT_NE(lines[2].find(R"("Item 2 of 2")"), std::string::npos) << lines[2];
  EXPECT_EQ(lines[2].find(R"("First slide")"), std::string::npos) << lines[2];

  // No third page: nothing turns.
  lines = run({R"(view-page "announcement/c1/carousel" 2)"});
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], R"({"cmd":"view-page","ok":false})");
  EXPECT_EQ(viewNodeWithId(overlayTreeOf(lines[1]), "announcement/c1/carousel")["selectedIndex"], JSONValue(1));
}

TEST_F(ViewCommandsTest, ATapThatDismissesPrintsTheCallbackLineBeforeItsResultAndTheTreeAfter) {
  start();
  run({"show-survey checkout_done"});
  EXPECT_EQ(run({"view-tap @symbol:xmark"}),
            (ViewLines{R"({"callback":"onSurveyDismissed","surveyId":"v1"})", R"({"cmd":"view-tap","ok":true})",
                       std::string(kEmptyOverlayLine)}));
}

TEST_F(ViewCommandsTest, ATargetThatNamesNothingAnswersFalseWithTheTreeAndBadArgumentsAreErrorLines) {
  start();
  EXPECT_EQ(run({"view-tap Nothing here", "view-type @placeholder:Nope \"x\"", "view-page survey/v1/close 0"}),
            (ViewLines{R"({"cmd":"view-tap","ok":false})", std::string(kEmptyOverlayLine),
                       R"({"cmd":"view-type","ok":false})", std::string(kEmptyOverlayLine),
                       R"({"cmd":"view-page","ok":false})", std::string(kEmptyOverlayLine)}));
  run({"track checkout_done"});
  // Not a pager: nothing to turn, and the survey stays.
  ViewLines lines = run({"view-page survey/v1/close 1"});
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], R"({"cmd":"view-page","ok":false})");
  EXPECT_FALSE(viewNodeWithId(overlayTreeOf(lines[1]), "survey/v1/close").isNull());

  EXPECT_EQ(
      run({"view-page survey/v1/close two", "view-page survey/v1/close -1", "view-page survey/v1/close 99999999999",
           "view-page 3", "view-page", "view-tap", R"(view-tap "")", "view-type survey/v1/feedback 5",
           "view-type survey/v1/feedback plain", R"(view-type "x")", R"(view-tap "survey/v1/close)"}),
      (ViewLines{
          R"({"cmd":"view-page","error":"page index must be a whole number, not two"})",
          R"({"cmd":"view-page","error":"page index must be from 0 to 2147483647, not -1"})",
          R"({"cmd":"view-page","error":"page index must be from 0 to 2147483647, not 99999999999"})",
          R"({"cmd":"view-page","error":"missing page index"})", R"({"cmd":"view-page","error":"missing target"})",
          R"({"cmd":"view-tap","error":"missing target"})", R"({"cmd":"view-tap","error":"missing target"})",
          R"({"cmd":"view-type","error":"text must be a JSON string"})",
          R"({"cmd":"view-type","error":"bad text: Unable to parse JSON: The JSON document has an improper structure: missing or superfluous commas, braces, missing keys, etc."})",
          R"({"cmd":"view-type","error":"missing target"})",
          R"({"cmd":"view-tap","error":"bad target: Unable to parse JSON: A string is opened, but never closed."})"}));
}

}  // namespace
}  // namespace tarnwell::cli
