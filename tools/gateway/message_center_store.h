// File: tools/gateway/message_center_store.h
//
// MessageCenterStore keeps the message center as the backend holds it: the settings, the feed
// announcements with who has read them, the support threads with their messages, and the push
// tokens devices register. Threads, messages and announcements are kept as backend documents
// ("$id", "$createdAt", ...), so what a device reads back is what the backend would serve.
//
//   MessageCenterStore& center = gatewayStore.messageCenterStore();
//   center.seed(content.document["messageCenter"]);
//   center.addThread(threadDocument, firstMessageDocument, {"user-7", "anon-1"}, /*maxOpen=*/3);
//   MessageAdded added = center.addMessage("conv_1", messageDocument, MessageSide::support, now);
//   // added.outcome == ThreadChange::done; the thread's "unreadCount" went up by one
//
// Part of GatewayStore, which makes it over the store's connection: every member may be called
// from any thread, and each is one step of the database. Failures of the database throw
// StoreError; a stored document that no longer decodes (a file edited by hand) throws
// DecodingError.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <tarnwell/core/json_value.h>

#include "tools/gateway/sqlite_database.h"

namespace tarnwell::gateway {

// The status of a thread support has closed: nobody writes to it any more.
inline constexpr const char* kClosedThreadStatus = "closed";

// Whose threads a device may see: those opened by its user, and those it opened before its
// user signed in (their "userId" is the device's anonymous id).
struct ThreadOwner {
  std::string userId;
  std::optional<std::string> anonymousId;
};

// Who wrote a message: the device's user, or the support team ("senderType" "admin"), whose
// messages count as unread for the user until marked read.
enum class MessageSide { user, support };

// What became of a change to one thread.
enum class ThreadChange { done, unknownThread, closedThread };

struct MessageAdded {
  ThreadChange outcome = ThreadChange::done;
  JSONValue message;  // the message as kept, when done
};

// One device's registration for push messages.
struct PushTokenRecord {
  std::string deviceId;
  std::string platform;
  std::string pushToken;
  std::optional<std::string> userId;
  std::optional<std::string> anonymousId;
  std::string createdAt;  // the first registration's arrival
  std::string updatedAt;  // the latest registration's arrival

  // {"deviceId","platform","pushToken","userId","anonymousId","createdAt","updatedAt"}.
  JSONValue toJSON() const;
};

class MessageCenterStore {
 public:
  // Creates the tables it needs when they are missing.
  explicit MessageCenterStore(SqliteDatabase& database);

  // Takes the "messageCenter" member of a content file, already checked: its "settings" (when
  // the member is there) replace the kept ones, its announcements replace those with the same
  // "$id", and its threads and their messages are added when their "$id" is new, so what users
  // did to them survives a restart over the same database. Null seeds nothing.
  void seed(const JSONValue& messageCenter);

  // The settings document; absent when there is none.
  std::optional<JSONValue> settings();
  // Null removes them.
  void replaceSettings(const JSONValue& settings);

  // In the order they were first kept, at most `limit`.
  std::vector<JSONValue> announcements(std::int64_t limit);
  // Notes that `userId` opened the announcement; the first time for that user it counts in
  // "openedCount". False when there is no such announcement.
  bool markAnnouncementRead(const std::string& announcementId, const std::string& userId,
                            const std::optional<std::string>& anonymousId, const std::string& now);

  // The owner's visible threads, latest activity first, at most `limit`.
  std::vector<JSONValue> threadsOf(const ThreadOwner& owner, std::int64_t limit);
  // Every thread, hidden ones too, in the order they were opened.
  std::vector<JSONValue> allThreads();
  // The thread whose "$id" or "conversationId" is `threadId`.
  std::optional<JSONValue> findThread(const std::string& threadId);
  // Keeps a new thread of `owner` and its first message, both or neither. With `maxOpen` given,
  // false and nothing kept when the owner's visible threads that are not closed number that many.
  bool addThread(const JSONValue& thread, const JSONValue& firstMessage, const ThreadOwner& owner,
                 std::optional<std::int64_t> maxOpen);
  // Adds a message to the thread `threadId` names ("$id" or "conversationId") and moves its
  // "lastMessageAt"; a support message also counts in its "unreadCount". A closed thread takes
  // nothing.
  MessageAdded addMessage(const std::string& threadId, const JSONValue& message, MessageSide side,
                          const std::string& now);
  // The thread's latest `limit` messages, oldest first; absent when there is no such thread.
  std::optional<std::vector<JSONValue>> messages(const std::string& threadId, std::int64_t limit);
  // The message as it now stands, "isRead" true; absent when there is no such message.
  std::optional<JSONValue> markMessageRead(const std::string& messageId, const std::string& now);
  // Each answers the thread as it now stands; absent when there is no such thread.
  std::optional<JSONValue> setUnreadCount(const std::string& threadId, std::int64_t unreadCount,
                                          const std::string& now);
  std::optional<JSONValue> setStatus(const std::string& threadId, const std::string& status, const std::string& now);
  // Hidden from its user's list, and closed for support.
  std::optional<JSONValue> hideThread(const std::string& threadId, const std::string& now);
  // Removes the thread and its messages; false when there is no such thread.
  bool deleteThread(const std::string& threadId);

  // One row per device and platform: a later registration replaces token and user.
  void upsertPushToken(const PushTokenRecord& record);
  // In the order the devices first registered.
  std::vector<PushTokenRecord> pushTokens();

 private:
  SqliteDatabase& database_;
};

}  // namespace tarnwell::gateway
