// File: tarnwell/messagecenter/message_center_state.h
//
// MessageCenterState is what the message center knows on the device at one moment: the
// workspace's settings and the gates they set, the user's support threads with their unread
// counts, the announcement feed and the messages loaded per thread. The facade hands out
// snapshots of it and follows it across re-initialisations, for a message center screen or a
// diagnostic tool.
//
//   std::optional<tarnwell::MessageCenterState> center = sdk.getMessageCenterState();
//   if (center && center->chatEnabled) showBadge(center->unreadCount);
//
// Gates read true while no settings have been read: a failed read never switches a feature
// off. A plain value, safe on any thread.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <tarnwell/messagecenter/message.h>
#include <tarnwell/messagecenter/message_center_announcement.h>
#include <tarnwell/messagecenter/message_center_settings.h>

namespace tarnwell {

struct MessageCenterState {
  std::optional<MessageCenterSettings> settings;  // absent until the first good read
  bool isEnabled = true;
  bool chatEnabled = true;
  bool announcementsEnabled = true;
  std::vector<MessageThread> threads;  // in the backend's order
  std::vector<MessageCenterAnnouncement> announcements;
  // Per thread id as the caller named the thread when loading.
  std::map<std::string, std::vector<Message>> messagesByThreadId;
  // Summed over the threads; announcements do not count.
  std::int64_t unreadCount = 0;

  friend bool operator==(const MessageCenterState&, const MessageCenterState&) = default;
};

}  // namespace tarnwell
