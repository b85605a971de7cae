// File: tarnwell/messagecenter/message_center_settings.h
//
// MessageCenterSettings is what the workspace has switched on for the message center in one
// application and environment: the center as a whole, chat, announcements, push, and the
// limits the screen enforces.
//
//   MessageCenterSettings s = MessageCenterSettings::decode(JSONValue::decode(R"({
//       "$id":"mcs1","appId":"app","environment":"production","isEnabled":true,
//       "chatEnabled":false,"announcementsEnabled":true,"pushEnabled":true,
//       "maxOpenConversationsPerUser":3,"allowUserConversationDelete":false})"));
//   s.chatEnabled;   // false: the center shows announcements only
//
// Decoding is strict: a missing required key or a value of the wrong JSON type throws
// DecodingError naming the key. Whoever reads settings treats a failed read as no settings,
// which switches nothing off. Plain values, safe on any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>

namespace tarnwell {

struct TARNWELL_API MessageCenterSettings {
  std::string id;  // "$id"
  std::string appId;
  std::string environment;
  std::optional<std::string> organizationId;
  std::optional<std::string> projectId;
  std::optional<std::string> teamId;
  bool isEnabled = false;
  bool chatEnabled = false;
  bool announcementsEnabled = false;
  bool pushEnabled = false;
  std::int64_t maxOpenConversationsPerUser = 0;
  bool allowUserConversationDelete = false;
  std::optional<std::string> updatedBy;
  std::optional<std::string> createdAt;  // "$createdAt"
  std::optional<std::string> updatedAt;  // "$updatedAt"

  friend bool operator==(const MessageCenterSettings&, const MessageCenterSettings&) = default;

  static MessageCenterSettings decode(const JSONValue& value);
  JSONValue encode() const;
};

}  // namespace tarnwell
