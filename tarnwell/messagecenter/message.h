// File: tarnwell/messagecenter/message.h
//
// Message and MessageThread are the support chat of the message center as the backend stores
// it: a thread per conversation of one user with support, and the messages inside it. Both use
// the backend's "$id", "$createdAt" and "$updatedAt" keys, and keep "attachments" and
// "metadata" as the JSON text the backend holds; reading that text is up to the caller.
//
//   MessageThread thread = MessageThread::decode(JSONValue::decode(R"({"$id":"t1"})"));
//   thread.conversationId;   // "t1": a thread without one is its own conversation
//   thread.status;           // "open"
//   thread.environment;      // "production"
//   Message message = Message::decode(JSONValue::decode(R"({"$id":"m1","content":"Hi"})"));
//   message.senderType;      // "user"; senderName "User", messageType "text"
//
// Decoding is tolerant of what is missing: a key that is missing or null gives the default
// written beside the field, so a sparse document never fails. A key that is there with the
// wrong JSON type still fails the record (DecodingError naming the key), and with it the list
// it came in. Plain values, safe on any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>

namespace tarnwell {

struct TARNWELL_API Message {
  std::string id;  // "$id"
  std::string conversationId;
  std::string senderId;
  std::string senderType = "user";  // "admin" for support; only those count as unread
  std::string senderName = "User";
  std::optional<std::string> senderEmail;
  std::string content;
  std::string messageType = "text";
  std::optional<std::string> attachmentsJSON;  // "attachments"
  bool isRead = false;
  std::optional<std::string> metadataJSON;  // "metadata"
  std::string createdAt;                    // "$createdAt"
  std::string updatedAt;                    // "$updatedAt"

  friend bool operator==(const Message&, const Message&) = default;

  // Throws DecodingError only for a value that is not an object or a key of the wrong type.
  static Message decode(const JSONValue& value);
  JSONValue encode() const;
};

struct TARNWELL_API MessageThread {
  std::string id;              // "$id"
  std::string conversationId;  // the decoded id when the document has none
  std::string appId;
  std::string environment = "production";
  std::optional<std::string> organizationId;
  std::optional<std::string> projectId;
  std::optional<std::string> teamId;
  std::optional<std::string> assignedTo;
  std::string userId;
  std::optional<std::string> anonymousId;
  std::optional<std::string> sessionId;
  std::optional<std::string> userName;
  std::optional<std::string> userEmail;
  std::string title;
  std::string status = "open";  // "closed" once support has closed it
  std::int64_t unreadCount = 0;
  std::optional<std::string> lastMessageAt;
  std::optional<std::string> metadataJSON;  // "metadata"
  std::string createdAt;                    // "$createdAt"
  std::string updatedAt;                    // "$updatedAt"

  friend bool operator==(const MessageThread&, const MessageThread&) = default;

  // Throws DecodingError only for a value that is not an object or a key of the wrong type.
  static MessageThread decode(const JSONValue& value);
  JSONValue encode() const;
};

}  // namespace tarnwell
