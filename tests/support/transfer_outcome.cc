#include "tests/support/transfer_outcome.h"

#include <gtest/gtest.h>

namespace tarnwell::testing {

TransferOutcome::TransferOutcome() : state_(std::make_shared<State>()), future_(state_->promise.get_future()) {}

HttpTransport::Completion TransferOutcome::callback() {
  return [state = state_](HttpResult result) {
    if (state->calls.fetch_add(1) == 0) state->promise.set_value(std::move(result));
  };
}

bool TransferOutcome::isDone() const { return state_->calls.load() > 0; }

HttpResult TransferOutcome::get() {
  if (future_.wait_for(kCompletionWaitCap) != std::future_status::ready) {
    ADD_FAILURE() << "the transfer did not complete";
    return TransportError{TransportErrorCode::network, "test gave up waiting"};
  }
  return future_.get();
}

int TransferOutcome::calls() const { return state_->calls.load(); }

HttpResponse responseOf(const HttpResult& result) {
  if (const auto* error = std::get_if<TransportError>(&result)) {
    ADD_FAILURE() << "transport error " << toString(error->code) << ": " << error->message;
    return {};
  }
  return std::get<HttpResponse>(result);
}

TransportError errorOf(const HttpResult& result) {
  if (const auto* response = std::get_if<HttpResponse>(&result)) {
    ADD_FAILURE() << "unexpected response with status " << response->status;
    return {};
  }
  return std::get<TransportError>(result);
}

}  // namespace tarnwell::testing
