// File: tools/gateway/faults.h
//
// Faults a test injects into the local gateway's answers. A fault names an action (or "*" for
// every action) and a count: that many of the next matching calls get it, then normal service
// resumes.
//
//   FaultPlan plan;
//   plan.add(parseFault(R"({"action":"get_surveys","count":2,"status":503})"));
//   std::optional<Fault> fault = plan.take("get_surveys");   // the 503, one left
//
// The kinds: "status" answers that HTTP status with a small JSON error body; "delayMs" answers
// normally once the delay has passed; "malformed" answers 200 with a body that is not JSON;
// "emptyBody" answers 200 (or the 2xx "status" given with it) with nothing in the body; "drop"
// closes the connection without answering at all.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tarnwell/core/json_value.h>
#include <tarnwell/platform/clock.h>

namespace tarnwell::gateway {

enum class FaultKind { status, delay, malformed, emptyBody, drop };

struct Fault {
  std::string action;  // an action name, or "*"
  int count = 1;       // matching calls still to get it
  FaultKind kind = FaultKind::status;
  int status = 0;  // the HTTP status of "status" and "emptyBody"
  std::chrono::milliseconds delay{0};

  bool matches(std::string_view calledAction) const { return action == "*" || action == calledAction; }
  // The status the caller sees; absent for a dropped connection.
  std::optional<int> httpStatus() const;
  // "status", "delayMs", "malformed", "emptyBody" or "drop": the key that names the kind.
  std::string_view name() const;
  // The fault as it would be posted, with the calls still to come as "count".
  JSONValue toJSON() const;
};

// Reads {"action": ..., "count": N, and one kind}. Throws BadRequest, naming what does not fit.
Fault parseFault(std::string_view body);

// The pending faults, in the order they were added. Safe from any thread.
class FaultPlan {
 public:
  void add(Fault fault);
  // The first pending fault that matches `action`, counted off; absent when none does.
  std::optional<Fault> take(std::string_view action);
  std::vector<Fault> pending() const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<Fault> faults_;
};

// Holds delayed answers on the clock until they are due, or until the server closes the gate.
// Safe from any thread.
class DelayGate {
 public:
  explicit DelayGate(std::shared_ptr<Clock> clock);

  // Blocks until `delay` has passed on the clock: true; no delay passes at once. Returns false
  // as soon as the gate is closed.
  bool wait(std::chrono::milliseconds delay);
  // Releases every wait, present and future.
  void close();

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    bool closed = false;
  };
  std::shared_ptr<Clock> clock_;
  // Shared with the timers, which may fire after the gate is gone.
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace tarnwell::gateway
