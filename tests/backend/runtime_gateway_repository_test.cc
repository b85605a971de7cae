#include <gtest/gtest.h>

#include <asio/error.hpp>

#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/core/coding_error.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tests/support/run_sync.h"
#include "tests/support/scripted_gateway.h"

namespace tarnwell::detail {
namespace {

struct Item {
  std::string id;
  static Item decode(const JSONValue& value) {
    if (const JSONString* id = value["id"].asString()) return {id->str()};
    throw DecodingError("Expected text at \"id\"");
  }
};

// An execution record whose responseBody carries `envelope`, as the backend answers.
HttpResponse execution(const std::string& envelope) {
  return testing::httpResponse(
      JSONValue(JSONObject{{"$id", "exec1"}, {"status", "completed"}, {"responseBody", envelope}}).encode());
}

struct RuntimeGatewayRepositoryTest : ::testing::Test {
  std::shared_ptr<AppwriteClient> client =
      std::make_shared<AppwriteClient>("https://api.example.com/v1", "proj", "db", "fn_gateway");
  std::shared_ptr<testing::ScriptedHttpTransport> transport = std::make_shared<testing::ScriptedHttpTransport>();
  RuntimeGatewayRepository gateway{client, transport};

  JSONObject execute(bool includeToken = true) {
    return testing::runSync(gateway.execute("get_segment", JSONObject{{"segmentId", "s1"}}, includeToken));
  }
  template <typename Error>
  std::string failureOf(HttpResult reply) {
    transport->enqueue(std::move(reply));
    try {
      execute();
    } catch (const Error& error) {
      return error.what();
    }
    return "no failure";
  }
};

TEST_F(RuntimeGatewayRepositoryTest, BuildsTheExecutionRequestExactly) {
  client->setGatewaySessionToken("tok");
  transport->enqueue(execution(R"({"ok":true,"data":{"a":1}})"));
  EXPECT_EQ(execute(), (JSONObject{{"a", 1}}));

  const HttpRequest request = transport->requests().at(0);
  EXPECT_EQ(request.url, "https://api.example.com/v1/functions/fn_gateway/executions");
  EXPECT_EQ(request.timeout, std::chrono::seconds(60));
  EXPECT_EQ(request.headers, (HttpHeaders{{"X-Appwrite-Project", "proj"}, {"Content-Type", "application/json"}}));
  EXPECT_EQ(request.body,
            R"({"body":"{\"action\":\"get_segment\",\"payload\":{\"segmentId\":\"s1\"},\"sessionToken\":\"tok\"}",)"
            R"("async":false,"path":"/","method":"POST"})");
}

TEST_F(RuntimeGatewayRepositoryTest, SessionTokenIsSentOnlyWhenAskedForAndPresent) {
  auto inputOf = [&](std::size_t i) {
    return JSONValue::decode(*JSONValue::decode(transport->requests().at(i).body)["body"].asString());
  };
  transport->setResponder([](const HttpRequest&) { return execution(R"({"ok":true})"); });
  execute(true);  // no token yet: the call still goes out, without one
  client->setGatewaySessionToken("");
  execute(true);  // an empty token is still a token
  execute(false);
  EXPECT_FALSE(inputOf(0).asObject()->contains("sessionToken"));
  EXPECT_EQ(inputOf(1)["sessionToken"], JSONValue(""));
  EXPECT_FALSE(inputOf(2).asObject()->contains("sessionToken"));
}

TEST_F(RuntimeGatewayRepositoryTest, EndpointWithTrailingSlashGetsNoDoubleSlash) {
  client->configure({"http://127.0.0.1:9/v1/", "p", "d", "fn id", std::nullopt, std::nullopt});
  transport->enqueue(execution(R"({"ok":true})"));
  execute();
  EXPECT_EQ(transport->requests().at(0).url, "http://127.0.0.1:9/v1/functions/fn%20id/executions");
}

TEST_F(RuntimeGatewayRepositoryTest, AnswersAreUnwrappedFromTheRecordOrTakenBare) {
  transport->enqueue(testing::httpResponse(R"({"ok":true,"data":{"bare":true}})"));
  EXPECT_EQ(execute(), (JSONObject{{"bare", true}}));
  // A null responseBody is no envelope: the body itself is read.
  transport->enqueue(testing::httpResponse(R"({"responseBody":null,"ok":true,"data":{"x":"y"}})"));
  EXPECT_EQ(execute(), (JSONObject{{"x", "y"}}));
  transport->enqueue(execution(R"({"ok":true})"));
  EXPECT_EQ(execute(), JSONObject{});
}

TEST_F(RuntimeGatewayRepositoryTest, FailuresKeepTheirKindAndText) {
  EXPECT_EQ(failureOf<RuntimeGatewayError>(testing::httpResponse("{}", 404)),
            "The Appwrite gateway request failed with HTTP status 404.");
  EXPECT_EQ(failureOf<RuntimeGatewayError>(execution(R"({"ok":false})")), "Unknown gateway error");
  EXPECT_EQ(failureOf<RuntimeGatewayError>(execution(R"({"ok":false,"error":"Invalid API key"})")), "Invalid API key");
  EXPECT_NE(failureOf<DecodingError>(testing::httpResponse("", 204)), "no failure");
  EXPECT_NE(failureOf<DecodingError>(execution(R"({"data":{}})")), "no failure");
  EXPECT_NE(failureOf<DecodingError>(execution(R"({"ok":true,"data":[1]})")), "no failure");
  EXPECT_NE(failureOf<DecodingError>(testing::httpResponse("<html>")), "no failure");
  EXPECT_EQ(failureOf<TransportFailure>(TransportError{TransportErrorCode::cannotConnect, "Connection refused"}),
            "Could not connect to the server.");
}

TEST_F(RuntimeGatewayRepositoryTest, CancellationIsRecognisable) {
  transport->enqueue(TransportError{TransportErrorCode::cancelled, "cancelled"});
  try {
    execute();
    FAIL() << "no failure";
  } catch (const TransportFailure& failure) {
    EXPECT_TRUE(failure.isCancellation());
    EXPECT_TRUE(isCancellationError(failure));
  }
  EXPECT_TRUE(isCancellationError(std::system_error(asio::error::operation_aborted)));
  EXPECT_FALSE(isCancellationError(TransportFailure({TransportErrorCode::timedOut, "slow"})));
  EXPECT_FALSE(isCancellationError(RuntimeGatewayError::invalidResponse()));
}

TEST_F(RuntimeGatewayRepositoryTest, ListsAreStrictPerElementButForgivingAboutTheContainer) {
  auto list = [&](const std::string& data) {
    transport->enqueue(execution(R"({"ok":true,"data":)" + data + "}"));
    return testing::runSync(gateway.executeList<Item>("get_surveys", {}, "items", true));
  };
  EXPECT_EQ(list(R"({"items":[{"id":"a"},{"id":"b"}]})").size(), 2u);
  EXPECT_TRUE(list(R"({"items":{}})").empty());
  EXPECT_TRUE(list(R"({})").empty());
  EXPECT_THROW(list(R"({"items":[{"id":"a"},{"id":7}]})"), DecodingError);
}

TEST_F(RuntimeGatewayRepositoryTest, ObjectsReadTheKeyOrTheWholeData) {
  auto object = [&](const std::string& data, std::optional<std::string> key) {
    transport->enqueue(execution(R"({"ok":true,"data":)" + data + "}"));
    return testing::runSync(gateway.executeObject<Item>("x", {}, key, true));
  };
  EXPECT_EQ(object(R"({"id":"whole"})", std::nullopt)->id, "whole");
  EXPECT_EQ(object(R"({"thread":{"id":"t"}})", "thread")->id, "t");
  EXPECT_FALSE(object(R"({"thread":null})", "thread"));
  EXPECT_FALSE(object(R"({})", "thread"));
  EXPECT_THROW(object(R"({"thread":5})", "thread"), DecodingError);
}

TEST(AcknowledgementTest, ReadsValuesTolerantly) {
  const JSONValue zeroText("0"), fraction("2.5"), yes("yes"), trueText("true"), falseText("false");
  EXPECT_TRUE(readAcknowledgement(nullptr));
  EXPECT_FALSE(readAcknowledgement(&zeroText));
  EXPECT_TRUE(readAcknowledgement(&fraction));
  EXPECT_FALSE(readAcknowledgement(&yes));
  EXPECT_TRUE(readAcknowledgement(&trueText));
  EXPECT_FALSE(readAcknowledgement(&falseText));
  const JSONValue zero(0), two(2), object(JSONObject{}), null;
  EXPECT_FALSE(readAcknowledgement(&zero));
  EXPECT_TRUE(readAcknowledgement(&two));
  EXPECT_FALSE(readAcknowledgement(&object));
  EXPECT_FALSE(readAcknowledgement(&null));
}

TEST(AppwriteClientTest, ConfigureRejectsAnEndpointThatIsNotAUrlAndChangesNothing) {
  AppwriteClient client("https://a.example/v1", "p", "d", "g");
  client.setGatewaySessionToken("keep");
  EXPECT_THROW(client.configure({"not a url", "p2", "d2", "g2", std::nullopt, std::nullopt}), URLError);
  EXPECT_THROW(client.configure({"", "p2", "d2", "g2", std::nullopt, std::nullopt}), URLError);
  EXPECT_EQ(client.getEndpoint(), "https://a.example/v1");
  EXPECT_EQ(client.getProjectId(), "p");
  client.configure({"http://127.0.0.1:8080/v1", "p2", "d2", "g2", std::nullopt, std::nullopt});
  EXPECT_EQ(client.getProjectId(), "p2");
  EXPECT_EQ(client.getGatewaySessionToken(), "keep");
}

}  // namespace
}  // namespace tarnwell::detail
