// Tracking an event: counted on the device at once, built on the main context from the
// identity of the moment, then handed to the event queue; and what the device has counted.
#include "tarnwell/sdk/detail/facade_impl.h"

namespace tarnwell {

void Tarnwell::Impl::trackEvent(const std::string& name, const JSONObject& customProperties,
                                const std::string& eventType, std::function<void()> completion) {
  if (!isReady()) {
    logWarn("Ignoring event " + name + " before SDK ready");
    if (completion) completion();
    return;
  }
  // Every event counts for on-device triggers, also those sampling will drop.
  behavioralEventTracker().recordEvent(name, clock->now());
  detail::EventRecord record{name,
                             properties->getUserId(),
                             sessions->getCurrentSessionId(),
                             properties->getUserProperties(),
                             properties->getAppProperties(),
                             properties->getDeviceProperties(),
                             customProperties,
                             eventType};
  spawnOnMain(deliverEvent(std::move(record), std::move(completion)));
}

asio::awaitable<void> Tarnwell::Impl::deliverEvent(detail::EventRecord record, std::function<void()> completion) {
  const std::string name = record.eventName;
  co_await eventManager()->queueEvent(std::move(record));
  // Triggers fire whether or not the queue admitted the event. Each manager is held for its
  // turn: a new start-up may replace it meanwhile.
  if (const auto manager = surveys.get()) co_await manager->onEventTriggered(name);
  if (const auto manager = announcements.get()) co_await manager->onEventTriggered(name);
  if (completion) completion();
}

void Tarnwell::trackEvent(std::string name, JSONObject properties, std::string eventType,
                          std::function<void()> completion) {
  impl_->runOnMain([impl = impl_.get(), name = std::move(name), properties = std::move(properties),
                    eventType = std::move(eventType), completion = std::move(completion)]() mutable {
    impl->trackEvent(name, properties, eventType, std::move(completion));
  });
}

void Tarnwell::getQueuedEventCount(std::function<void(std::size_t)> completion) {
  impl_->spawnOnMain(impl_->reportQueuedEventCount(std::move(completion)));
}

asio::awaitable<void> Tarnwell::Impl::reportQueuedEventCount(std::function<void(std::size_t)> completion) {
  const std::size_t count = co_await eventManager()->queuedEventCount();
  if (completion) completion(count);
}

// ---- What the device has counted -----------------------------------------------------------

void Tarnwell::getEventCount(std::string eventName, std::function<void(std::int64_t)> completion) {
  impl_->runOnMain([impl = impl_.get(), eventName = std::move(eventName), completion = std::move(completion)] {
    const std::int64_t count = impl->behavioralEventTracker().getEventCount(eventName);
    if (completion) completion(count);
  });
}

void Tarnwell::wasMilestoneShown(std::string itemId, std::string eventName, std::int64_t count,
                                 std::function<void(bool)> completion) {
  impl_->runOnMain([impl = impl_.get(), itemId = std::move(itemId), eventName = std::move(eventName), count,
                    completion = std::move(completion)] {
    const bool shown = impl->behavioralEventTracker().wasMilestoneShown(itemId, eventName, count);
    if (completion) completion(shown);
  });
}

}  // namespace tarnwell
