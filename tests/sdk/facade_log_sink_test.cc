// Each Tarnwell object's lines reach its own sink, from whichever of its threads they come, and
// the process's sink keeps every line no object claims.
#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "tarnwell/events/detail/event_manager.h"
#include "tarnwell/events/detail/event_record.h"
#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/sdk_harness.h"

namespace tarnwell {
namespace {

struct Lines {
  std::mutex mutex;
  std::vector<std::string> lines;

  LogSink sink() {
    return [this](LogLevel, std::string_view line) {
      std::lock_guard lock(mutex);
      lines.emplace_back(line);
    };
  }
  std::vector<std::string> taken() {
    std::lock_guard lock(mutex);
    return lines;
  }
};

TEST(FacadeLogSinkTest, TwoObjectsKeepTheirOwnSinksAndTheProcessSinkKeepsTheRest) {
  testing::LogRecorder process;
  Lines first, second;
  testing::SdkHarness a([&](HostOptions& options) { options.logSink = first.sink(); });
  testing::SdkHarness b([&](HostOptions& options) { options.logSink = second.sink(); });
  testing::SdkHarness unclaimed;

  a->trackEvent("from_a");
  b->trackEvent("from_b");
  unclaimed->trackEvent("from_unclaimed");
  a.settle();
  b.settle();
  unclaimed.settle();

  EXPECT_EQ(first.taken(), std::vector<std::string>{"[Tarnwell][WARN] Ignoring event from_a before SDK ready"});
  EXPECT_EQ(second.taken(), std::vector<std::string>{"[Tarnwell][WARN] Ignoring event from_b before SDK ready"});
  EXPECT_EQ(process.lines(),
            std::vector<std::string>{"[Tarnwell][WARN] Ignoring event from_unclaimed before SDK ready"});
}

// The event queue is restored on the worker pool, not on the main context.
TEST(FacadeLogSinkTest, LinesFromTheWorkerPoolReachTheObjectsSink) {
  testing::LogRecorder process;
  Lines own;
  testing::SdkHarness sdk([&](HostOptions& options) { options.logSink = own.sink(); });
  detail::EventRecord queued;
  queued.eventName = "left_over";
  queued.userId = "user-1";
  queued.eventType = "custom";
  sdk.store().setBytes(detail::EventManager::kQueueStorageKey, asBytes(JSONValue(JSONArray{queued.encode()}).encode()));
  sdk.start();

  const std::vector<std::string> lines = own.taken();
  EXPECT_NE(std::find(lines.begin(), lines.end(), "[Tarnwell][INFO] Restored 1 queued event(s) from disk"),
            lines.end());
  EXPECT_TRUE(process.lines().empty());
}

}  // namespace
}  // namespace tarnwell
