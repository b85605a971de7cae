// A host that keeps tracking against a gateway that never answers must not grow: the queue is
// bounded, refused events leave nothing behind, and no task piles up.
#include <gtest/gtest.h>

#include <malloc.h>
#include <atomic>
#include <string>

#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/sdk_harness.h"

namespace tarnwell {
namespace {

// Heap bytes in use, in KiB: what the process holds, not what the allocator keeps cached.
long heapInUseKiB() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<long>((info.uordblks + info.hblkhd) / 1024);
}

// Answers the bootstrap, then refuses every connection; keeps no record of what it was sent.
struct DeadGateway final : HttpTransport {
  std::shared_ptr<HttpTransfer> post(HttpRequest request, Completion completion) override {
    if (request.body.find(R"(\"action\":\"bootstrap\")") != std::string::npos) {
      HttpResponse response;
      response.status = 200;
      response.body = testing::kHarnessBootstrap;
      completion(response);
    } else {
      ++refused;
      completion(TransportError{TransportErrorCode::cannotConnect, "Connection refused"});
    }
    return nullptr;
  }
  std::atomic<long> refused{0};
};

TEST(MemoryTest, TrackingAgainstADeadGatewayStaysFlat) {
  if (heapInUseKiB() == 0) {
    GTEST_SKIP() << "this build's allocator keeps no statistics (a sanitizer replaces it)";
  }
  testing::LogRecorder log;  // keeps the failure lines off the console
  auto gateway = std::make_shared<DeadGateway>();
  testing::SdkHarness sdk([&](HostOptions& options) { options.transport = gateway; });
  ASSERT_EQ(sdk.start(), SDKState::ready());
  const JSONObject properties{{"a", 1}, {"b", "two"}, {"c", true}, {"d", 4.5}, {"e", "five"}};

  // 120 events a minute are admitted (the default rate limit): the queue reaches its bound of
  // 500 in the fifth minute, after which nothing may grow.
  constexpr int kRounds = 50;  // a million events in all
  constexpr int kFullQueueRound = 5;
  constexpr int kEventsPerRound = 20'000;
  long afterWarmUp = 0;
  for (int round = 0; round < kRounds; ++round) {
    for (int i = 0; i < kEventsPerRound; ++i) {
      sdk->trackEvent("event_" + std::to_string(i % 50), properties);
      if (i % 1000 == 0) sdk->mainContext().poll();
    }
    sdk.settle();
    sdk.advance(std::chrono::seconds(60));  // a new rate-limit minute and a flush attempt each round
    log.clear();
    if (round == kFullQueueRound) afterWarmUp = heapInUseKiB();
  }
  const long atEnd = heapInUseKiB();
  ASSERT_GT(afterWarmUp, 0);
  // Forty-four more rounds of 20 000 events may not leave more than a little noise behind.
  EXPECT_LT(atEnd - afterWarmUp, 512) << "grew from " << afterWarmUp << " KiB to " << atEnd << " KiB";

  std::optional<std::size_t> queued;
  sdk->getQueuedEventCount([&](std::size_t count) { queued = count; });
  ASSERT_TRUE(sdk.waitUntil([&] { return queued.has_value(); }));
  // Bounded: at most the queue's limit plus a batch put back after a failed send.
  EXPECT_LE(*queued, 550u);
  EXPECT_GT(gateway->refused.load(), 0);
}

}  // namespace
}  // namespace tarnwell
