// A telemetry batcher over a fresh queue, an in-memory store, a virtual clock and the scripted
// transport, all driven on the test thread through a host-pumped main context.
#pragma once

#include <gtest/gtest.h>

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>

#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "tarnwell/events/detail/runtime_telemetry_batcher.h"
#include "tarnwell/platform/main_context.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tarnwell/testing/virtual_clock.h"
#include "tests/support/scripted_gateway.h"

namespace tarnwell::testing {

inline constexpr std::string_view kStoragePrefix = "com.tarnwell.runtimeTelemetryQueue.";
inline constexpr std::string_view kStorageKey = "com.tarnwell.runtimeTelemetryQueue.t1_stage.v1";

// Item n as stored and sent: {"action":"track_feature_flag_evaluation","payload":{"flagKey":"f<n>"}}.
inline std::string itemJson(int n) {
  return R"({"action":"track_feature_flag_evaluation","payload":{"flagKey":"f)" + std::to_string(n) + R"("}})";
}

// The JSON array of items first..last, written out by hand so the comparison is on bytes.
inline std::string itemsJson(int first, int last) {
  std::string out = "[";
  for (int n = first; n <= last; ++n) {
    if (n > first) out += ",";
    out += itemJson(n);
  }
  return out + "]";
}

struct RuntimeTelemetryTest : ::testing::Test {
  MainContext main{MainContext::Mode::hostPumped};
  testing::VirtualClock clock;
  MemoryKeyValueStore store;
  LogRecorder logs;
  std::shared_ptr<detail::AppwriteClient> client =
      std::make_shared<detail::AppwriteClient>("https://api.example.com/v1", "proj", "db", "fn_gateway");
  std::shared_ptr<testing::ScriptedHttpTransport> transport = std::make_shared<testing::ScriptedHttpTransport>();
  std::shared_ptr<detail::RuntimeTelemetryQueue> queue =
      detail::RuntimeTelemetryQueue::create(store, clock, main.ioContext().get_executor());
  detail::RuntimeTelemetryBatcher batcher{client, transport, queue};

  RuntimeTelemetryTest() {
    client->setTeamId("t1");
    client->setEnvironment("stage");
    client->setGatewaySessionToken("tok");
    transport->setResponder(
        [](const HttpRequest&) { return testing::httpResponse(R"({"ok":true,"data":{"success":true}})"); });
  }

  void settle() { main.poll(); }
  void advance(std::chrono::milliseconds by) {
    clock.advance(by, [this] { settle(); });
  }

  // Enqueues items first..last, letting the queue run after each unless told to hold off.
  void track(int first, int last, bool settleEach = true) {
    for (int n = first; n <= last; ++n) {
      batcher.enqueue("track_feature_flag_evaluation", JSONObject{{"flagKey", "f" + std::to_string(n)}});
      if (settleEach) settle();
    }
    settle();
  }

  // Runs the batcher's flush to its end; it never throws, so an exception fails the test.
  void flush() {
    bool finished = false;
    asio::co_spawn(main.ioContext(), batcher.flush(), [&finished](std::exception_ptr error) {
      EXPECT_FALSE(error) << "flush threw";
      finished = true;
    });
    settle();
    EXPECT_TRUE(finished);
  }

  std::size_t sentCount() const { return transport->requests().size(); }

  // The gateway input of request i, as sent inside the execution's "body".
  std::string gatewayInput(std::size_t i) const {
    const JSONValue execution = JSONValue::decode(transport->requests().at(i).body);
    return execution["body"].asString()->str();
  }

  // The "items" of request i, re-encoded compactly.
  std::string sentItems(std::size_t i) const { return JSONValue::decode(gatewayInput(i))["payload"]["items"].encode(); }

  std::optional<std::string> stored(std::string_view key = kStorageKey) const {
    std::optional<Bytes> bytes = store.getBytes(key);
    if (!bytes) return std::nullopt;
    return std::string(bytes->begin(), bytes->end());
  }
  void storeText(std::string_view text, std::string_view key = kStorageKey) { store.setBytes(key, asBytes(text)); }
};

}  // namespace tarnwell::testing
