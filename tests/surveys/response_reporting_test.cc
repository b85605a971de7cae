// The pieces of an answered survey or announcement: the score, the answers as text and the
// normalised button press.
#include <gtest/gtest.h>

#include <limits>

#include "tarnwell/surveys/detail/response_reporting.h"

namespace tarnwell::detail {
namespace {

TEST(ResponseScoreTest, TheFirstKeyThatHoldsANumberWins) {
  EXPECT_EQ(responseScore(JSONObject{{"rating", "4"}, {"satisfaction_score", 2}}), 4.0);
  EXPECT_EQ(responseScore(JSONObject{{"nps_score", " 4"}, {"rating", true}, {"satisfaction_score", "2.5"}}), 2.5);
  EXPECT_EQ(responseScore(JSONObject{{"nps_score", 9}, {"rating", 1}}), 9.0);
  EXPECT_EQ(responseScore(JSONObject{{"rating", "4 stars"}}), std::nullopt);
  EXPECT_EQ(responseScore(JSONObject{{"score", 5}}), std::nullopt);
}

TEST(AnswersTextTest, AnswersThatCannotBeWrittenHaveNoText) {
  EXPECT_EQ(answersText(JSONObject{}), "{}");
  EXPECT_EQ(answersText(JSONObject{{"q", JSONArray{1, "a"}}}), R"({"q":[1,"a"]})");
  EXPECT_EQ(answersText(JSONObject{{"q", std::numeric_limits<double>::infinity()}}), std::nullopt);
}

TEST(AnnouncementResponsesTest, AButtonPressNamesTheButtonAndFillsWhatIsMissing) {
  Survey announcement;
  announcement.structureJSON =
      R"({"buttons":{"primary":{"text":"  --Try it NOW!--  ","action":" open ","deeplinkUri":"demo://d"},)"
      R"("secondary":{"text":"!!!"}}})";
  EXPECT_EQ(JSONValue(normalizeAnnouncementResponses(announcement,
                                                     JSONObject{{"action", "primary"}, {"deep_link", "mine://x"}}))
                .encode(),
            R"({"action":"primary","deep_link":"mine://x","button_clicked":"try_it_now","action_type":"open"})");
  // Nothing of the label survives the slug: the label itself, as it stood.
  EXPECT_EQ(normalizeAnnouncementResponses(announcement, JSONObject{{"action", "secondary"}})["button_clicked"],
            JSONValue("!!!"));
  announcement.structureJSON.reset();
  EXPECT_EQ(normalizeAnnouncementResponses(announcement, JSONObject{{"action", "secondary"}, {"button_clicked", 7}}),
            (JSONObject{{"action", "secondary"}, {"button_clicked", "7_0"}}));
  const JSONObject other{{"action", "close"}, {"x", 1}};
  EXPECT_EQ(normalizeAnnouncementResponses(announcement, other), other);
}

}  // namespace
}  // namespace tarnwell::detail
