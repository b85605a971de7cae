// The message center commands against a scripted gateway: state lines before and after start-up,
// threads and messages, the push token, pushes and routes, and arguments that do not fit.
#include <gtest/gtest.h>

#include "tests/cli/cli_test_support.h"

namespace tarnwell::cli {
namespace {

using Lines = std::vector<std::string>;

struct MessageCenterCommandsTest : testing::CommandHostFixture {
  void SetUp() override {
    transport->setResponder([](const HttpRequest& request) -> HttpResult {
      const std::string action = testing::gatewayInput(request)["action"].stringValue().value_or("");
      std::string data = "{}";
      if (action == "bootstrap") return tarnwell::testing::httpResponse(testing::kGoodBootstrap);
      if (action == "get_message_threads") {
        data = R"({"items":[{"$id":"t1","conversationId":"c1","title":"Billing","unreadCount":4}]})";
      } else if (action == "get_messages") {
        data = R"({"items":[{"$id":"m1","content":"Hello","senderType":"admin"},{"$id":"m2","isRead":true}]})";
      } else if (action == "get_message_announcements") {
        data = R"({"items":[{"$id":"a1","appId":"app_1","environment":"stage","title":"News","content":"c",)"
               R"("type":"info","status":"sent","createdBy":"u","totalRecipients":1,"openedCount":0,)"
               R"("clickedCount":0,"$createdAt":"c","$updatedAt":"u"}]})";
      } else if (action == "create_thread") {
        data = R"({"item":{"$id":"t2","title":"Help"}})";
      } else if (action == "send_message") {
        data = R"({"item":{"$id":"m3","content":"Hi"}})";
      } else if (action == "delete_thread") {
        data = R"({"success":"no"})";
      }
      return tarnwell::testing::httpResponse(R"({"ok":true,"data":)" + data + "}");
    });
    startHost(testing::scriptedHostOptions(transport));
  }

  // The result lines of these commands, without log lines.
  Lines results(std::initializer_list<std::string_view> commands) {
    Lines lines = run(commands);
    std::erase_if(lines, [](const std::string& line) { return !line.starts_with('{'); });
    return lines;
  }

  std::size_t sentCount(std::string_view action) {
    std::size_t count = 0;
    for (const HttpRequest& request : transport->requests())
      count += testing::gatewayInput(request)["action"] == JSONValue(action);
    return count;
  }
};

TEST_F(MessageCenterCommandsTest, StateThreadsAndMessagesPrintAsTheManagerHoldsThem) {
  EXPECT_EQ(results({"message-center", "push {\"thread_id\":\"t1\"}"}),
            (Lines{R"({"cmd":"message-center","enabled":false,"chatEnabled":false,"announcementsEnabled":false,)"
                   R"("canShow":false,"unread":0,"threads":[],"announcements":[]})",
                   R"({"cmd":"push","handled":true,"route":null})"}));
  run({"init"});
  const std::string center =
      R"({"cmd":"message-center","enabled":true,"chatEnabled":true,"announcementsEnabled":true,"canShow":true,)"
      R"("unread":1,"threads":[{"id":"t1","conversationId":"c1","title":"Billing","status":"open","unreadCount":1}],)"
      R"("announcements":[{"id":"a1","title":"News"}]})";
  EXPECT_EQ(
      results({"message-center refresh", "create-thread \"Help\" \"It broke\" {\"screen\":\"x\"}",
               "send-message \"t1\" \"Hi\"", "messages t1 1", "delete-thread t1", "unread", "message-center poll"}),
      (Lines{
          center,
          R"({"cmd":"create-thread","thread":{"id":"t2","conversationId":"t2","title":"Help","status":"open","unreadCount":0}})",
          R"({"cmd":"send-message","message":{"id":"m3","content":"Hi","senderType":"user","isRead":false}})",
          R"({"cmd":"messages","threadId":"t1","messages":[{"id":"m1","content":"Hello","senderType":"admin","isRead":false},)"
          R"({"id":"m2","content":"","senderType":"user","isRead":true}]})",
          R"({"cmd":"delete-thread","ok":false})", R"({"cmd":"unread","count":0})", center}));
  // The user's message marked the thread read until the poll counted again; unread stayed within
  // the time to live, and the poll asked for the feed without the settings.
  EXPECT_EQ(sentCount("get_message_center_settings"), 1u);
  EXPECT_EQ(sentCount("get_message_announcements"), 2u);
}

TEST_F(MessageCenterCommandsTest, PushesAndTheHostOpenTheCenterAndTheTokenRegistersOnce) {
  run({"init"});
  EXPECT_EQ(
      results({"push-token \"  tok \"", "push-token tok", "is-push {\"type\":\"promo\"}",
               "push {\"aps\":{\"alert\":\"x\"},\"tarnwell_extra_announcement_id\":\"a1\"}",
               "open-message-center - - \"t 2\"", "clear-route", "route"}),
      (Lines{
          R"({"cmd":"push-token","ok":true})", R"({"cmd":"push-token","ok":true})",
          R"({"cmd":"is-push","value":false})",
          R"({"cmd":"push","handled":true,"route":{"initialTab":"announcements","announcementId":"a1","threadId":null}})",
          R"({"cmd":"open-message-center","route":{"initialTab":null,"announcementId":null,"threadId":"t 2"}})",
          R"({"cmd":"clear-route","route":null})", R"({"cmd":"route","route":null})"}));
  EXPECT_EQ(sentCount("upsert_push_token"), 1u);
  EXPECT_EQ(results({"messages t1 -5", "is-push [1]", "create-thread 42 \"x\"", "message-center now"}),
            (Lines{R"({"cmd":"messages","error":"limit out of range"})",
                   R"({"cmd":"is-push","error":"push payload must be a JSON object"})",
                   R"({"cmd":"create-thread","error":"subject must be a JSON string"})",
                   R"({"cmd":"message-center","error":"expected \"refresh\" or \"poll\", got \"now\""})"}));
}

}  // namespace
}  // namespace tarnwell::cli
