// Reading a push: which payloads are ours, where nested values come from, and where they lead.
#include "tarnwell/messagecenter/detail/push_router.h"

#include <gtest/gtest.h>

namespace tarnwell::detail {
namespace {

PushPayload push(std::string_view json) { return PushPayload(*JSONValue::decode(json).asObject()); }

TEST(PushPayloadTest, NestedDictionariesAndObjectTextsAreLiftedAndBlankValuesAreAbsent) {
  EXPECT_EQ(push(R"({"aps":{"alert":"x"},"data":{"inner":"{\"threadid\":\" t7\\n\"}"}})").threadId(), "t7");
  EXPECT_EQ(push(R"({"threadId":"  ","thread_id":"t2"})").threadId(), "t2");
  EXPECT_EQ(push(R"({"threadId":"top","data":{"threadId":"nested"}})").threadId(), "top");
  EXPECT_EQ(push(R"({"thread_id":42})").threadId(), "42");
  // Text that only looks like an object, or nests past any sensible depth, is an ordinary value.
  EXPECT_FALSE(push(R"({"data":"{\"thread_id\":\"t1\"","other":"{not json}"})").isOurs());
  std::string deep = R"({"threadId":"t9"})";
  for (int i = 0; i < 20; ++i) deep = R"({"d":)" + deep + "}";
  EXPECT_FALSE(push(deep).isOurs());
}

TEST(PushPayloadTest, OnlyAnIdOrAMessageCenterTypeMakesAPushOurs) {
  EXPECT_TRUE(push(R"({"type":"MESSAGE_CENTER_CHAT"})").isOurs());
  EXPECT_TRUE(push(R"({"notification_type":"message_center_announcement"})").isOurs());
  EXPECT_TRUE(push(R"({"tarnwell_extra_announcement_id":"a1","type":"promo"})").isOurs());
  for (const char* json : {R"({})", R"({"thread_id":" \n "})", R"({"tarnwell_extra_tab":"messages"})",
                           R"({"type":"promo","aps":{"alert":"Sale"}})", R"({"type":["message_center_chat"]})"}) {
    EXPECT_FALSE(push(json).isOurs()) << json;
  }
}

TEST(PushPayloadTest, AnnouncementsWinOverAThreadWhicheverWayTheyAreNamed) {
  const MessageCenterRoute toFeed{"announcements", std::nullopt, std::nullopt};
  EXPECT_EQ(push(R"({"tarnwell_extra_tab":"Announcements","threadId":"t1"})").route(), toFeed);
  EXPECT_EQ(push(R"({"type":"message_center_announcement","thread_id":"t1"})").route(), toFeed);
  EXPECT_EQ(push(R"({"type":"message_center_chat","threadId":"t1","announcementId":"a1"})").route(),
            (MessageCenterRoute{"announcements", "a1", std::nullopt}));
  EXPECT_EQ(push(R"({"type":"message_center_chat","tarnwell_extra_thread_id":"t1"})").route(),
            (MessageCenterRoute{"messages", std::nullopt, "t1"}));
}

}  // namespace
}  // namespace tarnwell::detail
