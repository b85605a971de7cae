// File: tarnwell/messagecenter/detail/message_manager.h
//
// MessageManager owns what the message center knows on the device: the workspace's settings,
// the user's support threads, the announcement feed and the messages of each thread. It decides
// what may be done under the settings, keeps unread counts honest (only unread messages from
// support count) and keeps the device's push token registered once per user and device.
//
//   MessageManager center(parts, MessageRepository(gateway, device.platform));
//   co_await center.refreshSettings();
//   co_await center.refreshThreads();                          // counts checked against "get_messages"
//   std::optional<Message> sent = co_await center.sendMessage({.threadId = "t1", .content = "Hi"});
//   center.unreadCount();                                      // 0 for t1 once the user has written
//
// Gates: absent settings allow everything; a failed settings read lifts every gate. Failures
// are logged as "[Tarnwell][ERROR] <what failed> :: <error>" and never thrown: operations
// answer nothing, false or the cached list, and state stays as it was.
//
// Threads: every member runs on the main context, where the manager lives; the Published
// values may be read and followed from anywhere. Gateway calls run on the worker pool and
// resume here. Operations interleave only where they suspend, which is why a send zeroes the
// thread's count both before and after its own refresh: a poll may land in between.
#pragma once

#include <asio/any_io_executor.hpp>
#include <asio/awaitable.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tarnwell/identity/detail/property_manager.h"
#include "tarnwell/identity/detail/session_manager.h"
#include "tarnwell/messagecenter/detail/message_repository.h"
#include "tarnwell/messagecenter/message_center_route.h"
#include "tarnwell/messagecenter/message_center_state.h"
#include "tarnwell/platform/key_value_store.h"
#include "tarnwell/platform/main_context.h"
#include "tarnwell/platform/published.h"

namespace tarnwell::detail {

// Where the app's threads and messages are filed at the backend: the bootstrap's tenant, known
// before the manager is built and fixed for its life.
struct MessageFiling {
  std::string appId;
  std::string environment;
  std::optional<std::string> organizationId{};
  std::optional<std::string> projectId{};
  std::optional<std::string> teamId{};
};

// What the facade hands every message manager it builds.
struct MessageManagerParts {
  MainContext& main;
  asio::any_io_executor workers;
  PropertyManager& properties;
  const SessionManager& sessions;
  // Where the last registered push token's signature is kept across launches.
  KeyValueStore& defaults;
  // DeviceInfo::platform: sent in every thread's and message's metadata.
  std::string platformName;
  MessageFiling filing;
};

// A new support thread as the caller words it; the user's identity and the filing are added by
// the manager.
struct NewThread {
  std::string subject;
  std::string initialMessage;
  std::optional<JSONObject> metadata{};
};

// A message to an existing thread.
struct NewMessage {
  std::string threadId;
  std::string content;
  std::optional<std::string> messageType{};  // "text" when absent
  std::optional<JSONObject> metadata{};
};

class MessageManager {
 public:
  static constexpr int kThreadLimit = 50;
  static constexpr int kAnnouncementLimit = 50;
  static constexpr int kMessageLimit = 100;
  static constexpr std::string_view kPushTokenSyncKey = "com.tarnwell.messageCenter.lastPushTokenSyncSignature.v1";

  MessageManager(MessageManagerParts parts, MessageRepository repository);
  MessageManager(const MessageManager&) = delete;
  MessageManager& operator=(const MessageManager&) = delete;

  Published<std::optional<MessageCenterSettings>>& settings() noexcept { return settings_; }
  Published<std::vector<MessageThread>>& threads() noexcept { return threads_; }
  Published<std::vector<MessageCenterAnnouncement>>& announcements() noexcept { return announcements_; }
  Published<std::map<std::string, std::vector<Message>>>& messagesByThreadId() noexcept { return messages_; }

  // The gates: true while settings are absent or switch the feature on. Any thread.
  bool isEnabled() const;
  bool isChatEnabled() const;
  bool areAnnouncementsEnabled() const;
  // The sum over the threads in memory; announcements do not count. Any thread.
  std::int64_t unreadCount() const;
  // Everything above at once. Any thread.
  MessageCenterState state() const;

