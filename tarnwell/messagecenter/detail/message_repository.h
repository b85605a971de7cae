// File: tarnwell/messagecenter/detail/message_repository.h
//
// MessageRepository turns each operation of the message center into one gateway action, with
// the session token: reading settings, the announcement feed, threads and messages; opening a
// thread, sending, marking read, unread counts, deleting or hiding a thread, and registering
// the device's push token. It holds no mutable state and decides nothing: which calls to make,
// and when, is the message center's business.
//
//   MessageRepository messages(RuntimeGatewayRepository(client, transport), deviceInfo().platform);
//   std::vector<MessageThread> threads = co_await messages.getMessageThreads("user-42", "anon-1", 50);
//   std::optional<Message> sent = co_await messages.sendMessage(std::move(request));
//   bool hidden = co_await messages.hideThreadForUser("t1");
//
// Payloads are built key by key, every key always present, null in place of an absent value.
// Replies are read this way:
// - lists take the reply's "items"; no reply data, no "items" or a non-list give an empty list,
//   and the first element that does not decode fails the whole call;
// - single records take "item"; missing or null gives std::nullopt, a record that does not
//   decode fails the call;
// - booleans read "success" by the success rule: missing is true, "success":false (or "no",
//   "0", null, ...) is false and no error.
//
// Failures: every operation but getMessageCenterSettings() passes transport, gateway and
// decoding failures up as thrown exceptions (TransportFailure, RuntimeGatewayError,
// DecodingError), unchanged and unlogged, and never retries. getMessageCenterSettings() swallows
// them, logs "[Tarnwell][ERROR] Failed to fetch message center settings :: " and the error, and
// answers std::nullopt, so a caller cannot tell missing settings from a failed read.
//
// Threads: any thread may call, and any number of calls may be in flight; each coroutine
// resumes on its caller's executor. The repository must outlive the calls it started.
// Internal: includes Asio.
#pragma once

#include <asio/awaitable.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/messagecenter/message.h"
#include "tarnwell/messagecenter/message_center_announcement.h"
#include "tarnwell/messagecenter/message_center_settings.h"
#include "tarnwell/messagecenter/message_requests.h"

namespace tarnwell::detail {

class MessageRepository {
 public:
  // `platformName` is what the device reports as its platform (DeviceInfo::platform), sent with
  // the push token so the backend knows which push service the token belongs to.
  MessageRepository(RuntimeGatewayRepository gateway, std::string platformName);

  // "get_message_center_settings" with an empty payload. Never throws (see above).
  asio::awaitable<std::optional<MessageCenterSettings>> getMessageCenterSettings();

  // "get_message_announcements": the feed, in the backend's order.
  asio::awaitable<std::vector<MessageCenterAnnouncement>> getAnnouncements(std::string userId,
                                                                           std::optional<std::string> anonymousId,
                                                                           int limit);
  // "get_message_threads": the user's threads, in the backend's order.
  asio::awaitable<std::vector<MessageThread>> getMessageThreads(std::string userId,
                                                                std::optional<std::string> anonymousId, int limit);
  // "get_messages": the latest `limit` messages of a thread (by id or conversation id).
  asio::awaitable<std::vector<Message>> getMessages(std::string threadId, int limit);

  // "create_thread": the new thread, or std::nullopt when the backend answers without one.
  asio::awaitable<std::optional<MessageThread>> createThread(CreateThreadRequest request);
  // "send_message": the stored message, or std::nullopt when the backend answers without one.
  asio::awaitable<std::optional<Message>> sendMessage(CreateMessageRequest request);
  // "mark_message_read": the message as now stored, or std::nullopt.
  asio::awaitable<std::optional<Message>> markMessageAsRead(std::string id);

  // "update_thread_unread_count": stores the count the device worked out.
  asio::awaitable<bool> updateThreadUnreadCount(std::string threadId, std::int64_t unreadCount);
  // "mark_message_announcement_read".
  asio::awaitable<bool> markAnnouncementAsRead(std::string announcementId, std::string userId,
                                               std::optional<std::string> anonymousId);
  // "upsert_push_token": `userId` is absent for an anonymous user.
  asio::awaitable<bool> upsertPushToken(std::optional<std::string> userId, std::optional<std::string> anonymousId,
                                        std::string deviceId, std::string pushToken);
  // "delete_thread" and "hide_thread_for_user": the backend removes the thread, or hides it
  // from this user and closes it for support.
  asio::awaitable<bool> deleteThread(std::string threadId);
  asio::awaitable<bool> hideThreadForUser(std::string threadId);

 private:
  asio::awaitable<bool> acknowledged(std::string action, JSONObject payload);

  RuntimeGatewayRepository gateway_;
  std::string platformName_;
};

}  // namespace tarnwell::detail
