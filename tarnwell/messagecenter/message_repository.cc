#include "tarnwell/messagecenter/detail/message_repository.h"

#include <utility>

#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/core/log.h"

namespace tarnwell::detail {
namespace {

constexpr bool kWithSessionToken = true;

JSONValue textsOrNull(const std::optional<std::vector<std::string>>& texts) {
  if (!texts) return JSONValue();
  JSONArray array;
  array.reserve(texts->size());
  for (const std::string& text : *texts) array.emplace_back(text);
  return JSONValue(std::move(array));
}

JSONValue objectOrNull(std::optional<JSONObject> object) {
  return object ? JSONValue(std::move(*object)) : JSONValue();
}

// The feed and the thread list are asked for alike.
JSONObject userListPayload(std::string userId, const std::optional<std::string>& anonymousId, int limit) {
  return JSONObject{
      {"userId", JSONValue(std::move(userId))}, {"anonymousId", textOrNull(anonymousId)}, {"limit", JSONValue(limit)}};
}

JSONObject threadIdPayload(std::string threadId) { return JSONObject{{"threadId", JSONValue(std::move(threadId))}}; }

}  // namespace

MessageRepository::MessageRepository(RuntimeGatewayRepository gateway, std::string platformName)
    : gateway_(std::move(gateway)), platformName_(std::move(platformName)) {}

asio::awaitable<std::optional<MessageCenterSettings>> MessageRepository::getMessageCenterSettings() {
  try {
    co_return co_await gateway_.executeObject<MessageCenterSettings>("get_message_center_settings", JSONObject{},
                                                                     "item", kWithSessionToken);
  } catch (const std::exception& error) {
    logError("Failed to fetch message center settings", textualForm(error));
  }
  co_return std::nullopt;
}

asio::awaitable<std::vector<MessageCenterAnnouncement>> MessageRepository::getAnnouncements(
    std::string userId, std::optional<std::string> anonymousId, int limit) {
  co_return co_await gateway_.executeList<MessageCenterAnnouncement>(
      "get_message_announcements", userListPayload(std::move(userId), anonymousId, limit), "items", kWithSessionToken);
}

asio::awaitable<std::vector<MessageThread>> MessageRepository::getMessageThreads(std::string userId,
                                                                                 std::optional<std::string> anonymousId,
                                                                                 int limit) {
  co_return co_await gateway_.executeList<MessageThread>(
      "get_message_threads", userListPayload(std::move(userId), anonymousId, limit), "items", kWithSessionToken);
}

asio::awaitable<std::vector<Message>> MessageRepository::getMessages(std::string threadId, int limit) {
  JSONObject payload{{"threadId", JSONValue(std::move(threadId))}, {"limit", JSONValue(limit)}};
  co_return co_await gateway_.executeList<Message>("get_messages", std::move(payload), "items", kWithSessionToken);
}

asio::awaitable<std::optional<MessageThread>> MessageRepository::createThread(CreateThreadRequest request) {
  JSONObject payload;
  payload.reserve(15);
  payload.set("appId", JSONValue(std::move(request.appId)));
  payload.set("userId", JSONValue(std::move(request.userId)));
  payload.set("userName", textOrNull(request.userName));
  payload.set("userEmail", textOrNull(request.userEmail));
  payload.set("subject", JSONValue(std::move(request.subject)));
  payload.set("initialMessage", JSONValue(std::move(request.initialMessage)));
  payload.set("environment", JSONValue(std::move(request.environment)));
  payload.set("anonymousId", textOrNull(request.anonymousId));
  payload.set("sessionId", textOrNull(request.sessionId));
  payload.set("organizationId", textOrNull(request.organizationId));
  payload.set("projectId", textOrNull(request.projectId));
  payload.set("teamId", textOrNull(request.teamId));
  payload.set("type", textOrNull(request.type));
  payload.set("attachments", textsOrNull(request.attachments));
  payload.set("metadata", objectOrNull(std::move(request.metadata)));
  co_return co_await gateway_.executeObject<MessageThread>("create_thread", std::move(payload), "item",
                                                           kWithSessionToken);
}

asio::awaitable<std::optional<Message>> MessageRepository::sendMessage(CreateMessageRequest request) {
  JSONObject payload;
  payload.reserve(10);
  payload.set("userId", JSONValue(std::move(request.userId)));
  payload.set("userName", textOrNull(request.userName));
  payload.set("userEmail", textOrNull(request.userEmail));
  payload.set("threadId", JSONValue(std::move(request.threadId)));
  payload.set("content", JSONValue(std::move(request.content)));
  payload.set("environment", JSONValue(std::move(request.environment)));
  payload.set("sessionId", textOrNull(request.sessionId));
  payload.set("messageType", textOrNull(request.messageType));
  payload.set("attachments", textsOrNull(request.attachments));
  payload.set("metadata", objectOrNull(std::move(request.metadata)));
  co_return co_await gateway_.executeObject<Message>("send_message", std::move(payload), "item", kWithSessionToken);
}

asio::awaitable<std::optional<Message>> MessageRepository::markMessageAsRead(std::string id) {
  JSONObject payload{{"id", JSONValue(std::move(id))}};
  co_return co_await gateway_.executeObject<Message>("mark_message_read", std::move(payload), "item",
                                                     kWithSessionToken);
}

asio::awaitable<bool> MessageRepository::updateThreadUnreadCount(std::string threadId, std::int64_t unreadCount) {
  JSONObject payload{{"threadId", JSONValue(std::move(threadId))}, {"unreadCount", JSONValue(unreadCount)}};
  co_return co_await acknowledged("update_thread_unread_count", std::move(payload));
}

asio::awaitable<bool> MessageRepository::markAnnouncementAsRead(std::string announcementId, std::string userId,
                                                                std::optional<std::string> anonymousId) {
  JSONObject payload{{"announcementId", JSONValue(std::move(announcementId))},
                     {"userId", JSONValue(std::move(userId))},
                     {"anonymousId", textOrNull(anonymousId)}};
  co_return co_await acknowledged("mark_message_announcement_read", std::move(payload));
}

asio::awaitable<bool> MessageRepository::upsertPushToken(std::optional<std::string> userId,
                                                         std::optional<std::string> anonymousId, std::string deviceId,
                                                         std::string pushToken) {
  JSONObject payload{{"deviceId", JSONValue(std::move(deviceId))},
                     {"platform", JSONValue(platformName_)},
                     {"pushToken", JSONValue(std::move(pushToken))},
                     {"userId", textOrNull(userId)},
                     {"anonymousId", textOrNull(anonymousId)}};
  co_return co_await acknowledged("upsert_push_token", std::move(payload));
}

asio::awaitable<bool> MessageRepository::deleteThread(std::string threadId) {
  co_return co_await acknowledged("delete_thread", threadIdPayload(std::move(threadId)));
}

asio::awaitable<bool> MessageRepository::hideThreadForUser(std::string threadId) {
  co_return co_await acknowledged("hide_thread_for_user", threadIdPayload(std::move(threadId)));
}

asio::awaitable<bool> MessageRepository::acknowledged(std::string action, JSONObject payload) {
  co_return co_await gateway_.executeBoolean(std::move(action), std::move(payload), "success", kWithSessionToken);
}

}  // namespace tarnwell::detail
