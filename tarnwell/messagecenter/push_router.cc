#include "tarnwell/messagecenter/detail/push_router.h"

#include <exception>

#include "tarnwell/core/detail/text.h"

namespace tarnwell::detail {
namespace {

using PushFieldMap = std::map<std::string, std::string, std::less<>>;

// Payloads wrap each other a few levels at most; anything deeper is not ours to dig through.
constexpr int kMaxPushLiftDepth = 8;

std::optional<JSONObject> objectInPushText(std::string_view text) {
  const std::string_view trimmed = trimWhitespaceAndNewlines(text);
  if (trimmed.empty() || trimmed.front() != '{') return std::nullopt;
  try {
    JSONValue parsed = JSONValue::decode(trimmed);
    if (JSONObject* object = parsed.asObject()) return std::move(*object);
  } catch (const std::exception&) {
    // Text that only looks like JSON is an ordinary value.
  }
  return std::nullopt;
}

void liftPushFields(const JSONObject& object, PushFieldMap& fields, int depth) {
  // This level's own values first, so they win over whatever nested objects carry.
  for (const auto& [key, value] : object) {
    if (auto text = writtenScalarText(value)) fields.emplace(key, std::move(*text));
  }
  if (depth >= kMaxPushLiftDepth) return;
  for (const auto& [key, value] : object) {
    if (const JSONObject* nested = value.asObject()) {
      liftPushFields(*nested, fields, depth + 1);
    } else if (const JSONString* text = value.asString()) {
      if (std::optional<JSONObject> parsed = objectInPushText(text->view())) liftPushFields(*parsed, fields, depth + 1);
    }
  }
}

bool equalsLowerWord(const std::optional<std::string>& value, std::string_view word) {
  return value && equalsIgnoringAsciiCase(*value, word);
}

}  // namespace

PushPayload::PushPayload(const JSONObject& userInfo) { liftPushFields(userInfo, fields_, 0); }

std::optional<std::string> PushPayload::read(std::initializer_list<std::string_view> keys) const {
  for (const std::string_view key : keys) {
    for (const std::string& candidate : {std::string(key), toLowerAscii(key)}) {
      const auto found = fields_.find(candidate);
      if (found == fields_.end()) continue;
      const std::string_view trimmed = trimWhitespaceAndNewlines(found->second);
      if (!trimmed.empty()) return std::string(trimmed);
    }
  }
  return std::nullopt;
}

std::optional<std::string> PushPayload::notificationType() const {
  return read({"type", "notificationType", "notification_type"});
}

std::optional<std::string> PushPayload::tab() const { return read({"tarnwell_extra_tab", "tab"}); }

std::optional<std::string> PushPayload::announcementId() const {
  return read({"announcementId", "announcement_id", "tarnwell_extra_announcement_id"});
}

std::optional<std::string> PushPayload::threadId() const {
  return read({"threadId", "thread_id", "tarnwell_extra_thread_id"});
}

bool PushPayload::isOurs() const {
  if (announcementId() || threadId()) return true;
  const std::optional<std::string> type = notificationType();
  return equalsLowerWord(type, "message_center_chat") || equalsLowerWord(type, "message_center_announcement");
}

MessageCenterRoute PushPayload::route() const {
  std::optional<std::string> announcement = announcementId();
  if (equalsLowerWord(notificationType(), "message_center_announcement") || equalsLowerWord(tab(), "announcements") ||
      announcement) {
    return MessageCenterRoute{"announcements", std::move(announcement), std::nullopt};
  }
  return MessageCenterRoute{"messages", std::nullopt, threadId()};
}

}  // namespace tarnwell::detail
