#include "tarnwell/sdk/user_debug_state.h"

#include "tarnwell/core/detail/record_coding.h"

namespace tarnwell {

namespace detail {

template <>
struct RecordFields<UserDebugState> {
  using R = UserDebugState;
  static constexpr auto fields =
      std::make_tuple(field(&R::profileId, "profileId"), field(&R::anonymousId, "anonymousId"),
                      field(&R::effectiveUserId, "effectiveUserId"), field(&R::identifiedUserId, "identifiedUserId"),
                      field(&R::deviceId, "deviceId"), field(&R::sessionId, "sessionId"), field(&R::teamId, "teamId"),
                      field(&R::environment, "environment"), field(&R::appId, "appId"));
};

}  // namespace detail

JSONValue UserDebugState::encode() const { return detail::encodeRecord(*this); }

}  // namespace tarnwell
