#include "tarnwell/events/detail/event_manager.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/post.hpp>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <span>
#include <string>

#include "tarnwell/core/coding_error.h"
#include "tarnwell/core/log.h"
#include "tarnwell/events/detail/event_sampling.h"
#include "tarnwell/platform/detail/async.h"

namespace tarnwell::detail {
namespace {

// A configured size, at least 1 and no more than a queue can count.
std::size_t sizeAtLeastOne(std::int64_t value) {
  if (value < 1) return 1;
  if (static_cast<std::uint64_t>(value) > std::numeric_limits<std::size_t>::max()) {
    return std::numeric_limits<std::size_t>::max();
  }
  return static_cast<std::size_t>(value);
}

}  // namespace

std::shared_ptr<EventManager> EventManager::create(const asio::any_io_executor& executor, EventRepository repository,
                                                   Clock& clock, KeyValueStore& storage) {
  return std::shared_ptr<EventManager>(new EventManager(executor, std::move(repository), clock, storage));
}

EventManager::EventManager(const asio::any_io_executor& executor, EventRepository repository, Clock& clock,
                           KeyValueStore& storage)
    : strand_(asio::make_strand(executor)), repository_(std::move(repository)), clock_(clock), storage_(storage) {}

template <typename Work>
asio::awaitable<std::invoke_result_t<Work&>> EventManager::onStrand(Work work) {
  const auto self = shared_from_this();
  co_return co_await callOn(strand_, std::move(work));
}

asio::awaitable<void> EventManager::configure(RuntimeConfig::EventsConfig events,
                                              RuntimeConfig::KillSwitchConfig killSwitches) {
  return onStrand([this, events, killSwitches] { applyConfiguration(events, killSwitches); });
}

asio::awaitable<void> EventManager::queueEvent(EventRecord event) {
  return onStrand([this, event = std::move(event)]() mutable { admit(std::move(event)); });
}

asio::awaitable<bool> EventManager::flushEvents(bool force) {
  const auto self = shared_from_this();
  co_return co_await runOn(strand_, flush(force));
}

asio::awaitable<std::size_t> EventManager::queuedEventCount() {
  return onStrand([this] { return queue_.size(); });
}

asio::awaitable<bool> EventManager::hasQueuedEvents() {
  return onStrand([this] { return !queue_.empty(); });
}

asio::awaitable<void> EventManager::clearQueue() {
  return onStrand([this] {
    queue_.clear();
    isFlushing_ = false;
    autoFlushPausedAfterFailure_ = false;
    storage_.remove(kQueueStorageKey);
  });
}

void EventManager::applyConfiguration(const RuntimeConfig::EventsConfig& events,
                                      const RuntimeConfig::KillSwitchConfig& killSwitches) {
  enabled_ = events.enabled && !killSwitches.disableEventLogs;
  batchSize_ = sizeAtLeastOne(events.batchSize);
  // From the raw values: a batch size of 0 still gives a threshold of 1.
  eagerFlushThreshold_ = sizeAtLeastOne(std::min(events.batchSize, events.maxQueueSize));
  maxQueueSize_ = sizeAtLeastOne(events.maxQueueSize);
  maxEventsPerMinute_ = std::max<std::int64_t>(events.maxEventsPerMinute, 0);
  sampling_ = events.sampling;
  restore();
}

void EventManager::admit(EventRecord event) {
  if (!passesAdmission(event)) return;
  if (queue_.size() >= maxQueueSize_) {
    // The oldest make room, so the newest event always enters.
    queue_.erase(queue_.begin(), queue_.begin() + static_cast<std::ptrdiff_t>(queue_.size() - maxQueueSize_ + 1));
  }
  queue_.emplace_back(std::move(event));
  persist();
  autoFlushPausedAfterFailure_ = false;
  if (queue_.size() >= eagerFlushThreshold_) {
    // A task of its own that runs after this admission; until it starts it must not keep a
    // manager that its owner has let go.
    asio::post(strand_, [manager = weak_from_this()] {
      if (const auto self = manager.lock()) asio::co_spawn(self->strand_, eagerFlush(self), asio::detached);
    });
  }
}

bool EventManager::passesAdmission(const EventRecord& event) {
  if (!enabled_) return false;
  // A limit of 0 silences events on purpose; it never means "unlimited".
  if (maxEventsPerMinute_ < 1) return false;
  // A fixed window per clock minute; refused events count too.
  const auto minute = static_cast<std::int64_t>(std::trunc(toEpochSeconds(clock_.now()) / 60.0));
  if (minute != currentRateLimitWindow_) {
    currentRateLimitWindow_ = minute;
    currentRateLimitCount_ = 0;
  }
  if (currentRateLimitCount_ < std::numeric_limits<std::int64_t>::max()) ++currentRateLimitCount_;
  if (currentRateLimitCount_ > maxEventsPerMinute_) return false;
  return isSampledIn(event, sampling_);
}

asio::awaitable<bool> EventManager::flush(bool force) {
  // A flush already under way is neither joined nor awaited.
  if (isFlushing_) co_return false;
  if (!force && autoFlushPausedAfterFailure_) co_return false;
  isFlushing_ = true;
  if (queue_.empty()) {
    isFlushing_ = false;
    co_return true;
  }
  for (;;) {
    const auto batchEnd = queue_.begin() + static_cast<std::ptrdiff_t>(std::min(batchSize_, queue_.size()));
    std::vector<EncodedEventRecord> batch(std::make_move_iterator(queue_.begin()), std::make_move_iterator(batchEnd));
    queue_.erase(queue_.begin(), batchEnd);
    persist();  // from here until the answer the batch lives only in memory

    std::vector<EventRecord> records;
    records.reserve(batch.size());
    for (const EncodedEventRecord& queued : batch) records.push_back(queued.record());
    const bool accepted = co_await repository_.submitEvents(std::move(records));

    if (accepted && force && !queue_.empty()) continue;
    if (accepted) {
      autoFlushPausedAfterFailure_ = false;
      persist();
      isFlushing_ = false;
      co_return true;
    }
    // Events admitted during the send stay behind the batch, which keeps its order.
    queue_.insert(queue_.begin(), std::make_move_iterator(batch.begin()), std::make_move_iterator(batch.end()));
    persist();
    if (!force) autoFlushPausedAfterFailure_ = true;
    isFlushing_ = false;
    co_return false;
  }
}

asio::awaitable<void> EventManager::eagerFlush(std::shared_ptr<EventManager> self) { co_await self->flush(false); }

void EventManager::restore() {
  if (!queue_.empty()) return;
  const std::optional<Bytes> data = storage_.getBytes(kQueueStorageKey);
  if (!data) return;
  std::vector<EventRecord> records;
  try {
    records = decodeEventArray(std::string_view(reinterpret_cast<const char*>(data->data()), data->size()));
  } catch (const std::exception& error) {
    logError("Failed to restore persisted event queue", error.what());
    storage_.remove(kQueueStorageKey);
    return;
  }
  const std::size_t keep = std::min(records.size(), maxQueueSize_);
  queue_.reserve(keep);
  for (auto it = records.end() - static_cast<std::ptrdiff_t>(keep); it != records.end(); ++it) {
    queue_.emplace_back(std::move(*it));
  }
  if (!queue_.empty()) {
    logInfo("Restored " + std::to_string(queue_.size()) + " queued event(s) from disk");
  }
}

void EventManager::persist() {
  if (queue_.empty()) {
    storage_.remove(kQueueStorageKey);
    return;
  }
  // Only the newest maxQueueSize_ are written; the queue in memory is never shortened here.
  const std::span<const EncodedEventRecord> newest =
      std::span<const EncodedEventRecord>(queue_).last(std::min(queue_.size(), maxQueueSize_));
  std::string json;
  try {
    json = encodeEventArray(newest);
  } catch (const EncodingError& error) {
    logError("Failed to persist event queue", error.what());
    return;
  }
  storage_.setBytes(kQueueStorageKey, asBytes(json));
}

}  // namespace tarnwell::detail
