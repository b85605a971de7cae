#include "tarnwell/events/detail/event_flush_loop.h"

#include <asio/bind_cancellation_slot.hpp>
#include <asio/co_spawn.hpp>

#include <algorithm>
#include <chrono>

#include "tarnwell/platform/detail/async.h"

namespace tarnwell::detail {

EventFlushLoop::EventFlushLoop(asio::any_io_executor executor, Clock& clock, IntervalSource intervalMs)
    : executor_(std::move(executor)), clock_(clock), intervalMs_(std::move(intervalMs)) {}

void EventFlushLoop::start(std::shared_ptr<EventManager> events) {
  stop();
  signal_ = std::make_unique<asio::cancellation_signal>();
  asio::co_spawn(executor_, run(std::move(events)),
                 asio::bind_cancellation_slot(signal_->slot(), [](std::exception_ptr) {
                   // Cancellation is how the loop ends; a flush never throws.
                 }));
}

void EventFlushLoop::stop() {
  if (signal_) signal_->emit(asio::cancellation_type::terminal);
}

asio::awaitable<void> EventFlushLoop::run(std::shared_ptr<EventManager> events) {
  for (;;) {
    co_await sleepFor(clock_, std::chrono::milliseconds(std::max<std::int64_t>(intervalMs_(), 1000)));
    co_await events->flushEvents(false);
  }
}

}  // namespace tarnwell::detail