  // The settings, then, unless they switch the center off, the threads (with chat) and the feed
  // (with announcements) side by side.
  asio::awaitable<void> refreshCenter();
  // One turn of the message center screen's polling: the threads, then the feed.
  asio::awaitable<void> poll();
  // Replaces the settings with what the backend answers, also with none when the read fails.
  asio::awaitable<void> refreshSettings();
  // Empties what the settings switch off: everything when the center is off, else the threads
  // and their messages without chat, the feed without announcements.
  void applySettingsAvailability();
  // The feed (50 at most) when allowed, else empty; a failed read keeps the list.
  asio::awaitable<void> refreshAnnouncements();
  // The threads (50 at most) with their unread counts checked, when allowed, else empty with
  // their messages; a failed read keeps the list.
  asio::awaitable<void> refreshThreads();
  // The thread's latest messages, kept under `threadId`; on failure what is kept, or none.
  asio::awaitable<std::vector<Message>> loadMessages(std::string threadId, int limit);

  // Opens a thread with its first message, then refreshes the threads. Nothing while chat is
  // off (with a warning) or when the backend fails.
  asio::awaitable<std::optional<MessageThread>> createThread(NewThread thread);
  // Sends a message, shows it at once, reloads the thread and marks the user's own thread read.
  // Nothing while chat is off or the thread was closed by support (each with a warning), or
  // when the backend fails.
  asio::awaitable<std::optional<Message>> sendMessage(NewMessage message);
  // Tells the backend the user opened the announcement, then refreshes the feed.
  asio::awaitable<void> markAnnouncementRead(std::string announcementId);
  // On success the thread (by id, not conversation id) and its messages go from memory.
  asio::awaitable<bool> deleteThread(std::string threadId);
  asio::awaitable<bool> hideThreadForUser(std::string threadId);
  // Marks one message read, then recounts the thread's unread support messages.
  asio::awaitable<void> markMessageRead(std::string messageId, std::string threadId);
  // Marks every loaded unread message that is not the user's own, one by one, then recounts.
  asio::awaitable<void> markUnreadMessagesRead(std::string threadId);

  const std::optional<std::string>& pushToken() const noexcept { return pushToken_; }
  // Keeps the token and registers it unless this user and device already did.
  asio::awaitable<void> setPushToken(std::string token);
  // Registers the kept token when its signature (user, anonymous id, device, token) differs
  // from the one last stored; a failed call stores nothing, so the next one tries again.
  asio::awaitable<void> syncPushTokenIfAvailable();

  // The route the center may open under the settings: absent while the center is off; without
  // chat the announcements tab with no thread.
  std::optional<MessageCenterRoute> allowedRoute(MessageCenterRoute requested) const;

 private:
  // Runs one repository call on the worker pool and resumes here.
  template <typename T>
  asio::awaitable<T> onWorkers(asio::awaitable<T> call);

  asio::awaitable<std::vector<MessageThread>> normalizeUnreadCounts(std::vector<MessageThread> threads);
  asio::awaitable<void> recountUnread(std::string threadId);
  void setThreadUnreadCount(std::string_view threadId, std::int64_t count);
  // The backend's delete or hide; on success the thread and its messages go from memory.
  asio::awaitable<bool> removeThread(asio::awaitable<bool> call, std::string threadId, std::string_view failure);
  void eraseThread(const std::string& threadId);
  // The identity every call sends: the known user, else the anonymous id.
  std::string userId() const;
  std::optional<std::string> userName() const;
  std::optional<std::string> userEmail() const;
  JSONObject requestMetadata(const std::string& environment, const std::optional<JSONObject>& callers) const;

  MessageRepository repository_;
  asio::any_io_executor workers_;
  PropertyManager& properties_;
  const SessionManager& sessions_;
  KeyValueStore& defaults_;
  std::string platformName_;
  MessageFiling filing_;
  Published<std::optional<MessageCenterSettings>> settings_;
  Published<std::vector<MessageThread>> threads_;
  Published<std::vector<MessageCenterAnnouncement>> announcements_;
  Published<std::map<std::string, std::vector<Message>>> messages_;
  std::optional<std::string> pushToken_;
};

}  // namespace tarnwell::detail
