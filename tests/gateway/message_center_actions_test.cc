#include "tools/gateway/message_center_actions.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/gateway/gateway_fixture.h"

namespace tarnwell::gateway {
namespace {

// A feed announcement and a thread of "user-9" that support opened with a question.
constexpr const char* kSeededCenter = R"({"messageCenter":{
  "settings":{"$id":"mcs_1","appId":"app-1","environment":"production","isEnabled":true,"chatEnabled":true,
    "announcementsEnabled":true,"pushEnabled":true,"maxOpenConversationsPerUser":3,
    "allowUserConversationDelete":true},
  "announcements":[{"$id":"mca_1","appId":"app-1","environment":"production","title":"Hello","content":"Hi",
    "type":"info","status":"sent","createdBy":"ops","totalRecipients":10,"openedCount":4,"clickedCount":0,
    "$createdAt":"2026-01-01T00:00:00.000+00:00","$updatedAt":"2026-01-01T00:00:00.000+00:00"}],
  "threads":[{"$id":"thr_seed","userId":"user-9","title":"Welcome","status":"open","unreadCount":1,
    "messages":[{"$id":"msg_seed","senderType":"admin","content":"How can we help?","isRead":false}]}]}})";

class MessageCenterActionsTest : public GatewayServerTest {
 protected:
  static JSONObject newThread(const std::string& userId, const std::optional<std::string>& anonymousId,
                              const std::string& subject = "Export fails") {
    return JSONObject{{"appId", "app-1"},
                      {"userId", userId},
                      {"userName", "Ada"},
                      {"userEmail", nullptr},
                      {"subject", subject},
                      {"initialMessage", "PDF export hangs"},
                      {"environment", "debug"},
                      {"anonymousId", textOrNull(anonymousId)},
                      {"sessionId", "sess-1"},
                      {"organizationId", "org-1"},
                      {"projectId", "proj-1"},
                      {"teamId", "team-1"},
                      {"type", "support"},
                      {"attachments", nullptr},
                      {"metadata", JSONObject{{"platform", "ios"}}}};
  }
  static JSONObject message(const std::string& userId, const std::string& threadId, const std::string& content) {
    return JSONObject{{"userId", userId},     {"userName", nullptr},    {"userEmail", nullptr},
                      {"threadId", threadId}, {"content", content},     {"environment", "debug"},
                      {"sessionId", nullptr}, {"messageType", nullptr}, {"attachments", JSONArray{"a.png"}},
                      {"metadata", nullptr}};
  }
  static JSONObject listOf(const std::string& userId, const std::optional<std::string>& anonymousId) {
    return JSONObject{{"userId", userId}, {"anonymousId", textOrNull(anonymousId)}, {"limit", 50}};
  }

  // The thread's id after creating it for `userId`.
  std::string openThread(const std::string& userId, const std::optional<std::string>& anonymousId = std::nullopt) {
    const JSONValue created = gateway().call("create_thread", newThread(userId, anonymousId));
    EXPECT_EQ(created["ok"].encode(), "true") << created.encode();
    return created["data"]["item"]["$id"].stringValue().value_or("");
  }
  // The "$id" of each item the action lists, or its error.
  std::vector<std::string> ids(std::string_view action, const JSONObject& payload) {
    const JSONValue answer = gateway().call(action, payload);
    if (const JSONArray* items = answer["data"]["items"].asArray()) {
      std::vector<std::string> list;
      for (const JSONValue& item : *items) list.push_back(item["$id"].stringValue().value_or("?"));
      return list;
    }
    return {answer["error"].stringValue().value_or(answer.encode())};
  }
  // The first element of an "items" list; null when there is none.
  static JSONValue first(const JSONValue& items) {
    const JSONArray* list = items.asArray();
    return list && !list->empty() ? list->front() : JSONValue();
  }
  std::string error(std::string_view action, const JSONObject& payload) {
    return gateway().call(action, payload)["error"].stringValue().value_or("no error");
  }
  httplib::Result operatorPost(const std::string& path, const std::string& body = "") {
    return gateway().http().Post(path, body, "application/json");
  }
};

