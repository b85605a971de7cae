// File: tarnwell/events/detail/event_manager.h
//
// EventManager carries tracked events to the backend. It decides whether an event is admitted
// (master switch, a per-minute rate limit, sampling), keeps the admitted ones in a bounded queue
// that survives process death under "com.tarnwell.eventQueue.v1", and sends them in batches
// through EventRepository. Nothing is reported to the tracking caller: a refused or dropped
// event leaves no trace.
//
//   auto events = EventManager::create(pool.executor(), std::move(repository), clock, store);
//   co_await events->configure(config.events, config.killSwitches);   // restores the stored queue
//   co_await events->queueEvent(std::move(record));
//   bool sent = co_await events->flushEvents(true);                    // drains the queue
//
// Threads: the state lives on a strand of its own, built from the executor given to create().
// Every member may be awaited from any executor; it hops onto the strand and resumes the caller
// on the caller's executor. A send suspends the strand's work, so other calls interleave then;
// `isFlushing` keeps a second send from starting meanwhile.
//
// Failures: nothing throws but std::bad_alloc. A failed send puts its batch back at the front of
// the queue; a stored queue that does not decode is logged and removed; a queue that cannot be
// encoded is logged and the store keeps what it had. A send cut short by the death of the process
// loses its batch.
#pragma once

#include <asio/any_io_executor.hpp>
#include <asio/awaitable.hpp>
#include <asio/strand.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tarnwell/backend/runtime_config.h"
#include "tarnwell/events/detail/event_record.h"
#include "tarnwell/events/detail/event_repository.h"
#include "tarnwell/platform/clock.h"
#include "tarnwell/platform/key_value_store.h"

namespace tarnwell::detail {

class EventManager : public std::enable_shared_from_this<EventManager> {
 public:
  static constexpr std::string_view kQueueStorageKey = "com.tarnwell.eventQueue.v1";

  // Until configure() runs: enabled, batches of 50, an eager flush at 40 queued, a bound of 500,
  // 120 events a minute, and the default sampling (feature flags at 25 percent, the rest 100).
  static std::shared_ptr<EventManager> create(const asio::any_io_executor& executor, EventRepository repository,
                                              Clock& clock, KeyValueStore& storage);

  // Takes the backend's tuning, then restores the stored queue if the queue is empty. Sizes
  // below 1 become 1, a negative rate limit 0 (which silences every event); the eager threshold
  // is the smaller of the configured batch size and bound.
  asio::awaitable<void> configure(RuntimeConfig::EventsConfig events, RuntimeConfig::KillSwitchConfig killSwitches);

  // Admits the event or drops it silently. At the bound the oldest events make room. An admitted
  // event is persisted, re-arms automatic flushing after a failure, and when the queue reaches
  // the eager threshold starts a non-forced flush on its own.
  asio::awaitable<void> queueEvent(EventRecord event);

  // Sends the oldest batch; `force` drains the whole queue batch after batch. Answers false at
  // once while another flush runs, and for a non-forced flush after a failed non-forced one
  // until an event is admitted or a forced flush succeeds; otherwise whether every send succeeded.
  asio::awaitable<bool> flushEvents(bool force);

  asio::awaitable<std::size_t> queuedEventCount();
  asio::awaitable<bool> hasQueuedEvents();
  // Empties the queue and its store key and clears both flush flags.
  asio::awaitable<void> clearQueue();

 private:
  EventManager(const asio::any_io_executor& executor, EventRepository repository, Clock& clock, KeyValueStore& storage);

  // Runs `work` on the strand, keeping the manager alive until it has run.
  template <typename Work>
  asio::awaitable<std::invoke_result_t<Work&>> onStrand(Work work);

  void applyConfiguration(const RuntimeConfig::EventsConfig& events,
                          const RuntimeConfig::KillSwitchConfig& killSwitches);
  void admit(EventRecord event);
  bool passesAdmission(const EventRecord& event);
  asio::awaitable<bool> flush(bool force);
  static asio::awaitable<void> eagerFlush(std::shared_ptr<EventManager> self);
  void restore();
  void persist();

  asio::strand<asio::any_io_executor> strand_;
  EventRepository repository_;
  Clock& clock_;
  KeyValueStore& storage_;

  std::vector<EncodedEventRecord> queue_;  // oldest first
  bool isFlushing_ = false;
  bool autoFlushPausedAfterFailure_ = false;
  std::size_t batchSize_ = 50;
  std::size_t eagerFlushThreshold_ = 40;
  std::size_t maxQueueSize_ = 500;
  bool enabled_ = true;
  std::int64_t maxEventsPerMinute_ = 120;
  RuntimeConfig::SamplingConfig sampling_;
  std::int64_t currentRateLimitWindow_ = 0;  // minutes since 1970
  std::int64_t currentRateLimitCount_ = 0;   // saturates rather than overflow
};

}  // namespace tarnwell::detail
