// The message center's state: gates, the unread rule, the send path against a poll that lands
// in the middle of it, user names, and the push token's signature.
#include "tarnwell/messagecenter/detail/message_manager.h"

#include <gtest/gtest.h>

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include <map>
#include <mutex>

#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/virtual_clock.h"

namespace tarnwell::detail {
namespace {

// A settings reply with the center on and chat as given.
std::string settingsReply(bool chatEnabled) {
  return R"({"item":{"$id":"s","appId":"a","environment":"stage","isEnabled":true,"chatEnabled":)" +
         std::string(chatEnabled ? "true" : "false") +
         R"(,"announcementsEnabled":true,"pushEnabled":true,"maxOpenConversationsPerUser":1,)"
         R"("allowUserConversationDelete":true}})";
}

// Answers each action from a table ("action" or "action threadId"), with a transport failure
// for a missing envelope; parks the first request of one chosen action until the test lets go.
class MessageCenterTransport final : public HttpTransport {
 public:
  std::map<std::string, std::optional<std::string>> answers;  // data object, nullopt: fails
  std::string parkAction;
  std::function<void()> parked;  // completes the parked request

  std::shared_ptr<HttpTransfer> post(HttpRequest request, Completion completion) override {
    const JSONValue input = JSONValue::decode(JSONValue::decode(request.body)["body"].asString()->view());
    const std::string action = input["action"].asString()->str();
    sent.emplace_back(action, input["payload"]);
    HttpResult result = TransportError{TransportErrorCode::cannotConnect, "offline"};
    auto found = answers.find(action + " " + input["payload"]["threadId"].stringValue().value_or(""));
    if (found == answers.end()) found = answers.find(action);
    if (found == answers.end() || found->second) {
      result = HttpResponse{200, {}, R"({"ok":true,"data":)" + (found == answers.end() ? "{}" : *found->second) + "}"};
    }
    if (action == parkAction && !parked) {
      parked = [completion, result] { completion(result); };
    } else {
      completion(std::move(result));
    }
    return nullptr;
  }
  std::vector<JSONValue> payloads(const std::string& action) const {
    std::vector<JSONValue> out;
    for (const auto& [name, payload] : sent) {
      if (name == action) out.push_back(payload);
    }
    return out;
  }
  std::vector<std::pair<std::string, JSONValue>> sent;
};

struct MessageManagerTest : ::testing::Test {
  MainContext main{MainContext::Mode::hostPumped};
  testing::VirtualClock clock;
  MemoryKeyValueStore store;
  UuidGenerator uuids{3};
  PropertyManager properties{store, AppInfo{}, iosDeviceProfile, uuids};
  SessionManager sessions{clock, uuids};
  std::shared_ptr<MessageCenterTransport> transport = std::make_shared<MessageCenterTransport>();
  std::shared_ptr<AppwriteClient> client = [] {
    auto c = std::make_shared<AppwriteClient>("https://gw.test/v1", "p", "d", "fn");
    c->setGatewaySessionToken("tok");
    return c;
  }();
  MessageManager center{{main, main.ioContext().get_executor(), properties, sessions, store, "linux", {"a", "stage"}},
                        MessageRepository(RuntimeGatewayRepository(client, transport), "linux")};
  testing::LogRecorder logs;

