#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "tarnwell/core/coding_error.h"
#include "tarnwell/messagecenter/message.h"
#include "tarnwell/messagecenter/message_center_announcement.h"
#include "tarnwell/messagecenter/message_center_settings.h"

namespace tarnwell {
namespace {

JSONObject withKey(JSONObject document, const std::string& key, JSONValue value) {
  document.set(key, std::move(value));
  return document;
}

// Fails the test unless decoding throws a DecodingError whose text names `key`.
template <typename Record>
void expectRejectedAt(const JSONValue& document, const std::string& key) {
  try {
    Record::decode(document);
    ADD_FAILURE() << "decoded although \"" << key << "\" does not fit: " << document.encode();
  } catch (const DecodingError& error) {
    EXPECT_NE(std::string(error.what()).find("\"" + key + "\""), std::string::npos) << error.what();
  }
}

TEST(MessageTest, AnyKeyMissingOrNullTakesItsDefault) {
  Message defaults;
  defaults.id = "m1";
  EXPECT_EQ(Message::decode(JSONValue::decode(R"({"$id":"m1"})")), defaults);
  EXPECT_EQ(defaults.senderType, "user");
  EXPECT_EQ(defaults.senderName, "User");
  EXPECT_EQ(defaults.messageType, "text");

  JSONObject allNull;
  for (const char* key : {"$id", "conversationId", "senderId", "senderType", "senderName", "senderEmail", "content",
                          "messageType", "attachments", "isRead", "metadata", "$createdAt", "$updatedAt"}) {
    allNull.set(key, JSONValue());
  }
  EXPECT_EQ(Message::decode(JSONValue(allNull)), Message{});
}

TEST(MessageTest, ReadsEveryKeyAndWritesItBack) {
  const JSONValue document = JSONValue::decode(
      R"({"$id":"m1","conversationId":"c1","senderId":"s1","senderType":"admin","senderName":"Ana",)"
      R"("senderEmail":"ana@x.io","content":"Hi","messageType":"image","attachments":"[\"https://x.io/a.png\"]",)"
      R"("isRead":true,"metadata":"{}","$createdAt":"2026-01-01T00:00:00.000Z","$updatedAt":"2026-01-02T00:00:00.000Z"})");
  const Message message = Message::decode(document);
  EXPECT_EQ(message.senderType, "admin");
  EXPECT_EQ(message.senderEmail, "ana@x.io");
  EXPECT_EQ(message.attachmentsJSON, R"(["https://x.io/a.png"])");
  EXPECT_TRUE(message.isRead);
  EXPECT_EQ(message.updatedAt, "2026-01-02T00:00:00.000Z");
  EXPECT_EQ(message.encode(), document);
}

TEST(MessageTest, AKeyOfTheWrongTypeFailsTheRecordNamingTheKey) {
  expectRejectedAt<Message>(JSONValue(withKey({}, "isRead", "true")), "isRead");
  expectRejectedAt<Message>(JSONValue(withKey({}, "attachments", JSONArray{"a.png"})), "attachments");
  expectRejectedAt<MessageThread>(JSONValue(withKey({}, "unreadCount", "3")), "unreadCount");
  expectRejectedAt<MessageThread>(JSONValue(withKey({}, "unreadCount", 1.5)), "unreadCount");
  EXPECT_THROW(MessageThread::decode(JSONValue(JSONArray{})), DecodingError);
  EXPECT_THROW(Message::decode(JSONValue("m1")), DecodingError);
}

TEST(MessageThreadTest, AThreadWithoutAConversationIsItsOwn) {
  const MessageThread bare = MessageThread::decode(JSONValue::decode(R"({"$id":"t1"})"));
  EXPECT_EQ(bare.conversationId, "t1");
  EXPECT_EQ(bare.status, "open");
  EXPECT_EQ(bare.environment, "production");
  EXPECT_EQ(bare.unreadCount, 0);
  EXPECT_EQ(bare.lastMessageAt, std::nullopt);
  EXPECT_EQ(MessageThread::decode(JSONValue::decode(R"({"$id":"t1","conversationId":null})")).conversationId, "t1");
  EXPECT_EQ(MessageThread::decode(JSONValue::decode(R"({"$id":"t1","conversationId":""})")).conversationId, "");
  EXPECT_EQ(MessageThread::decode(JSONValue::decode(R"({"conversationId":"c1"})")).conversationId, "c1");
  EXPECT_EQ(MessageThread::decode(JSONValue::decode("{}")), MessageThread{});
  EXPECT_EQ(MessageThread::decode(JSONValue::decode(R"({"unreadCount":3.0})")).unreadCount, 3);
}

// Every key of a strict record in turn: a required one missing fails naming it, an optional one
// may go, and any key holding a list fails naming it.
template <typename Record>
void expectStrictKeys(const std::string& fullDocument, const std::vector<std::string>& optionalKeys) {
  const JSONValue full = JSONValue::decode(fullDocument);
  EXPECT_EQ(Record::decode(full).encode(), full);
  for (const auto& [key, value] : *full.asObject()) {
    JSONObject without;
    for (const auto& [other, kept] : *full.asObject()) {
      if (other != key) without.set(other, kept);
    }
    const bool optional = std::find(optionalKeys.begin(), optionalKeys.end(), key) != optionalKeys.end();
    if (optional) {
      EXPECT_NO_THROW(Record::decode(JSONValue(without))) << key;
    } else {
      expectRejectedAt<Record>(JSONValue(without), key);
    }
    expectRejectedAt<Record>(JSONValue(withKey(*full.asObject(), key, JSONArray{})), key);
  }
}

TEST(MessageCenterAnnouncementTest, EveryRequiredKeyIsRequiredAndEveryTypeIsStrict) {
  expectStrictKeys<MessageCenterAnnouncement>(
      R"({"$id":"a1","appId":"app","environment":"production","title":"T","content":"C","type":"info",)"
      R"("status":"sent","createdBy":"u9","creatorName":"Ana","creatorEmail":"a@x.io","sentAt":"s",)"
      R"("startTime":"b","endTime":"e","totalRecipients":120,"openedCount":40,"clickedCount":3,)"
      R"("attachments":"[]","targetingRules":"{}","metadata":"{}","$createdAt":"c","$updatedAt":"u"})",
      {"creatorName", "creatorEmail", "sentAt", "startTime", "endTime", "attachments", "targetingRules", "metadata"});
}

TEST(MessageCenterSettingsTest, EveryRequiredKeyIsRequiredAndEveryTypeIsStrict) {
  expectStrictKeys<MessageCenterSettings>(
      R"({"$id":"s1","appId":"app","environment":"production","organizationId":"o","projectId":"p","teamId":"t",)"
      R"("isEnabled":true,"chatEnabled":false,"announcementsEnabled":true,"pushEnabled":false,)"
      R"("maxOpenConversationsPerUser":3,"allowUserConversationDelete":true,"updatedBy":"u9",)"
      R"("$createdAt":"c","$updatedAt":"u"})",
      {"organizationId", "projectId", "teamId", "updatedBy", "$createdAt", "$updatedAt"});
}

}  // namespace
}  // namespace tarnwell
