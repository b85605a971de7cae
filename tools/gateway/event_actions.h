// File: tools/gateway/event_actions.h
//
// The actions that carry what the SDK counts: "track_event_batch" (analytics events, each item
// with its four property maps as JSON texts) and "track_runtime_telemetry_batch" (items of
// {"action","payload"}). A batch is stored whole or, when any item is malformed, not at all: the
// answer then names the item and member at fault.
#pragma once

#include "tools/gateway/actions.h"

namespace tarnwell::gateway {

void addEventActions(ActionTable& table);

}  // namespace tarnwell::gateway