  template <typename T>
  T run(asio::awaitable<T> work) {
    auto future = asio::co_spawn(main.ioContext(), std::move(work), asio::use_future);
    while (future.wait_for(std::chrono::seconds(0)) != std::future_status::ready) main.poll();
    return future.get();
  }
  void threadsAnswer(const std::string& items) {
    transport->answers["get_message_threads"] = R"({"items":)" + items + "}";
  }
  std::vector<std::string> actions() const {
    std::vector<std::string> names;
    for (const auto& [name, payload] : transport->sent) names.push_back(name);
    return names;
  }
};

TEST_F(MessageManagerTest, AbsentOrUnreadableSettingsAllowEverythingAndSwitchedOffFeaturesEmpty) {
  transport->answers["get_message_center_settings"] = std::nullopt;
  run(center.refreshSettings());
  EXPECT_TRUE(logs.containsSubstring("[Tarnwell][ERROR] Failed to fetch message center settings :: "));
  threadsAnswer(R"([{"$id":"t1"}])");
  transport->answers["get_message_announcements"] = R"({"items":[]})";
  run(center.refreshThreads());
  run(center.refreshAnnouncements());
  EXPECT_TRUE(center.isEnabled() && center.isChatEnabled() && center.areAnnouncementsEnabled());
  EXPECT_EQ(center.threads().value().size(), 1u);
  EXPECT_EQ(actions().size(), 3u);

  transport->answers["get_messages"] = R"({"items":[{"$id":"m1"}]})";
  run(center.loadMessages("t1", 100));
  transport->answers["get_message_center_settings"] = settingsReply(false);
  run(center.refreshSettings());
  center.applySettingsAvailability();
  EXPECT_TRUE(center.threads().value().empty());
  EXPECT_TRUE(center.messagesByThreadId().value().empty());
  EXPECT_EQ(run(center.createThread({.subject = "S", .initialMessage = "M"})), std::nullopt);
  EXPECT_TRUE(logs.contains("[Tarnwell][WARN] Ignoring thread creation because customer chat support is disabled"));
  EXPECT_EQ(run(center.sendMessage({.threadId = "t1", .content = "x"})), std::nullopt);
  EXPECT_TRUE(logs.contains("[Tarnwell][WARN] Ignoring message send because customer chat support is disabled"));
  EXPECT_EQ(actions().back(), "get_message_center_settings");
}

TEST_F(MessageManagerTest, OnlyUnreadSupportMessagesCountAndAFailedRecountKeepsTheBackendsCount) {
  threadsAnswer(R"([{"$id":"t1","conversationId":"c1","unreadCount":3},{"$id":"t2","unreadCount":0},)"
                R"({"$id":"t3","conversationId":"c3","unreadCount":2}])");
  transport->answers["get_messages c1"] =
      R"({"items":[{"senderType":"admin"},{"senderType":"ADMIN"},{"senderType":"user"},)"
      R"({"senderType":"admin","isRead":true},{"senderType":"system"}]})";
  transport->answers["get_messages c3"] = std::nullopt;
  run(center.refreshThreads());
  EXPECT_EQ(actions(), (std::vector<std::string>{"get_message_threads", "get_messages", "get_messages"}));
  EXPECT_EQ(transport->payloads("get_messages")[0].encode(), R"({"threadId":"c1","limit":100})");
  EXPECT_TRUE(logs.containsSubstring("[Tarnwell][ERROR] Failed to normalize thread unread count :: "));
  EXPECT_EQ(center.unreadCount(), 4);  // 2 checked + 0 + 2 kept

  // A long list with nothing unread costs no further call; a reply of the wrong shape keeps it.
  std::string many = "[";
  for (int i = 0; i < 10'000; ++i) many += (i ? ",{\"$id\":\"x" : "{\"$id\":\"x") + std::to_string(i) + "\"}";
  threadsAnswer(many + "]");
  transport->sent.clear();
  run(center.refreshThreads());
  EXPECT_EQ(actions().size(), 1u);
  EXPECT_EQ(center.threads().value().size(), 10'000u);
  threadsAnswer(R"([{"$id":"t1","unreadCount":"many"}])");
  run(center.refreshThreads());
  EXPECT_EQ(center.threads().value().size(), 10'000u);
  EXPECT_TRUE(logs.containsSubstring("[Tarnwell][ERROR] Failed to refresh message center threads :: "));
  transport->answers["get_messages"] = R"({"items":[{"isRead":"no"}]})";
  EXPECT_TRUE(run(center.loadMessages("x1", 100)).empty());
  EXPECT_TRUE(logs.containsSubstring("[Tarnwell][ERROR] Failed to load thread messages :: "));
}

TEST_F(MessageManagerTest, ASendZeroesItsThreadAgainAfterAPollThatLandedInTheMiddle) {
  threadsAnswer(R"([{"$id":"t1","conversationId":"c1","unreadCount":2}])");
  transport->answers["get_messages"] = R"({"items":[{"senderType":"admin"},{"senderType":"admin"}]})";
  transport->answers["send_message"] = R"({"item":{"$id":"m9","content":"Hi","senderType":"user"}})";
  transport->parkAction = "update_thread_unread_count";
  properties.setAppProperty("app_version", JSONValue(2));
  std::optional<std::optional<Message>> sent;
  asio::co_spawn(
      main.ioContext(),
      [](MessageManager& center, auto& sent) -> asio::awaitable<void> {
        NewMessage message{.threadId = "c1", .content = "Hi"};
        sent = co_await center.sendMessage(std::move(message));
      }(center, sent),
      asio::detached);
  while (!transport->parked) main.poll();
  EXPECT_EQ(center.unreadCount(), 0);
  run(center.refreshThreads());  // the screen's poll brings the backend's count back
  EXPECT_EQ(center.unreadCount(), 2);
  transport->parked();
  while (!sent) main.poll();
  ASSERT_TRUE(*sent);
  EXPECT_EQ(center.unreadCount(), 0);
  EXPECT_EQ(transport->payloads("update_thread_unread_count")[0].encode(), R"({"threadId":"c1","unreadCount":0})");
  const JSONValue request = transport->payloads("send_message")[0];
  EXPECT_EQ(request["messageType"], JSONValue("text"));
  EXPECT_EQ(request["metadata"].encode(), R"({"platform":"linux","environment":"stage","app_version":"2"})");

  // Support's own message only refreshes: the count is the backend's, checked.
  transport->answers["send_message"] = R"({"item":{"$id":"m10","senderType":"Admin"}})";
  transport->sent.clear();
  ASSERT_TRUE(run(center.sendMessage({.threadId = "t1", .content = "Hi"})));
  EXPECT_TRUE(transport->payloads("update_thread_unread_count").empty());
  EXPECT_EQ(center.unreadCount(), 2);
}

TEST_F(MessageManagerTest, AThreadClosedBySupportTakesNoMessageAndAnUnknownOneDoes) {
  threadsAnswer(R"([{"$id":"t1","conversationId":"c1","status":"ClOsEd"}])");
  EXPECT_EQ(run(center.sendMessage({.threadId = "c1", .content = "x"})), std::nullopt);
  EXPECT_TRUE(logs.contains("[Tarnwell][WARN] Ignoring message send for closed thread c1"));
  EXPECT_TRUE(transport->payloads("send_message").empty());
  transport->answers["send_message"] = R"({"item":{"senderType":7}})";
  EXPECT_EQ(run(center.sendMessage({.threadId = "t9", .content = "x"})), std::nullopt);
  EXPECT_EQ(transport->payloads("send_message").size(), 1u);
  EXPECT_TRUE(logs.containsSubstring("[Tarnwell][ERROR] Failed to send message :: "));
}

TEST_F(MessageManagerTest, TheUserIsNamedFromTheFirstUsablePropertyAndTheCallersMetadataWins) {
  const std::vector<std::pair<JSONObject, std::string>> cases = {
      {{}, "User"},
      {{{"first_name", JSONValue("  Ana \n")}}, "Ana"},
      {{{"name", JSONValue(" ")}, {"first_name", JSONValue("Ana")}, {"last_name", JSONValue(" Lee")}}, "Ana Lee"},
      {{{"name", JSONValue(JSONArray{})}, {"username", JSONValue("al")}}, "al"},
      {{{"name", JSONValue(42)}}, "42"},
      {{{"email", JSONValue(" a@x.io")}}, "a@x.io"},
  };
  for (const auto& [traits, expected] : cases) {
    for (const char* key : {"name", "first_name", "last_name", "username", "email"}) {
      properties.setUserProperty(key, JSONValue());
    }
    for (const auto& [key, value] : traits) properties.setUserProperty(key, value);
    transport->sent.clear();
    run(center.createThread(
        {.subject = "S", .initialMessage = "M", .metadata = JSONObject{{"platform", JSONValue("kiosk")}}}));
    const JSONValue request = transport->payloads("create_thread").at(0);
    EXPECT_EQ(request["userName"], JSONValue(expected)) << JSONValue(traits).encode();
    EXPECT_EQ(request["metadata"]["platform"], JSONValue("kiosk"));
  }
  EXPECT_EQ(transport->payloads("create_thread")[0]["userEmail"], JSONValue(" a@x.io"));
}

TEST_F(MessageManagerTest, APushTokenRegistersOncePerUserAndDeviceAndRetriesAfterAnError) {
  run(center.syncPushTokenIfAvailable());
  run(center.setPushToken(""));
  EXPECT_TRUE(transport->sent.empty());

  transport->answers["upsert_push_token"] = R"({"success":false})";  // still remembered
  run(center.setPushToken("tok"));
  run(center.syncPushTokenIfAvailable());
  ASSERT_EQ(transport->payloads("upsert_push_token").size(), 1u);
  EXPECT_EQ(transport->payloads("upsert_push_token")[0]["userId"], JSONValue());
  EXPECT_EQ(store.getString(MessageManager::kPushTokenSyncKey),
            "|" + properties.getAnonymousId() + "|" + properties.getDeviceId() + "|tok");

  properties.setUserId("u7");
  transport->answers["upsert_push_token"] = std::nullopt;
  run(center.syncPushTokenIfAvailable());
  EXPECT_TRUE(logs.containsSubstring("[Tarnwell][ERROR] Failed to sync push token :: "));
  EXPECT_FALSE(store.getString(MessageManager::kPushTokenSyncKey)->starts_with("u7|"));
  transport->answers["upsert_push_token"] = "{}";
  run(center.syncPushTokenIfAvailable());
  run(center.syncPushTokenIfAvailable());
  ASSERT_EQ(transport->payloads("upsert_push_token").size(), 3u);
  EXPECT_EQ(transport->payloads("upsert_push_token")[2]["userId"], JSONValue("u7"));
}

TEST_F(MessageManagerTest, DeletingByConversationIdRemovesNothingLocallyAndReadingRecountsTheThread) {
  threadsAnswer(R"([{"$id":"t1","conversationId":"c1","unreadCount":1}])");
  transport->answers["get_messages"] = R"({"items":[{"$id":"m1","senderType":"admin"}]})";
  run(center.refreshThreads());
  run(center.loadMessages("t1", 100));
  transport->answers["delete_thread"] = "{}";
  EXPECT_TRUE(run(center.deleteThread("c1")));
  EXPECT_EQ(center.threads().value().size(), 1u);

  transport->answers["get_messages"] = R"({"items":[{"$id":"m1","senderType":"admin","isRead":true}]})";
  run(center.markUnreadMessagesRead("t1"));
  EXPECT_EQ(transport->payloads("mark_message_read")[0].encode(), R"({"id":"m1"})");
  EXPECT_EQ(transport->payloads("update_thread_unread_count").back().encode(), R"({"threadId":"t1","unreadCount":0})");
  EXPECT_EQ(center.unreadCount(), 0);

  transport->answers["hide_thread_for_user"] = std::nullopt;
  EXPECT_FALSE(run(center.hideThreadForUser("t1")));
  EXPECT_TRUE(logs.containsSubstring("[Tarnwell][ERROR] Failed to hide thread :: "));
  EXPECT_TRUE(run(center.deleteThread("t1")));
  EXPECT_TRUE(center.threads().value().empty());
  EXPECT_FALSE(center.messagesByThreadId().value().contains("t1"));
}

}  // namespace
}  // namespace tarnwell::detail
