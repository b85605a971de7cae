#include <gtest/gtest.h>

#include "tarnwell/backend/detail/api_key_repository.h"
#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tests/support/run_sync.h"

namespace tarnwell::detail {
namespace {

constexpr std::string_view kRuntimeConfig = R"({
  "cache":{"featureFlagsTtlMs":1000,"surveysTtlMs":2000,"announcementsTtlMs":3000,"liveCardsTtlMs":4000,
           "messageCenterSettingsTtlMs":5000},
  "events":{"enabled":false,"flushIntervalMs":500,"batchSize":7,"maxQueueSize":9,"maxRetryAttempts":1,
            "dedupeWindowMs":0,"maxEventsPerMinute":3,
            "sampling":{"defaultPercent":50,"sdkPercent":40,"sessionPercent":30,"surveyPercent":20,
                        "announcementPercent":10,"liveCardPercent":5,"featureFlagPercent":1,
                        "warningPercent":99,"errorPercent":98}},
  "messageCenter":{"passivePollingEnabled":true,"listPollingIntervalMs":1,"chatPollingIntervalMs":2,
                   "foregroundRefreshTtlMs":3},
  "killSwitches":{"disableEventLogs":true,"disableSurveyImpressions":true,"disableAnnouncementImpressions":true,
                  "disableLiveCardImpressions":true,"disableFeatureFlagExposureLogs":true,
                  "disablePassiveMessagePolling":false}})";

struct ApiKeyRepositoryTest : ::testing::Test {
  std::shared_ptr<AppwriteClient> client =
      std::make_shared<AppwriteClient>("https://api.example.com/v1", "p", "d", "g");
  std::shared_ptr<testing::ScriptedHttpTransport> transport = std::make_shared<testing::ScriptedHttpTransport>();
  ApiKeyRepository repository{client, transport};

  void answer(const std::string& data) {
    HttpResponse response;
    response.status = 200;
    response.body = R"({"ok":true,"data":)" + data + "}";
    transport->enqueue(response);
  }
  ApiKeyConfig validate(Environment environment = Environment::stage) {
    return testing::runSync(repository.validateApiKey("key_1", environment));
  }
  std::string failure(const std::string& data) {
    answer(data);
    try {
      validate();
    } catch (const RuntimeGatewayError& error) {
      return error.what();
    }
    return "no failure";
  }
};

constexpr std::string_view kConfig =
    R"("config":{"organizationId":"org","projectId":"prj","appId":"app","teamId":"team","apiKeyId":"kid"})";

TEST_F(ApiKeyRepositoryTest, SendsTheKeyWithoutASessionTokenAndReadsTheTenant) {
  client->setGatewaySessionToken("old");
  answer("{" + std::string(kConfig) + R"(,"runtimeConfig":)" + std::string(kRuntimeConfig) +
         R"(,"sessionToken":"tok"})");
  const ApiKeyConfig config = validate();

  const JSONValue input = JSONValue::decode(*JSONValue::decode(transport->requests().at(0).body)["body"].asString());
  EXPECT_EQ(input.encode(), R"({"action":"bootstrap","payload":{"apiKey":"key_1","environment":"stage"}})");
  EXPECT_EQ(config.organizationId, "org");
  EXPECT_EQ(config.teamId, "team");
  EXPECT_EQ(config.apiKey, "key_1");
  EXPECT_EQ(config.environment, "stage");
  EXPECT_EQ(config.runtimeConfig.events.batchSize, 7);
  EXPECT_EQ(config.runtimeConfig.killSwitches.disablePassiveMessagePolling, false);
  EXPECT_EQ(config.runtimeConfig.events.sampling.errorPercent, 98);
  EXPECT_EQ(RuntimeConfig::decode(config.runtimeConfig.encode()), config.runtimeConfig);
  EXPECT_EQ(client->getTeamId(), "team");
  EXPECT_EQ(client->getEnvironment(), "stage");
  EXPECT_EQ(client->getGatewaySessionToken(), "tok");
}

TEST_F(ApiKeyRepositoryTest, ScalarFieldsAreReadThroughTheirText) {
  answer(R"({"config":{"organizationId":"org","projectId":"prj","appId":true,"teamId":123,"apiKeyId":"kid",)"
         R"("environment":{"nested":1}},"sessionToken":42})");
  const ApiKeyConfig config = validate(Environment::production);
  EXPECT_EQ(config.teamId, "123.0");
  EXPECT_EQ(config.appId, "true");
  EXPECT_EQ(config.environment, "production");  // an object falls back to what was sent
  EXPECT_EQ(client->getGatewaySessionToken(), "42.0");
}

TEST_F(ApiKeyRepositoryTest, MissingConfigOrFieldsFailInTableOrder) {
  EXPECT_EQ(failure(R"({})"), "Missing bootstrap config");
  EXPECT_EQ(failure(R"({"config":[1]})"), "Missing bootstrap config");
  EXPECT_EQ(failure(R"({"config":{"projectId":"p","appId":"a","apiKeyId":"k"}})"),
            "Missing bootstrap field organizationId");
  EXPECT_EQ(failure(R"({"config":{"organizationId":"o","projectId":"p","appId":"a","teamId":"","apiKeyId":"k"}})"),
            "Missing bootstrap field teamId");
  EXPECT_EQ(failure(R"({"config":{"organizationId":"o","projectId":null,"appId":"a","teamId":"t","apiKeyId":"k"}})"),
            "Missing bootstrap field projectId");
  EXPECT_EQ(client->getTeamId(), std::nullopt);  // nothing is written before the answer is whole
}

TEST_F(ApiKeyRepositoryTest, BadRuntimeConfigFallsBackWholeAndAMissingTokenClearsTheOldOne) {
  client->setGatewaySessionToken("old");
  std::string withoutKillSwitches(kRuntimeConfig);
  withoutKillSwitches = withoutKillSwitches.substr(0, withoutKillSwitches.find(",\n  \"killSwitches\"")) + "}";
  answer("{" + std::string(kConfig) + R"(,"runtimeConfig":)" + withoutKillSwitches + "}");
  EXPECT_EQ(validate().runtimeConfig, defaultRuntimeConfig());
  EXPECT_EQ(client->getGatewaySessionToken(), std::nullopt);

  answer("{" + std::string(kConfig) + R"(,"runtimeConfig":null})");
  EXPECT_EQ(validate().runtimeConfig, defaultRuntimeConfig());
}

TEST(RuntimeConfigTest, DefaultsMatchTheDocumentedValues) {
  const RuntimeConfig config = defaultRuntimeConfig();
  EXPECT_EQ(config.cache.featureFlagsTtlMs, 300000);
  EXPECT_EQ(config.cache.liveCardsTtlMs, 900000);
  EXPECT_EQ(config.events.flushIntervalMs, 120000);
  EXPECT_EQ(config.events.maxEventsPerMinute, 120);
  EXPECT_EQ(config.events.sampling.featureFlagPercent, 25);
  EXPECT_EQ(config.messageCenter.foregroundRefreshTtlMs, 60000);
  EXPECT_TRUE(config.killSwitches.disablePassiveMessagePolling);
  EXPECT_FALSE(config.killSwitches.disableEventLogs);
}

}  // namespace
}  // namespace tarnwell::detail
