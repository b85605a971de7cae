// The message center in the facade: its manager, built at start-up and replaced by a new one;
// the host's push token and notifications, and the route they publish for the message center
// screen. The decisions are the manager's.
#include "tarnwell/core/detail/text.h"
#include "tarnwell/messagecenter/detail/push_router.h"
#include "tarnwell/sdk/detail/facade_impl.h"

namespace tarnwell {

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
  messages.set(manager);
  // The old manager's observers go with it; a delivery still queued for it finds nothing.
  messageManagerObservers.clear();
  auto republish = [this, weak = std::weak_ptr<detail::MessageManager>(manager)](const auto&) {
    if (const auto current = weak.lock(); current && current == messages.get()) {
      messageCenterState.set(current->state());
    }
  };
  messageManagerObservers.push_back(manager->settings().subscribe(republish));
  messageManagerObservers.push_back(manager->threads().subscribe(republish));
  messageManagerObservers.push_back(manager->announcements().subscribe(republish));
  messageManagerObservers.push_back(manager->messagesByThreadId().subscribe(republish));
  if (pendingPushToken) spawnOnMain(messages.call(&detail::MessageManager::setPushToken, {}, *pendingPushToken));
}

void Tarnwell::Impl::syncPushToken() {
  spawnOnMain(messages.call(&detail::MessageManager::syncPushTokenIfAvailable, {}));
}

void Tarnwell::Impl::openMessageCenter(MessageCenterRoute requested) {
  const std::shared_ptr<detail::MessageManager> manager = messages.get();
  std::optional<MessageCenterRoute> route;
  if (isReady() && manager) route = manager->allowedRoute(std::move(requested));
  if (!route) {
    logWarn("Message Center is disabled for this workspace/environment");
    return;
  }
  messageCenterRoute.set(std::move(route));
  spawnOnMain(refreshMessageCenter());
}

// ---- Public message center operations ------------------------------------------------------

void Tarnwell::pollMessageCenter(std::function<void()> completion) {
  impl_->spawnOnMain(impl_->messages.call(&detail::MessageManager::poll, std::move(completion)));
}

void Tarnwell::createThread(std::string subject, std::string initialMessage, std::optional<JSONObject> metadata,
                            std::function<void(std::optional<MessageThread>)> completion) {
  impl_->spawnOnMain(
      impl_->messages.call(&detail::MessageManager::createThread, std::nullopt, std::move(completion),
                           detail::NewThread{std::move(subject), std::move(initialMessage), std::move(metadata)}));
}

void Tarnwell::sendMessage(std::string threadId, std::string content, std::optional<JSONObject> metadata,
                           std::function<void(std::optional<Message>)> completion) {
  impl_->spawnOnMain(impl_->messages.call(
      &detail::MessageManager::sendMessage, std::nullopt, std::move(completion),
      detail::NewMessage{std::move(threadId), std::move(content), std::nullopt, std::move(metadata)}));
}

void Tarnwell::loadMessages(std::string threadId, int limit, std::function<void(std::vector<Message>)> completion) {
  impl_->spawnOnMain(impl_->messages.call(&detail::MessageManager::loadMessages, {}, std::move(completion),
                                          std::move(threadId), limit));
}

void Tarnwell::markAnnouncementRead(std::string announcementId, std::function<void()> completion) {
  impl_->spawnOnMain(impl_->messages.call(&detail::MessageManager::markAnnouncementRead, std::move(completion),
                                          std::move(announcementId)));
}

void Tarnwell::markMessageRead(std::string messageId, std::string threadId, std::function<void()> completion) {
  impl_->spawnOnMain(impl_->messages.call(&detail::MessageManager::markMessageRead, std::move(completion),
                                          std::move(messageId), std::move(threadId)));
}

void Tarnwell::markUnreadMessagesRead(std::string threadId, std::function<void()> completion) {
  impl_->spawnOnMain(impl_->messages.call(&detail::MessageManager::markUnreadMessagesRead, std::move(completion),
                                          std::move(threadId)));
}

void Tarnwell::deleteThread(std::string threadId, std::function<void(bool)> completion) {
  impl_->spawnOnMain(
      impl_->messages.call(&detail::MessageManager::deleteThread, false, std::move(completion), std::move(threadId)));
}

void Tarnwell::hideThreadForUser(std::string threadId, std::function<void(bool)> completion) {
  impl_->spawnOnMain(impl_->messages.call(&detail::MessageManager::hideThreadForUser, false, std::move(completion),
                                          std::move(threadId)));
}

bool Tarnwell::isMessageCenterEnabled() const {
  const std::shared_ptr<detail::MessageManager> manager = impl_->messages.get();
  return manager && manager->isEnabled();
}

bool Tarnwell::canShowMessageCenter() const { return impl_->isReady() && isMessageCenterEnabled(); }

std::int64_t Tarnwell::getUnreadMessageCount() const {
  const std::shared_ptr<detail::MessageManager> manager = impl_->messages.get();
  return manager ? manager->unreadCount() : 0;
}

void Tarnwell::getUnreadMessageCount(std::function<void(std::int64_t)> completion) {
  impl_->spawnThen(impl_->refreshMessageCenter(), [this, completion = std::move(completion)] {
    if (completion) completion(getUnreadMessageCount());
  });
}

std::optional<MessageCenterState> Tarnwell::getMessageCenterState() const {
  const std::shared_ptr<detail::MessageManager> manager = impl_->messages.get();
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
    // A blank token changes nothing; the one before stays pending. Without a manager the token
    // waits for the next start-up.
    if (token.empty()) {
      if (completion) completion();
      return;
    }
    impl->pendingPushToken = token;
    impl->spawnOnMain(impl->messages.call(&detail::MessageManager::setPushToken, std::move(completion), token));
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
