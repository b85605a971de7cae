// File: tarnwell/messagecenter/message_requests.h
//
// The two writes of the support chat: opening a thread with its first message, and adding a
// message to a thread. The message center fills them from the user's identity and session;
// the gateway receives every field under its own name, null where it is absent.
//
//   CreateMessageRequest request;
//   request.userId = "user-42";
//   request.threadId = "t1";
//   request.content = "Still broken after the update";
//   request.environment = "production";
//   request.messageType = "text";
//
// Plain values, safe on any thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <tarnwell/core/json_value.h>

namespace tarnwell {

struct CreateThreadRequest {
  std::string appId;
  std::string userId;
  std::optional<std::string> userName;
  std::optional<std::string> userEmail;
  std::string subject;         // becomes the thread's title
  std::string initialMessage;  // the first message of the thread
  std::string environment;
  std::optional<std::string> anonymousId;
  std::optional<std::string> sessionId;
  std::optional<std::string> organizationId;
  std::optional<std::string> projectId;
  std::optional<std::string> teamId;
  std::optional<std::string> type;  // "support" from the facade
  std::optional<std::vector<std::string>> attachments;
  std::optional<JSONObject> metadata;

  friend bool operator==(const CreateThreadRequest&, const CreateThreadRequest&) = default;
};

struct CreateMessageRequest {
  std::string userId;
  std::optional<std::string> userName;
  std::optional<std::string> userEmail;
  std::string threadId;
  std::string content;
  std::string environment;
  std::optional<std::string> sessionId;
  std::optional<std::string> messageType;
  std::optional<std::vector<std::string>> attachments;
  std::optional<JSONObject> metadata;

  friend bool operator==(const CreateMessageRequest&, const CreateMessageRequest&) = default;
};

}  // namespace tarnwell
