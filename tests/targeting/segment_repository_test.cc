#include <gtest/gtest.h>

#include "tarnwell/targeting/detail/segment_repository.h"
#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tests/support/run_sync.h"

namespace tarnwell::detail {
namespace {

struct SegmentRepositoryTest : ::testing::Test {
  std::shared_ptr<AppwriteClient> client =
      std::make_shared<AppwriteClient>("https://api.example.com/v1", "p", "d", "g");
  std::shared_ptr<testing::ScriptedHttpTransport> transport = std::make_shared<testing::ScriptedHttpTransport>();
  SegmentRepository repository{client, transport};
  testing::LogRecorder log;

  void reply(int status, std::string body) {
    HttpResponse response;
    response.status = status;
    response.body = std::move(body);
    transport->enqueue(response);
  }
  void answer(const std::string& data) { reply(200, R"({"ok":true,"data":)" + data + "}"); }
  std::optional<Segment> fetch(std::string id = "seg_1") {
    return testing::runSync(repository.getSegment(std::move(id)));
  }
};

TEST_F(SegmentRepositoryTest, AsksForTheSegmentWithTheSessionTokenAndDecodesTheItem) {
  client->setGatewaySessionToken("tok");
  answer(R"({"item":{"id":"seg_1","name":"Pros","conditions":"[]","isActive":true}})");
  EXPECT_EQ(fetch(), (Segment{"seg_1", "Pros", std::nullopt, "[]", true}));

  const JSONValue input = JSONValue::decode(*JSONValue::decode(transport->requests().at(0).body)["body"].asString());
  EXPECT_EQ(input.encode(), R"({"action":"get_segment","payload":{"segmentId":"seg_1"},"sessionToken":"tok"})");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SegmentRepositoryTest, AMissingOrNullItemIsNoSegmentWithoutAWord) {
  answer(R"({})");
  EXPECT_EQ(fetch(), std::nullopt);
  answer(R"({"item":null})");
  EXPECT_EQ(fetch(), std::nullopt);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SegmentRepositoryTest, AnItemThatIsNotASegmentIsLoggedAndGivesNoSegment) {
  answer(R"({"item":"seg_1"})");
  EXPECT_EQ(fetch(), std::nullopt);
  answer(R"({"item":{"id":"seg_2"}})");
  EXPECT_EQ(fetch("seg_2"), std::nullopt);
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{
                "[Tarnwell][ERROR] Failed to fetch segment seg_1 :: Expected an object at the top level "
                "but found text",
                "[Tarnwell][ERROR] Failed to fetch segment seg_2 :: No value for the required key \"name\""}));
}

TEST_F(SegmentRepositoryTest, GatewayFailuresAreLoggedWithTheirTextualFormAndGiveNoSegment) {
  reply(200, R"({"ok":false,"error":"Segment not found"})");
  EXPECT_EQ(fetch("seg_9"), std::nullopt);
  reply(503, "unavailable");
  EXPECT_EQ(fetch("seg_9"), std::nullopt);
  reply(200, R"({"ok":true,"data":[1]})");
  EXPECT_EQ(fetch("seg_9"), std::nullopt);
  transport->enqueue(TransportError{TransportErrorCode::cannotConnect, "Connection refused"});
  EXPECT_EQ(fetch("seg_9"), std::nullopt);
  EXPECT_EQ(
      log.lines(),
      (std::vector<std::string>{
          R"([Tarnwell][ERROR] Failed to fetch segment seg_9 :: gatewayError("Segment not found"))",
          "[Tarnwell][ERROR] Failed to fetch segment seg_9 :: httpError(503)",
          R"([Tarnwell][ERROR] Failed to fetch segment seg_9 :: Expected an object at "data" of the gateway envelope)",
          "[Tarnwell][ERROR] Failed to fetch segment seg_9 :: TransportFailure(cannotConnect: Connection refused)"}));
}

}  // namespace
}  // namespace tarnwell::detail
