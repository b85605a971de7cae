#include <gtest/gtest.h>

#include <limits>

#include "tarnwell/core/detail/text.h"
#include "tarnwell/events/detail/event_repository.h"
#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tarnwell/testing/virtual_clock.h"
#include "tests/support/run_sync.h"
#include "tests/support/scripted_gateway.h"

namespace tarnwell::detail {
namespace {

EventRecord outgoingEvent(std::string name = "checkout") {
  EventRecord record;
  record.eventName = std::move(name);
  record.userId = "user-1";
  record.sessionId = "sess-1";
  record.userProperties = JSONObject{{"plan", "pro"}};
  record.appProperties = JSONObject{{"bundle_id", "com.example.app"}, {"package_name", "com.example.pkg"}};
  record.deviceProperties = JSONObject{{"device_id", "dev-1"}};
  record.customProperties = JSONObject{{"cart", 3}, {"note", "a\"b"}};
  record.eventType = "custom";
  return record;
}

struct EventRepositoryTest : ::testing::Test {
  std::shared_ptr<AppwriteClient> client =
      std::make_shared<AppwriteClient>("https://api.example.com/v1", "p", "d", "g");
  std::shared_ptr<testing::ScriptedHttpTransport> transport = std::make_shared<testing::ScriptedHttpTransport>();
  testing::VirtualClock clock;
  UuidGenerator uuids{11};
  UuidGenerator sameUuids{11};  // replays the ids the repository draws
  EventRepository repository{RuntimeGatewayRepository(client, transport), clock, uuids, "com.example.main"};
  testing::LogRecorder logs;

  bool submit(std::vector<EventRecord> events) { return testing::runSync(repository.submitEvents(std::move(events))); }
  // The gateway input of the i-th request, as sent.
  std::string inputOf(std::size_t i) const {
    return JSONValue::decode(transport->requests().at(i).body)["body"].asString()->str();
  }
  std::string nextId() { return toLowerAscii(sameUuids.next()); }
  JSONValue item(const EventRecord& event) { return buildEventItem(event, "id-1", clock.now(), "com.example.main"); }
};

TEST_F(EventRepositoryTest, SendsOneBatchWithTheThirteenKeysExactly) {
  client->setGatewaySessionToken("tok");
  transport->enqueue(testing::httpResponse(R"({"ok":true,"data":{"success":true}})"));
  clock.advance(std::chrono::milliseconds(1500));
  EventRecord second = outgoingEvent("signup");
  second.sessionId.reset();
  second.eventType.clear();
  EXPECT_TRUE(submit({outgoingEvent(), second}));

  const std::string first = nextId();
  const std::string other = nextId();
  ASSERT_EQ(transport->requests().size(), 1u);
  EXPECT_EQ(inputOf(0),
            R"({"action":"track_event_batch","payload":{"items":[)"
            R"({"id":")" +
                first + R"(","event_id":")" + first +
                R"(","event_name":"checkout","user_id":"user-1",)"
                R"("session_id":"sess-1","timestamp":"2026-01-01T00:00:01.500Z",)"
                R"("properties":"{\"cart\":3,\"note\":\"a\\\"b\"}","user_properties":"{\"plan\":\"pro\"}",)"
                R"("app_properties":"{\"bundle_id\":\"com.example.app\",\"package_name\":\"com.example.pkg\"}",)"
                R"("device_properties":"{\"device_id\":\"dev-1\"}","event_type":"custom","device_id":"dev-1",)"
                R"("bundle_or_package_id":"com.example.app"},)"
                R"({"id":")" +
                other + R"(","event_id":")" + other +
                R"(","event_name":"signup","user_id":"user-1",)"
                R"("session_id":null,"timestamp":"2026-01-01T00:00:01.500Z",)"
                R"("properties":"{\"cart\":3,\"note\":\"a\\\"b\"}","user_properties":"{\"plan\":\"pro\"}",)"
                R"("app_properties":"{\"bundle_id\":\"com.example.app\",\"package_name\":\"com.example.pkg\"}",)"
                R"("device_properties":"{\"device_id\":\"dev-1\"}","event_type":"custom","device_id":"dev-1",)"
                R"("bundle_or_package_id":"com.example.app"}]},"sessionToken":"tok"})");
  EXPECT_NE(first, other);
  EXPECT_EQ(first, toLowerAscii(first));
  EXPECT_TRUE(logs.lines().empty());
}

TEST_F(EventRepositoryTest, AResentEventGetsAFreshIdAndTheNewSendTime) {
  transport->setResponder([](const HttpRequest&) { return testing::httpResponse(R"({"ok":true})"); });
  EXPECT_TRUE(submit({outgoingEvent()}));
  clock.advance(std::chrono::minutes(5));
  EXPECT_TRUE(submit({outgoingEvent()}));
  const JSONValue a = JSONValue::decode(inputOf(0))["payload"]["items"].asArray()->at(0);
  const JSONValue b = JSONValue::decode(inputOf(1))["payload"]["items"].asArray()->at(0);
  EXPECT_EQ(a["id"], JSONValue(nextId()));
  EXPECT_EQ(b["id"], JSONValue(nextId()));
  EXPECT_EQ(a["timestamp"], JSONValue("2026-01-01T00:00:00.000Z"));
  EXPECT_EQ(b["timestamp"], JSONValue("2026-01-01T00:05:00.000Z"));
}

