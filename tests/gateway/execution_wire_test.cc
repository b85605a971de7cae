#include "tools/gateway/execution_wire.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "tests/gateway/gateway_fixture.h"

namespace tarnwell::gateway {
namespace {

using ExecutionWireTest = GatewayServerTest;

TEST_F(ExecutionWireTest, WrapsTheEnvelopeInACompletedExecutionRecord) {
  const httplib::Result result = gateway().post("bootstrap", {{"apiKey", "key-bad"}});
  ASSERT_TRUE(result) << httplib::to_string(result.error());
  EXPECT_EQ(result->status, 200);
  EXPECT_EQ(result->get_header_value("Content-Type"), "application/json");

  const JSONValue record = JSONValue::decode(result->body);
  const JSONString* id = record["$id"].asString();
  ASSERT_NE(id, nullptr) << result->body;
  EXPECT_TRUE(std::regex_match(id->str(), std::regex("[0-9a-f]{20}"))) << id->view();
  EXPECT_EQ(result->body,
            R"({"$id":")" + id->str() +
                R"(","$createdAt":"2026-01-01T00:00:00.000Z","$updatedAt":"2026-01-01T00:00:00.000Z",)"
                R"("$permissions":[],"functionId":"fn-gateway","trigger":"http","status":"completed",)"
                R"("requestMethod":"POST","requestPath":"/","requestHeaders":[],"responseStatusCode":200,)"
                R"("responseBody":"{\"ok\":false,\"error\":\"Invalid API key\"}","responseHeaders":[],)"
                R"("logs":"","errors":"","duration":0})");
}

TEST_F(ExecutionWireTest, AnswersWithTheBareEnvelopeWhenTheContentSaysSo) {
  serve(testContent("bare"));
  const httplib::Result result = gateway().post("bootstrap", {{"apiKey", "key-bad"}});
  ASSERT_TRUE(result) << httplib::to_string(result.error());
  EXPECT_EQ(result->status, 200);
  EXPECT_EQ(result->body, R"({"ok":false,"error":"Invalid API key"})");
}

TEST_F(ExecutionWireTest, AnswersAnActionWithoutHandlerAsAFailedEnvelope) {
  EXPECT_EQ(gateway().call("get_weather_report", {}, "gst_unknown").encode(),
            R"({"ok":false,"error":"Unknown action: get_weather_report"})");
}

TEST_F(ExecutionWireTest, RefusesAMissingOrWrongProjectWith401AndAnUnknownFunctionWith404) {
  const std::string body = testing::executionBody("bootstrap", {});
  const httplib::Result missing = gateway().postRaw(body, "", kFunctionId);
  const httplib::Result wrong = gateway().postRaw(body, "proj-other", kFunctionId);
  const httplib::Result unknownFunction = gateway().postRaw(body, kProjectId, "fn-other");
  ASSERT_TRUE(missing && wrong && unknownFunction);

  EXPECT_EQ(missing->status, 401);
  EXPECT_EQ(missing->body, R"({"message":"No project was given: send the X-Appwrite-Project header",)"
                           R"("code":401,"type":"user_unauthorized"})");
  EXPECT_EQ(wrong->status, 401);
  EXPECT_EQ(wrong->body, R"({"message":"The project proj-other is not served by this gateway",)"
                         R"("code":401,"type":"user_unauthorized"})");
  EXPECT_EQ(unknownFunction->status, 404);
  EXPECT_EQ(unknownFunction->body, R"({"message":"Function with the requested ID could not be found.",)"
                                   R"("code":404,"type":"function_not_found"})");
  // Refused before the function ran: nothing was recorded.
  EXPECT_EQ(gateway().getJSON("/__gateway/requests").encode(), R"({"items":[]})");
}

TEST_F(ExecutionWireTest, AnswersUnknownRoutesWithAJsonError) {
  const httplib::Result wrongMethod = gateway().http().Get(std::string("/v1/functions/") + kFunctionId + "/executions");
  const httplib::Result unknownPath = gateway().http().Post("/v1/databases", "{}", "application/json");
  ASSERT_TRUE(wrongMethod && unknownPath);
  for (const httplib::Result* result : {&wrongMethod, &unknownPath}) {
    EXPECT_EQ((*result)->status, 404);
    EXPECT_EQ((*result)->body,
              R"({"message":"The requested route was not found","code":404,"type":"general_route_not_found"})");
  }
}

