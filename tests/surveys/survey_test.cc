#include "tarnwell/surveys/survey.h"

#include <gtest/gtest.h>

#include <string>

#include "tarnwell/core/coding_error.h"
#include "tarnwell/testing/log_recorder.h"

namespace tarnwell {
namespace {

// Keys in the order the record writes them, so the encoded text can be compared whole.
constexpr std::string_view kFullSurvey =
    R"({"$id":"s1","name":"NPS","description":"How likely","templateId":"nps_v2","status":"published",)"
    R"("ownerId":"u9","organizationId":"o1","projectId":"p1","appId":"a1","eventTriggerId":"checkout",)"
    R"("scheduleStart":"2026-01-01T00:00:00.000Z","scheduleEnd":"2026-02-01T00:00:00Z",)"
    R"("structure":"{\"title\":\"Hi\"}","targeting":"{\"rules\":[],\"audience\":\"all\",\"percentage\":100}",)"
    R"("config":"{\"layout\":{\"width\":0.5}}","analytics":"{\"submitEvent\":\"nps_sent\"}",)"
    R"("$createdAt":"2025-12-01T10:00:00.000+00:00","$updatedAt":"2025-12-02T10:00:00.000+00:00"})";

std::string surveyDecodeFailure(std::string_view json) {
  try {
    Survey::decode(JSONValue::decode(json));
  } catch (const DecodingError& error) {
    return error.what();
  }
  return "decoded";
}

TEST(SurveyTest, RoundTripsEveryKeyInItsWireOrder) {
  const Survey survey = Survey::decode(JSONValue::decode(kFullSurvey));
  EXPECT_EQ(survey.id, "s1");
  EXPECT_EQ(survey.structureJSON, R"({"title":"Hi"})");
  EXPECT_EQ(survey.createdAt, "2025-12-01T10:00:00.000+00:00");
  EXPECT_EQ(survey.encode().encode(), kFullSurvey);
  EXPECT_EQ(Survey::decode(survey.encode()), survey);

  const Survey empty = Survey::decode(JSONValue::decode("{}"));
  EXPECT_EQ(empty, Survey{});
  EXPECT_EQ(empty.encode().encode(), "{}");
}

TEST(SurveyTest, ReadsTheBackendKeysNotTheFieldNames) {
  const Survey survey = Survey::decode(
      JSONValue::decode(R"({"id":"plain","createdAt":"x","structureJSON":"{}","$id":"s2","status":null})"));
  EXPECT_EQ(survey.id, "s2");
  EXPECT_EQ(survey.createdAt, std::nullopt);
  EXPECT_EQ(survey.structureJSON, std::nullopt);
  EXPECT_EQ(survey.status, std::nullopt);
}

TEST(SurveyTest, ANonTextValueUnderAnyKeyFailsTheRecord) {
  EXPECT_EQ(surveyDecodeFailure(R"({"$id":"s1","status":1})"), "Expected text at \"status\" but found a number");
  EXPECT_EQ(surveyDecodeFailure(R"({"$updatedAt":true})"), "Expected text at \"$updatedAt\" but found a bool");
  // A nested document given as an object instead of its text is a type error too.
  EXPECT_EQ(surveyDecodeFailure(R"({"targeting":{"rules":[],"audience":"all","percentage":1}})"),
            "Expected text at \"targeting\" but found an object");
  EXPECT_EQ(surveyDecodeFailure(R"(["s1"])"), "Expected an object at the top level but found an array");
}

TEST(SurveyTest, NestedDocumentsReadAsAbsentWhenMissingEmptyOrMalformedWithoutALogLine) {
  testing::LogRecorder log;
  Survey survey;
  EXPECT_EQ(survey.structure(), std::nullopt);
  for (const char* text : {"", "{", "null", "[]", R"({"rules":[],"audience":"all"})", "{\"a\":1} trailing"}) {
    survey.targetingJSON = text;
    EXPECT_EQ(survey.targeting(), std::nullopt) << text;
  }
  survey.structureJSON = R"({"questions":"none"})";
  survey.configJSON = R"({"layout":{"width":"wide"}})";
  survey.analyticsJSON = R"({"submitEvent":7})";
  EXPECT_EQ(survey.structure(), std::nullopt);
  EXPECT_EQ(survey.config(), std::nullopt);
  EXPECT_EQ(survey.analytics(), std::nullopt);
  EXPECT_TRUE(log.lines().empty());
}

TEST(SurveyTest, NestedDocumentsFollowTheirTextOnEveryRead) {
  Survey survey = Survey::decode(JSONValue::decode(kFullSurvey));
  EXPECT_EQ(survey.structure()->title, "Hi");
  EXPECT_EQ(survey.targeting()->percentage, 100);
  EXPECT_EQ(survey.config()->layout->width, 0.5);
  EXPECT_EQ(survey.analytics()->submitEvent, "nps_sent");

  survey.structureJSON = R"({"title":"Changed"})";
  EXPECT_EQ(survey.structure()->title, "Changed");
}

TEST(SurveyResponseTest, RoundTripsWithItsRenamedAnswerKeys) {
  SurveyResponse response;
  response.userId = "u1";
  response.surveyId = "s1";
  response.responsesJSON = R"({"q1":"yes"})";
  response.answersJSON = response.responsesJSON;
  response.completed = true;
  response.completionTime = 12;
  response.submittedAt = "2026-01-05T08:00:00.123Z";

  const JSONValue encoded = response.encode();
  EXPECT_EQ(encoded.encode(),
            R"({"userId":"u1","surveyId":"s1","responses":"{\"q1\":\"yes\"}","completed":true,)"
            R"("answers":"{\"q1\":\"yes\"}","completionTime":12,"submittedAt":"2026-01-05T08:00:00.123Z"})");
  EXPECT_EQ(SurveyResponse::decode(encoded), response);
}

TEST(SurveyResponseTest, CompletedAndCompletionTimeAreRequired) {
  auto failure = [](std::string_view json) -> std::string {
    try {
      SurveyResponse::decode(JSONValue::decode(json));
    } catch (const DecodingError& error) {
      return error.what();
    }
    return "decoded";
  };
  EXPECT_EQ(failure(R"({"completionTime":3})"), "No value for the required key \"completed\"");
  EXPECT_EQ(failure(R"({"completed":false})"), "No value for the required key \"completionTime\"");
  EXPECT_EQ(failure(R"({"completed":false,"completionTime":1.5})"),
            "Expected a whole number at \"completionTime\" but found a number");
  EXPECT_EQ(failure(R"({"completed":true,"completionTime":2,"score":4.5})"), "decoded");
}

}  // namespace
}  // namespace tarnwell
