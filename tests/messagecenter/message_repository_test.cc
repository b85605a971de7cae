#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/core/coding_error.h"
#include "tarnwell/messagecenter/detail/message_repository.h"
#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tests/support/run_sync.h"
#include "tests/support/scripted_gateway.h"

namespace tarnwell::detail {
namespace {

using testing::answerData;
using testing::runSync;

struct MessageRepositoryTest : ::testing::Test {
  std::shared_ptr<AppwriteClient> client = [] {
    auto c = std::make_shared<AppwriteClient>("https://gw.test/v1", "p", "d", "fn");
    c->setGatewaySessionToken("tok");
    return c;
  }();
  std::shared_ptr<testing::ScriptedHttpTransport> transport = std::make_shared<testing::ScriptedHttpTransport>();
  MessageRepository messages{RuntimeGatewayRepository(client, transport), "linux"};

  JSONValue sent(std::size_t i) const { return testing::sentInput(*transport, i); }
};

TEST_F(MessageRepositoryTest, EveryActionSendsItsKeysInOrderWithNullsForAbsentValues) {
  CreateThreadRequest sparseThread;
  sparseThread.appId = "app";
  sparseThread.userId = "u1";
  sparseThread.subject = "Help";
  sparseThread.initialMessage = "Hi";
  sparseThread.environment = "stage";
  CreateThreadRequest fullThread = sparseThread;
  fullThread.userName = "Ana";
  fullThread.userEmail = "a@x.io";
  fullThread.anonymousId = "anon";
  fullThread.sessionId = "s1";
  fullThread.organizationId = "o";
  fullThread.projectId = "p";
  fullThread.teamId = "t";
  fullThread.type = "support";
  fullThread.attachments = std::vector<std::string>{"a.png"};
  fullThread.metadata = JSONObject{{"platform", "linux"}, {"environment", "stage"}};
  CreateMessageRequest message;
  message.userId = "u1";
  message.threadId = "t1";
  message.content = "Hi";
  message.environment = "stage";

  const std::vector<std::pair<std::function<void()>, std::string>> calls = {
      {[&] { runSync(messages.getMessageCenterSettings()); }, R"("get_message_center_settings",{})"},
      {[&] { runSync(messages.getAnnouncements("u1", std::nullopt, 50)); },
       R"("get_message_announcements",{"userId":"u1","anonymousId":null,"limit":50})"},
      {[&] { runSync(messages.getMessageThreads("u1", "anon", 50)); },
       R"("get_message_threads",{"userId":"u1","anonymousId":"anon","limit":50})"},
      {[&] { runSync(messages.getMessages("t1", 100)); }, R"("get_messages",{"threadId":"t1","limit":100})"},
      {[&] { runSync(messages.createThread(sparseThread)); },
       R"("create_thread",{"appId":"app","userId":"u1","userName":null,"userEmail":null,"subject":"Help",)"
       R"("initialMessage":"Hi","environment":"stage","anonymousId":null,"sessionId":null,"organizationId":null,)"
       R"("projectId":null,"teamId":null,"type":null,"attachments":null,"metadata":null})"},
      {[&] { runSync(messages.createThread(fullThread)); },
       R"("create_thread",{"appId":"app","userId":"u1","userName":"Ana","userEmail":"a@x.io","subject":"Help",)"
       R"("initialMessage":"Hi","environment":"stage","anonymousId":"anon","sessionId":"s1","organizationId":"o",)"
       R"("projectId":"p","teamId":"t","type":"support","attachments":["a.png"],)"
       R"("metadata":{"platform":"linux","environment":"stage"}})"},
      {[&] { runSync(messages.sendMessage(message)); },
       R"("send_message",{"userId":"u1","userName":null,"userEmail":null,"threadId":"t1","content":"Hi",)"
       R"("environment":"stage","sessionId":null,"messageType":null,"attachments":null,"metadata":null})"},
      {[&] { runSync(messages.markMessageAsRead("m1")); }, R"("mark_message_read",{"id":"m1"})"},
      {[&] { runSync(messages.updateThreadUnreadCount("t1", 0)); },
       R"("update_thread_unread_count",{"threadId":"t1","unreadCount":0})"},
      {[&] { runSync(messages.markAnnouncementAsRead("a1", "u1", std::nullopt)); },
       R"("mark_message_announcement_read",{"announcementId":"a1","userId":"u1","anonymousId":null})"},
      {[&] { runSync(messages.upsertPushToken(std::nullopt, "anon", "dev", "ptok")); },
       R"("upsert_push_token",{"deviceId":"dev","platform":"linux","pushToken":"ptok","userId":null,)"
       R"("anonymousId":"anon"})"},
      {[&] { runSync(messages.deleteThread("t1")); }, R"("delete_thread",{"threadId":"t1"})"},
      {[&] { runSync(messages.hideThreadForUser("t1")); }, R"("hide_thread_for_user",{"threadId":"t1"})"},
  };
  for (std::size_t i = 0; i < calls.size(); ++i) {
    answerData(*transport, "{}");
    calls[i].first();
    const JSONValue input = sent(i);
    EXPECT_EQ(input["action"].encode() + "," + input["payload"].encode(), calls[i].second);
    EXPECT_EQ(input["sessionToken"], JSONValue("tok")) << calls[i].second;
  }
}

TEST_F(MessageRepositoryTest, BooleanResultsFollowTheSuccessRule) {
  const std::vector<std::pair<const char*, bool>> replies = {
      {R"({})", true},
      {R"({"success":true})", true},
      {R"({"success":false})", false},
      {R"({"success":"no"})", false},
      {R"({"success":"1"})", true},
      {R"({"success":null})", false},
  };
  // Each reply goes to a different action in turn, so every boolean action reads the rule.
  const std::vector<std::function<bool()>> actions = {
      [&] { return runSync(messages.updateThreadUnreadCount("t1", 2)); },
      [&] { return runSync(messages.markAnnouncementAsRead("a1", "u1", "u1")); },
      [&] { return runSync(messages.upsertPushToken("u1", "anon", "dev", "ptok")); },
      [&] { return runSync(messages.deleteThread("t1")); },
      [&] { return runSync(messages.hideThreadForUser("t1")); },
  };
  for (std::size_t i = 0; i < replies.size(); ++i) {
    answerData(*transport, replies[i].first);
    EXPECT_EQ(actions[i % actions.size()](), replies[i].second) << replies[i].first << " on action " << i;
  }
}

TEST_F(MessageRepositoryTest, FailuresPassUpUnloggedExceptFromSettings) {
  testing::LogRecorder logs;
  testing::answerStatus(*transport, 503);
  EXPECT_THROW(runSync(messages.getMessageThreads("u1", std::nullopt, 50)), RuntimeGatewayError);
  transport->enqueue(testing::httpResponse(R"({"ok":false,"error":"Thread not found"})"));
  EXPECT_THROW(runSync(messages.hideThreadForUser("t1")), RuntimeGatewayError);
  EXPECT_THROW(runSync(messages.deleteThread("t1")), TransportFailure);  // nothing scripted: network error
  EXPECT_TRUE(logs.lines().empty());

  answerData(*transport,
             R"({"item":{"$id":"s1","appId":"app","environment":"production","isEnabled":true,"chatEnabled":true,)"
             R"("announcementsEnabled":true,"pushEnabled":true,"maxOpenConversationsPerUser":1}})");
  EXPECT_EQ(runSync(messages.getMessageCenterSettings()), std::nullopt);
  testing::answerStatus(*transport, 500);
  EXPECT_EQ(runSync(messages.getMessageCenterSettings()), std::nullopt);
  EXPECT_EQ(logs.lines(),
            (std::vector<std::string>{
                "[Tarnwell][ERROR] Failed to fetch message center settings :: No value for the required key "
                "\"allowUserConversationDelete\"",
                "[Tarnwell][ERROR] Failed to fetch message center settings :: httpError(500)"}));

  answerData(*transport,
             R"({"item":{"$id":"s1","appId":"app","environment":"production","isEnabled":false,"chatEnabled":true,)"
             R"("announcementsEnabled":true,"pushEnabled":true,"maxOpenConversationsPerUser":1,)"
             R"("allowUserConversationDelete":false}})");
  const std::optional<MessageCenterSettings> settings = runSync(messages.getMessageCenterSettings());
  ASSERT_TRUE(settings);
  EXPECT_FALSE(settings->isEnabled);
  EXPECT_EQ(logs.lines().size(), 2u);
}

}  // namespace
}  // namespace tarnwell::detail
