// File: tarnwell/testing/scripted_http_transport.h
//
// ScriptedHttpTransport is an HttpTransport for tests: it sends nothing, records every request,
// and answers from a script the test writes in advance.
//
//   tarnwell::testing::ScriptedHttpTransport transport;
//   transport.enqueue(tarnwell::HttpResponse{.status = 200, .body = R"({"ok":true})"});
//   client.fetchSomething();                        // posts through `transport`
//   EXPECT_EQ(transport.requests().at(0).body, R"({"function":"..."})");
//
// How a request is answered, first match wins:
// 1. while responses are held (`holdResponses(true)`), it stays pending until the test calls
//    `completeNext`/`completeAll` or the transfer is cancelled;
// 2. the oldest result passed to `enqueue`;
// 3. the responder passed to `setResponder`;
// 4. otherwise TransportError{network, "no scripted response"}.
//
// Contract:
// - Every member may be called from any thread. Completions never run under the transport's
//   lock, so they may call back into it.
// - A request that is not held completes inline, inside `post`, on the posting thread.
//   A held one completes on the thread that calls `completeNext`, `completeAll` or `cancel`.
// - Cancelling a pending transfer completes it at once with `cancelled`; cancelling a finished
//   one does nothing. Destroying the transport completes whatever is pending with `cancelled`.
// - The transport throws nothing of its own: a responder that throws fails its request with a
//   `network` error. An exception thrown by a completion reaches whoever ran it.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include <tarnwell/platform/http_transport.h>

namespace tarnwell::detail {
struct ScriptedState;
}  // namespace tarnwell::detail

namespace tarnwell::testing {

class ScriptedHttpTransport final : public HttpTransport {
 public:
  using Responder = std::function<HttpResult(const HttpRequest&)>;

  ScriptedHttpTransport();
  ~ScriptedHttpTransport() override;

  ScriptedHttpTransport(const ScriptedHttpTransport&) = delete;
  ScriptedHttpTransport& operator=(const ScriptedHttpTransport&) = delete;

  std::shared_ptr<HttpTransfer> post(HttpRequest request, Completion completion) override;

  // Answers one later request, in the order enqueued.
  void enqueue(HttpResult result);
  // Answers the requests that find no enqueued result. It runs outside the transport's lock,
  // on the posting thread, possibly on several at once. An empty function removes it.
  void setResponder(Responder responder);
  // While on, new requests stay pending. Turning it off leaves pending requests pending.
  void holdResponses(bool hold);

  // Copies of every request posted so far, oldest first.
  std::vector<HttpRequest> requests() const;
  std::size_t pendingCount() const;
  // Completes the oldest pending request; false when none is pending.
  bool completeNext(HttpResult result);
  // Completes every pending request with a copy of `result`, oldest first; returns how many.
  std::size_t completeAll(const HttpResult& result);

 private:
  std::shared_ptr<detail::ScriptedState> state_;  // shared with the transfers, so cancel() outlives us
};

}  // namespace tarnwell::testing
