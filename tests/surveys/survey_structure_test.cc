#include "tarnwell/surveys/survey_structure.h"

#include <gtest/gtest.h>

#include <string>

#include "tarnwell/core/coding_error.h"

namespace tarnwell {
namespace {

SurveyStructure decodeStructure(std::string_view json) { return SurveyStructure::decode(JSONValue::decode(json)); }

std::string structureDecodeFailure(std::string_view json) {
  try {
    decodeStructure(json);
  } catch (const DecodingError& error) {
    return error.what();
  }
  return "decoded";
}

TEST(SurveyStructureTest, RoundTripsARichDocument) {
  const SurveyStructure structure = decodeStructure(R"({
      "type":"carousel","title":"Welcome","subtitle":"Tour","description":"d",
      "questions":[{"id":"q1","type":"rating","title":"Rate","required":true,"minRating":1,"maxRating":5,
                    "options":[{"value":"a","label":"A","description":"first"}],
                    "logic":{"skipTo":"q3"},"labels":{"1":"Bad","5":"Great"},"allowScreenshot":false}],
      "buttons":{"primary":{"text":"Next","visible":false,"deeplinkUri":"app://next"},"dismissText":{"text":"Close"}},
      "style":{"primaryColor":"#FF0000","borderRadius":12,"shadow":true},
      "config":{"any":[1,null]},"iconUrl":"https://cdn.example/i.png","icon":"star",
      "items":[{"title":"Slide 1"},{"title":"Slide 2","image":"x.png"}],
      "showIndicators":true,"autoAdvanceInterval":4,"bullets":["fast","free"]})");
  ASSERT_EQ(structure.questions.size(), 1u);
  EXPECT_EQ(structure.questions[0].labels->at("5"), "Great");
  EXPECT_EQ(structure.buttons->primary->deeplinkURI, "app://next");
  EXPECT_FALSE(structure.buttons->primary->visible);
  EXPECT_EQ(structure.style->borderRadius, 12);
  EXPECT_EQ(structure.items->at(1).find("image")->asString()->view(), "x.png");

  const JSONValue encoded = structure.encode();
  EXPECT_EQ(encoded["iconUrl"], JSONValue("https://cdn.example/i.png"));
  EXPECT_EQ(encoded["buttons"]["primary"]["deeplinkUri"], JSONValue("app://next"));
  EXPECT_EQ(SurveyStructure::decode(encoded), structure);
}

TEST(SurveyStructureTest, MissingOrNullListsAndFlagsTakeTheirDefaults) {
  const SurveyStructure structure =
      decodeStructure(R"({"questions":[{"id":"q1"},{"id":"q2","required":null,"options":null}],)"
                      R"("buttons":{"primary":{"text":"Go"},"secondary":{"text":"Later","visible":null}}})");
  for (const SurveyQuestion& question : structure.questions) {
    EXPECT_FALSE(question.required) << *question.id;
    EXPECT_TRUE(question.options.empty()) << *question.id;
  }
  EXPECT_TRUE(structure.buttons->primary->visible);
  EXPECT_TRUE(structure.buttons->secondary->visible);
  EXPECT_EQ(structure.buttons->skipText, std::nullopt);

  EXPECT_TRUE(decodeStructure("{}").questions.empty());
  EXPECT_TRUE(decodeStructure(R"({"questions":null})").questions.empty());
}

TEST(SurveyStructureTest, DefaultedKeysStillRejectTheWrongType) {
  EXPECT_EQ(structureDecodeFailure(R"({"questions":{}})"), "Expected an array at \"questions\" but found an object");
  EXPECT_EQ(structureDecodeFailure(R"({"questions":[{"required":"yes"}]})"),
            "Expected a bool at \"questions[0].required\" but found text");
  EXPECT_EQ(structureDecodeFailure(R"({"buttons":{"nextText":{"visible":0}}})"),
            "Expected a bool at \"buttons.nextText.visible\" but found a number");
  EXPECT_EQ(structureDecodeFailure(R"({"questions":[{"labels":{"1":2}}]})"),
            "Expected text at \"questions[0].labels.1\" but found a number");
}

TEST(SurveyStructureTest, BareStringOptionsBecomeTrimmedLabelsAndNormalisedValues) {
  const SurveyStructure structure = decodeStructure(R"({"questions":[{"options":["  Very Happy\n","Ok","   ","",)"
                                                    R"({"value":"Keep As Is","label":"  spaced  "},{}]}]})");
  const std::vector<SurveyOption>& options = structure.questions[0].options;
  ASSERT_EQ(options.size(), 6u);
  EXPECT_EQ(options[0], (SurveyOption{"very_happy", "Very Happy", std::nullopt}));
  EXPECT_EQ(options[1], (SurveyOption{"ok", "Ok", std::nullopt}));
  EXPECT_EQ(options[2], SurveyOption{});
  EXPECT_EQ(options[3], SurveyOption{});
  EXPECT_EQ(options[4], (SurveyOption{"Keep As Is", "  spaced  ", std::nullopt}));
  EXPECT_EQ(options[5], SurveyOption{});

  // Written back in the object form, which reads to the same option.
  const JSONValue encoded = structure.encode();
  EXPECT_EQ(encoded["questions"].asArray()->front()["options"].encode(),
            R"([{"value":"very_happy","label":"Very Happy"},{"value":"ok","label":"Ok"},{},{},)"
            R"({"value":"Keep As Is","label":"  spaced  "},{}])");
  EXPECT_EQ(SurveyStructure::decode(encoded), structure);

  EXPECT_EQ(structureDecodeFailure(R"({"questions":[{"options":[3]}]})"),
            "Expected an object at \"questions[0].options[0]\" but found a number");
  EXPECT_EQ(structureDecodeFailure(R"({"questions":[{"options":[null]}]})"),
            "Expected an object at \"questions[0].options[0]\" but found null");
}

TEST(SurveyStructureTest, OnlyTheLowerCaseIconUrlKeyIsRead) {
  EXPECT_EQ(decodeStructure(R"({"iconURL":"https://cdn.example/a.png"})").iconURL, std::nullopt);
  EXPECT_EQ(decodeStructure(R"({"iconUrl":"https://cdn.example/b.png"})").iconURL, "https://cdn.example/b.png");
}

}  // namespace
}  // namespace tarnwell
