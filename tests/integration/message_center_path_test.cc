// A support conversation end to end against the local gateway over libcurl: the user writes,
// an operator answers from the gateway's support side, the unread count follows, and the
// device's push token registers as it would with the real backend. A closed thread and
// switched-off settings are decided by the manager (its own tests) on what the gateway's
// support side stores (the gateway's tests).
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tarnwell/testing/virtual_clock.h"
#include "tests/integration/sdk_gateway_fixture.h"

namespace tarnwell {
namespace {

struct MessageCenterPathTest : testing::SdkOverGatewayTest {
  std::shared_ptr<MemoryKeyValueStore> store = std::make_shared<MemoryKeyValueStore>();
  std::shared_ptr<testing::VirtualClock> sdkClock = std::make_shared<testing::VirtualClock>();

  void SetUp() override {
    SdkOverGatewayTest::SetUp();
    start();
  }
  void start() {
    HostOptions options;
    options.store = store;
    options.clock = sdkClock;
    startSdk(std::move(options));
  }
  // A refresh past its time to live, as after the app has been away a while.
  void refresh() {
    sdkClock->advance(std::chrono::hours(1));
    bool done = false;
    sdk->refreshMessageCenter([&] { done = true; });
    ASSERT_TRUE(pumpUntil([&] { return done; }));
  }
  std::optional<MessageThread> createThread(const std::string& subject, const std::string& message) {
    std::optional<std::optional<MessageThread>> created;
    sdk->createThread(subject, message, std::nullopt, [&](std::optional<MessageThread> thread) { created = thread; });
    EXPECT_TRUE(pumpUntil([&] { return created.has_value(); }));
    return created.value_or(std::nullopt);
  }
  std::optional<Message> send(const std::string& threadId, const std::string& content) {
    std::optional<std::optional<Message>> sent;
    sdk->sendMessage(threadId, content, std::nullopt, [&](std::optional<Message> message) { sent = message; });
    EXPECT_TRUE(pumpUntil([&] { return sent.has_value(); }));
    return sent.value_or(std::nullopt);
  }
  std::vector<Message> messages(const std::string& threadId) {
    std::optional<std::vector<Message>> loaded;
    sdk->loadMessages(threadId, 50, [&](std::vector<Message> all) { loaded = std::move(all); });
    EXPECT_TRUE(pumpUntil([&] { return loaded.has_value(); }));
    return loaded.value_or(std::vector<Message>{});
  }
  void pushToken(const std::string& token) {
    bool done = false;
    sdk->onPushTokenRefreshed(token, [&] { done = true; });
    ASSERT_TRUE(pumpUntil([&] { return done; }));
  }
  int gatewayCalls(const std::string& action) {
    const JSONValue requests = gateway().getJSON("/__gateway/requests");
    int count = 0;
    for (const JSONValue& item :
         requests["items"].isArray() ? *requests["items"].asArray() : std::vector<JSONValue>{}) {
      if (item["action"] == JSONValue(action)) ++count;
    }
    return count;
  }
  int operatorPost(const std::string& path, const std::string& body) {
    const httplib::Result result = gateway().postJSON(path, body);
    return result ? result->status : 0;
  }
};

TEST_F(MessageCenterPathTest, AnOperatorsReplyCountsAsUnreadUntilTheUserReadsIt) {
  const std::optional<MessageThread> thread = createThread("Order help", "Where is my parcel?");
  ASSERT_TRUE(thread);
  refresh();
  EXPECT_EQ(sdk->getUnreadMessageCount(), 0);

  ASSERT_EQ(operatorPost("/__gateway/threads/" + thread->conversationId + "/reply",
                         R"({"content":"It left our warehouse today."})"),
            200);
  refresh();
  EXPECT_EQ(sdk->getUnreadMessageCount(), 1);

  const std::vector<Message> conversation = messages(thread->id);
  ASSERT_EQ(conversation.size(), 2u);
  std::vector<std::string> senders;
  for (const Message& message : conversation) senders.push_back(message.senderType);
  EXPECT_NE(std::find(senders.begin(), senders.end(), "admin"), senders.end());

  bool read = false;
  sdk->markUnreadMessagesRead(thread->id, [&] { read = true; });
  ASSERT_TRUE(pumpUntil([&] { return read; }));
  refresh();
  EXPECT_EQ(sdk->getUnreadMessageCount(), 0);
}

TEST_F(MessageCenterPathTest, APushTokenRegisteredOnceStaysRegisteredAcrossARestart) {
  pushToken("device-token-1");
  EXPECT_EQ(gatewayCalls("upsert_push_token"), 1);
  const JSONValue tokens = gateway().getJSON("/__gateway/push-tokens");
  ASSERT_TRUE(tokens["items"].isArray());
  EXPECT_EQ(tokens["items"].asArray()->size(), 1u);

  sdk.reset();
  start();
  pushToken("device-token-1");
  EXPECT_EQ(gatewayCalls("upsert_push_token"), 1);
  pushToken("device-token-2");
  EXPECT_EQ(gatewayCalls("upsert_push_token"), 2);
}

}  // namespace
}  // namespace tarnwell
