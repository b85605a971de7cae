// The SDK's start-up over real libcurl against the local gateway on loopback: what a host sees
// for a good key, a wrong key and each kind of broken answer.
#include <gtest/gtest.h>

#include <future>

#include "tarnwell/platform/detail/curl_http_transport.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/sdk/facade.h"
#include "tarnwell/testing/log_recorder.h"
#include "tests/gateway/gateway_fixture.h"
#include "tests/support/loopback_server.h"

namespace tarnwell {
namespace {

struct StartUpTest : gateway::GatewayServerTest {
  testing::LogRecorder log;

  TarnwellSDKConfig config(const std::string& apiKey, const std::string& environment = "debug") {
    TarnwellSDKConfig c;
    c.apiKey = apiKey;
    c.environment = environment;
    c.appwrite = {server_->url(), gateway::kProjectId, "db", gateway::kFunctionId, std::nullopt, std::nullopt};
    return c;
  }

  HostOptions options(MainContext::Mode mode) {
    HostOptions host;
    host.store = std::make_shared<MemoryKeyValueStore>();
    host.mainContextMode = mode;
    host.transport = std::make_shared<detail::CurlHttpTransport>();
    return host;
  }

  // Starts up on a host-pumped SDK and returns the state its completion saw.
  SDKState startUp(Tarnwell& sdk, const TarnwellSDKConfig& startConfig) {
    std::optional<SDKState> completed;
    sdk.initialize(startConfig, [&](const SDKState& state) { completed = state; });
    sdk.mainContext().runFor(std::chrono::seconds(60), [&] { return completed.has_value(); });
    return completed.value_or(SDKState::notInitialized());
  }

  void addFault(const std::string& fault) {
    const httplib::Result result = gateway().postJSON("/__gateway/faults", fault);
    ASSERT_TRUE(result && result->status == 200) << fault;
  }
};

TEST_F(StartUpTest, AGoodKeyReachesReadyWithTheTenant) {
  Tarnwell sdk(options(MainContext::Mode::hostPumped));
  EXPECT_EQ(startUp(sdk, config("key-good")), SDKState::ready());
  const UserDebugState debug = sdk.getUserDebugState();
  EXPECT_EQ(debug.teamId, "team-1");
  EXPECT_EQ(debug.appId, "app-1");
  EXPECT_EQ(debug.environment, "debug");
  EXPECT_EQ(sdk.getRuntimeConfig(), defaultRuntimeConfig());  // the key's partial record is refused whole

  const JSONValue received = gateway().getJSON("/__gateway/requests?action=bootstrap");
  ASSERT_EQ(received["items"].asArray()->size(), 1u);
  EXPECT_EQ(received["items"].asArray()->at(0)["payload"].encode(), R"({"apiKey":"key-good","environment":"debug"})");
  EXPECT_TRUE(received["items"].asArray()->at(0)["sessionToken"].isNull());
}

TEST_F(StartUpTest, AnOwnThreadMainContextCompletesOnItsThread) {
  Tarnwell sdk(options(MainContext::Mode::ownThread));
  std::promise<std::pair<SDKState, bool>> completed;
  sdk.initialize(config("key-good"), [&](const SDKState& state) {
    completed.set_value({state, sdk.mainContext().runningInThisThread()});
  });
  auto future = completed.get_future();
  ASSERT_EQ(future.wait_for(std::chrono::seconds(60)), std::future_status::ready);
  const auto [state, onMain] = future.get();
  EXPECT_EQ(state, SDKState::ready());
  EXPECT_TRUE(onMain);
  EXPECT_TRUE(sdk.isReady());
}

TEST_F(StartUpTest, AWrongKeyOrEnvironmentShowsTheBackendsWords) {
  Tarnwell sdk(options(MainContext::Mode::hostPumped));
  EXPECT_EQ(startUp(sdk, config("key-nope")), SDKState::error("Invalid API key"));
  EXPECT_TRUE(log.contains("[Tarnwell][ERROR] Failed to initialize Tarnwell :: gatewayError(\"Invalid API key\")"));
  EXPECT_EQ(startUp(sdk, config("key-stage", "production")),
            SDKState::error("API key is not valid for environment production"));
}

TEST_F(StartUpTest, BrokenAnswersGiveTheirFailureTexts) {
  Tarnwell sdk(options(MainContext::Mode::hostPumped));
  addFault(R"({"action":"bootstrap","count":1,"status":404})");
  EXPECT_EQ(startUp(sdk, config("key-good")),
            SDKState::error("The Appwrite gateway request failed with HTTP status 404."));

  addFault(R"({"action":"bootstrap","count":1,"emptyBody":true,"status":204})");
  const SDKState empty = startUp(sdk, config("key-good"));
  EXPECT_EQ(empty.kind(), SDKState::Kind::error);
  EXPECT_TRUE(empty.errorText().starts_with("Unable to parse JSON: ")) << empty.errorText();

  addFault(R"({"action":"bootstrap","count":1,"malformed":true})");
  const SDKState malformed = startUp(sdk, config("key-good"));
  EXPECT_TRUE(malformed.errorText().starts_with("Unable to parse JSON: ")) << malformed.errorText();

  addFault(R"({"action":"bootstrap","count":1,"drop":true})");
  EXPECT_EQ(startUp(sdk, config("key-good")), SDKState::error("The network connection was lost."));

  // Service resumes: the next start-up succeeds.
  EXPECT_EQ(startUp(sdk, config("key-good")), SDKState::ready());
}

TEST_F(StartUpTest, AnUnreachableGatewayCannotConnect) {
  Tarnwell sdk(options(MainContext::Mode::hostPumped));
  TarnwellSDKConfig unreachable = config("key-good");
  unreachable.appwrite.endpoint = "http://127.0.0.1:" + std::to_string(testing::closedLoopbackPort()) + "/v1";
  EXPECT_EQ(startUp(sdk, unreachable), SDKState::error("Could not connect to the server."));
  EXPECT_TRUE(log.containsSubstring("Failed to initialize Tarnwell :: TransportFailure(cannotConnect: "));
}

}  // namespace
}  // namespace tarnwell
