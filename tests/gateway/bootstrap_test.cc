#include "tools/gateway/bootstrap_action.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <stdexcept>
#include <string>

#include "tests/gateway/gateway_fixture.h"
#include "tests/support/scratch_dir.h"

namespace tarnwell::gateway {
namespace {

using BootstrapTest = GatewayServerTest;

const std::regex kTokenPattern("gst_[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");

std::string tokenOf(const JSONValue& envelope) {
  const JSONString* token = envelope["data"]["sessionToken"].asString();
  return token ? token->str() : std::string();
}

// Answers with the session the caller's token belongs to, as later actions will use it.
ActionTable withWhoAmI() {
  ActionTable actions = standardActions();
  actions["whoami"] = [](ActionContext&, const ActionCall& call) {
    if (!call.session) return ActionReply::failure("No session for " + call.sessionToken.value_or("no token"));
    return ActionReply::success(JSONObject{{"apiKey", call.session->apiKey},
                                           {"teamId", call.session->teamId},
                                           {"apiKeyId", call.session->apiKeyId},
                                           {"environment", call.session->environment},
                                           {"createdAt", call.session->createdAt}});
  };
  return actions;
}

TEST_F(BootstrapTest, AnswersTheTenantTheRuntimeConfigAndAFreshToken) {
  const JSONValue envelope = gateway().call("bootstrap", {{"apiKey", "key-good"}, {"environment", "production"}});

  const std::string token = tokenOf(envelope);
  EXPECT_TRUE(std::regex_match(token, kTokenPattern)) << token;
  EXPECT_EQ(envelope.encode(),
            R"({"ok":true,"data":{"config":{"organizationId":"org-1","projectId":"proj-1","appId":"app-1",)"
            R"("teamId":"team-1","apiKeyId":"kid-1","environment":"production"},)"
            R"("runtimeConfig":{"events":{"batchSize":7,"enabled":true}},"sessionToken":")" +
                token + R"("}})");
}

TEST_F(BootstrapTest, LeavesRuntimeConfigOutForAKeyWithout) {
  const JSONValue envelope = gateway().call("bootstrap", {{"apiKey", "key-stage"}, {"environment", "stage"}});

  EXPECT_EQ(envelope.encode(),
            R"({"ok":true,"data":{"config":{"organizationId":"org-2","projectId":"proj-2","appId":"app-2",)"
            R"("teamId":"team-2","apiKeyId":"kid-2","environment":"stage"},"sessionToken":")" +
                tokenOf(envelope) + R"("}})");
}

TEST_F(BootstrapTest, RejectsAnUnknownOrMissingKey) {
  EXPECT_EQ(gateway().call("bootstrap", {{"apiKey", "key-bad"}, {"environment", "debug"}}).encode(),
            R"({"ok":false,"error":"Invalid API key"})");
  EXPECT_EQ(gateway().call("bootstrap", {{"environment", "debug"}}).encode(),
            R"({"ok":false,"error":"Invalid API key"})");
  EXPECT_EQ(gateway().call("bootstrap", {{"apiKey", 42}, {"environment", "debug"}}).encode(),
            R"({"ok":false,"error":"Invalid API key"})");
}

TEST_F(BootstrapTest, RejectsAKeyOutsideItsEnvironments) {
  EXPECT_EQ(gateway().call("bootstrap", {{"apiKey", "key-good"}, {"environment", "stage"}}).encode(),
            R"({"ok":false,"error":"API key is not valid for environment stage"})");
  EXPECT_EQ(gateway().call("bootstrap", {{"apiKey", "key-stage"}, {"environment", "Stage"}}).encode(),
            R"({"ok":false,"error":"API key is not valid for environment Stage"})");
  EXPECT_EQ(gateway().call("bootstrap", {{"apiKey", "key-stage"}}).encode(),
            R"({"ok":false,"error":"API key is not valid for environment "})");
}

TEST_F(BootstrapTest, HandsOutADifferentTokenEveryTime) {
  std::set<std::string> tokens;
  for (int i = 0; i < 5; ++i) tokens.insert(bootstrapToken());
  EXPECT_EQ(tokens.size(), 5u);
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

TEST(BootstrapDatabaseTest, SessionsOutliveTheServerInADatabaseFile) {
  testing::ScratchDir scratch;
  const std::string database = scratch.file("gateway.sqlite");
  auto clock = std::make_shared<VirtualClock>();
  std::string token;
  {
    GatewayServer first(testContent(), database, {clock, withWhoAmI()});
    first.start();
    testing::GatewayClient client(first.url(), kProjectId, kFunctionId);
    token = tokenOf(client.call("bootstrap", {{"apiKey", "key-stage"}, {"environment", "stage"}}));
  }
  GatewayServer second(testContent(), database, {clock, withWhoAmI()});
  second.start();
  testing::GatewayClient client(second.url(), kProjectId, kFunctionId);

  EXPECT_EQ(client.call("whoami", {}, token)["data"]["teamId"].encode(), R"("team-2")");
  // The calls the first server received are still there too.
  EXPECT_EQ(client.getJSON("/__gateway/requests")["items"].asArray()->size(), 2u);
}

TEST(ActionTableTest, AnswersUnknownActionsWithTheirName) {
  const GatewayContent content = testContent();
  GatewayStore store(":memory:");
  VirtualClock clock;
  ActionContext context{content, store, clock};

  const ActionReply reply = dispatchAction(standardActions(), context, {"get_weather_report", JSONObject{}, "gst_x", {}});
  EXPECT_EQ(reply.envelope().encode(), R"({"ok":false,"error":"Unknown action: get_weather_report"})");
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
