#include "tools/gateway/message_center_actions.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include <tarnwell/core/iso8601.h>

#include "tools/gateway/execution_wire.h"
#include "tools/gateway/payload_reader.h"

namespace tarnwell::gateway {
namespace {

// A whole number of at least `least`, taken from the payload's `key`.
std::int64_t wholeNumber(const PayloadReader& payload, std::string_view key, double least) {
  const double value = payload.number(key);
  if (!(value >= least) || value != std::floor(value) || value > 1e9) {
    throw PayloadError(std::string(key) + " must be a whole number of at least " + std::to_string(int(least)));
  }
  return static_cast<std::int64_t>(value);
}

// The backend keeps attachments and metadata as JSON texts.
JSONValue jsonTextOf(const std::optional<std::vector<std::string>>& texts) {
  if (!texts) return {};
  return JSONValue(JSONArray(texts->begin(), texts->end())).encode();
}

JSONValue jsonTextOf(const std::optional<JSONObject>& object) {
  if (!object) return {};
  return JSONValue(*object).encode();
}

ActionReply itemsReply(std::vector<JSONValue> documents) {
  return ActionReply::success(JSONObject{
      {"items", JSONArray(std::make_move_iterator(documents.begin()), std::make_move_iterator(documents.end()))}});
}

ActionReply itemReply(JSONValue document) { return ActionReply::success(JSONObject{{"item", std::move(document)}}); }

ActionReply successReply() { return ActionReply::success(JSONObject{{"success", true}}); }

ActionReply threadNotFound(const std::string& threadId) {
  return ActionReply::failure("Thread not found: " + threadId);
}

// A switch of the settings: on while there are no settings, as the device reads them.
bool settingIsOn(const std::optional<JSONValue>& settings, std::string_view key) {
  return !settings || (*settings)[key].boolValue().value_or(true);
}

std::optional<std::string> chatRefusal(MessageCenterStore& store) {
  const std::optional<JSONValue> settings = store.settings();
  if (settingIsOn(settings, "isEnabled") && settingIsOn(settings, "chatEnabled")) return std::nullopt;
  return "Customer chat support is disabled";
}

// What the SDK sends of who is writing, shared by a new thread and a new message.
struct Writer {
  std::string userId;
  std::optional<std::string> userName;
  std::optional<std::string> userEmail;
};

JSONValue userMessage(const Writer& writer, const std::string& content, const std::optional<std::string>& messageType,
                      const JSONValue& attachments, const JSONValue& metadata, const std::string& now) {
  return JSONObject{{"$id", backendId()},
                    {"conversationId", JSONValue()},
                    {"senderId", writer.userId},
                    {"senderType", "user"},
                    {"senderName", writer.userName.value_or("User")},
                    {"senderEmail", textOrNull(writer.userEmail)},
                    {"content", content},
                    {"messageType", messageType.value_or("text")},
                    {"attachments", attachments},
                    {"isRead", false},
                    {"metadata", metadata},
                    {"$createdAt", now},
                    {"$updatedAt", now}};
}

ActionReply getSettings(ActionContext& context, const ActionCall&) {
  const std::optional<JSONValue> settings = context.store.messageCenterStore().settings();
  return itemReply(settings ? *settings : JSONValue());
}

// "userId", "anonymousId" and "limit", as both feeds are asked for.
struct ListRequest {
  ThreadOwner owner;
  std::int64_t limit;
};

ListRequest readListRequest(const ActionCall& call) {
  const PayloadReader payload(call.payload);
  ListRequest request;
  request.owner.userId = payload.nonEmptyText("userId");
  request.owner.anonymousId = payload.nullableText("anonymousId");
  request.limit = wholeNumber(payload, "limit", 1);
  return request;
}

ActionReply getAnnouncements(ActionContext& context, const ActionCall& call) {
  return itemsReply(context.store.messageCenterStore().announcements(readListRequest(call).limit));
}

ActionReply getThreads(ActionContext& context, const ActionCall& call) {
  const ListRequest request = readListRequest(call);
  return itemsReply(context.store.messageCenterStore().threadsOf(request.owner, request.limit));
}

ActionReply createThread(ActionContext& context, const ActionCall& call) {
  const PayloadReader payload(call.payload);
  const std::string appId = payload.text("appId");
  Writer writer{payload.nonEmptyText("userId"), payload.nullableText("userName"), payload.nullableText("userEmail")};
  const std::string subject = payload.nonEmptyText("subject");
  const std::string initialMessage = payload.nonEmptyText("initialMessage");
  const std::string environment = payload.text("environment");
  const std::optional<std::string> anonymousId = payload.nullableText("anonymousId");
  const std::optional<std::string> sessionId = payload.nullableText("sessionId");
  const std::optional<std::string> organizationId = payload.nullableText("organizationId");
  const std::optional<std::string> projectId = payload.nullableText("projectId");
  const std::optional<std::string> teamId = payload.nullableText("teamId");
  const std::optional<std::string> type = payload.nullableText("type");
  const JSONValue attachments = jsonTextOf(payload.nullableTexts("attachments"));
  const JSONValue metadata = jsonTextOf(payload.nullableObject("metadata"));

  MessageCenterStore& store = context.store.messageCenterStore();
  if (std::optional<std::string> refusal = chatRefusal(store)) return ActionReply::failure(*refusal);
  const std::optional<JSONValue> settings = store.settings();
  const std::optional<std::int64_t> maxOpen =
      settings ? (*settings)["maxOpenConversationsPerUser"].intValue() : std::nullopt;

  const std::string now = backendDate(context.clock);
  const std::string id = backendId();
  const JSONValue thread = JSONObject{{"$id", id},
                                      {"conversationId", id},
                                      {"appId", appId},
                                      {"environment", environment},
                                      {"organizationId", textOrNull(organizationId)},
                                      {"projectId", textOrNull(projectId)},
                                      {"teamId", textOrNull(teamId)},
                                      {"assignedTo", JSONValue()},
                                      {"userId", writer.userId},
                                      {"anonymousId", textOrNull(anonymousId)},
                                      {"sessionId", textOrNull(sessionId)},
                                      {"userName", textOrNull(writer.userName)},
                                      {"userEmail", textOrNull(writer.userEmail)},
                                      {"title", subject},
                                      {"type", textOrNull(type)},
                                      {"status", "open"},
                                      {"unreadCount", 0},
                                      {"lastMessageAt", now},
                                      {"metadata", metadata},
                                      {"$createdAt", now},
                                      {"$updatedAt", now}};
  JSONValue first = userMessage(writer, initialMessage, std::nullopt, attachments, metadata, now);
  first.asObject()->set("conversationId", id);
  if (!store.addThread(thread, first, ThreadOwner{writer.userId, anonymousId}, maxOpen)) {
    return ActionReply::failure("Too many open conversations: up to " + std::to_string(*maxOpen) + " at a time");
  }
  return itemReply(thread);
}

ActionReply sendMessage(ActionContext& context, const ActionCall& call) {
  const PayloadReader payload(call.payload);
  Writer writer{payload.nonEmptyText("userId"), payload.nullableText("userName"), payload.nullableText("userEmail")};
  const std::string threadId = payload.nonEmptyText("threadId");
  const std::string content = payload.nonEmptyText("content");
  payload.text("environment");
  payload.nullableText("sessionId");
  const std::optional<std::string> messageType = payload.nullableText("messageType");
  const JSONValue attachments = jsonTextOf(payload.nullableTexts("attachments"));
  const JSONValue metadata = jsonTextOf(payload.nullableObject("metadata"));

  MessageCenterStore& store = context.store.messageCenterStore();
  if (std::optional<std::string> refusal = chatRefusal(store)) return ActionReply::failure(*refusal);
  // A thread opened before its user signed in carries the device's anonymous id as its user,
  // and the signed-in user keeps writing to it; anybody else's thread is not there for them.
  const std::optional<JSONValue> thread = store.findThread(threadId);
  if (!thread) return threadNotFound(threadId);
  const JSONValue& owner = (*thread)["userId"];
  if (owner.stringValue() != writer.userId && owner != (*thread)["anonymousId"]) return threadNotFound(threadId);

  const std::string now = backendDate(context.clock);
  const MessageAdded added = store.addMessage(
      threadId, userMessage(writer, content, messageType, attachments, metadata, now), MessageSide::user, now);
  switch (added.outcome) {
    case ThreadChange::unknownThread: return threadNotFound(threadId);
    case ThreadChange::closedThread: return ActionReply::failure("Thread is closed: " + threadId);
    case ThreadChange::done: break;
  }
  return itemReply(added.message);
}

ActionReply getMessages(ActionContext& context, const ActionCall& call) {
  const PayloadReader payload(call.payload);
  const std::string threadId = payload.nonEmptyText("threadId");
  const std::int64_t limit = wholeNumber(payload, "limit", 1);
  std::optional<std::vector<JSONValue>> messages = context.store.messageCenterStore().messages(threadId, limit);
  if (!messages) return threadNotFound(threadId);
  return itemsReply(std::move(*messages));
}

ActionReply markMessageRead(ActionContext& context, const ActionCall& call) {
  const std::string id = PayloadReader(call.payload).nonEmptyText("id");
  std::optional<JSONValue> message = context.store.messageCenterStore().markMessageRead(id, backendDate(context.clock));
  if (!message) return ActionReply::failure("Message not found: " + id);
  return itemReply(std::move(*message));
}

ActionReply updateUnreadCount(ActionContext& context, const ActionCall& call) {
  const PayloadReader payload(call.payload);
  const std::string threadId = payload.nonEmptyText("threadId");
  const std::int64_t unreadCount = wholeNumber(payload, "unreadCount", 0);
  if (!context.store.messageCenterStore().setUnreadCount(threadId, unreadCount, backendDate(context.clock))) {
    return threadNotFound(threadId);
  }
  return successReply();
}

ActionReply markAnnouncementRead(ActionContext& context, const ActionCall& call) {
  const PayloadReader payload(call.payload);
  const std::string announcementId = payload.nonEmptyText("announcementId");
  const std::string userId = payload.nonEmptyText("userId");
  const std::optional<std::string> anonymousId = payload.nullableText("anonymousId");
  if (!context.store.messageCenterStore().markAnnouncementRead(announcementId, userId, anonymousId,
                                                               backendDate(context.clock))) {
    return ActionReply::failure("Announcement not found: " + announcementId);
  }
  return successReply();
}

ActionReply deleteThread(ActionContext& context, const ActionCall& call) {
  const std::string threadId = PayloadReader(call.payload).nonEmptyText("threadId");
  MessageCenterStore& store = context.store.messageCenterStore();
  const std::optional<JSONValue> settings = store.settings();
  if (settings && !(*settings)["allowUserConversationDelete"].boolValue().value_or(false)) {
    return ActionReply::failure("Deleting conversations is not allowed");
  }
  if (!store.deleteThread(threadId)) return threadNotFound(threadId);
  return successReply();
}

ActionReply hideThread(ActionContext& context, const ActionCall& call) {
  const std::string threadId = PayloadReader(call.payload).nonEmptyText("threadId");
  if (!context.store.messageCenterStore().hideThread(threadId, backendDate(context.clock))) {
    return threadNotFound(threadId);
  }
  return successReply();
}

ActionReply upsertPushToken(ActionContext& context, const ActionCall& call) {
  const PayloadReader payload(call.payload);
  PushTokenRecord record;
  record.deviceId = payload.nonEmptyText("deviceId");
  record.platform = payload.nonEmptyText("platform");
  record.pushToken = payload.nonEmptyText("pushToken");
  record.userId = payload.nullableText("userId");
  record.anonymousId = payload.nullableText("anonymousId");
  record.createdAt = record.updatedAt = formatISO8601Date(context.clock.now());
  context.store.messageCenterStore().upsertPushToken(record);
  return successReply();
}

}  // namespace

std::string backendDate(const Clock& clock) {
  std::string text = formatISO8601Date(clock.now());
  if (!text.empty() && text.back() == 'Z') text.replace(text.size() - 1, 1, "+00:00");
  return text;
}

MessageAdded postSupportReply(MessageCenterStore& store, const Clock& clock, const std::string& threadId,
                              const std::string& content) {
  const std::string now = backendDate(clock);
  const JSONValue message =
      JSONObject{{"$id", backendId()},    {"conversationId", JSONValue()}, {"senderId", "support"},
                 {"senderType", "admin"}, {"senderName", "Support"},       {"senderEmail", JSONValue()},
                 {"content", content},    {"messageType", "text"},         {"attachments", JSONValue()},
                 {"isRead", false},       {"metadata", JSONValue()},       {"$createdAt", now},
                 {"$updatedAt", now}};
  return store.addMessage(threadId, message, MessageSide::support, now);
}

void addMessageCenterActions(ActionTable& table) {
  table["get_message_center_settings"] = answeringPayloadErrors(getSettings);
  table["get_message_announcements"] = answeringPayloadErrors(getAnnouncements);
  table["get_message_threads"] = answeringPayloadErrors(getThreads);
  table["get_messages"] = answeringPayloadErrors(getMessages);
  table["create_thread"] = answeringPayloadErrors(createThread);
  table["send_message"] = answeringPayloadErrors(sendMessage);
  table["mark_message_read"] = answeringPayloadErrors(markMessageRead);
  table["update_thread_unread_count"] = answeringPayloadErrors(updateUnreadCount);
  table["mark_message_announcement_read"] = answeringPayloadErrors(markAnnouncementRead);
  table["delete_thread"] = answeringPayloadErrors(deleteThread);
  table["hide_thread_for_user"] = answeringPayloadErrors(hideThread);
  table["upsert_push_token"] = answeringPayloadErrors(upsertPushToken);
}

}  // namespace tarnwell::gateway
