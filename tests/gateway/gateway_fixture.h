// What the gateway suites share: a small content document, and a fixture that serves it
// in-process on loopback with a virtual clock, so recorded times and delays are exact.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include <tarnwell/testing/virtual_clock.h>

#include "tests/support/gateway_client.h"
#include "tools/gateway/gateway_server.h"

namespace tarnwell::gateway {

inline constexpr const char* kProjectId = "proj-local";
inline constexpr const char* kFunctionId = "fn-gateway";

// Two keys: "key-good" (debug and production, with a runtime configuration) and "key-stage"
// (stage only, without one). `envelope` is the value of "envelope", left out when empty.
inline GatewayContent testContent(const std::string& envelope = "") {
  const std::string envelopeMember = envelope.empty() ? "" : R"("envelope":")" + envelope + R"(",)";
  return GatewayContent::parse(R"({"projectId":"proj-local","functionId":"fn-gateway",)" + envelopeMember +
                               R"("apiKeys":[
    {"key":"key-good","organizationId":"org-1","projectId":"proj-1","appId":"app-1","teamId":"team-1",
     "apiKeyId":"kid-1","environments":["debug","production"],
     "runtimeConfig":{"events":{"batchSize":7,"enabled":true}}},
    {"key":"key-stage","organizationId":"org-2","projectId":"proj-2","appId":"app-2","teamId":"team-2",
     "apiKeyId":"kid-2","environments":["stage"]}]})");
}

// Waits until `condition` holds, true; false after a generous cap, so a broken server fails the
// test instead of hanging it.
inline bool eventually(const std::function<bool()>& condition) {
  const auto cap = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > cap) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// `message`, cut after `expected` when that ends in ": ": the parser's own words follow there,
// the rest is ours, word for word.
inline std::string_view ourWords(std::string_view message, std::string_view expected) {
  return expected.ends_with(": ") ? message.substr(0, expected.size()) : message;
}

// The standard actions and "whoami", which answers with the session the caller's token belongs
// to, as later actions will use it.
inline ActionTable withWhoAmI() {
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

class GatewayServerTest : public ::testing::Test {
 protected:
  void SetUp() override { serve(testContent()); }

  // Replaces the running server by one for `content`.
  void serve(GatewayContent content, ActionTable actions = standardActions(),
             const std::string& database = ":memory:") {
    client_.reset();
    server_.reset();
    server_ = std::make_unique<GatewayServer>(std::move(content), database, GatewayOptions{clock_, std::move(actions)});
    server_->start("127.0.0.1", 0);
    client_.emplace(server_->url(), kProjectId, kFunctionId);
  }

  testing::GatewayClient& gateway() { return *client_; }

  // A bootstrap with "key-good" for "debug"; its session token.
  std::string bootstrapToken() {
    const JSONValue envelope = gateway().call("bootstrap", {{"apiKey", "key-good"}, {"environment", "debug"}});
    const JSONString* token = envelope["data"]["sessionToken"].asString();
    EXPECT_NE(token, nullptr) << envelope.encode();
    return token ? token->str() : std::string();
  }

  std::shared_ptr<testing::VirtualClock> clock_ = std::make_shared<testing::VirtualClock>();
  std::unique_ptr<GatewayServer> server_;
  std::optional<testing::GatewayClient> client_;
};

}  // namespace tarnwell::gateway
