// File: tools/gateway/bootstrap_action.h
//
// "bootstrap": the first call of every SDK start. The payload {"apiKey", "environment"} is
// checked against the content's API keys; the answer holds the tenant's identifiers, the key's
// runtime configuration when it has one, and a fresh session token that later calls send.
#pragma once

#include "tools/gateway/actions.h"

namespace tarnwell::gateway {

void addBootstrapActions(ActionTable& table);

}  // namespace tarnwell::gateway
