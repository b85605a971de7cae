// What the command-line host's tests share: backend replies, a configuration, a store that
// already knows its user, the result lines of an output, and a host over a scripted transport.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "tarnwell/core/sdk_config.h"
#include "tarnwell/platform/http_transport.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/sdk/facade.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tests/support/scripted_gateway.h"
#include "tools/cli/command_host.h"

namespace tarnwell::cli::testing {

inline constexpr std::string_view kGoodBootstrap =
    R"({"ok":true,"data":{"config":{"organizationId":"org_1","projectId":"prj_1","appId":"app_1","teamId":"team_1",)"
    R"("apiKeyId":"key_1","environment":"stage"},"sessionToken":"tok_1"}})";
inline constexpr std::string_view kRejectedKey = R"({"ok":false,"error":"Invalid API key"})";

inline TarnwellSDKConfig testConfig() {
  TarnwellSDKConfig config;
  config.apiKey = "tw_test";
  config.environment = "stage";
  config.appwrite = {"https://gateway.test/v1", "proj", "db", "fn", std::nullopt, std::nullopt};
  return config;
}

// The identifiers of an earlier launch, so result lines that show them are known in advance.
inline std::shared_ptr<MemoryKeyValueStore> storeWithKnownUser() {
  auto store = std::make_shared<MemoryKeyValueStore>();
  store->setString("tarnwell_anonymous_id", "anon-1");
  store->setString("tarnwell_profile_id", "prf-1");
  store->setString("tarnwell_device_id", "dev-1");
  return store;
}

// A host-pumped SDK over `transport` and a store that knows its user, as the command tests run it.
inline HostOptions scriptedHostOptions(std::shared_ptr<HttpTransport> transport,
                                       MainContext::Mode mode = MainContext::Mode::hostPumped) {
  HostOptions options;
  options.store = storeWithKnownUser();
  options.transport = std::move(transport);
  options.mainContextMode = mode;
  options.deviceInfo = iosDeviceProfile;
  return options;
}

// The lines of `output` that start with "{": the host's result and callback lines, without log
// lines.
inline std::vector<std::string> resultLines(const std::string& output) {
  std::vector<std::string> lines;
  std::istringstream stream(output);
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with('{')) lines.push_back(line);
  }
  return lines;
}

// The gateway input of a request, {"action", "payload", ...}: the "body" of the execution it posts.
inline JSONValue gatewayInput(const HttpRequest& request) {
  return JSONValue::decode(JSONValue::decode(request.body)["body"].asString()->view());
}

// A command host over a scripted transport, its output kept for the lines each command prints.
struct CommandHostFixture : ::testing::Test {
  std::shared_ptr<tarnwell::testing::ScriptedHttpTransport> transport =
      std::make_shared<tarnwell::testing::ScriptedHttpTransport>();
  std::ostringstream out;
  std::unique_ptr<CommandHost> host;

  void startHost(HostOptions options, std::chrono::milliseconds waitLimit = CommandHost::kDefaultWaitLimit) {
    host = std::make_unique<CommandHost>(testConfig(), std::move(options), out, builtinCommands(), waitLimit);
  }

  // Every line printed by these commands (and only by them).
  std::vector<std::string> run(std::initializer_list<std::string_view> commands) {
    out.str("");
    for (std::string_view command : commands) host->execute(command);
    std::vector<std::string> lines;
    std::istringstream printed(out.str());
    for (std::string line; std::getline(printed, line);) lines.push_back(line);
    return lines;
  }
};

}  // namespace tarnwell::cli::testing
