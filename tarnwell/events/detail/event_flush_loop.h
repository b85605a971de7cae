// File: tarnwell/events/detail/event_flush_loop.h
//
// EventFlushLoop is the one long-running task of the SDK: it sleeps the flush interval, flushes
// the event queue (unforced), and goes round again until stopped. The interval is read afresh
// each round, so a new runtime configuration takes effect at the next one, and it is never
// shorter than a second; one too large for the clock means the loop never comes round.
//
//   EventFlushLoop loop(main.ioContext().get_executor(), clock, [&] { return config.events.flushIntervalMs; });
//   loop.start(eventManager);   // a running loop is stopped first
//   loop.stop();                // on shutdown
//
// Threads: start and stop belong to the executor the loop runs on (the SDK's main context). The
// loop must be destroyed while that executor's context still exists: its last sleep resumes there.
#pragma once

#include <asio/any_io_executor.hpp>
#include <asio/awaitable.hpp>
#include <asio/cancellation_signal.hpp>

#include <cstdint>
#include <functional>
#include <memory>

#include "tarnwell/events/detail/event_manager.h"
#include "tarnwell/platform/clock.h"

namespace tarnwell::detail {

class EventFlushLoop {
 public:
  using IntervalSource = std::function<std::int64_t()>;  // milliseconds

  EventFlushLoop(asio::any_io_executor executor, Clock& clock, IntervalSource intervalMs);
  EventFlushLoop(const EventFlushLoop&) = delete;
  EventFlushLoop& operator=(const EventFlushLoop&) = delete;

  void start(std::shared_ptr<EventManager> events);
  void stop();

 private:
  asio::awaitable<void> run(std::shared_ptr<EventManager> events);

  asio::any_io_executor executor_;
  Clock& clock_;
  IntervalSource intervalMs_;
  std::unique_ptr<asio::cancellation_signal> signal_;
};

}  // namespace tarnwell::detail
