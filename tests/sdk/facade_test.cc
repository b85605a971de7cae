#include <gtest/gtest.h>

#include "tarnwell/core/constants.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/sdk/facade.h"
#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tests/support/scratch_dir.h"
#include "tests/support/scripted_gateway.h"

#include <fstream>

namespace tarnwell {
namespace {

constexpr std::string_view kGoodBootstrap =
    R"({"ok":true,"data":{"config":{"organizationId":"org_1","projectId":"prj_1","appId":"app_1","teamId":"team_1",)"
    R"("apiKeyId":"key_1","environment":"stage"},"sessionToken":"tok_1"}})";

TarnwellSDKConfig testConfig(std::string endpoint = "https://gateway.test/v1") {
  TarnwellSDKConfig config;
  config.apiKey = "tw_test";
  config.environment = "Stage";
  config.appwrite = {std::move(endpoint), "proj", "db", "fn", std::nullopt, std::nullopt};
  return config;
}

struct TarnwellTest : ::testing::Test {
  std::shared_ptr<testing::ScriptedHttpTransport> transport = std::make_shared<testing::ScriptedHttpTransport>();
  std::shared_ptr<MemoryKeyValueStore> store = std::make_shared<MemoryKeyValueStore>();
  testing::LogRecorder log;
  Tarnwell sdk{options()};
  std::vector<SDKState> completions;

