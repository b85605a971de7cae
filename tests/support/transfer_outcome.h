// What tests of an HttpTransport wait on: a completion that keeps its result and counts how
// often the transport ran it, plus unpacking helpers that fail the test on the other case.
//
//   tarnwell::testing::TransferOutcome outcome;
//   transport.post(request, outcome.callback());
//   EXPECT_EQ(responseOf(outcome.get()).status, 200);
//   EXPECT_EQ(outcome.calls(), 1);
#pragma once

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <ostream>

#include <tarnwell/platform/http_transport.h>

namespace tarnwell {

// Lets GoogleTest print a code by name in failure messages.
inline void PrintTo(TransportErrorCode code, std::ostream* out) { *out << toString(code); }

}  // namespace tarnwell

namespace tarnwell::testing {

// The cap on every wait for a completion, so a broken transport fails a test instead of
// hanging it.
inline constexpr std::chrono::seconds kCompletionWaitCap{30};

class TransferOutcome {
 public:
  TransferOutcome();

  // May be run from any thread; only the first result is kept.
  HttpTransport::Completion callback();
  bool isDone() const;
  // Waits (up to the cap) for the first result; fails the test on time-out. Call once.
  HttpResult get();
  int calls() const;

 private:
  struct State {
    std::promise<HttpResult> promise;
    std::atomic<int> calls{0};
  };
  std::shared_ptr<State> state_;
  std::future<HttpResult> future_;
};

// The response, or a test failure naming the transport error and an empty response.
HttpResponse responseOf(const HttpResult& result);
// The transport error, or a test failure naming the status and a default error.
TransportError errorOf(const HttpResult& result);

}  // namespace tarnwell::testing
