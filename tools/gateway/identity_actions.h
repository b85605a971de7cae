// File: tools/gateway/identity_actions.h
//
// The actions that keep the backend's picture of a user, each carrying the device's complete
// user snapshot: "start_session" and "end_session" (with "sessionData") record app sessions,
// "sync_user_state" keeps the latest state of each profile, and "identify_user" ties the device's
// profile to an identified user. A payload that is missing a member or holds one of the wrong
// type is answered with a failure naming it, and nothing is stored.
#pragma once

#include "tools/gateway/actions.h"

namespace tarnwell::gateway {

void addIdentityActions(ActionTable& table);

}  // namespace tarnwell::gateway