  HostOptions options() {
    HostOptions host;
    host.store = store;
    host.mainContextMode = MainContext::Mode::hostPumped;
    host.transport = transport;
    host.deviceInfo = iosDeviceProfile;
    host.uuidSeed = 3;
    return host;
  }
  Tarnwell::StateCallback record() {
    return [this](const SDKState& state) { completions.push_back(state); };
  }
  void settle(std::size_t expectedCompletions) {
    sdk.mainContext().runFor(std::chrono::seconds(30), [&] { return completions.size() >= expectedCompletions; });
  }
  // Calls of one gateway action (the start-up also starts a session and syncs the user).
  std::size_t actionCount(std::string_view action) const {
    std::size_t count = 0;
    for (const HttpRequest& request : transport->requests()) {
      const JSONValue input = JSONValue::decode(JSONValue::decode(request.body)["body"].asString()->view());
      if (input["action"] == JSONValue(action)) ++count;
    }
    return count;
  }
  std::size_t bootstrapCount() const { return actionCount("bootstrap"); }
};

TEST_F(TarnwellTest, StartUpReachesReadyWithTheTenantAndCallsTheCompletionOnce) {
  transport->enqueue(testing::httpResponse(kGoodBootstrap));
  std::vector<SDKState> seen;
  Subscription subscription = sdk.subscribeState([&](const SDKState& state) { seen.push_back(state); });
  EXPECT_EQ(sdk.getState(), SDKState::notInitialized());
  sdk.initialize(testConfig(), record());
  settle(1);
  sdk.mainContext().poll();
  EXPECT_EQ(completions, std::vector<SDKState>{SDKState::ready()});
  EXPECT_TRUE(sdk.isReady());
  EXPECT_EQ(seen, (std::vector<SDKState>{SDKState::notInitialized(), SDKState::initializing(), SDKState::ready()}));

  const UserDebugState debug = sdk.getUserDebugState();
  EXPECT_EQ(debug.teamId, "team_1");
  EXPECT_EQ(debug.environment, "stage");
  EXPECT_EQ(debug.appId, "app_1");
  EXPECT_EQ(debug.effectiveUserId, debug.anonymousId);
  EXPECT_EQ(sdk.getUserId(), std::nullopt);  // the anonymous id is never the user id
  EXPECT_EQ(transport->requests().at(0).url, "https://gateway.test/v1/functions/fn/executions");
}

TEST_F(TarnwellTest, SecondInitializeWhileStartingOnlyReportsInitializing) {
  transport->holdResponses(true);
  sdk.initialize(testConfig(), record());
  sdk.initialize(testConfig(), record());
  sdk.mainContext().runFor(std::chrono::seconds(30), [&] { return transport->pendingCount() == 1; });
  ASSERT_EQ(completions, std::vector<SDKState>{SDKState::initializing()});
  transport->completeNext(testing::httpResponse(kGoodBootstrap));
  // The start-up then waits for its content: let the held bundle request and the rest through.
  sdk.mainContext().runFor(std::chrono::seconds(30), [&] { return actionCount("get_runtime_bundle") == 1; });
  transport->holdResponses(false);
  transport->setResponder([](const HttpRequest&) { return testing::httpResponse(R"({"ok":true,"data":{}})"); });
  transport->completeAll(testing::httpResponse(R"({"ok":true,"data":{}})"));
  settle(2);
  EXPECT_EQ(completions.back(), SDKState::ready());
  EXPECT_EQ(bootstrapCount(), 1u);
}

TEST_F(TarnwellTest, InitializeOnAReadySdkBootstrapsAgain) {
  transport->setResponder([](const HttpRequest&) { return testing::httpResponse(kGoodBootstrap); });
  sdk.initialize(testConfig(), record());
  settle(1);
  std::vector<SDKState> seen;
  Subscription subscription = sdk.subscribeState([&](const SDKState& state) { seen.push_back(state); });
  sdk.initialize(testConfig(), record());
  settle(2);
  sdk.mainContext().poll();
  EXPECT_EQ(seen, (std::vector<SDKState>{SDKState::ready(), SDKState::initializing(), SDKState::ready()}));
  EXPECT_EQ(bootstrapCount(), 2u);
}

TEST_F(TarnwellTest, BootstrapFailureGivesErrorWithTheBackendsWordsAndALogLine) {
  transport->enqueue(testing::httpResponse(R"({"ok":false,"error":"Invalid API key"})"));
  sdk.initialize(testConfig(), record());
  settle(1);
  EXPECT_EQ(completions, std::vector<SDKState>{SDKState::error("Invalid API key")});
  EXPECT_TRUE(log.contains("[Tarnwell][ERROR] Failed to initialize Tarnwell :: gatewayError(\"Invalid API key\")"));
  EXPECT_FALSE(sdk.isReady());
  EXPECT_EQ(sdk.getUserDebugState().appId, std::nullopt);
}

TEST_F(TarnwellTest, HttpAndEndpointFailuresUseTheirDescriptions) {
  transport->enqueue(testing::httpResponse("not found", 404));
  sdk.initialize(testConfig(), record());
  settle(1);
  EXPECT_EQ(completions.back(), SDKState::error("The Appwrite gateway request failed with HTTP status 404."));

  sdk.initialize(testConfig("not a url"), record());
  settle(2);
  EXPECT_EQ(completions.back(), SDKState::error("bad URL"));
  EXPECT_TRUE(log.contains("[Tarnwell][ERROR] Failed to initialize Tarnwell :: URLError(badURL)"));
  EXPECT_EQ(bootstrapCount(), 1u);
}

TEST_F(TarnwellTest, UnreadableConfigurationsGoToErrorWithoutALogLine) {
  sdk.initializeFromJSON("{\"apiKey\":\"\xC3\x28\"}", record());
  settle(1);
  EXPECT_EQ(completions.back(), SDKState::error("The Tarnwell SDK config JSON is not valid UTF-8."));

  testing::ScratchDir bundle;
  sdk.initializeFromFile("tarnwell.json", bundle.path(), record());
  settle(2);
  EXPECT_EQ(completions.back(), SDKState::error("Unable to find tarnwell.json.json in the app bundle."));
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(bootstrapCount(), 0u);

  std::ofstream(bundle.file("tarnwell.json")) << testConfig().encode().encode();
  transport->enqueue(testing::httpResponse(kGoodBootstrap));
  sdk.initializeFromFile("tarnwell.txt", bundle.path(), record());
  settle(3);
  EXPECT_EQ(completions.back(), SDKState::ready());
}

TEST_F(TarnwellTest, ApiKeyFormUsesTheBuiltInBackend) {
  transport->enqueue(testing::httpResponse(kGoodBootstrap));
  sdk.initialize("tw_key", Environment::debug, record());
  settle(1);
  const HttpRequest request = transport->requests().at(0);
  EXPECT_TRUE(request.url.starts_with(std::string(Constants::appwriteEndpoint)));
  const JSONValue input = JSONValue::decode(*JSONValue::decode(request.body)["body"].asString());
  EXPECT_EQ(input["payload"].encode(), R"({"apiKey":"tw_key","environment":"debug"})");
}

TEST_F(TarnwellTest, ShutdownIsAStateOfItsOwn) {
  sdk.shutdown();
  sdk.mainContext().poll();
  EXPECT_EQ(sdk.getState(), SDKState::shutdown());
  EXPECT_FALSE(sdk.isInitialized());
}

}  // namespace
}  // namespace tarnwell