struct BadBody {
  std::string body;
  std::string message;  // exact, or the start of it when it ends in ": ", before the parser's words
};

TEST_F(ExecutionWireTest, RefusesBodiesOfTheWrongShapeWith400) {
  const std::vector<BadBody> cases = {
      {"not json", "Invalid function execution: Unable to parse JSON: "},
      {R"({"async":false})", R"(Invalid function execution: No value for the required key "body")"},
      {R"({"body":{"action":"bootstrap"}})",
       R"(Invalid function execution: Expected text at "body" but found an object)"},
      {R"({"body":"{}","async":"no"})", R"(Invalid function execution: Expected a bool at "async" but found text)"},
      {R"({"body":"{\"action\":\"x\"}","async":true})",
       "Asynchronous executions are not supported by the local gateway"},
      {R"({"body":"bootstrap"})", R"(Invalid gateway input in "body": Unable to parse JSON: )"},
      {R"({"body":"{\"payload\":{}}"})", R"(Invalid gateway input in "body": No value for the required key "action")"},
      {R"({"body":"{\"action\":\"x\",\"payload\":[]}"})",
       R"(Invalid gateway input in "body": Expected an object at "payload" but found an array)"},
      {R"({"body":"{\"action\":\"x\",\"sessionToken\":5}"})",
       R"(Invalid gateway input in "body": Expected text at "sessionToken" but found a number)"},
      {std::string(100000, '['), "Invalid function execution: "},
  };
  for (const BadBody& bad : cases) {
    SCOPED_TRACE(bad.body.substr(0, 80));
    const httplib::Result result = gateway().postRaw(bad.body, kProjectId, kFunctionId);
    ASSERT_TRUE(result) << httplib::to_string(result.error());
    EXPECT_EQ(result->status, 400);
    const JSONValue error = JSONValue::decode(result->body);
    EXPECT_EQ(error["code"].intValue(), 400);
    EXPECT_EQ(error["type"].encode(), R"("general_argument_invalid")");
    const std::string message = error["message"].stringValue().value_or(result->body);
    EXPECT_EQ(ourWords(message, bad.message), bad.message);
  }
  EXPECT_EQ(gateway().getJSON("/__gateway/requests").encode(), R"({"items":[]})");
}

TEST(ExecutionRequestTest, FillsInWhatTheExecutionLeavesOut) {
  const ExecutionRequest bare = parseExecutionRequest(R"({"body":"{\"action\":\"start_session\"}"})");
  EXPECT_EQ(bare.action, "start_session");
  EXPECT_EQ(bare.payload.encode(), "{}");
  EXPECT_FALSE(bare.sessionToken.has_value());
  EXPECT_EQ(bare.method, "POST");
  EXPECT_EQ(bare.path, "/");

  const ExecutionRequest full = parseExecutionRequest(
      R"({"body":"{\"action\":\"a\",\"payload\":{\"n\":1},\"sessionToken\":\"\"}","path":"/x","method":"PUT"})");
  EXPECT_EQ(full.payload.encode(), R"({"n":1})");
  EXPECT_EQ(full.sessionToken, std::optional<std::string>(""));
  EXPECT_EQ(full.method, "PUT");
  EXPECT_EQ(full.path, "/x");
}

TEST(ExecutionRequestTest, KeepsThePayloadTextAsItStandsInTheInput) {
  const auto parse = [](const std::string& input) {
    return parseExecutionRequest(JSONValue(JSONObject{{"body", input}}).encode());
  };
  EXPECT_EQ(parse(R"({"action":"a","payload": { "n" : 1.50, "t":"\u00e9\"}" } })").payloadText,
            R"({ "n" : 1.50, "t":"\u00e9\"}" })");
  // Of two payloads the last counts, as it does for the decoded payload.
  const ExecutionRequest twice = parse(R"({"payload":{"n":1},"action":"a","payload":{"n":2}})");
  EXPECT_EQ(twice.payloadText, R"({"n":2})");
  EXPECT_EQ(twice.payload.encode(), R"({"n":2})");
  EXPECT_EQ(parse(R"({"action":"a","payload":{"n":1},"payload":null})").payloadText, "{}");
  EXPECT_EQ(parse(R"({"action":"a","pay\u006coad":{"n":3}})").payloadText, R"({"n":3})");
  EXPECT_EQ(parse(R"({"action":"a"})").payloadText, "{}");
}

}  // namespace
}  // namespace tarnwell::gateway
