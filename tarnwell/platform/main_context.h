// File: tarnwell/platform/main_context.h
//
// MainContext is the execution context on which all of the SDK's main state lives: the facade,
// the identity store, the delivery managers and every view model. Work posted to it runs one
// item at a time, in order. It runs in one of two modes:
//
// - ownThread (the default): the SDK starts a thread of its own for it, so the host's main
//   thread is never borrowed.
// - hostPumped: nothing runs until the host calls poll() or runFor(), e.g. from its frame loop.
//   Tests use this mode to run everything deterministically on the test thread.
//
//   tarnwell::MainContext main(tarnwell::MainContext::Mode::hostPumped);
//   main.post([] { /* runs inside the next poll() */ });
//   main.poll();
//
// post() and runningInThisThread() may be called from any thread. poll() and runFor() belong to
// hostPumped mode and must not be called from inside posted work. A posted item that throws is
// logged and the context carries on.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

#include <tarnwell/core/log.h>
#include <tarnwell/export.h>

namespace asio {
class io_context;
}

namespace tarnwell {

class TARNWELL_API MainContext {
 public:
  enum class Mode { ownThread, hostPumped };

  // The context's work logs to `logSink` when one is given (an SDK object's own sink), else to
  // the process's sink.
  explicit MainContext(Mode mode = Mode::ownThread, LogSink logSink = {});
  // Stops the context; in ownThread mode joins its thread. Work still queued is dropped.
  ~MainContext();
  // Stops running work (joining the own thread) but keeps the context alive, so that late
  // posts from other threads land in a queue that is never run instead of in freed memory.
  // Called by owners that must tear down I/O before the context itself.
  void stop();
  MainContext(const MainContext&) = delete;
  MainContext& operator=(const MainContext&) = delete;

  Mode mode() const noexcept;

  // Queues `work`; it never runs inside post().
  void post(std::function<void()> work);
  // True while the calling thread is running this context's work.
  bool runningInThisThread() const noexcept;

  // hostPumped: runs the work that is ready now, and what that work makes ready, without
  // waiting. Returns the number of items run.
  std::size_t poll();
  // hostPumped: runs work as it arrives for up to `limit` of real time, or until `done` returns
  // true when given. Returns the number of items run.
  std::size_t runFor(std::chrono::milliseconds limit, const std::function<bool()>& done = {});

  // For the library's internals: the Asio context behind this one.
  asio::io_context& ioContext() noexcept;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tarnwell
