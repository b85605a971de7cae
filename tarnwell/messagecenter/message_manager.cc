#include "tarnwell/messagecenter/detail/message_manager.h"

#include <asio/experimental/awaitable_operators.hpp>

#include <exception>
#include <limits>
#include <utility>

#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/core/detail/text.h"
#include "tarnwell/core/log.h"
#include "tarnwell/platform/detail/async.h"

namespace tarnwell::detail {
namespace {

// A user or app property as text (writtenScalarText); lists, objects and null count as absent.
std::optional<std::string> propertyText(const JSONObject& properties, std::string_view key) {
  const JSONValue* value = properties.find(key);
  return value != nullptr ? writtenScalarText(*value) : std::nullopt;
}

std::optional<std::string> trimmedPropertyText(const JSONObject& properties, std::string_view key) {
  const std::optional<std::string> text = propertyText(properties, key);
  if (!text) return std::nullopt;
  std::string trimmed(trimWhitespaceAndNewlines(*text));
  if (trimmed.empty()) return std::nullopt;
  return trimmed;
}

bool isSupportSender(const Message& message) { return equalsIgnoringAsciiCase(message.senderType, "admin"); }

// The unread rule: messages not yet read that came from support. The user's own messages and
// any other sender never count.
std::int64_t unreadFromSupport(const std::vector<Message>& messages) {
  std::int64_t count = 0;
  for (const Message& message : messages) {
    if (!message.isRead && isSupportSender(message)) ++count;
  }
  return count;
}

// Saturates: a hostile count must not overflow the badge.
std::int64_t unreadOverThreads(const std::vector<MessageThread>& threads) {
  std::int64_t sum = 0;
  for (const MessageThread& thread : threads) {
    if (__builtin_add_overflow(sum, thread.unreadCount, &sum)) {
      return thread.unreadCount > 0 ? std::numeric_limits<std::int64_t>::max()
                                    : std::numeric_limits<std::int64_t>::min();
    }
  }
  return sum;
}

bool namesThread(const MessageThread& thread, std::string_view threadId) {
  return thread.id == threadId || thread.conversationId == threadId;
}

}  // namespace

MessageManager::MessageManager(MessageManagerParts parts, MessageRepository repository)
    : repository_(std::move(repository)),
      workers_(std::move(parts.workers)),
      properties_(parts.properties),
      sessions_(parts.sessions),
      defaults_(parts.defaults),
      platformName_(std::move(parts.platformName)),
      filing_(std::move(parts.filing)),
      settings_(parts.main, std::nullopt),
      threads_(parts.main, {}),
      announcements_(parts.main, {}),
      messages_(parts.main, {}) {}

template <typename T>
asio::awaitable<T> MessageManager::onWorkers(asio::awaitable<T> call) {
  co_return co_await runOn(workers_, std::move(call));
}

// ---- Gates ---------------------------------------------------------------------------------

bool MessageManager::isEnabled() const {
  const auto settings = settings_.value();
  return !settings || settings->isEnabled;
}

bool MessageManager::isChatEnabled() const {
  const auto settings = settings_.value();
  return !settings || settings->chatEnabled;
}

bool MessageManager::areAnnouncementsEnabled() const {
  const auto settings = settings_.value();
  return !settings || settings->announcementsEnabled;
}

std::int64_t MessageManager::unreadCount() const { return unreadOverThreads(threads_.value()); }

MessageCenterState MessageManager::state() const {
  MessageCenterState state;
  state.settings = settings_.value();
  state.isEnabled = !state.settings || state.settings->isEnabled;
  state.chatEnabled = !state.settings || state.settings->chatEnabled;
  state.announcementsEnabled = !state.settings || state.settings->announcementsEnabled;
  state.threads = threads_.value();
  state.announcements = announcements_.value();
  state.messagesByThreadId = messages_.value();
  state.unreadCount = unreadOverThreads(state.threads);
  return state;
}

std::optional<MessageCenterRoute> MessageManager::allowedRoute(MessageCenterRoute requested) const {
  if (!isEnabled()) return std::nullopt;
  if (!isChatEnabled()) {
    requested.initialTab = "announcements";
    requested.threadId.reset();
  }
  return requested;
}

// ---- Settings and lists --------------------------------------------------------------------

asio::awaitable<void> MessageManager::refreshCenter() {
  co_await refreshSettings();
  if (!isEnabled()) co_return;
  using namespace asio::experimental::awaitable_operators;
  auto nothing = []() -> asio::awaitable<void> { co_return; };
  auto threads = isChatEnabled() ? refreshThreads() : nothing();
  auto feed = areAnnouncementsEnabled() ? refreshAnnouncements() : nothing();
  co_await (std::move(threads) && std::move(feed));
}

asio::awaitable<void> MessageManager::poll() {
  co_await refreshThreads();
  co_await refreshAnnouncements();
}

asio::awaitable<void> MessageManager::refreshSettings() {
  // The repository logs a failed read and answers none, which lifts every gate.
  std::optional<MessageCenterSettings> settings = co_await onWorkers(repository_.getMessageCenterSettings());
  settings_.set(std::move(settings));
}

void MessageManager::applySettingsAvailability() {
  const auto settings = settings_.value();
  if (!settings) return;
  if (!settings->isEnabled) {
    threads_.set({});
    announcements_.set({});
    messages_.set({});
    return;
  }
  if (!settings->chatEnabled) {
    threads_.set({});
    messages_.set({});
  }
  if (!settings->announcementsEnabled) announcements_.set({});
}

asio::awaitable<void> MessageManager::refreshAnnouncements() {
  if (!isEnabled() || !areAnnouncementsEnabled()) {
    announcements_.set({});
    co_return;
  }
  try {
    std::vector<MessageCenterAnnouncement> feed =
        co_await onWorkers(repository_.getAnnouncements(userId(), properties_.getAnonymousId(), kAnnouncementLimit));
    announcements_.set(std::move(feed));
  } catch (const std::exception& error) {
    logError("Failed to refresh message center announcements", textualForm(error));
  }
}

asio::awaitable<void> MessageManager::refreshThreads() {
  if (!isEnabled() || !isChatEnabled()) {
    threads_.set({});
    messages_.set({});
    co_return;
  }
  try {
    std::vector<MessageThread> fetched =
        co_await onWorkers(repository_.getMessageThreads(userId(), properties_.getAnonymousId(), kThreadLimit));
    std::vector<MessageThread> normalized = co_await normalizeUnreadCounts(std::move(fetched));
    threads_.set(std::move(normalized));
  } catch (const std::exception& error) {
    logError("Failed to refresh message center threads", textualForm(error));
  }
}

asio::awaitable<std::vector<MessageThread>> MessageManager::normalizeUnreadCounts(std::vector<MessageThread> threads) {
  // The backend's count is not trusted above zero: it counts the user's own messages too. One
  // call per thread with unread messages, one after another; none when nothing is unread.
  for (MessageThread& thread : threads) {
    if (thread.unreadCount <= 0) continue;
    try {
      const std::vector<Message> latest =
          co_await onWorkers(repository_.getMessages(thread.conversationId, kMessageLimit));
      thread.unreadCount = unreadFromSupport(latest);
    } catch (const std::exception& error) {
      logError("Failed to normalize thread unread count", textualForm(error));
    }
  }
  co_return threads;
}

asio::awaitable<std::vector<Message>> MessageManager::loadMessages(std::string threadId, int limit) {
  try {
    std::vector<Message> loaded = co_await onWorkers(repository_.getMessages(threadId, limit));
    auto cache = messages_.value();
    cache[threadId] = loaded;
    messages_.set(std::move(cache));
    co_return loaded;
  } catch (const std::exception& error) {
    logError("Failed to load thread messages", textualForm(error));
  }
  const auto cache = messages_.value();
  const auto cached = cache.find(threadId);
  co_return cached == cache.end() ? std::vector<Message>{} : cached->second;
}

// ---- Writing -------------------------------------------------------------------------------

asio::awaitable<std::optional<MessageThread>> MessageManager::createThread(NewThread thread) {
  if (!isEnabled() || !isChatEnabled()) {
    logWarn("Ignoring thread creation because customer chat support is disabled");
    co_return std::nullopt;
  }
  CreateThreadRequest request;
  request.appId = filing_.appId;
  request.userId = userId();
  request.userName = userName();
  request.userEmail = userEmail();
  request.subject = std::move(thread.subject);
  request.initialMessage = std::move(thread.initialMessage);
  request.environment = filing_.environment;
  request.anonymousId = properties_.getAnonymousId();
  request.sessionId = sessions_.getCurrentSessionId();
  request.organizationId = filing_.organizationId;
  request.projectId = filing_.projectId;
  request.teamId = filing_.teamId;
  // Threads the host opens are support conversations.
  request.type = "support";
  request.metadata = requestMetadata(filing_.environment, thread.metadata);
  std::optional<MessageThread> created;
  try {
    created = co_await onWorkers(repository_.createThread(std::move(request)));
  } catch (const std::exception& error) {
    logError("Failed to create message thread", textualForm(error));
    co_return std::nullopt;
  }
  if (created) co_await refreshThreads();
  co_return created;
}

asio::awaitable<std::optional<Message>> MessageManager::sendMessage(NewMessage message) {
  if (!isEnabled() || !isChatEnabled()) {
    logWarn("Ignoring message send because customer chat support is disabled");
    co_return std::nullopt;
  }
  // Support may have closed the thread a moment ago.
  co_await refreshThreads();
  for (const MessageThread& thread : threads_.value()) {
    if (!namesThread(thread, message.threadId)) continue;
    if (equalsIgnoringAsciiCase(thread.status, "closed")) {
      logWarn("Ignoring message send for closed thread " + message.threadId);
      co_return std::nullopt;
    }
    break;
  }
  const std::string threadId = message.threadId;
  CreateMessageRequest request;
  request.userId = userId();
  request.userName = userName();
  request.userEmail = userEmail();
  request.threadId = threadId;
  request.content = std::move(message.content);
  request.environment = filing_.environment;
  request.sessionId = sessions_.getCurrentSessionId();
  request.messageType = message.messageType.value_or("text");
  request.metadata = requestMetadata(filing_.environment, message.metadata);
  std::optional<Message> sent;
  try {
    sent = co_await onWorkers(repository_.sendMessage(std::move(request)));
  } catch (const std::exception& error) {
    logError("Failed to send message", textualForm(error));
    co_return std::nullopt;
  }
  if (!sent) co_return std::nullopt;

  // The user sees the message at once; the reload then replaces the list.
  auto cache = messages_.value();
  cache[threadId].push_back(*sent);
  messages_.set(std::move(cache));
  co_await loadMessages(threadId, kMessageLimit);

  setThreadUnreadCount(threadId, 0);
  const bool fromUser = !isSupportSender(*sent);
  if (fromUser) {
    try {
      co_await onWorkers(repository_.updateThreadUnreadCount(threadId, 0));
    } catch (const std::exception&) {
      // The local count is already right; the backend catches up with the next write.
    }
  }
  co_await refreshThreads();
  // A refresh (this one or a poll's) may have brought the old count back.
  if (fromUser) setThreadUnreadCount(threadId, 0);
  co_return sent;
}

asio::awaitable<void> MessageManager::markAnnouncementRead(std::string announcementId) {
  try {
    co_await onWorkers(
        repository_.markAnnouncementAsRead(std::move(announcementId), userId(), properties_.getAnonymousId()));
  } catch (const std::exception& error) {
    logError("Failed to mark message center announcement as read", textualForm(error));
    co_return;
  }
  co_await refreshAnnouncements();
}

asio::awaitable<bool> MessageManager::deleteThread(std::string threadId) {
  auto call = repository_.deleteThread(threadId);
  co_return co_await removeThread(std::move(call), std::move(threadId), "Failed to delete thread");
}

asio::awaitable<bool> MessageManager::hideThreadForUser(std::string threadId) {
  auto call = repository_.hideThreadForUser(threadId);
  co_return co_await removeThread(std::move(call), std::move(threadId), "Failed to hide thread");
}

asio::awaitable<bool> MessageManager::removeThread(asio::awaitable<bool> call, std::string threadId,
                                                   std::string_view failure) {
  try {
    const bool removed = co_await onWorkers(std::move(call));
    if (removed) eraseThread(threadId);
    co_return removed;
  } catch (const std::exception& error) {
    logError(failure, textualForm(error));
  }
  co_return false;
}

void MessageManager::eraseThread(const std::string& threadId) {
  // By id only: a conversation id names the backend's thread, not this list's entry.
  auto threads = threads_.value();
  std::erase_if(threads, [&](const MessageThread& thread) { return thread.id == threadId; });
  threads_.set(std::move(threads));
  auto cache = messages_.value();
  cache.erase(threadId);
  messages_.set(std::move(cache));
}

asio::awaitable<void> MessageManager::markMessageRead(std::string messageId, std::string threadId) {
  try {
    co_await onWorkers(repository_.markMessageAsRead(std::move(messageId)));
  } catch (const std::exception& error) {
    logError("Failed to mark message as read", textualForm(error));
    co_return;
  }
  co_await recountUnread(std::move(threadId));
}

asio::awaitable<void> MessageManager::markUnreadMessagesRead(std::string threadId) {
  std::vector<std::string> unread;
  {
    const auto cache = messages_.value();
    if (const auto cached = cache.find(threadId); cached != cache.end()) {
      for (const Message& message : cached->second) {
        if (!message.isRead && !equalsIgnoringAsciiCase(message.senderType, "user")) unread.push_back(message.id);
      }
    }
  }
  if (unread.empty()) co_return;
  for (std::string& id : unread) {
    try {
      co_await onWorkers(repository_.markMessageAsRead(std::move(id)));
    } catch (const std::exception& error) {
      logError("Failed to mark thread messages as read", textualForm(error));
      co_return;
    }
  }
  co_await recountUnread(std::move(threadId));
}

asio::awaitable<void> MessageManager::recountUnread(std::string threadId) {
  const std::vector<Message> latest = co_await loadMessages(threadId, kMessageLimit);
  const std::int64_t count = unreadFromSupport(latest);
  try {
    co_await onWorkers(repository_.updateThreadUnreadCount(threadId, count));
  } catch (const std::exception&) {
    // The count below is what the user sees; the backend's copy is a convenience.
  }
  co_await refreshThreads();
  setThreadUnreadCount(threadId, count);
}

void MessageManager::setThreadUnreadCount(std::string_view threadId, std::int64_t count) {
  auto threads = threads_.value();
  bool changed = false;
  for (MessageThread& thread : threads) {
    if (namesThread(thread, threadId) && thread.unreadCount != count) {
      thread.unreadCount = count;
      changed = true;
    }
  }
  if (changed) threads_.set(std::move(threads));
}

// ---- Push token ----------------------------------------------------------------------------

asio::awaitable<void> MessageManager::setPushToken(std::string token) {
  pushToken_ = std::move(token);
  co_await syncPushTokenIfAvailable();
}

asio::awaitable<void> MessageManager::syncPushTokenIfAvailable() {
  if (!pushToken_ || pushToken_->empty()) co_return;
  const std::string token = *pushToken_;
  const std::optional<std::string> knownUser = properties_.getCurrentKnownUserId();
  const std::string anonymousId = properties_.getAnonymousId();
  const std::string deviceId = properties_.getDeviceId();
  const std::string signature = knownUser.value_or("") + "|" + anonymousId + "|" + deviceId + "|" + token;
  // This user on this device has registered this token already.
  if (defaults_.getString(kPushTokenSyncKey) == signature) co_return;
  try {
    // Remembered whatever the answer: a refusal is not retried for the same signature.
    co_await onWorkers(repository_.upsertPushToken(knownUser, anonymousId, deviceId, token));
    defaults_.setString(kPushTokenSyncKey, signature);
  } catch (const std::exception& error) {
    logError("Failed to sync push token", textualForm(error));
  }
}

// ---- The user as requests name them ----------------------------------------------------------

std::string MessageManager::userId() const { return properties_.getUserId(); }

std::optional<std::string> MessageManager::userName() const {
  const JSONObject user = properties_.getUserProperties();
  if (auto name = trimmedPropertyText(user, "name")) return name;
  const std::string first = trimmedPropertyText(user, "first_name").value_or("");
  const std::string last = trimmedPropertyText(user, "last_name").value_or("");
  const std::string full(trimWhitespaceAndNewlines(first + " " + last));
  if (!full.empty()) return full;
  if (auto username = trimmedPropertyText(user, "username")) return username;
  if (auto email = trimmedPropertyText(user, "email")) return email;
  return "User";
}

std::optional<std::string> MessageManager::userEmail() const {
  return propertyText(properties_.getUserProperties(), "email");
}

JSONObject MessageManager::requestMetadata(const std::string& environment,
                                           const std::optional<JSONObject>& callers) const {
  JSONObject metadata{{"platform", JSONValue(platformName_)}, {"environment", JSONValue(environment)}};
  if (auto version = propertyText(properties_.getAppProperties(), "app_version"); version && !version->empty()) {
    metadata.set("app_version", JSONValue(*version));
  }
  // The caller's values win on a shared key.
  if (callers) {
    for (const auto& [key, value] : *callers) metadata.set(key, value);
  }
  return metadata;
}

}  // namespace tarnwell::detail
