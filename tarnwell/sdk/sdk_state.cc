#include "tarnwell/sdk/sdk_state.h"

namespace tarnwell {

std::string_view SDKState::name() const noexcept {
  switch (kind_) {
    case Kind::notInitialized: return "notInitialized";
    case Kind::initializing: return "initializing";
    case Kind::ready: return "ready";
    case Kind::error: return "error";
    case Kind::shutdown: return "shutdown";
  }
  return "notInitialized";
}

}  // namespace tarnwell
