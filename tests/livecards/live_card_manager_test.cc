// Live-card delivery in virtual time: which card a trigger gets, the order of the check, and
// what an impression and a click send.
#include "tarnwell/livecards/detail/live_card_manager.h"

#include "tarnwell/core/detail/text.h"
#include "tarnwell/testing/log_recorder.h"
#include "tests/surveys/delivery_fixture.h"

namespace tarnwell::detail {
namespace {

using namespace std::chrono_literals;

// A live card for `trigger` with `targeting` (a JSON document) stored as text, then `extra` members.
LiveCard liveCard(const std::string& id, const std::string& trigger, const std::string& targeting = "",
                  const std::string& extra = "") {
  std::string text = R"({"impressionCount":0,"tapCount":0,"version":1,"priority":0,"$id":")" + id +
                     R"(","status":"live","eventTriggerId":")" + trigger + "\"";
  if (!targeting.empty()) text += R"(,"targeting":)" + JSONValue(targeting).encode();
  return LiveCard::decode(JSONValue::decode(text + (extra.empty() ? "" : "," + extra) + "}"));
}

// No phone: the device's own words, not the "ios" literal, reach the records.
DeviceInfo desktop() {
  DeviceInfo device = iosDeviceProfile();
  device.platform = "linux";
  device.osVersion = "Linux 6.1.0";
  device.locale = "de_DE.UTF-8";
  device.modelIdentifier = "x86_64";
  device.genericFamilyName = "Linux Device";
  device.screenWidth = 1280.9;
  return device;
}

struct LiveCardManagerTest : DeliveryFixture {
  RuntimeTelemetryBatcher telemetry{client, transport,
                                    RuntimeTelemetryQueue::create(store, clock, main.ioContext().get_executor())};
  std::vector<std::string> events;
  std::string clickReply = R"({"ok":true,"data":{"success":true}})";
  std::unique_ptr<LiveCardManager> manager;

  LiveCardManagerTest() {
    transport->setResponder([this](const HttpRequest& request) -> HttpResult {
      const JSONValue input = JSONValue::decode(JSONValue::decode(request.body)["body"].asString()->view());
      if (input["action"] == JSONValue("track_live_card_click")) return testing::httpResponse(clickReply);
      if (input["payload"]["segmentId"] != JSONValue("pro")) return testing::httpResponse(R"({"ok":true,"data":{}})");
      return testing::httpResponse(
          R"({"ok":true,"data":{"item":{"id":"pro","name":"Pros","conditions":"[{\"field\":\"plan\",\"operator\":\"equals\",\"value\":\"pro\"}]"}}})");
    });
  }

  void load(const std::vector<LiveCard>& cards) {
    RuntimeBundle bundle;
    bundle.liveCards = cards;
    bundle.loadedAt = toEpochSeconds(clock.now());
    bundles().writeCachedBundle(bundle);
    DeliveryManagerParts reporting = parts();
    reporting.reporting = {.trackEvent =
                               [this](std::string name, JSONObject properties, std::string type) {
                                 EXPECT_EQ(type, "live_card");
                                 events.push_back(name + " " + JSONValue(properties).encode());
                               },
                           .device = desktop,
                           .newId = [this] { return uuids.next(); }};
    manager = std::make_unique<LiveCardManager>(reporting, LiveCardRepository(gateway(), bundles(), telemetry));
    run(manager->refresh());
  }
  std::optional<std::string> chosen(const std::string& trigger) {
    const std::optional<LiveCard> found = run(manager->eligibleLiveCard(trigger));
    return found ? found->id : std::nullopt;
  }
  // The payloads sent for `action`, straight or (after a flush) in a telemetry batch.
  std::vector<JSONValue> sent(std::string_view action) {
    run(telemetry.flush());
    std::vector<JSONValue> payloads;
    for (std::size_t i = 0; i < transport->requests().size(); ++i) {
      const JSONValue input = testing::sentInput(*transport, i);
      if (input["action"] == JSONValue(action)) payloads.push_back(input["payload"]);
      const JSONArray* batch = input["payload"]["items"].asArray();
      for (std::size_t j = 0; batch != nullptr && j < batch->size(); ++j) {
        if ((*batch)[j]["action"] == JSONValue(action)) payloads.push_back((*batch)[j]["payload"]);
      }
    }
    return payloads;
  }
};

