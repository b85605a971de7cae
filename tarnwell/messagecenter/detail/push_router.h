// File: tarnwell/messagecenter/detail/push_router.h
//
// Reading a remote notification's payload for the message center: whether the push is ours,
// and which tab, announcement or thread it asks to open. A reader over the payload the host
// hands in; whether the center may open at all is the message manager's call.
//
//   JSONObject userInfo{{"aps", JSONObject{{"alert", "Hi"}}}, {"data", R"({"thread_id":"t7"})"}};
//   PushPayload push(userInfo);
//   push.isOurs();   // true: a thread id was lifted out of the nested JSON text
//   push.route();    // {"messages", none, "t7"}
//
// Normalising: string entries stand as they are; numbers and booleans are read as their text
// (a whole number without a fraction); the entries of a nested object, or of a string that
// holds a JSON object, are lifted into the same map, a key already present winning. Text that
// does not parse is ignored, and lifting stops eight levels down. A value is read by trying
// each of its keys as written, then in lower case, and taking the first that is not blank;
// the trimmed text is the value. Never throws but std::bad_alloc; any thread.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "tarnwell/core/json_value.h"
#include "tarnwell/messagecenter/message_center_route.h"

namespace tarnwell::detail {

class PushPayload {
 public:
  explicit PushPayload(const JSONObject& userInfo);

  // The notification type, the tab, the announcement and the thread, trimmed; absent when blank.
  std::optional<std::string> notificationType() const;
  std::optional<std::string> tab() const;
  std::optional<std::string> announcementId() const;
  std::optional<std::string> threadId() const;

  // An announcement or a thread named, or a message-center notification type (any case). A
  // tab alone does not make a push ours.
  bool isOurs() const;
  // For a push of ours: the announcements tab with its announcement when the type, the tab or an
  // announcement id points there (no thread), else the messages tab with the thread.
  MessageCenterRoute route() const;

 private:
  std::optional<std::string> read(std::initializer_list<std::string_view> keys) const;

  std::map<std::string, std::string, std::less<>> fields_;
};

}  // namespace tarnwell::detail
