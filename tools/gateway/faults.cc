#include "tools/gateway/faults.h"

#include <cstdint>

#include <tarnwell/core/coding_error.h>
#include "tarnwell/core/detail/record_coding.h"

#include "tools/gateway/bad_request.h"

namespace tarnwell::gateway {
namespace {

// A fault as posted, before its kind is worked out.
struct FaultRequest {
  std::string action;
  std::optional<int> count;
  std::optional<int> status;
  std::optional<std::int64_t> delayMs;
  std::optional<bool> malformed;
  std::optional<bool> emptyBody;
  std::optional<bool> drop;
};

// Ten minutes: far beyond any client time-out, short enough not to hold a worker forever.
constexpr std::int64_t kMaxDelayMs = 600'000;

}  // namespace
}  // namespace tarnwell::gateway

namespace tarnwell::detail {

template <>
struct RecordFields<gateway::FaultRequest> {
  using Request = gateway::FaultRequest;
  static constexpr auto fields = std::make_tuple(
      field(&Request::action, "action"), field(&Request::count, "count"), field(&Request::status, "status"),
      field(&Request::delayMs, "delayMs"), field(&Request::malformed, "malformed"),
      field(&Request::emptyBody, "emptyBody"), field(&Request::drop, "drop"));
};

}  // namespace tarnwell::detail

namespace tarnwell::gateway {
namespace {

FaultRequest decodeFaultRequest(std::string_view body) {
  try {
    return detail::decodeRecord<FaultRequest>(JSONValue::decode(body));
  } catch (const DecodingError& error) {
    throw BadRequest(std::string("Invalid fault: ") + error.what());
  }
}

// The one kind the request names; "status" alone is a kind, and may also go with "emptyBody".
FaultKind kindOf(const FaultRequest& request) {
  std::vector<FaultKind> named;
  if (request.delayMs) named.push_back(FaultKind::delay);
  if (request.malformed.value_or(false)) named.push_back(FaultKind::malformed);
  if (request.emptyBody.value_or(false)) named.push_back(FaultKind::emptyBody);
  if (request.drop.value_or(false)) named.push_back(FaultKind::drop);
  if (named.size() > 1) {
    throw BadRequest("Invalid fault: name only one of \"delayMs\", \"malformed\", \"emptyBody\" and \"drop\"");
  }
  if (named.empty()) {
    if (request.status) return FaultKind::status;
    throw BadRequest("Invalid fault: name one of \"status\", \"delayMs\", \"malformed\", \"emptyBody\" and \"drop\"");
  }
  if (request.status && named.front() != FaultKind::emptyBody) {
    throw BadRequest("Invalid fault: \"status\" goes alone or with \"emptyBody\"");
  }
  return named.front();
}

void requireRange(std::int64_t value, std::int64_t low, std::int64_t high, std::string_view what) {
  if (value < low || value > high) {
    throw BadRequest("Invalid fault: " + std::string(what) + " must be from " + std::to_string(low) + " to " +
                     std::to_string(high));
  }
}

}  // namespace

std::optional<int> Fault::httpStatus() const {
  switch (kind) {
    case FaultKind::status:
    case FaultKind::emptyBody: return status;
    case FaultKind::delay:
    case FaultKind::malformed: return 200;
    case FaultKind::drop: return std::nullopt;
  }
  return std::nullopt;
}

std::string_view Fault::name() const {
  switch (kind) {
    case FaultKind::status: return "status";
    case FaultKind::delay: return "delayMs";
    case FaultKind::malformed: return "malformed";
    case FaultKind::emptyBody: return "emptyBody";
    case FaultKind::drop: return "drop";
  }
  return "status";
}

JSONValue Fault::toJSON() const {
  JSONObject object{{"action", action}, {"count", count}};
  switch (kind) {
    case FaultKind::status: object.set("status", status); break;
    case FaultKind::delay: object.set("delayMs", delay.count()); break;
    case FaultKind::malformed: object.set("malformed", true); break;
    case FaultKind::emptyBody:
      object.set("emptyBody", true);
      object.set("status", status);
      break;
    case FaultKind::drop: object.set("drop", true); break;
  }
  return object;
}

Fault parseFault(std::string_view body) {
  const FaultRequest request = decodeFaultRequest(body);
  if (request.action.empty()) throw BadRequest("Invalid fault: \"action\" must name an action or be \"*\"");
  Fault fault{request.action, request.count.value_or(1), kindOf(request)};
  requireRange(fault.count, 1, 1'000'000, "\"count\"");
  if (fault.kind == FaultKind::status) {
    requireRange(*request.status, 400, 599, "\"status\"");
    fault.status = *request.status;
  } else if (fault.kind == FaultKind::emptyBody) {
    fault.status = request.status.value_or(200);
    requireRange(fault.status, 200, 299, "\"status\" with \"emptyBody\"");
  } else if (fault.kind == FaultKind::delay) {
    requireRange(*request.delayMs, 0, kMaxDelayMs, "\"delayMs\"");
    fault.delay = std::chrono::milliseconds(*request.delayMs);
  }
  return fault;
}

void FaultPlan::add(Fault fault) {
  std::lock_guard lock(mutex_);
  faults_.push_back(std::move(fault));
}

std::optional<Fault> FaultPlan::take(std::string_view action) {
  std::lock_guard lock(mutex_);
  for (auto it = faults_.begin(); it != faults_.end(); ++it) {
    if (!it->matches(action)) continue;
    Fault taken = *it;
    if (--it->count == 0) faults_.erase(it);
    return taken;
  }
  return std::nullopt;
}

std::vector<Fault> FaultPlan::pending() const {
  std::lock_guard lock(mutex_);
  return faults_;
}

void FaultPlan::clear() {
  std::lock_guard lock(mutex_);
  faults_.clear();
}

DelayGate::DelayGate(std::shared_ptr<Clock> clock) : clock_(std::move(clock)) {}

bool DelayGate::wait(std::chrono::milliseconds delay) {
  if (delay <= std::chrono::milliseconds(0)) {
    std::lock_guard lock(state_->mutex);
    return !state_->closed;
  }
  auto due = std::make_shared<bool>(false);  // guarded by the state's mutex
  const auto timer = clock_->startTimer(delay, [state = state_, due] {
    std::lock_guard lock(state->mutex);
    *due = true;
    state->changed.notify_all();
  });
  std::unique_lock lock(state_->mutex);
  state_->changed.wait(lock, [&] { return *due || state_->closed; });
  const bool passed = *due;
  lock.unlock();
  timer->cancel();
  return passed;
}

void DelayGate::close() {
  std::lock_guard lock(state_->mutex);
  state_->closed = true;
  state_->changed.notify_all();
}

}  // namespace tarnwell::gateway
