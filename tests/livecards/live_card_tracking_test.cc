#include "tarnwell/livecards/live_card_tracking.h"

#include <gtest/gtest.h>

namespace tarnwell {
namespace {

TEST(LiveCardTrackingTest, ImpressionPayloadCarriesAll17KeysWithNullForAbsent) {
  LiveCardImpression impression;
  impression.liveCardId = "lc1";
  impression.userId = "u1";
  impression.timestamp = "2026-03-01T12:00:00.000Z";
  impression.platform = "linux";

  const JSONObject payload = impression.toPayload();
  EXPECT_EQ(JSONValue(payload).encode(),
            R"({"id":null,"liveCardId":"lc1","userId":"u1","sessionId":null,"deviceId":null,"appVersion":null,)"
            R"("connectionType":null,"timestamp":"2026-03-01T12:00:00.000Z","metadata":null,"country":null,)"
            R"("region":null,"city":null,"language":null,"screenSize":null,"deviceModel":null,"osVersion":null,)"
            R"("platform":"linux"})");
  EXPECT_EQ(LiveCardImpression::decode(JSONValue(payload)), impression);
}

TEST(LiveCardTrackingTest, ClickPayloadWritesIndexAndTimeToActionAsNumbers) {
  LiveCardClick click;
  click.id = "k1";
  click.liveCardId = "lc1";
  click.impressionId = "i1";
  click.buttonType = "primary";
  click.actionType = "deeplink";
  click.actionTarget = "app://promo";
  click.carouselItemIndex = 2;
  click.timeToAction = 1500;

  const JSONObject payload = click.toPayload();
  EXPECT_EQ(JSONValue(payload).encode(),
            R"({"id":"k1","liveCardId":"lc1","userId":null,"sessionId":null,"deviceId":null,"impressionId":"i1",)"
            R"("buttonType":"primary","buttonId":null,"actionType":"deeplink","actionTarget":"app://promo",)"
            R"("carouselItemIndex":2,"position":null,"timestamp":null,"timeToAction":1500,"appVersion":null,)"
            R"("platform":null,"metadata":null})");
  EXPECT_EQ(click.encode(), JSONValue(payload));
  EXPECT_EQ(LiveCardClick::decode(JSONValue(payload)), click);
}

}  // namespace
}  // namespace tarnwell