TEST_F(MessageCenterActionsTest, AConversationGoesBackAndForthWithSupport) {
  const JSONValue created = gateway().call("create_thread", newThread("user-7", std::nullopt));
  const JSONValue& thread = created["data"]["item"];
  const std::string id = thread["$id"].stringValue().value_or("");
  EXPECT_EQ(id.size(), 20u) << created.encode();
  EXPECT_EQ(thread["conversationId"].stringValue(), id);
  EXPECT_EQ(thread["title"].encode(), R"("Export fails")");
  EXPECT_EQ(thread["status"].encode(), R"("open")");
  EXPECT_EQ(thread["unreadCount"].encode(), "0");
  EXPECT_EQ(thread["metadata"].encode(), R"("{\"platform\":\"ios\"}")");
  EXPECT_EQ(thread["$createdAt"].encode(), R"("2026-01-01T00:00:00.000+00:00")");

  clock_->advance(std::chrono::seconds(5));
  const JSONValue sent = gateway().call("send_message", message("user-7", id, "Still broken"));
  const JSONValue& mine = sent["data"]["item"];
  EXPECT_EQ(mine["conversationId"].stringValue(), id) << sent.encode();
  EXPECT_EQ(mine["senderType"].encode(), R"("user")");
  EXPECT_EQ(mine["messageType"].encode(), R"("text")");
  EXPECT_EQ(mine["attachments"].encode(), R"("[\"a.png\"]")");
  EXPECT_EQ(mine["$createdAt"].encode(), R"("2026-01-01T00:00:05.000+00:00")");

  const httplib::Result reply = operatorPost("/__gateway/threads/" + id + "/reply", R"({"content":"On it"})");
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->status, 200) << reply->body;
  const JSONValue support = JSONValue::decode(reply->body)["item"];
  EXPECT_EQ(support["senderType"].encode(), R"("admin")");
  EXPECT_EQ(support["isRead"].encode(), "false");

  const JSONValue threads = gateway().call("get_message_threads", listOf("user-7", std::nullopt));
  EXPECT_EQ(first(threads["data"]["items"])["unreadCount"].encode(), "1") << threads.encode();
  EXPECT_EQ(first(threads["data"]["items"])["lastMessageAt"].encode(), R"("2026-01-01T00:00:05.000+00:00")");

  const JSONObject all{{"threadId", id}, {"limit", 100}};
  const std::string supportId = support["$id"].stringValue().value_or("");
  EXPECT_EQ(ids("get_messages", all).size(), 3u);
  EXPECT_EQ(ids("get_messages", all).back(), supportId);
  EXPECT_EQ(ids("get_messages", {{"threadId", id}, {"limit", 1}}), std::vector<std::string>{supportId});

  const JSONValue read = gateway().call("mark_message_read", {{"id", supportId}});
  EXPECT_EQ(read["data"]["item"]["isRead"].encode(), "true") << read.encode();
  EXPECT_EQ(gateway().call("update_thread_unread_count", {{"threadId", id}, {"unreadCount", 0}}).encode(),
            R"({"ok":true,"data":{"success":true}})");
  const JSONValue after = gateway().call("get_message_threads", listOf("user-7", std::nullopt));
  EXPECT_EQ(first(after["data"]["items"])["unreadCount"].encode(), "0");
}

TEST_F(MessageCenterActionsTest, EachUserSeesOnlyTheirOwnThreads) {
  const std::string ada = openThread("user-7", "anon-1");
  // Opened before sign-in: its user is the device's anonymous id, and it follows the device.
  const std::string early = openThread("anon-1", "anon-1");
  EXPECT_EQ(ids("get_message_threads", listOf("user-7", "anon-1")).size(), 2u);
  // Another user signing in on the same device does not see the first user's thread.
  EXPECT_EQ(ids("get_message_threads", listOf("user-8", "anon-1")), std::vector<std::string>{early});
  EXPECT_EQ(ids("get_message_threads", listOf("anon-1", "anon-1")), std::vector<std::string>{early});
  EXPECT_EQ(ids("get_message_threads", listOf("user-8", "anon-2")), std::vector<std::string>{});
  EXPECT_EQ(error("send_message", message("user-8", ada, "hi")), "Thread not found: " + ada);
  EXPECT_EQ(gateway().call("send_message", message("user-7", early, "signed in now"))["ok"].encode(), "true");
}

TEST_F(MessageCenterActionsTest, AClosedThreadTakesNoMoreMessages) {
  const std::string id = openThread("user-7");
  const httplib::Result closed = operatorPost("/__gateway/threads/" + id + "/close");
  ASSERT_TRUE(closed);
  EXPECT_EQ(JSONValue::decode(closed->body)["item"]["status"].encode(), R"("closed")");
  EXPECT_EQ(error("send_message", message("user-7", id, "hello?")), "Thread is closed: " + id);
  EXPECT_EQ(operatorPost("/__gateway/threads/" + id + "/reply", R"({"content":"late"})")->status, 409);
  EXPECT_EQ(ids("get_messages", {{"threadId", id}, {"limit", 100}}).size(), 1u);

  EXPECT_EQ(operatorPost("/__gateway/threads/nope/close")->status, 404);
  EXPECT_EQ(operatorPost("/__gateway/threads/nope/reply", R"({"content":"x"})")->status, 404);
  EXPECT_EQ(operatorPost("/__gateway/threads/" + id + "/reply", R"({"content":7})")->status, 400);
  EXPECT_EQ(operatorPost("/__gateway/threads/" + id + "/reply", "{not json")->status, 400);
}

TEST_F(MessageCenterActionsTest, HidingAndDeletingTakeAThreadOutOfTheList) {
  const std::string hidden = openThread("user-7");
  const std::string deleted = openThread("user-7");
  EXPECT_EQ(gateway().call("hide_thread_for_user", {{"threadId", hidden}})["ok"].encode(), "true");
  EXPECT_EQ(ids("get_message_threads", listOf("user-7", std::nullopt)), std::vector<std::string>{deleted});
  EXPECT_EQ(first(gateway().getJSON("/__gateway/threads")["items"])["status"].encode(), R"("closed")");

  EXPECT_EQ(gateway().call("delete_thread", {{"threadId", deleted}})["ok"].encode(), "true");
  EXPECT_EQ(ids("get_message_threads", listOf("user-7", std::nullopt)), std::vector<std::string>{});
  EXPECT_EQ(error("get_messages", {{"threadId", deleted}, {"limit", 10}}), "Thread not found: " + deleted);
  EXPECT_EQ(error("delete_thread", {{"threadId", deleted}}), "Thread not found: " + deleted);
}

TEST_F(MessageCenterActionsTest, SettingsReplacedByTheOperatorGateWhatUsersMayDo) {
  EXPECT_EQ(gateway().call("get_message_center_settings", {}).encode(), R"({"ok":true,"data":{"item":null}})");
  const std::string settings =
      R"({"$id":"mcs_1","appId":"app-1","environment":"debug","isEnabled":true,"chatEnabled":true,)"
      R"("announcementsEnabled":false,"pushEnabled":false,"maxOpenConversationsPerUser":1,)"
      R"("allowUserConversationDelete":false})";
  const httplib::Result put = gateway().http().Put("/__gateway/message-center/settings", settings, "application/json");
  ASSERT_TRUE(put);
  EXPECT_EQ(put->status, 200);
  EXPECT_EQ(gateway().call("get_message_center_settings", {})["data"]["item"].encode(), settings);

  const std::string id = openThread("user-7");
  EXPECT_EQ(error("create_thread", newThread("user-7", std::nullopt)),
            "Too many open conversations: up to 1 at a time");
  EXPECT_EQ(error("delete_thread", {{"threadId", id}}), "Deleting conversations is not allowed");
  // A closed conversation no longer counts against the limit.
  operatorPost("/__gateway/threads/" + id + "/close");
  EXPECT_EQ(gateway().call("create_thread", newThread("user-7", std::nullopt))["ok"].encode(), "true");

  gateway().http().Put("/__gateway/message-center/settings", R"({"$id":"mcs_1","chatEnabled":false})",
                       "application/json");
  EXPECT_EQ(error("send_message", message("user-7", id, "hi")), "Customer chat support is disabled");
  EXPECT_EQ(gateway().http().Put("/__gateway/message-center/settings", "[1]", "application/json")->status, 400);
  EXPECT_EQ(gateway().getJSON("/__gateway/message-center/settings")["item"]["chatEnabled"].encode(), "false");
}

TEST_F(MessageCenterActionsTest, SeedsTheFeedAndThreadsFromTheContentAndCountsReadsOncePerUser) {
  serve(testContent().updated(kSeededCenter));
  EXPECT_EQ(ids("get_message_threads", listOf("user-9", std::nullopt)), std::vector<std::string>{"thr_seed"});
  const JSONValue seeded = gateway().call("get_messages", {{"threadId", "thr_seed"}, {"limit", 100}});
  EXPECT_EQ(first(seeded["data"]["items"])["conversationId"].encode(), R"("thr_seed")") << seeded.encode();

  EXPECT_EQ(ids("get_message_announcements", listOf("user-9", std::nullopt)), std::vector<std::string>{"mca_1"});
  const JSONObject read{{"announcementId", "mca_1"}, {"userId", "user-9"}, {"anonymousId", nullptr}};
  EXPECT_EQ(gateway().call("mark_message_announcement_read", read)["ok"].encode(), "true");
  gateway().call("mark_message_announcement_read", read);
  const JSONValue feed = gateway().call("get_message_announcements", listOf("user-9", std::nullopt));
  EXPECT_EQ(first(feed["data"]["items"])["openedCount"].encode(), "5");
  EXPECT_EQ(
      error("mark_message_announcement_read", {{"announcementId", "x"}, {"userId", "u"}, {"anonymousId", nullptr}}),
      "Announcement not found: x");

  EXPECT_THROW(testContent().updated(R"({"messageCenter":{"threads":[{"title":"no id"}]}})"), ContentError);
  EXPECT_THROW(testContent().updated(R"({"messageCenter":{"settings":[]}})"), ContentError);
}

TEST_F(MessageCenterActionsTest, APushTokenUpsertedAgainKeepsOneRowPerDevice) {
  const auto token = [](const char* device, const char* pushToken, const JSONValue& userId) {
    return JSONObject{{"deviceId", device},
                      {"platform", "ios"},
                      {"pushToken", pushToken},
                      {"userId", userId},
                      {"anonymousId", "anon-1"}};
  };
  EXPECT_EQ(gateway().call("upsert_push_token", token("dev-1", "tok-a", nullptr)).encode(),
            R"({"ok":true,"data":{"success":true}})");
  clock_->advance(std::chrono::seconds(1));
  gateway().call("upsert_push_token", token("dev-1", "tok-b", "user-7"));
  gateway().call("upsert_push_token", token("dev-2", "tok-c", nullptr));
  EXPECT_EQ(gateway().getJSON("/__gateway/push-tokens").encode(),
            R"({"items":[{"deviceId":"dev-1","platform":"ios","pushToken":"tok-b","userId":"user-7",)"
            R"("anonymousId":"anon-1","createdAt":"2026-01-01T00:00:00.000Z","updatedAt":"2026-01-01T00:00:01.000Z"},)"
            R"({"deviceId":"dev-2","platform":"ios","pushToken":"tok-c","userId":null,"anonymousId":"anon-1",)"
            R"("createdAt":"2026-01-01T00:00:01.000Z","updatedAt":"2026-01-01T00:00:01.000Z"}]})");
}

TEST_F(MessageCenterActionsTest, BadPayloadsAnswerWhatIsWrongAndKeepNothing) {
  JSONObject noSubject = newThread("user-7", std::nullopt);
  noSubject.erase("subject");
  JSONObject badAttachments = message("user-7", "t", "x");
  badAttachments.set("attachments", JSONArray{1});
  const struct {
    const char* action;
    JSONObject payload;
    const char* expected;
  } cases[] = {
      {"create_thread", noSubject, "Invalid create_thread payload: subject is missing"},
      {"send_message", badAttachments, "Invalid send_message payload: attachments must be an array of strings or null"},
      {"get_message_threads",
       {{"userId", "u"}, {"anonymousId", nullptr}, {"limit", "50"}},
       "Invalid get_message_threads payload: limit must be a number"},
      {"get_messages",
       {{"threadId", "t"}, {"limit", 0}},
       "Invalid get_messages payload: limit must be a whole number of at least 1"},
      {"update_thread_unread_count",
       {{"threadId", "t"}, {"unreadCount", -1}},
       "Invalid update_thread_unread_count payload: unreadCount must be a whole number of at least 0"},
      {"mark_message_read", {{"id", 5}}, "Invalid mark_message_read payload: id must be a non-empty string"},
      {"mark_message_read", {{"id", "missing"}}, "Message not found: missing"},
      {"upsert_push_token",
       {{"deviceId", "d"}, {"platform", "ios"}},
       "Invalid upsert_push_token payload: pushToken is missing"},
      {"hide_thread_for_user", {}, "Invalid hide_thread_for_user payload: threadId is missing"},
  };
  for (const auto& bad : cases) {
    SCOPED_TRACE(bad.action);
    EXPECT_EQ(error(bad.action, bad.payload), bad.expected);
  }
  EXPECT_EQ(gateway().getJSON("/__gateway/threads").encode(), R"({"items":[]})");
  EXPECT_EQ(gateway().getJSON("/__gateway/push-tokens").encode(), R"({"items":[]})");
}

}  // namespace
}  // namespace tarnwell::gateway
