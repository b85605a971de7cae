// A delivery manager's world for tests: a host-pumped main context that also serves as the
// worker pool, a virtual clock, an in-memory store with a fresh bundle, and a scripted gateway
// for segment lookups.
#pragma once

#include <gtest/gtest.h>

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include <string>
#include <vector>

#include "tarnwell/content/detail/runtime_bundle_repository.h"
#include "tarnwell/platform/main_context.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/surveys/detail/delivery_manager.h"
#include "tarnwell/testing/virtual_clock.h"
#include "tests/support/scripted_gateway.h"

namespace tarnwell::detail {

// A survey or announcement record; `targeting` is the JSON document, stored as text.
inline Survey deliveryItem(std::string id, std::string trigger, std::string targeting = "", std::string extra = "") {
  std::string document =
      R"({"$id":")" + id + R"(","name":"N-)" + id + R"(","status":"published","eventTriggerId":")" + trigger + "\"";
  if (!targeting.empty()) document += R"(,"targeting":)" + JSONValue(targeting).encode();
  if (!extra.empty()) document += "," + extra;
  Survey survey = Survey::decode(JSONValue::decode(document + "}"));
  return survey;
}

// A targeting document with the three required keys and `extra` members.
inline std::string targetingWith(const std::string& extra = "") {
  return R"({"rules":[],"audience":"all","percentage":100)" + (extra.empty() ? "" : "," + extra) + "}";
}

struct DeliveryFixture : ::testing::Test {
  MainContext main{MainContext::Mode::hostPumped};
  testing::VirtualClock clock;
  MemoryKeyValueStore store;
  UuidGenerator uuids{7};
  PropertyManager properties{store, AppInfo{}, iosDeviceProfile, uuids};
  SessionManager sessions{clock, uuids};
  BehavioralEventTracker tracker{store, properties};
  std::shared_ptr<AppwriteClient> client = std::make_shared<AppwriteClient>("https://gw.test/v1", "p", "d", "fn");
  std::shared_ptr<testing::ScriptedHttpTransport> transport = std::make_shared<testing::ScriptedHttpTransport>();

  DeliveryFixture() {
    client->setTeamId("t1");
    client->setEnvironment("stage");
  }

  DeliveryManagerParts parts() {
    return {main, main.ioContext().get_executor(), SegmentRepository(client, transport), properties, sessions, tracker,
            clock};
  }
  RuntimeGatewayRepository gateway() { return RuntimeGatewayRepository(client, transport); }
  RuntimeBundleRepository bundles() { return RuntimeBundleRepository(gateway(), client, store, clock); }

  // Stores a fresh bundle whose surveys and announcements are `items`.
  void storeBundle(const std::vector<Survey>& items) {
    RuntimeBundle bundle;
    bundle.surveys = items;
    bundle.announcements = items;
    bundle.loadedAt = toEpochSeconds(clock.now());
    bundles().writeCachedBundle(bundle);
  }

  template <typename T>
  T run(asio::awaitable<T> work) {
    auto future = asio::co_spawn(main.ioContext(), std::move(work), asio::use_future);
    while (future.wait_for(std::chrono::seconds(0)) != std::future_status::ready) main.poll();
    main.poll();
    return future.get();
  }

  // The step that decided each candidate of `event`, as "id:verdict".
  std::vector<std::string> verdicts(DeliveryManager& manager, const std::string& event) {
    std::vector<std::string> words;
    for (const DeliveryExplanation& e : run(manager.explain(event))) {
      words.push_back(e.itemId.value_or("?") + ":" + std::string(deliveryVerdictWord(e.verdict)));
    }
    return words;
  }
  std::optional<std::string> shownId(DeliveryManager& manager, const std::string& event) {
    const std::optional<Survey> shown = run(manager.show(event));
    return shown ? shown->id : std::nullopt;
  }
};

}  // namespace tarnwell::detail
