#include "tools/gateway/bootstrap_action.h"

#include <gtest/gtest.h>

#include <regex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/gateway/gateway_fixture.h"

namespace tarnwell::gateway {
namespace {

using BootstrapTest = GatewayServerTest;

const std::regex kTokenPattern("gst_[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");

std::string tokenOf(const JSONValue& envelope) {
  const JSONString* token = envelope["data"]["sessionToken"].asString();
  return token ? token->str() : std::string();
}

TEST_F(BootstrapTest, AnswersTheTenantTheRuntimeConfigAndAFreshToken) {
  const JSONValue envelope = gateway().call("bootstrap", {{"apiKey", "key-good"}, {"environment", "production"}});

  const std::string token = tokenOf(envelope);
  EXPECT_TRUE(std::regex_match(token, kTokenPattern)) << token;
  EXPECT_NE(bootstrapToken(), token);  // every bootstrap a token of its own
  EXPECT_EQ(envelope.encode(),
            R"({"ok":true,"data":{"config":{"organizationId":"org-1","projectId":"proj-1","appId":"app-1",)"
            R"("teamId":"team-1","apiKeyId":"kid-1","environment":"production"},)"
            R"("runtimeConfig":{"events":{"batchSize":7,"enabled":true}},"sessionToken":")" +
                token + R"("}})");
  // A key without a runtime configuration answers none.
  const JSONValue stage = gateway().call("bootstrap", {{"apiKey", "key-stage"}, {"environment", "stage"}});
  EXPECT_EQ(stage.encode(),
            R"({"ok":true,"data":{"config":{"organizationId":"org-2","projectId":"proj-2","appId":"app-2",)"
            R"("teamId":"team-2","apiKeyId":"kid-2","environment":"stage"},"sessionToken":")" +
                tokenOf(stage) + R"("}})");
}

TEST_F(BootstrapTest, RejectsAnUnknownKeyAndOneOutsideItsEnvironments) {
  // Keys and environments match exactly, case included.
  const std::vector<std::pair<JSONObject, std::string>> cases = {
      {{{"apiKey", "key-bad"}, {"environment", "debug"}}, "Invalid API key"},
      {{{"apiKey", "KEY-GOOD"}, {"environment", "debug"}}, "Invalid API key"},
      {{{"environment", "debug"}}, "Invalid API key"},
      {{{"apiKey", 42}, {"environment", "debug"}}, "Invalid API key"},
      {{{"apiKey", "key-good"}, {"environment", "stage"}}, "API key is not valid for environment stage"},
      {{{"apiKey", "key-stage"}, {"environment", "Stage"}}, "API key is not valid for environment Stage"},
      {{{"apiKey", "key-stage"}}, "API key is not valid for environment "},
  };
  for (const auto& [payload, error] : cases) {
    EXPECT_EQ(gateway().call("bootstrap", payload).encode(), R"({"ok":false,"error":")" + error + R"("})")
        << JSONValue(payload).encode();
  }
}

TEST_F(BootstrapTest, LaterActionsKnowTheCallerByToken) {
  serve(testContent(), withWhoAmI());
  clock_->advance(std::chrono::milliseconds(1250));
  const std::string token = bootstrapToken();

  EXPECT_EQ(gateway().call("whoami", {}, token).encode(),
            R"({"ok":true,"data":{"apiKey":"key-good","teamId":"team-1","apiKeyId":"kid-1",)"
            R"("environment":"debug","createdAt":"2026-01-01T00:00:01.250Z"}})");
  EXPECT_EQ(gateway().call("whoami", {}, "gst_forged").encode(), R"({"ok":false,"error":"No session for gst_forged"})");
  EXPECT_EQ(gateway().call("whoami", {}).encode(), R"({"ok":false,"error":"No session for no token"})");
}

TEST_F(BootstrapTest, AnswersAHandlerThatThrowsWithHttp500) {
  ActionTable actions = standardActions();
  actions["broken"] = [](ActionContext&, const ActionCall&) -> ActionReply {
    throw std::runtime_error("handler fell over");
  };
  serve(testContent(), std::move(actions));

  const httplib::Result result = gateway().post("broken", {});
  ASSERT_TRUE(result) << httplib::to_string(result.error());
  EXPECT_EQ(result->status, 500);
  EXPECT_EQ(result->body, R"({"message":"handler fell over","code":500,"type":"general_server_error"})");
}

}  // namespace
}  // namespace tarnwell::gateway
