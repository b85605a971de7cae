// File: tools/gateway/content_actions.h
//
// The actions that hand out the content sections: "get_runtime_bundle" (surveys, announcements,
// live cards and flags at once, with a version mark per kind, or only the marks when the caller
// already holds them all), the list of each kind on its own ("get_surveys",
// "get_announcements_banners", "get_live_cards", "get_feature_flags"), and "get_segment", one
// segment by its "id". Documents go out exactly as the content holds them.
#pragma once

#include "tools/gateway/actions.h"

namespace tarnwell::gateway {

void addContentActions(ActionTable& table);

}  // namespace tarnwell::gateway
