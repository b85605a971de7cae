#include "tarnwell/messagecenter/message.h"

#include <utility>

#include "tarnwell/core/detail/record_coding.h"

namespace tarnwell {

namespace detail {

template <>
struct RecordFields<Message> {
  using R = Message;
  static constexpr auto fields =
      std::make_tuple(defaultedField(&R::id, "$id"), defaultedField(&R::conversationId, "conversationId"),
                      defaultedField(&R::senderId, "senderId"), defaultedField(&R::senderType, "senderType"),
                      defaultedField(&R::senderName, "senderName"), field(&R::senderEmail, "senderEmail"),
                      defaultedField(&R::content, "content"), defaultedField(&R::messageType, "messageType"),
                      field(&R::attachmentsJSON, "attachments"), defaultedField(&R::isRead, "isRead"),
                      field(&R::metadataJSON, "metadata"), defaultedField(&R::createdAt, "$createdAt"),
                      defaultedField(&R::updatedAt, "$updatedAt"));
};

template <>
struct RecordFields<MessageThread> {
  using R = MessageThread;
  static constexpr auto fields = std::make_tuple(
      defaultedField(&R::id, "$id"), defaultedField(&R::conversationId, "conversationId"),
      defaultedField(&R::appId, "appId"), defaultedField(&R::environment, "environment"),
      field(&R::organizationId, "organizationId"), field(&R::projectId, "projectId"), field(&R::teamId, "teamId"),
      field(&R::assignedTo, "assignedTo"), defaultedField(&R::userId, "userId"), field(&R::anonymousId, "anonymousId"),
      field(&R::sessionId, "sessionId"), field(&R::userName, "userName"), field(&R::userEmail, "userEmail"),
      defaultedField(&R::title, "title"), defaultedField(&R::status, "status"),
      defaultedField(&R::unreadCount, "unreadCount"), field(&R::lastMessageAt, "lastMessageAt"),
      field(&R::metadataJSON, "metadata"), defaultedField(&R::createdAt, "$createdAt"),
      defaultedField(&R::updatedAt, "$updatedAt"));
};

}  // namespace detail

Message Message::decode(const JSONValue& value) { return detail::decodeRecord<Message>(value); }
JSONValue Message::encode() const { return detail::encodeRecord(*this); }

MessageThread MessageThread::decode(const JSONValue& value) {
  MessageThread thread = detail::decodeRecord<MessageThread>(value);
  // A thread that names no conversation is one: its messages are asked for by the thread's id.
  if (value["conversationId"].isNull()) thread.conversationId = thread.id;
  return thread;
}
JSONValue MessageThread::encode() const { return detail::encodeRecord(*this); }

}  // namespace tarnwell
