#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "tests/gateway/gateway_fixture.h"
#include "tests/gateway/sdk_payloads.h"

namespace tarnwell::gateway {
namespace {

using namespace std::chrono_literals;

using EventActionsTest = GatewayServerTest;

// An item as /__gateway/events lists it: the maps of eventItem() decoded.
std::string storedItem(const std::string& name, const std::string& id, const std::string& receivedAt) {
  return R"({"id":")" + id + R"(","event_id":")" + id + R"(","event_name":")" + name +
         R"(","user_id":"anonymous_A1","session_id":"session_S1","timestamp":"2026-01-01T00:00:00.000Z",)"
         R"("properties":{"screen":"home","count":2},"user_properties":{"plan":"pro"},)"
         R"("app_properties":{"bundle_id":"com.example.app"},"device_properties":{"device_id":"ios_device_D1"},)"
         R"("event_type":"custom","device_id":"ios_device_D1","bundle_or_package_id":"com.example.app",)"
         R"("malformedMaps":[],"receivedAt":")" +
         receivedAt + R"("})";
}

TEST_F(EventActionsTest, StoresEachEventWithItsMapsDecodedAndListsThemInArrivalOrderAndByName) {
  const auto track = [this](JSONArray items) {
    return gateway().call("track_event_batch", {{"items", std::move(items)}}).encode();
  };
  EXPECT_EQ(track({}), R"({"ok":true,"data":{"success":true,"accepted":0}})");
  EXPECT_EQ(track({eventItem("opened", "e-1")}), R"({"ok":true,"data":{"success":true,"accepted":1}})");
  clock_->advance(1500ms);
  EXPECT_EQ(track({eventItem("closed", "e-2"), eventItem("opened", "e-3")}),
            R"({"ok":true,"data":{"success":true,"accepted":2}})");

  const std::string first = storedItem("opened", "e-1", "2026-01-01T00:00:00.000Z");
  const std::string second = storedItem("closed", "e-2", "2026-01-01T00:00:01.500Z");
  const std::string third = storedItem("opened", "e-3", "2026-01-01T00:00:01.500Z");
  EXPECT_EQ(gateway().getJSON("/__gateway/events").encode(),
            R"({"items":[)" + first + "," + second + "," + third + "]}");
  EXPECT_EQ(gateway().getJSON("/__gateway/events?name=opened").encode(), R"({"items":[)" + first + "," + third + "]}");
  EXPECT_EQ(gateway().getJSON("/__gateway/events?name=Opened").encode(), R"({"items":[]})");
}

TEST_F(EventActionsTest, KeepsAMapTextThatHoldsNoObjectAsReceivedAndFlagsIt) {
  JSONObject item = eventItem("checkout_error", "e-1");
  item.set("properties", "{not json");
  item.set("user_properties", "[1,2]");
  item.set("app_properties", R"("text")");
  item.set("device_properties", "{}");
  item.set("session_id", nullptr);
  item.set("event_type", "error");

  EXPECT_EQ(gateway().call("track_event_batch", {{"items", JSONArray{item}}}).encode(),
            R"({"ok":true,"data":{"success":true,"accepted":1}})");
  EXPECT_EQ(gateway().getJSON("/__gateway/events").encode(),
            R"({"items":[{"id":"e-1","event_id":"e-1","event_name":"checkout_error","user_id":"anonymous_A1",)"
            R"("session_id":null,"timestamp":"2026-01-01T00:00:00.000Z","properties":"{not json",)"
            R"("user_properties":"[1,2]","app_properties":"\"text\"","device_properties":{},)"
            R"("event_type":"error","device_id":"ios_device_D1","bundle_or_package_id":"com.example.app",)"
            R"("malformedMaps":["properties","user_properties","app_properties"],)"
            R"("receivedAt":"2026-01-01T00:00:00.000Z"}]})");
}

TEST_F(EventActionsTest, StoresEachTelemetryItemInArrivalOrder) {
  const std::string token = bootstrapToken();
  const JSONObject evaluation{{"action", "track_flag_evaluation"},
                              {"payload", JSONObject{{"flagKey", "new_checkout"}, {"value", true}}}};
  const JSONObject impression{{"action", "track_live_card_impression"}, {"payload", JSONObject{{"cardId", "c-1"}}}};
  EXPECT_EQ(
      gateway().call("track_runtime_telemetry_batch", {{"items", JSONArray{evaluation, impression}}}, token).encode(),
      R"({"ok":true,"data":{"success":true}})");
  clock_->advance(120s);
  gateway().call("track_runtime_telemetry_batch", {{"items", JSONArray{evaluation}}}, token);

  EXPECT_EQ(gateway().getJSON("/__gateway/telemetry").encode(),
            R"({"items":[)"
            R"({"action":"track_flag_evaluation","payload":{"flagKey":"new_checkout","value":true},)"
            R"("receivedAt":"2026-01-01T00:00:00.000Z"},)"
            R"({"action":"track_live_card_impression","payload":{"cardId":"c-1"},)"
            R"("receivedAt":"2026-01-01T00:00:00.000Z"},)"
            R"({"action":"track_flag_evaluation","payload":{"flagKey":"new_checkout","value":true},)"
            R"("receivedAt":"2026-01-01T00:02:00.000Z"}]})");
}

}  // namespace
}  // namespace tarnwell::gateway
