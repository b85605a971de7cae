// File: tarnwell/platform/background_task_host.h
//
// BackgroundTaskHost lets the SDK ask the host to keep the process running for a bounded time
// after it leaves the foreground, so the last user sync and event flush can finish. Mobile
// hosts map it to their platform's background task; desktop hosts usually need nothing (the
// default keeps no process alive and never expires) or hold their exit with
// Tarnwell::flushAndWait.
//
//   struct MyHost : tarnwell::BackgroundTaskHost {
//     TaskId begin(std::string_view name, std::function<void()> onExpiry) override { ... }
//     void end(TaskId id) override { ... }
//   };
//
// Called on the SDK's main context. `onExpiry` may be called from any thread, at most once,
// before `end` for that task; the SDK then ends the task itself.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include <tarnwell/export.h>

namespace tarnwell {

class TARNWELL_API BackgroundTaskHost {
 public:
  using TaskId = std::uint64_t;
  static constexpr TaskId invalidTask = 0;

  virtual ~BackgroundTaskHost() = default;
  // Returns the new task's id, or invalidTask when the host cannot grant one.
  virtual TaskId begin(std::string_view name, std::function<void()> onExpiry) = 0;
  virtual void end(TaskId id) = 0;
};

// Grants every request and never expires: the process is the host's to keep alive.
class TARNWELL_API NullBackgroundTaskHost final : public BackgroundTaskHost {
 public:
  TaskId begin(std::string_view, std::function<void()>) override { return ++last_; }
  void end(TaskId) override {}

 private:
  TaskId last_ = invalidTask;
};

}  // namespace tarnwell