TEST_F(LiveCardManagerTest, TheFirstActiveCardNamingTheTriggerWinsWhateverItsPriority) {
  load({liveCard("capital", "home_top", "", R"("status":"Live")"), liveCard("first", "HOME_top"),
        liveCard("second", "home_top", "", R"("status":"published","priority":9)")});
  EXPECT_EQ(chosen("Home_Top"), "first");
  EXPECT_EQ(chosen(" home_top"), std::nullopt);
  EXPECT_TRUE(run(manager->hasLiveCard("HOME_TOP")));
}

TEST_F(LiveCardManagerTest, EachStepOfTheCheckDecidesInItsOrder) {
  properties.setUserProperty("plan", "free");
  const std::string failingRule = R"({"enabled":true,"requireAllConditions":false,"conditions":[)"
                                  R"({"field":"plan","value":"free","enabled":true},)"
                                  R"({"field":"plan","value":"pro","enabled":true}]})";
  const std::string disabledRule = R"({"enabled":false,"requireAllConditions":true,"conditions":[]})";
  auto targeting = [](const std::string& members) { return R"({"audience":"all","percentage":1,)" + members + "}"; };
  load({liveCard("ended", "t", targeting(R"("rules":[],"segmentId":"pro")"), R"("scheduleEnd":"2025-12-31T23:59:59Z")"),
        liveCard("segment", "t", targeting(R"("rules":[],"segmentId":"pro")")),
        liveCard("rule", "t", targeting(R"("rules":[)" + failingRule + "]")),
        liveCard("anyOverDisabled", "t", targeting(R"("rules":[)" + disabledRule + R"(],"matchType":"any")")),
        liveCard("trigger", "t",
                 targeting(R"("rules":[],"behavioralTrigger":{"enabled":true,"eventName":"t","count":1})")),
        liveCard("unknownSegment", "t", targeting(R"("rules":[)" + disabledRule + R"(],"segmentId":"gone")"),
                 R"("scheduleStart":"next week")")});
  EXPECT_EQ(chosen("t"), "unknownSegment");
  // The ended card asked for no segment: only "segment" and "unknownSegment" did.
  EXPECT_EQ(transport->requests().size(), 2u);
  // Asking is no event: the trigger fires only once "t" has really been counted.
  tracker.recordEvent("t", clock.now());
  EXPECT_EQ(chosen("t"), "trigger");
  properties.setUserProperty("plan", "pro");
  EXPECT_EQ(chosen("t"), "segment");
}

TEST_F(LiveCardManagerTest, BrokenTargetingRestrictsNothingAndAFailedRefreshEmptiesTheCards) {
  testing::LogRecorder log;
  load({liveCard("wrongTypes", "t", R"({"rules":"none","audience":"all","percentage":"all"})"),
        liveCard("notJson", "t", "{rules")});
  EXPECT_EQ(chosen("t"), "wrongTypes");
  store.remove(store.keysWithPrefix("tarnwell.runtimeBundle.").front());
  transport->setResponder([](const HttpRequest&) -> HttpResult { return testing::httpResponse("[1,2"); });
  run(manager->refresh());
  EXPECT_TRUE(manager->cards().empty());
  EXPECT_TRUE(log.containsSubstring("[Tarnwell][ERROR] Failed to fetch live cards :: "));
}

