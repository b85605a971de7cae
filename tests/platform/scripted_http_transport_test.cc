#include <tarnwell/testing/scripted_http_transport.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/scripted_gateway.h"
#include "tests/support/transfer_outcome.h"

namespace tarnwell {
namespace {

using testing::errorOf;
using testing::responseOf;
using Outcome = testing::TransferOutcome;

HttpRequest requestTo(std::string url, std::string body = "{}") {
  HttpRequest request;
  request.url = std::move(url);
  request.body = std::move(body);
  return request;
}

TEST(ScriptedHttpTransportTest, AnswersFromTheScriptInOrderThenFailsWhenItRunsOut) {
  testing::ScriptedHttpTransport transport;
  transport.enqueue(testing::httpResponse("first"));
  transport.enqueue(TransportError{TransportErrorCode::timedOut, "slow"});
  transport.enqueue(HttpResponse{.status = 500, .headers = {{"Retry-After", "3"}}, .body = "third"});

  std::vector<Outcome> outcomes(4);
  for (auto& outcome : outcomes) {
    transport.post(requestTo("https://gw/f"), outcome.callback());
    EXPECT_TRUE(outcome.isDone());  // answered inline, before post returned
  }
  EXPECT_EQ(responseOf(outcomes[0].get()).body, "first");
  const TransportError slow = errorOf(outcomes[1].get());
  EXPECT_EQ(slow.code, TransportErrorCode::timedOut);
  EXPECT_EQ(slow.message, "slow");
  const HttpResponse third = responseOf(outcomes[2].get());
  EXPECT_EQ(third.status, 500);
  EXPECT_EQ(third.body, "third");
  EXPECT_EQ(third.headers, (HttpHeaders{{"Retry-After", "3"}}));
  const TransportError none = errorOf(outcomes[3].get());
  EXPECT_EQ(none.code, TransportErrorCode::network);
  EXPECT_EQ(none.message, "no scripted response");
}

TEST(ScriptedHttpTransportTest, AsksTheResponderOnlyWhenTheScriptIsEmpty) {
  testing::ScriptedHttpTransport transport;
  transport.enqueue(testing::httpResponse("scripted"));
  transport.setResponder([&](const HttpRequest& request) -> HttpResult {
    // The transport's lock is not held here, so the responder may look at it.
    return testing::httpResponse("echo " + request.body + " #" + std::to_string(transport.requests().size()));
  });
  Outcome first, second, third;
  transport.post(requestTo("https://gw/f", "a"), first.callback());
  transport.post(requestTo("https://gw/f", "b"), second.callback());
  transport.setResponder({});
  transport.post(requestTo("https://gw/f", "c"), third.callback());

  EXPECT_EQ(responseOf(first.get()).body, "scripted");
  EXPECT_EQ(responseOf(second.get()).body, "echo b #2");
  EXPECT_EQ(errorOf(third.get()).message, "no scripted response");
}

TEST(ScriptedHttpTransportTest, HeldRequestsWaitForTheTestToCompleteThemOldestFirst) {
  testing::ScriptedHttpTransport transport;
  transport.enqueue(testing::httpResponse("not used while held"));
  transport.holdResponses(true);
  Outcome first, second, third;
  transport.post(requestTo("https://gw/1"), first.callback());
  transport.post(requestTo("https://gw/2"), second.callback());
  transport.post(requestTo("https://gw/3"), third.callback());
  EXPECT_FALSE(first.isDone());
  EXPECT_EQ(transport.pendingCount(), 3u);

  EXPECT_TRUE(transport.completeNext(testing::httpResponse("one")));
  EXPECT_EQ(responseOf(first.get()).body, "one");
  EXPECT_FALSE(second.isDone());
  EXPECT_EQ(transport.pendingCount(), 2u);

  EXPECT_EQ(transport.completeAll(TransportError{TransportErrorCode::cannotConnect, "down"}), 2u);
  EXPECT_EQ(errorOf(second.get()).message, "down");
  EXPECT_EQ(errorOf(third.get()).code, TransportErrorCode::cannotConnect);
  EXPECT_FALSE(transport.completeNext(testing::httpResponse("nobody waits")));
  EXPECT_EQ(transport.completeAll(testing::httpResponse("nobody waits")), 0u);

  transport.holdResponses(false);
  Outcome fourth;
  transport.post(requestTo("https://gw/4"), fourth.callback());
  EXPECT_EQ(responseOf(fourth.get()).body, "not used while held");
}

TEST(ScriptedHttpTransportTest, CancellingAPendingTransferCompletesItOnceWithCancelled) {
  testing::ScriptedHttpTransport transport;
  transport.holdResponses(true);
  Outcome first, second;
  const auto firstTransfer = transport.post(requestTo("https://gw/1"), first.callback());
  const auto secondTransfer = transport.post(requestTo("https://gw/2"), second.callback());

  firstTransfer->cancel();
  const TransportError cancelled = errorOf(first.get());
  EXPECT_EQ(cancelled.code, TransportErrorCode::cancelled);
  EXPECT_EQ(cancelled.message, "transfer cancelled");
  EXPECT_EQ(transport.pendingCount(), 1u);

  EXPECT_TRUE(transport.completeNext(testing::httpResponse("two")));  // the cancelled one is skipped
  EXPECT_EQ(responseOf(second.get()).body, "two");
  firstTransfer->cancel();
  secondTransfer->cancel();
  EXPECT_EQ(first.calls(), 1);
  EXPECT_EQ(second.calls(), 1);
}

TEST(ScriptedHttpTransportTest, DestroyingTheTransportCancelsWhatIsPending) {
  auto transport = std::make_unique<testing::ScriptedHttpTransport>();
  transport->holdResponses(true);
  Outcome outcome;
  const auto transfer = transport->post(requestTo("https://gw/1"), outcome.callback());
  transport.reset();
  const TransportError error = errorOf(outcome.get());
  EXPECT_EQ(error.code, TransportErrorCode::cancelled);
  EXPECT_EQ(error.message, "transport shut down");
  transfer->cancel();  // safe after the transport is gone
  EXPECT_EQ(outcome.calls(), 1);
}

}  // namespace
}  // namespace tarnwell
