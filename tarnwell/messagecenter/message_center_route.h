// File: tarnwell/messagecenter/message_center_route.h
//
// MessageCenterRoute says where the message center should open: which tab, and which
// announcement or thread inside it. The facade publishes one when a push of ours arrives or the
// host asks to open the center; the message center screen consumes it and clears it.
//
//   tarnwell::Subscription s = sdk.subscribeMessageCenterRoute([&](const auto& route) {
//     if (route && route->threadId) openThread(*route->threadId);   // then sdk.clearMessageCenterRoute()
//   });
//
// A plain value, safe on any thread.
#pragma once

#include <optional>
#include <string>

namespace tarnwell {

struct MessageCenterRoute {
  std::optional<std::string> initialTab;  // "messages" or "announcements"
  std::optional<std::string> announcementId;
  std::optional<std::string> threadId;

  friend bool operator==(const MessageCenterRoute&, const MessageCenterRoute&) = default;
};

}  // namespace tarnwell
