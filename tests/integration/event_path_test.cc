// The whole identity and event path over libcurl against the local gateway: what the backend
// stores after identify, track, flush, background and shutdown, and what survives its outages.
#include <gtest/gtest.h>

#include "tarnwell/testing/log_recorder.h"
#include "tests/integration/sdk_gateway_fixture.h"

namespace tarnwell {
namespace {

struct EventPathTest : testing::SdkOverGatewayTest {
  testing::LogRecorder log;

  void SetUp() override {
    SdkOverGatewayTest::SetUp();
    startSdk();
  }

  std::vector<JSONValue> stored(const std::string& path) {
    const JSONValue answer = gateway().getJSON(path);
    return answer["items"].isArray() ? *answer["items"].asArray() : std::vector<JSONValue>{};
  }
  std::vector<std::string> storedEventNames() {
    std::vector<std::string> names;
    for (const JSONValue& event : stored("/__gateway/events")) names.push_back(event["event_name"].asString()->str());
    return names;
  }
  void addFault(const std::string& fault) {
    const httplib::Result result = gateway().postJSON("/__gateway/faults", fault);
    ASSERT_TRUE(result && result->status == 200) << fault;
  }
};

TEST_F(EventPathTest, IdentifyTrackFlushBackgroundAndShutdownReachTheBackendKeyByKey) {
  sdk->setUserProperty("plan", JSONValue("pro"));
  sdk->identify("user-42", JSONObject{{"name", "Ada"}});
  ASSERT_TRUE(pumpUntil([&] { return sdk->getUserId() == "user-42"; }));
  sdk->trackEvent("purchase", JSONObject{{"sku", "SKU-1"}, {"amount", 9.99}}, "commerce");
  ASSERT_TRUE(sdk->flushAndWait(std::chrono::seconds(60)));

  const std::vector<JSONValue> events = stored("/__gateway/events?name=purchase");
  ASSERT_EQ(events.size(), 1u);
  const JSONValue& purchase = events[0];
  const UserDebugState debug = sdk->getUserDebugState();
  EXPECT_EQ(purchase["event_type"], JSONValue("commerce"));
  EXPECT_EQ(purchase["user_id"], JSONValue("user-42"));
  EXPECT_EQ(purchase["session_id"], JSONValue(*debug.sessionId));
  EXPECT_EQ(purchase["id"], purchase["event_id"]);
  EXPECT_EQ(purchase["properties"], JSONValue(JSONObject{{"sku", "SKU-1"}, {"amount", 9.99}}));
  EXPECT_EQ(purchase["user_properties"]["plan"], JSONValue("pro"));
  EXPECT_EQ(purchase["user_properties"]["name"], JSONValue("Ada"));
  EXPECT_EQ(purchase["device_properties"]["platform"], JSONValue("ios"));
  EXPECT_EQ(purchase["device_id"], JSONValue(debug.deviceId));
  EXPECT_TRUE(purchase["malformedMaps"].asArray()->empty());

  const JSONValue users = gateway().getJSON("/__gateway/users");
  const JSONValue& identified = users["identifiedUsers"].asArray()->at(0);
  EXPECT_EQ(identified["userId"], JSONValue("user-42"));
  EXPECT_EQ(identified["profileId"], JSONValue(debug.profileId));
  EXPECT_EQ(identified["traits"], JSONValue(JSONObject{{"name", "Ada"}}));

  sdk->onStop();
  ASSERT_TRUE(pumpUntil([&] { return !stored("/__gateway/requests?action=sync_user_state").empty(); }));
  sdk->shutdown();
  ASSERT_TRUE(sdk->flushAndWait(std::chrono::seconds(60)));
  EXPECT_EQ(storedEventNames(), (std::vector<std::string>{"session_started", "purchase", "session_ended"}));
  const std::vector<JSONValue> sessions = stored("/__gateway/sessions");
  ASSERT_EQ(sessions.size(), 1u);
  EXPECT_EQ(sessions[0]["sessionId"], JSONValue(*debug.sessionId));
  EXPECT_FALSE(sessions[0]["endedAt"].isNull());
  EXPECT_EQ(sessions[0]["sessionData"]["deviceInfo"]["manufacturer"], JSONValue("Apple"));
}

TEST_F(EventPathTest, AnOutageKeepsTheQueueAndNothingIsLostWhenTheGatewayRecovers) {
  addFault(R"({"action":"track_event_batch","count":1,"status":500})");
  addFault(R"({"action":"track_event_batch","count":1,"drop":true})");
  addFault(R"({"action":"track_event_batch","count":1,"malformed":true})");
  for (int i = 0; i < 5; ++i) sdk->trackEvent("event_" + std::to_string(i));
  for (int attempt = 0; attempt < 3; ++attempt) {
    EXPECT_TRUE(sdk->flushAndWait(std::chrono::seconds(60)));
  }
  std::optional<std::size_t> queued;
  sdk->getQueuedEventCount([&](std::size_t count) { queued = count; });
  ASSERT_TRUE(pumpUntil([&] { return queued.has_value(); }));
  EXPECT_EQ(*queued, 6u);  // the session's start and the five, all kept
  EXPECT_TRUE(log.containsSubstring("[Tarnwell][ERROR] Failed to submit events :: httpError(500)"));
  EXPECT_TRUE(storedEventNames().empty());

  ASSERT_TRUE(sdk->flushAndWait(std::chrono::seconds(60)));
  EXPECT_EQ(storedEventNames(),
            (std::vector<std::string>{"session_started", "event_0", "event_1", "event_2", "event_3", "event_4"}));
  // Every attempt was a whole batch in the same order.
  EXPECT_EQ(stored("/__gateway/requests?action=track_event_batch").size(), 4u);
}

}  // namespace
}  // namespace tarnwell
