// An EventManager whose strand runs on a host-pumped main context, with a virtual clock, an
// in-memory store and a scripted transport, so each test step runs to its end on the test thread.
#pragma once

#include <gtest/gtest.h>

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include <future>
#include <string>
#include <vector>

#include "tarnwell/events/detail/event_manager.h"
#include "tarnwell/platform/main_context.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tarnwell/testing/virtual_clock.h"
#include "tests/support/scripted_gateway.h"

namespace tarnwell::testing {

inline detail::EventRecord namedEvent(std::string name, std::string type = "custom") {
  detail::EventRecord record;
  record.eventName = std::move(name);
  record.userId = "user-1";
  record.sessionId = "sess-1";
  record.userProperties = JSONObject{{"plan", "pro"}};
  record.appProperties = JSONObject{{"bundle_id", "com.example.app"}};
  record.deviceProperties = JSONObject{{"device_id", "dev-1"}};
  record.customProperties = JSONObject{{"step", 1}};
  record.eventType = std::move(type);
  return record;
}

// "e0", "e1", ... "e<count-1>", oldest first.
inline std::vector<std::string> numberedNames(int count, const std::string& prefix = "e") {
  std::vector<std::string> names;
  for (int i = 0; i < count; ++i) names.push_back(prefix + std::to_string(i));
  return names;
}

struct EventManagerTest : ::testing::Test {
  MainContext main{MainContext::Mode::hostPumped};
  testing::VirtualClock clock;
  MemoryKeyValueStore store;
  std::shared_ptr<detail::AppwriteClient> client =
      std::make_shared<detail::AppwriteClient>("https://api.example.com/v1", "p", "d", "g");
  std::shared_ptr<testing::ScriptedHttpTransport> transport = std::make_shared<testing::ScriptedHttpTransport>();
  detail::UuidGenerator uuids{5};
  std::shared_ptr<detail::EventManager> manager = detail::EventManager::create(
      main.ioContext().get_executor(),
      detail::EventRepository(detail::RuntimeGatewayRepository(client, transport), clock, uuids, std::nullopt), clock,
      store);
  LogRecorder logs;

  // Sizes large enough that no admission starts a flush unless a test says so.
  static RuntimeConfig::EventsConfig quietConfig() {
    RuntimeConfig::EventsConfig events;
    events.batchSize = 1000;
    events.maxQueueSize = 1000;
    events.maxEventsPerMinute = 100000;
    events.sampling.featureFlagPercent = 100;
    return events;
  }

  template <typename T>
  std::future<T> start(asio::awaitable<T> work) {
    std::future<T> result = asio::co_spawn(main.ioContext(), std::move(work), asio::use_future);
    main.poll();
    return result;
  }
  template <typename T>
  T run(asio::awaitable<T> work) {
    std::future<T> result = start(std::move(work));
    EXPECT_EQ(result.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    return result.get();
  }

  void configure(const RuntimeConfig::EventsConfig& events, RuntimeConfig::KillSwitchConfig killSwitches = {}) {
    run(manager->configure(events, killSwitches));
  }
  void track(const std::string& name, const std::string& type = "custom") {
    run(manager->queueEvent(namedEvent(name, type)));
  }
  void trackAll(const std::vector<std::string>& names) {
    for (const std::string& name : names) track(name);
  }
  std::size_t queued() { return run(manager->queuedEventCount()); }
  bool flush(bool force) { return run(manager->flushEvents(force)); }

  void answerAll(bool success) {
    transport->setResponder([success](const HttpRequest&) -> HttpResult {
      if (success) return testing::httpResponse(R"({"ok":true,"data":{"success":true}})");
      return TransportError{TransportErrorCode::network, "offline"};
    });
  }

  // The stored queue, as the JSON array of the records named.
  static std::string arrayOf(const std::vector<std::string>& names) {
    JSONArray records;
    for (const std::string& name : names) records.push_back(namedEvent(name).encode());
    return JSONValue(std::move(records)).encode();
  }
  void storeQueue(const std::vector<std::string>& names) {
    store.setBytes(detail::EventManager::kQueueStorageKey, asBytes(arrayOf(names)));
  }
  std::optional<std::string> storedText() const {
    const std::optional<Bytes> bytes = store.getBytes(detail::EventManager::kQueueStorageKey);
    if (!bytes) return std::nullopt;
    return std::string(bytes->begin(), bytes->end());
  }
  // The names of the events of each request, in order.
  std::vector<std::vector<std::string>> sentNames() const {
    std::vector<std::vector<std::string>> batches;
    for (const HttpRequest& request : transport->requests()) {
      const JSONValue input = JSONValue::decode(*JSONValue::decode(request.body)["body"].asString());
      std::vector<std::string>& names = batches.emplace_back();
      for (const JSONValue& item : *input["payload"]["items"].asArray())
        names.push_back(*item["event_name"].stringValue());
    }
    return batches;
  }
};

}  // namespace tarnwell::testing
