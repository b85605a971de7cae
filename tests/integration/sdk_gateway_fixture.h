// An SDK over libcurl, host-pumped on the test thread, started against the local gateway with
// the "key-good" tenant: what the integration suites that follow data end to end share.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>

#include "tarnwell/platform/detail/curl_http_transport.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/sdk/facade.h"
#include "tests/gateway/gateway_fixture.h"

namespace tarnwell::testing {

class SdkOverGatewayTest : public gateway::GatewayServerTest {
 protected:
  // Builds the SDK over `options` (store, context mode, transport and device filled in when
  // left empty) and waits for a ready start-up.
  void startSdk(HostOptions options = {}) {
    if (!options.store) options.store = std::make_shared<MemoryKeyValueStore>();
    if (!options.transport) options.transport = std::make_shared<detail::CurlHttpTransport>();
    options.mainContextMode = MainContext::Mode::hostPumped;
    options.deviceInfo = iosDeviceProfile;
    sdk = std::make_unique<Tarnwell>(std::move(options));
    TarnwellSDKConfig config;
    config.apiKey = "key-good";
    config.environment = "debug";
    config.appwrite = {server_->url(), gateway::kProjectId, "db", gateway::kFunctionId, std::nullopt, std::nullopt};
    std::optional<SDKState> started;
    sdk->initialize(config, [&](const SDKState& state) { started = state; });
    ASSERT_TRUE(pumpUntil([&] { return started.has_value(); }));
    ASSERT_EQ(*started, SDKState::ready());
  }

  // Runs the SDK's main context until `condition` holds; false after a generous cap.
  bool pumpUntil(const std::function<bool()>& condition) {
    const auto cap = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
      if (std::chrono::steady_clock::now() > cap) return false;
      sdk->mainContext().runFor(std::chrono::milliseconds(5));
    }
    return true;
  }

  std::unique_ptr<Tarnwell> sdk;
};

}  // namespace tarnwell::testing
