// The message center through the facade: the manager's gate, the refresh's time to live, push
// routing and the push token across start-ups and users, in virtual time.
#include <gtest/gtest.h>

#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/sdk_harness.h"

namespace tarnwell {
namespace {

using std::chrono::milliseconds;
using testing::SdkHarness;

constexpr const char* kDisabledWarning = "[Tarnwell][WARN] Message Center is disabled for this workspace/environment";

std::string settingsEnvelope(bool isEnabled, bool chatEnabled) {
  auto flag = [](bool on) { return on ? std::string("true") : std::string("false"); };
  return R"({"ok":true,"data":{"item":{"$id":"s","appId":"app_1","environment":"production","isEnabled":)" +
         flag(isEnabled) + R"(,"chatEnabled":)" + flag(chatEnabled) +
         R"(,"announcementsEnabled":true,"pushEnabled":true,"maxOpenConversationsPerUser":2,)"
         R"("allowUserConversationDelete":false}}})";
}

struct TarnwellMessageCenterTest : ::testing::Test {
  testing::LogRecorder log;
  SdkHarness sdk{[](HostOptions& options) {
    options.deviceInfo = [] {
      DeviceInfo device = iosDeviceProfile();
      device.platform = "linux";
      return device;
    };
  }};

  std::optional<MessageCenterRoute> pushed(const std::string& json) {
    EXPECT_TRUE(sdk->handlePushMessage(*JSONValue::decode(json).asObject())) << json;
    sdk.settle();
    return sdk->getMessageCenterRoute();
  }
};

TEST_F(TarnwellMessageCenterTest, BeforeStartUpAPushOfOursIsTakenButOpensNothingAndTheTokenWaits) {
  EXPECT_FALSE(sdk->isMessageCenterEnabled());
  EXPECT_EQ(sdk->getUnreadMessageCount(), 0);
  EXPECT_FALSE(pushed(R"({"threadId":"t1"})"));
  EXPECT_TRUE(log.contains(kDisabledWarning));
  EXPECT_FALSE(sdk->handlePushMessage(JSONObject{{"type", JSONValue("promo")}}));

  const std::string longToken(10'000, 'k');
  sdk->onPushTokenRefreshed(" \n" + longToken + " ");
  sdk->onPushTokenRefreshed("   ");  // keeps the one before
  sdk.settle();
  EXPECT_TRUE(sdk.sent("upsert_push_token").empty());
  ASSERT_EQ(sdk.start(), SDKState::ready());
  ASSERT_EQ(sdk.sent("upsert_push_token").size(), 1u);
  EXPECT_EQ(sdk.sent("upsert_push_token")[0]["pushToken"], JSONValue(longToken));
  EXPECT_EQ(sdk.sent("upsert_push_token")[0]["platform"], JSONValue("linux"));
  EXPECT_TRUE(sdk->isMessageCenterEnabled() && sdk->canShowMessageCenter());

  // A new start-up hands the token to its new manager; the signature stops a second
  // registration. A new user registers it again.
  sdk.start();
  EXPECT_EQ(sdk.sent("upsert_push_token").size(), 1u);
  sdk->identify("user-9");
  sdk.settle();
  ASSERT_EQ(sdk.sent("upsert_push_token").size(), 2u);
  EXPECT_EQ(sdk.sent("upsert_push_token")[1]["userId"], JSONValue("user-9"));
}

TEST_F(TarnwellMessageCenterTest, TheRefreshRunsOncePerTimeToLiveAndStopsAtAClosedCenter) {
  sdk.start();
  sdk.answer("get_message_center_settings", settingsEnvelope(false, true));
  std::optional<std::int64_t> unread;
  sdk->getUnreadMessageCount([&](std::int64_t count) { unread = count; });
  sdk.settle();
  EXPECT_EQ(unread, 0);
  EXPECT_EQ(sdk.sent("get_message_center_settings").size(), 1u);
  EXPECT_TRUE(sdk.sent("get_message_threads").empty());
  EXPECT_FALSE(sdk->canShowMessageCenter());
  sdk->openMessageCenter("messages");
  sdk.settle();
  EXPECT_TRUE(log.contains(kDisabledWarning));
  EXPECT_FALSE(sdk->getMessageCenterRoute());

  sdk.answer("get_message_center_settings", settingsEnvelope(true, true));
  sdk.answer("get_message_threads", R"({"ok":true,"data":{"items":[{"$id":"t1","unreadCount":0}]}})");
  sdk->refreshMessageCenter();
  sdk.settle();
  EXPECT_EQ(sdk.sent("get_message_center_settings").size(), 1u);  // within the 60 s
  sdk.advance(milliseconds(60'000));
  sdk->refreshMessageCenter();
  sdk.settle();
  EXPECT_EQ(sdk.sent("get_message_threads").size(), 1u);
  EXPECT_EQ(sdk.sent("get_message_announcements").size(), 1u);
  std::optional<MessageCenterState> followed;
  Subscription subscription = sdk->subscribeMessageCenterState([&](const auto& state) { followed = state; });
  sdk.settle();
  ASSERT_TRUE(followed.has_value());
  EXPECT_EQ(followed->threads.size(), 1u);
  EXPECT_EQ(followed, sdk->getMessageCenterState());
}

TEST_F(TarnwellMessageCenterTest, APushPublishesItsRouteAndChatSwitchedOffLeadsToTheFeed) {
  sdk.start();
  EXPECT_EQ(pushed(R"({"aps":{"alert":"New reply"},"custom":"{\"thread_id\":\"t1\"}"})"),
            (MessageCenterRoute{"messages", std::nullopt, "t1"}));
  sdk->clearMessageCenterRoute();
  sdk.settle();
  EXPECT_FALSE(sdk->getMessageCenterRoute());

  sdk.answer("get_message_center_settings", settingsEnvelope(true, false));
  sdk.advance(milliseconds(60'000));  // the push's own refresh closed the gate
  sdk->refreshMessageCenter();
  sdk.settle();
  EXPECT_EQ(pushed(R"({"type":"message_center_chat","threadId":"t1"})"),
            (MessageCenterRoute{"announcements", std::nullopt, std::nullopt}));
}

TEST_F(TarnwellMessageCenterTest, AThreadIsFiledUnderTheBootstrapsAppWithTheDevicesPlatform) {
  sdk.start();
  std::optional<std::optional<MessageThread>> created;
  sdk->createThread("Billing", "Charged twice", JSONObject{{"screen", JSONValue("invoice")}},
                    [&](std::optional<MessageThread> thread) { created = std::move(thread); });
  sdk.settle();
  ASSERT_TRUE(created.has_value());
  const JSONValue request = sdk.sent("create_thread").at(0);
  EXPECT_EQ(request["appId"], JSONValue("app_1"));
  EXPECT_EQ(request["teamId"], JSONValue("team_1"));
  EXPECT_EQ(request["type"], JSONValue("support"));
  EXPECT_EQ(request["metadata"].encode(),
            R"({"platform":"linux","environment":"production","app_version":"unknown","screen":"invoice"})");
}

}  // namespace
}  // namespace tarnwell