TEST_F(EventRepositoryTest, DeviceIdIsTheScalarTextOrUnknown) {
  EventRecord event = outgoingEvent();
  const auto deviceIdWith = [&](JSONValue value) {
    event.deviceProperties = JSONObject{{"device_id", std::move(value)}};
    return item(event)["device_id"];
  };
  EXPECT_EQ(deviceIdWith(42), JSONValue("42.0"));
  EXPECT_EQ(deviceIdWith(false), JSONValue("false"));
  EXPECT_EQ(deviceIdWith(""), JSONValue(""));
  EXPECT_EQ(deviceIdWith(JSONValue()), JSONValue("unknown"));
  EXPECT_EQ(deviceIdWith(JSONObject{{"id", "x"}}), JSONValue("unknown"));
  event.deviceProperties = JSONObject{};
  EXPECT_EQ(item(event)["device_id"], JSONValue("unknown"));
}

TEST_F(EventRepositoryTest, BundleOrPackageIdFallsBackInOrder) {
  EventRecord event = outgoingEvent();
  event.appProperties = JSONObject{{"bundle_id", 7}, {"package_name", "pkg"}};
  EXPECT_EQ(item(event)["bundle_or_package_id"], JSONValue("7.0"));
  event.appProperties = JSONObject{{"bundle_id", JSONArray{}}, {"package_name", "pkg"}};
  EXPECT_EQ(item(event)["bundle_or_package_id"], JSONValue("pkg"));
  event.appProperties = JSONObject{{"package_name", JSONValue()}};
  EXPECT_EQ(item(event)["bundle_or_package_id"], JSONValue("com.example.main"));
  EXPECT_EQ(buildEventItem(event, "id-1", clock.now(), std::nullopt)["bundle_or_package_id"], JSONValue("unknown"));
}

TEST_F(EventRepositoryTest, MapThatCannotBeWrittenIsSentAsAnEmptyObject) {
  EventRecord event = outgoingEvent();
  event.customProperties = JSONObject{{"ratio", std::numeric_limits<double>::infinity()}};
  event.userProperties = JSONObject{};
  const JSONValue built = item(event);
  EXPECT_EQ(built["properties"], JSONValue("{}"));
  EXPECT_EQ(built["user_properties"], JSONValue("{}"));
  EXPECT_EQ(built["device_properties"], JSONValue(R"({"device_id":"dev-1"})"));
  EXPECT_EQ(built.asObject()->size(), 13u);
}

TEST_F(EventRepositoryTest, AnEmptyBatchIsAcceptedWithoutACall) {
  EXPECT_TRUE(submit({}));
  EXPECT_TRUE(transport->requests().empty());
}

TEST_F(EventRepositoryTest, ReadsTheAnswerByTheSuccessRule) {
  for (const auto& [data, expected] :
       std::vector<std::pair<std::string, bool>>{{R"({"ok":true})", true},
                                                 {R"({"ok":true,"data":{}})", true},
                                                 {R"({"ok":true,"data":{"success":false}})", false},
                                                 {R"({"ok":true,"data":{"success":"0"}})", false},
                                                 {R"({"ok":true,"data":{"success":1}})", true}}) {
    transport->enqueue(testing::httpResponse(data, 200));
    EXPECT_EQ(submit({outgoingEvent()}), expected) << data;
  }
  EXPECT_TRUE(logs.lines().empty());
}

TEST_F(EventRepositoryTest, FailuresAreLoggedAndAnsweredFalse) {
  transport->enqueue(testing::httpResponse("oops", 500));
  EXPECT_FALSE(submit({outgoingEvent()}));
  transport->enqueue(testing::httpResponse(R"({"ok":false,"error":"Invalid session"})"));
  EXPECT_FALSE(submit({outgoingEvent()}));
  transport->enqueue(TransportError{TransportErrorCode::cannotConnect, "Connection refused"});
  EXPECT_FALSE(submit({outgoingEvent()}));
  transport->enqueue(testing::httpResponse("not json", 200));
  EXPECT_FALSE(submit({outgoingEvent()}));
  const std::vector<std::string> lines = logs.lines();
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[0], "[Tarnwell][ERROR] Failed to submit events :: httpError(500)");
  EXPECT_EQ(lines[1], "[Tarnwell][ERROR] Failed to submit events :: gatewayError(\"Invalid session\")");
  EXPECT_EQ(lines[2],
            "[Tarnwell][ERROR] Failed to submit events :: TransportFailure(cannotConnect: Connection refused)");
  EXPECT_TRUE(lines[3].starts_with("[Tarnwell][ERROR] Failed to submit events :: ")) << lines[3];
}

TEST_F(EventRepositoryTest, ACancelledSubmissionIsAWarning) {
  transport->enqueue(TransportError{TransportErrorCode::cancelled, "cancelled"});
  EXPECT_FALSE(submit({outgoingEvent()}));
  EXPECT_EQ(logs.lines(), std::vector<std::string>{"[Tarnwell][WARN] Event submission cancelled before completion"});
}

}  // namespace
}  // namespace tarnwell::detail
