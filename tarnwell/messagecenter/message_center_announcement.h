// File: tarnwell/messagecenter/message_center_announcement.h
//
// MessageCenterAnnouncement is one entry of the message center's announcement feed, as the
// backend stores it: texts, delivery counters, and the attachments, targeting rules and
// metadata kept as the JSON text the backend holds (their reading belongs to the caller).
//
//   MessageCenterAnnouncement a = MessageCenterAnnouncement::decode(JSONValue::decode(R"({
//       "$id":"a1","appId":"app","environment":"production","title":"New plans",
//       "content":"...","type":"info","status":"sent","createdBy":"u9",
//       "totalRecipients":120,"openedCount":40,"clickedCount":3,
//       "$createdAt":"2026-01-05T10:00:00.000Z","$updatedAt":"2026-01-05T10:00:00.000Z"})"));
//   a.sentAt;   // std::nullopt
//
// Decoding is strict, unlike the chat records: a missing required key or a value of the wrong
// JSON type throws DecodingError naming the key, and so fails the whole feed it came in.
// Plain values, safe on any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>

namespace tarnwell {

struct TARNWELL_API MessageCenterAnnouncement {
  std::string id;  // "$id"
  std::string appId;
  std::string environment;
  std::string title;
  std::string content;
  std::string type;
  std::string status;
  std::string createdBy;
  std::optional<std::string> creatorName;
  std::optional<std::string> creatorEmail;
  std::optional<std::string> sentAt;
  std::optional<std::string> startTime;
  std::optional<std::string> endTime;
  std::int64_t totalRecipients = 0;
  std::int64_t openedCount = 0;
  std::int64_t clickedCount = 0;
  std::optional<std::string> attachmentsJSON;     // "attachments"
  std::optional<std::string> targetingRulesJSON;  // "targetingRules"; carried, the device does not filter by it
  std::optional<std::string> metadataJSON;        // "metadata"
  std::string createdAt;                          // "$createdAt"
  std::string updatedAt;                          // "$updatedAt"

  friend bool operator==(const MessageCenterAnnouncement&, const MessageCenterAnnouncement&) = default;

  static MessageCenterAnnouncement decode(const JSONValue& value);
  JSONValue encode() const;
};

}  // namespace tarnwell
