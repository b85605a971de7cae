// What the delivery benchmarks share: a user for whom five targeting rules hold, the identity
// stores and counters the checks read, a host-pumped main context in virtual time, and a gateway
// that is never reached because the runtime bundle sits fresh in the store.
#pragma once

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>

#include <memory>
#include <string>

#include "tarnwell/content/detail/runtime_bundle_repository.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/surveys/detail/delivery_manager.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tarnwell/testing/virtual_clock.h"

namespace tarnwell::bench {

// Five rules of two conditions each, as a JSON list, that hold for DeliveryWorld's user: every
// condition is evaluated.
inline std::string fiveRulesThatHold() {
  std::string rules;
  for (int i = 0; i < 5; ++i) {
    if (!rules.empty()) rules += ",";
    rules += R"({"conditions":[{"field":"trait_)" + std::to_string(i) +
             R"(","operator":"greater_than_equals","value":0,"enabled":true},)"
             R"({"field":"plan","operator":"in","value":["team","pro"],"enabled":true}],)"
             R"("enabled":true,"requireAllConditions":true})";
  }
  return "[" + rules + "]";
}

struct DeliveryWorld {
  std::string quiet = [] {
    setLogSink([](LogLevel, std::string_view) {});
    return std::string();
  }();
  MainContext main{MainContext::Mode::hostPumped};
  testing::VirtualClock clock;
  MemoryKeyValueStore store;
  detail::UuidGenerator uuids{1};
  detail::PropertyManager properties{store, AppInfo{}, iosDeviceProfile, uuids};
  detail::SessionManager sessions{clock, uuids};
  detail::BehavioralEventTracker tracker{store, properties};
  std::shared_ptr<detail::AppwriteClient> client =
      std::make_shared<detail::AppwriteClient>("https://gw.bench/v1", "p", "d", "fn");
  std::shared_ptr<testing::ScriptedHttpTransport> transport = std::make_shared<testing::ScriptedHttpTransport>();

  DeliveryWorld() {
    client->setTeamId("t");
    properties.setUserProperty("plan", "pro");
    for (int i = 0; i < 5; ++i) properties.setUserProperty("trait_" + std::to_string(i), i);
  }

  detail::RuntimeGatewayRepository gateway() { return detail::RuntimeGatewayRepository(client, transport); }
  // Over the store, where storeFresh put the bundle.
  detail::RuntimeBundleRepository bundles() { return detail::RuntimeBundleRepository(gateway(), client, store, clock); }
  void storeFresh(RuntimeBundle bundle) {
    bundle.loadedAt = toEpochSeconds(clock.now());
    bundles().writeCachedBundle(bundle);
  }
  detail::DeliveryManagerParts parts() {
    return {main,
            main.ioContext().get_executor(),
            detail::SegmentRepository(client, transport),
            properties,
            sessions,
            tracker,
            clock};
  }
  // Runs `work` to its end: nothing in it waits for the network.
  void run(asio::awaitable<void> work) {
    asio::co_spawn(main.ioContext(), std::move(work), asio::detached);
    main.poll();
  }
};

}  // namespace tarnwell::bench
