// File: tarnwell/sdk/user_debug_state.h
//
// UserDebugState is a snapshot of who the SDK thinks the user is, for support screens and
// debugging: the identifiers, the session and the tenant.
#pragma once

#include <optional>
#include <string>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>

namespace tarnwell {

struct TARNWELL_API UserDebugState {
  std::string profileId;
  std::string anonymousId;
  std::string effectiveUserId;  // the identified user, else the anonymous id
  std::optional<std::string> identifiedUserId;
  std::string deviceId;
  std::optional<std::string> sessionId;
  std::optional<std::string> teamId;
  std::optional<std::string> environment;
  std::optional<std::string> appId;  // absent until a bootstrap has succeeded

  friend bool operator==(const UserDebugState&, const UserDebugState&) = default;

  // Keys are the field names, in field order; absent fields are left out.
  JSONValue encode() const;
};

}  // namespace tarnwell