TEST_F(LiveCardManagerTest, AnImpressionGoesOutOncePerCardWithItsWholeRecord) {
  properties.setAppProperty("version_name", JSONObject{});
  properties.setAppProperty("app_version", 7);
  load({liveCard("lc1", "home", "", R"("name":"Promo","templateId":"tpl","appId":"app_1")")});
  manager->trackImpression(manager->cards().front());
  manager->trackImpression(manager->cards().front());
  manager->trackImpression(LiveCard{});
  const std::vector<JSONValue> impressions = sent("track_live_card_impression");
  ASSERT_EQ(impressions.size(), 1u);
  const std::string id = impressions[0]["id"].stringValue().value_or("");
  EXPECT_EQ(id, toLowerAscii(id));
  EXPECT_EQ(impressions[0].encode(),
            R"({"id":")" + id + R"(","liveCardId":"lc1","userId":")" + properties.getUserId() +
                R"(","sessionId":null,"deviceId":")" + properties.getDeviceId() +
                R"(","appVersion":"7.0","connectionType":null,"timestamp":"2026-01-01T00:00:00.000Z",)"
                R"("metadata":null,"country":"DE","region":null,"city":null,"language":"de","screenSize":"1280x852",)"
                R"("deviceModel":"Linux Device","osVersion":"Linux 6.1.0","platform":"linux"})");
  EXPECT_EQ(events, (std::vector<std::string>{
                        R"(live_card_impression {"live_card_id":"lc1","live_card_name":"Promo","template_id":"tpl",)"
                        R"("category":"","organization_id":"","project_id":"","app_id":"app_1"})"}));
}

TEST_F(LiveCardManagerTest, AClickCountsWholeSecondsSinceTheImpressionAndOnlyAnAcceptedOneSendsItsEvent) {
  testing::LogRecorder log;
  properties.setAppProperty("version_name", "2.4.0");
  load({liveCard("lc1", "home", "", R"("deepLink":"app://promo")")});
  const LiveCard shown = manager->cards().front();
  run(manager->trackClick(shown, {}));
  manager->trackImpression(shown);
  clock.advance(90'900ms);
  LiveCardAction pressed;
  pressed.actionTarget = "app://other";
  pressed.carouselItemIndex = 2;
  run(manager->trackClick(shown, pressed));
  clickReply = R"({"ok":true,"data":{"success":"0"}})";
  run(manager->trackClick(shown, pressed));
  clickReply = "not json";
  run(manager->trackClick(shown, pressed));

  const std::vector<JSONValue> clicks = sent("track_live_card_click");
  ASSERT_EQ(clicks.size(), 4u);
  EXPECT_TRUE(clicks[0]["impressionId"].isNull());
  EXPECT_TRUE(clicks[0]["timeToAction"].isNull());
  EXPECT_EQ(clicks[1].encode(),
            R"({"id":")" + clicks[1]["id"].stringValue().value_or("?") + R"(","liveCardId":"lc1","userId":")" +
                properties.getUserId() + R"(","sessionId":null,"deviceId":")" + properties.getDeviceId() +
                R"(","impressionId":")" + sent("track_live_card_impression").at(0)["id"].stringValue().value_or("?") +
                R"(","buttonType":null,"buttonId":null,"actionType":null,"actionTarget":"app://other",)"
                R"("carouselItemIndex":2,"position":null,"timestamp":"2026-01-01T00:01:30.900Z",)"
                R"("timeToAction":90,"appVersion":"2.4.0","platform":"linux","metadata":null})");
  const std::string cardFields = R"("live_card_id":"lc1","live_card_name":"","template_id":"","category":"",)"
                                 R"("organization_id":"","project_id":"","app_id":""})";
  EXPECT_EQ(events, (std::vector<std::string>{R"(live_card_click {"button_type":"primary","action_type":"deeplink",)"
                                              R"("action_target":"app://promo","carousel_item_index":-1,)" +
                                                  cardFields,
                                              R"(live_card_impression {)" + cardFields,
                                              R"(live_card_click {"button_type":"primary","action_type":"deeplink",)"
                                              R"("action_target":"app://other","carousel_item_index":2,)" +
                                                  cardFields}));
  EXPECT_TRUE(log.containsSubstring("[Tarnwell][ERROR] Failed to track live card click :: "));
}

}  // namespace
}  // namespace tarnwell::detail
