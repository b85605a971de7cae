#include "tools/gateway/actions.h"

#include "tools/gateway/bootstrap_action.h"
#include "tools/gateway/content_actions.h"
#include "tools/gateway/event_actions.h"
#include "tools/gateway/identity_actions.h"
#include "tools/gateway/message_center_actions.h"
#include "tools/gateway/response_actions.h"

namespace tarnwell::gateway {

JSONValue ActionReply::envelope() const {
  if (ok) return JSONObject{{"ok", true}, {"data", data}};
  return JSONObject{{"ok", false}, {"error", error}};
}

ActionReply dispatchAction(const ActionTable& table, ActionContext& context, const ActionCall& call) {
  const auto handler = table.find(call.action);
  if (handler == table.end()) return ActionReply::failure("Unknown action: " + call.action);
  return handler->second(context, call);
}

ActionTable standardActions() {
  ActionTable table;
  addBootstrapActions(table);
  addIdentityActions(table);
  addEventActions(table);
  addContentActions(table);
  addResponseActions(table);
  addMessageCenterActions(table);
  return table;
}

}  // namespace tarnwell::gateway
