#include "tools/gateway/bootstrap_action.h"

#include <tarnwell/core/iso8601.h>
#include "tarnwell/platform/detail/uuid.h"

namespace tarnwell::gateway {
namespace {

ActionReply bootstrap(ActionContext& context, const ActionCall& call) {
  const JSONString* apiKey = call.payload["apiKey"].asString();
  const ApiKeyEntry* entry = apiKey ? context.content.findApiKey(*apiKey) : nullptr;
  if (entry == nullptr) return ActionReply::failure("Invalid API key");

  const JSONString* sent = call.payload["environment"].asString();
  const std::string environment = sent ? sent->str() : std::string();
  if (!entry->isValidFor(environment)) {
    return ActionReply::failure("API key is not valid for environment " + environment);
  }

  const GatewaySession session{"gst_" + detail::makeUuid(),
                               entry->key,
                               entry->organizationId,
                               entry->projectId,
                               entry->appId,
                               entry->teamId,
                               entry->apiKeyId,
                               environment,
                               formatISO8601Date(context.clock.now())};
  context.store.rememberSession(session);

  JSONObject data{{"config", JSONObject{{"organizationId", entry->organizationId},
                                        {"projectId", entry->projectId},
                                        {"appId", entry->appId},
                                        {"teamId", entry->teamId},
                                        {"apiKeyId", entry->apiKeyId},
                                        {"environment", environment}}}};
  if (entry->runtimeConfig) data.set("runtimeConfig", *entry->runtimeConfig);
  data.set("sessionToken", session.token);
  return ActionReply::success(std::move(data));
}

}  // namespace

void addBootstrapActions(ActionTable& table) { table["bootstrap"] = bootstrap; }

}  // namespace tarnwell::gateway
