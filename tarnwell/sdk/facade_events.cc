// Tracking an event: counted on the device at once, built on the main context from the
// identity of the moment, then handed to the event queue.
#include "tarnwell/sdk/detail/facade_impl.h"

namespace tarnwell {

void Tarnwell::Impl::trackEvent(const std::string& name, const JSONObject& customProperties,
                                const std::string& eventType) {
  if (!isReady()) {
    logWarn("Ignoring event " + name + " before SDK ready");
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
  spawnOnMain(queueEvent(std::move(record)));
}

asio::awaitable<void> Tarnwell::Impl::queueEvent(detail::EventRecord record) {
  co_await eventManager()->queueEvent(std::move(record));
}

void Tarnwell::trackEvent(std::string name, JSONObject properties, std::string eventType) {
  impl_->runOnMain([impl = impl_.get(), name = std::move(name), properties = std::move(properties),
                    eventType = std::move(eventType)] { impl->trackEvent(name, properties, eventType); });
}

void Tarnwell::getQueuedEventCount(std::function<void(std::size_t)> completion) {
  impl_->spawnOnMain(impl_->reportQueuedEventCount(std::move(completion)));
}

asio::awaitable<void> Tarnwell::Impl::reportQueuedEventCount(std::function<void(std::size_t)> completion) {
  const std::size_t count = co_await eventManager()->queuedEventCount();
  if (completion) completion(count);
}

}  // namespace tarnwell
