// The message center in the facade: its manager, built at start-up and replaced by a new one;
// the refresh with its time to live; the host's push token and notifications, and the route
// they publish for the message center screen. The decisions are the manager's.
#include "tarnwell/core/detail/text.h"
#include "tarnwell/messagecenter/detail/push_router.h"
#include "tarnwell/sdk/detail/facade_impl.h"

namespace tarnwell {
namespace {

// Awaits one operation of the manager, which it keeps alive meanwhile, and reports its result.
template <typename T>
asio::awaitable<void> reportMessageCenterResult([[maybe_unused]] std::shared_ptr<detail::MessageManager> manager,
                                                asio::awaitable<T> operation, std::function<void(T)> completion) {
  T result = co_await std::move(operation);
  if (completion) completion(std::move(result));
}

asio::awaitable<void> reportMessageCenterEnd([[maybe_unused]] std::shared_ptr<detail::MessageManager> manager,
                                             asio::awaitable<void> operation, std::function<void()> completion) {
  co_await std::move(operation);
  if (completion) completion();
}

}  // namespace

void Tarnwell::Impl::configureMessageManager() {
  const std::string platform = deviceInfo().platform;
  const ApiKeyConfig loaded = loadedConfig().value_or(ApiKeyConfig{});
  // Threads are filed under the bootstrap's environment, else the client's, else "stage".
  std::string environment = loaded.environment.value_or(client()->getEnvironment().value_or("stage"));
  auto manager = std::make_shared<detail::MessageManager>(
      detail::MessageManagerParts{.main = *main,
                                  .workers = pool->executor(),
                                  .properties = *properties,
                                  .sessions = *sessions,
                                  .defaults = *store,
                                  .platformName = platform,
                                  .filing = {.appId = loaded.appId,
                                             .environment = std::move(environment),
                                             .organizationId = loaded.organizationId,
                                             .projectId = loaded.projectId,
                                             .teamId = loaded.teamId}},
      detail::MessageRepository(detail::RuntimeGatewayRepository(client(), transport), platform));
  {
    std::lock_guard lock(mutex);
    messageManagerInstance = manager;
  }
  // The old manager's observers go with it; a delivery still queued for it finds nothing.
  messageManagerObservers.clear();
  auto republish = [this, weak = std::weak_ptr<detail::MessageManager>(manager)](const auto&) {
    if (const auto current = weak.lock(); current && current == messageManager()) {
      messageCenterState.set(current->state());
    }
  };
  messageManagerObservers.push_back(manager->settings().subscribe(republish));
  messageManagerObservers.push_back(manager->threads().subscribe(republish));
  messageManagerObservers.push_back(manager->announcements().subscribe(republish));
  messageManagerObservers.push_back(manager->messagesByThreadId().subscribe(republish));
  if (pendingPushToken) spawnOnMain(handOverPushToken(*pendingPushToken));
}

std::shared_ptr<detail::MessageManager> Tarnwell::Impl::messageManager() const {
  std::lock_guard lock(mutex);
  return messageManagerInstance;
}

asio::awaitable<void> Tarnwell::Impl::refreshMessageCenter() {
  // Held for the whole refresh: a new start-up may replace the manager meanwhile.
  const std::shared_ptr<detail::MessageManager> manager = messageManager();
  if (!manager) co_return;
  std::int64_t ttlMs = 0;
  {
    std::lock_guard lock(mutex);
    ttlMs = runtimeConfig.messageCenter.foregroundRefreshTtlMs;
  }
  if (!detail::shouldRefresh(refreshStamps.lastMessageCenterRefreshAt, ttlMs, false, clock->now())) co_return;
  co_await manager->refreshCenter();
}

asio::awaitable<void> Tarnwell::Impl::pollMessageCenter() {
  const std::shared_ptr<detail::MessageManager> manager = messageManager();
  if (!manager) co_return;
  co_await manager->refreshThreads();
  co_await manager->refreshAnnouncements();
}

void Tarnwell::Impl::syncPushToken() {
  if (const std::shared_ptr<detail::MessageManager> manager = messageManager()) {
    spawnOnMain([](std::shared_ptr<detail::MessageManager> manager) -> asio::awaitable<void> {
      co_await manager->syncPushTokenIfAvailable();
    }(manager));
  }
}

asio::awaitable<void> Tarnwell::Impl::handOverPushToken(std::string token) {
  // Without a manager the token waits for the next start-up.
  if (const std::shared_ptr<detail::MessageManager> manager = messageManager()) {
    co_await manager->setPushToken(std::move(token));
  }
}

void Tarnwell::Impl::openMessageCenter(MessageCenterRoute requested) {
  const std::shared_ptr<detail::MessageManager> manager = messageManager();
  std::optional<MessageCenterRoute> route;
  if (isReady() && manager) route = manager->allowedRoute(std::move(requested));
  if (!route) {
    logWarn("Message Center is disabled for this workspace/environment");
    return;
  }
  messageCenterRoute.set(std::move(route));
  spawnOnMain(refreshMessageCenter());
}

void Tarnwell::Impl::withMessageManager(
    std::function<asio::awaitable<void>(std::shared_ptr<detail::MessageManager>)> work, std::function<void()> closed) {
  runOnMain([this, work = std::move(work), closed = std::move(closed)] {
    if (std::shared_ptr<detail::MessageManager> manager = messageManager()) {
      spawnOnMain(work(std::move(manager)));
    } else if (closed) {
      closed();
    }
  });
}

// ---- Public message center operations ------------------------------------------------------

void Tarnwell::refreshMessageCenter(std::function<void()> completion) {
  impl_->spawnThen(impl_->refreshMessageCenter(), std::move(completion));
}

void Tarnwell::pollMessageCenter(std::function<void()> completion) {
  impl_->spawnThen(impl_->pollMessageCenter(), std::move(completion));
}

void Tarnwell::createThread(std::string subject, std::string initialMessage, std::optional<JSONObject> metadata,
                            std::function<void(std::optional<MessageThread>)> completion) {
  impl_->withMessageManager(
      [thread = detail::NewThread{std::move(subject), std::move(initialMessage), std::move(metadata)},
       completion](std::shared_ptr<detail::MessageManager> manager) mutable {
        auto create = manager->createThread(std::move(thread));
        return reportMessageCenterResult(std::move(manager), std::move(create), completion);
      },
      [completion] {
        if (completion) completion(std::nullopt);
      });
}

void Tarnwell::sendMessage(std::string threadId, std::string content, std::optional<JSONObject> metadata,
                           std::function<void(std::optional<Message>)> completion) {
  impl_->withMessageManager(
      [message = detail::NewMessage{std::move(threadId), std::move(content), std::nullopt, std::move(metadata)},
       completion](std::shared_ptr<detail::MessageManager> manager) mutable {
        auto send = manager->sendMessage(std::move(message));
        return reportMessageCenterResult(std::move(manager), std::move(send), completion);
      },
      [completion] {
        if (completion) completion(std::nullopt);
      });
}

void Tarnwell::loadMessages(std::string threadId, int limit, std::function<void(std::vector<Message>)> completion) {
  impl_->withMessageManager(
      [threadId = std::move(threadId), limit, completion](std::shared_ptr<detail::MessageManager> manager) {
        auto load = manager->loadMessages(threadId, limit);
        return reportMessageCenterResult(std::move(manager), std::move(load), completion);
      },
      [completion] {
        if (completion) completion({});
      });
}

void Tarnwell::markAnnouncementRead(std::string announcementId, std::function<void()> completion) {
  impl_->withMessageManager(
      [announcementId = std::move(announcementId), completion](std::shared_ptr<detail::MessageManager> manager) {
        auto mark = manager->markAnnouncementRead(announcementId);
        return reportMessageCenterEnd(std::move(manager), std::move(mark), completion);
      },
      completion);
}

void Tarnwell::markMessageRead(std::string messageId, std::string threadId, std::function<void()> completion) {
  impl_->withMessageManager(
      [messageId = std::move(messageId), threadId = std::move(threadId),
       completion](std::shared_ptr<detail::MessageManager> manager) {
        auto mark = manager->markMessageRead(messageId, threadId);
        return reportMessageCenterEnd(std::move(manager), std::move(mark), completion);
      },
      completion);
}

void Tarnwell::markUnreadMessagesRead(std::string threadId, std::function<void()> completion) {
  impl_->withMessageManager(
      [threadId = std::move(threadId), completion](std::shared_ptr<detail::MessageManager> manager) {
        auto mark = manager->markUnreadMessagesRead(threadId);
        return reportMessageCenterEnd(std::move(manager), std::move(mark), completion);
      },
      completion);
}

void Tarnwell::deleteThread(std::string threadId, std::function<void(bool)> completion) {
  impl_->withMessageManager(
      [threadId = std::move(threadId), completion](std::shared_ptr<detail::MessageManager> manager) {
        auto remove = manager->deleteThread(threadId);
        return reportMessageCenterResult(std::move(manager), std::move(remove), completion);
      },
      [completion] {
        if (completion) completion(false);
      });
}

void Tarnwell::hideThreadForUser(std::string threadId, std::function<void(bool)> completion) {
  impl_->withMessageManager(
      [threadId = std::move(threadId), completion](std::shared_ptr<detail::MessageManager> manager) {
        auto hide = manager->hideThreadForUser(threadId);
        return reportMessageCenterResult(std::move(manager), std::move(hide), completion);
      },
      [completion] {
        if (completion) completion(false);
      });
}

bool Tarnwell::isMessageCenterEnabled() const {
  const std::shared_ptr<detail::MessageManager> manager = impl_->messageManager();
  return manager && manager->isEnabled();
}

bool Tarnwell::canShowMessageCenter() const { return impl_->isReady() && isMessageCenterEnabled(); }

std::int64_t Tarnwell::getUnreadMessageCount() const {
  const std::shared_ptr<detail::MessageManager> manager = impl_->messageManager();
  return manager ? manager->unreadCount() : 0;
}

void Tarnwell::getUnreadMessageCount(std::function<void(std::int64_t)> completion) {
  impl_->spawnThen(impl_->refreshMessageCenter(), [this, completion = std::move(completion)] {
    if (completion) completion(getUnreadMessageCount());
  });
}

std::optional<MessageCenterState> Tarnwell::getMessageCenterState() const {
  const std::shared_ptr<detail::MessageManager> manager = impl_->messageManager();
  if (!manager) return std::nullopt;
  return manager->state();
}

Subscription Tarnwell::subscribeMessageCenterState(
    std::function<void(const std::optional<MessageCenterState>&)> observer) {
  return impl_->messageCenterState.subscribe(std::move(observer));
}

// ---- Push ----------------------------------------------------------------------------------

void Tarnwell::onPushTokenRefreshed(std::string token, std::function<void()> completion) {
  std::string trimmed(detail::trimWhitespaceAndNewlines(token));
  impl_->runOnMain([impl = impl_.get(), token = std::move(trimmed), completion = std::move(completion)]() mutable {
    // A blank token changes nothing; the one before stays pending.
    if (token.empty()) {
      if (completion) completion();
      return;
    }
    impl->pendingPushToken = token;
    impl->spawnThen(impl->handOverPushToken(std::move(token)), std::move(completion));
  });
}

bool Tarnwell::isTarnwellPush(const JSONObject& userInfo) const { return detail::PushPayload(userInfo).isOurs(); }

bool Tarnwell::handlePushMessage(const JSONObject& userInfo) {
  const detail::PushPayload push(userInfo);
  if (!push.isOurs()) return false;
  impl_->runOnMain([impl = impl_.get(), route = push.route()]() mutable { impl->openMessageCenter(std::move(route)); });
  return true;
}

void Tarnwell::openMessageCenter(std::optional<std::string> initialTab, std::optional<std::string> announcementId,
                                 std::optional<std::string> threadId) {
  impl_->runOnMain([impl = impl_.get(), route = MessageCenterRoute{std::move(initialTab), std::move(announcementId),
                                                                   std::move(threadId)}]() mutable {
    impl->openMessageCenter(std::move(route));
  });
}

std::optional<MessageCenterRoute> Tarnwell::getMessageCenterRoute() const { return impl_->messageCenterRoute.value(); }

Subscription Tarnwell::subscribeMessageCenterRoute(
    std::function<void(const std::optional<MessageCenterRoute>&)> observer) {
  return impl_->messageCenterRoute.subscribe(std::move(observer));
}

void Tarnwell::clearMessageCenterRoute() {
  impl_->runOnMain([impl = impl_.get()] { impl->messageCenterRoute.set(std::nullopt); });
}

}  // namespace tarnwell
