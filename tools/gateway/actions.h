// File: tools/gateway/actions.h
//
// The local gateway answers each action through one handler in a table keyed by the action's
// name. A family of actions lives in a file of its own with a function that adds its handlers
// to a table; standardActions() gathers every family.
//
//   void addGreetingActions(ActionTable& table) {
//     table["hello"] = [](ActionContext& context, const ActionCall& call) {
//       if (!call.session) return ActionReply::failure("Unknown session");
//       return ActionReply::success(JSONObject{{"teamId", call.session->teamId}});
//     };
//   }
//
// Handlers run on the server's worker threads, several at once: what they share (content,
// store, clock) is safe to use from any thread. A handler may throw; the caller then gets an
// HTTP 500 with the error's text, which is meant for gateway bugs, not for answers.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include <tarnwell/core/json_value.h>
#include <tarnwell/platform/clock.h>

#include "tools/gateway/content.h"
#include "tools/gateway/gateway_store.h"

namespace tarnwell::gateway {

// One gateway call as the function received it.
struct ActionCall {
  std::string action;
  JSONValue payload;                        // always an object
  std::optional<std::string> sessionToken;  // as sent: absent before the SDK has one
  std::optional<GatewaySession> session;    // the bootstrap that issued the token, when known
  // The payload's JSON text byte for byte as sent; empty when the call was made from a parsed
  // payload alone, and then `payload` encoded stands for it.
  std::string payloadText{};

  // payloadText, or `payload` encoded when there is none.
  std::string sentPayloadText() const { return payloadText.empty() ? payload.encode() : payloadText; }
};

struct ActionContext {
  const GatewayContent& content;
  GatewayStore& store;
  Clock& clock;
};

// The gateway envelope: {"ok":true,"data":{...}} or {"ok":false,"error":"..."}.
struct ActionReply {
  bool ok = true;
  JSONObject data;
  std::string error;

  static ActionReply success(JSONObject data) { return {true, std::move(data), {}}; }
  static ActionReply failure(std::string error) { return {false, {}, std::move(error)}; }

  JSONValue envelope() const;
};

using ActionHandler = std::function<ActionReply(ActionContext& context, const ActionCall& call)>;
using ActionTable = std::map<std::string, ActionHandler, std::less<>>;

// Runs the handler of `call.action`; an action without one fails with "Unknown action: " + name.
ActionReply dispatchAction(const ActionTable& table, ActionContext& context, const ActionCall& call);

// Every action the local gateway answers.
ActionTable standardActions();

}  // namespace tarnwell::gateway
