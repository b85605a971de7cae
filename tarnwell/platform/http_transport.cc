#include <tarnwell/platform/http_transport.h>

#include "tarnwell/core/detail/text.h"

namespace tarnwell {

const std::string* HttpResponse::header(std::string_view name) const noexcept {
  for (const auto& [key, value] : headers) {
    if (detail::equalsIgnoringAsciiCase(key, name)) return &value;
  }
  return nullptr;
}

std::string_view toString(TransportErrorCode code) noexcept {
  switch (code) {
    case TransportErrorCode::cancelled: return "cancelled";
    case TransportErrorCode::timedOut: return "timedOut";
    case TransportErrorCode::cannotConnect: return "cannotConnect";
    case TransportErrorCode::responseTooLarge: return "responseTooLarge";
    case TransportErrorCode::invalidRequest: return "invalidRequest";
    case TransportErrorCode::network: return "network";
  }
  return "network";
}

}  // namespace tarnwell
