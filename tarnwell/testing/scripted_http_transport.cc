#include <tarnwell/testing/scripted_http_transport.h>

#include <algorithm>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace tarnwell::detail {

struct ScriptedTransfer;

struct ScriptedState {
  mutable std::mutex mutex;
  std::deque<HttpResult> script;
  testing::ScriptedHttpTransport::Responder responder;
  bool hold = false;
  std::vector<HttpRequest> requests;
  std::deque<std::shared_ptr<ScriptedTransfer>> pending;

  // Takes the whole pending queue, so its completions can run outside the lock.
  std::deque<std::shared_ptr<ScriptedTransfer>> takePending() {
    std::lock_guard lock(mutex);
    return std::exchange(pending, {});
  }
};

struct ScriptedTransfer final : HttpTransfer {
  ScriptedTransfer(std::weak_ptr<ScriptedState> state, HttpTransport::Completion completion)
      : state(std::move(state)), completion(std::move(completion)) {}

  void cancel() noexcept override {
    const auto owner = state.lock();
    if (!owner) return;
    std::shared_ptr<ScriptedTransfer> self;
    {
      std::lock_guard lock(owner->mutex);
      const auto found = std::find_if(owner->pending.begin(), owner->pending.end(),
                                      [this](const auto& transfer) { return transfer.get() == this; });
      if (found == owner->pending.end()) return;  // already completed
      self = std::move(*found);
      owner->pending.erase(found);
    }
    finish(TransportError{TransportErrorCode::cancelled, "transfer cancelled"});
  }

  // Whoever takes the transfer out of the pending queue (or never put it there) calls this,
  // so it runs once.
  void finish(HttpResult result) {
    if (auto run = std::move(completion)) run(std::move(result));
  }

  const std::weak_ptr<ScriptedState> state;
  HttpTransport::Completion completion;
};

}  // namespace tarnwell::detail

namespace tarnwell::testing {
namespace {

HttpResult askResponder(const ScriptedHttpTransport::Responder& responder, const HttpRequest& request) {
  if (!responder) return TransportError{TransportErrorCode::network, "no scripted response"};
  try {
    return responder(request);
  } catch (const std::exception& e) {
    return TransportError{TransportErrorCode::network, std::string("scripted responder threw: ") + e.what()};
  } catch (...) {
    return TransportError{TransportErrorCode::network, "scripted responder threw"};
  }
}

}  // namespace

ScriptedHttpTransport::ScriptedHttpTransport() : state_(std::make_shared<detail::ScriptedState>()) {}

ScriptedHttpTransport::~ScriptedHttpTransport() {
  for (auto& transfer : state_->takePending()) {
    transfer->finish(TransportError{TransportErrorCode::cancelled, "transport shut down"});
  }
}

std::shared_ptr<HttpTransfer> ScriptedHttpTransport::post(HttpRequest request, Completion completion) {
  auto transfer = std::make_shared<detail::ScriptedTransfer>(state_, std::move(completion));
  std::optional<HttpResult> answer;
  Responder responder;
  {
    std::lock_guard lock(state_->mutex);
    state_->requests.push_back(request);
    if (state_->hold) {
      state_->pending.push_back(transfer);
      return transfer;
    }
    if (!state_->script.empty()) {
      answer = std::move(state_->script.front());
      state_->script.pop_front();
    } else {
      responder = state_->responder;
    }
  }
  transfer->finish(answer ? std::move(*answer) : askResponder(responder, request));
  return transfer;
}

void ScriptedHttpTransport::enqueue(HttpResult result) {
  std::lock_guard lock(state_->mutex);
  state_->script.push_back(std::move(result));
}

void ScriptedHttpTransport::setResponder(Responder responder) {
  std::lock_guard lock(state_->mutex);
  state_->responder = std::move(responder);
}

void ScriptedHttpTransport::holdResponses(bool hold) {
  std::lock_guard lock(state_->mutex);
  state_->hold = hold;
}

std::vector<HttpRequest> ScriptedHttpTransport::requests() const {
  std::lock_guard lock(state_->mutex);
  return state_->requests;
}

std::size_t ScriptedHttpTransport::pendingCount() const {
  std::lock_guard lock(state_->mutex);
  return state_->pending.size();
}

bool ScriptedHttpTransport::completeNext(HttpResult result) {
  std::shared_ptr<detail::ScriptedTransfer> next;
  {
    std::lock_guard lock(state_->mutex);
    if (state_->pending.empty()) return false;
    next = std::move(state_->pending.front());
    state_->pending.pop_front();
  }
  next->finish(std::move(result));
  return true;
}

std::size_t ScriptedHttpTransport::completeAll(const HttpResult& result) {
  const auto pending = state_->takePending();
  for (const auto& transfer : pending) transfer->finish(result);
  return pending.size();
}

}  // namespace tarnwell::testing
