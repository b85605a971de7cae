#include <tarnwell/platform/http_transport.h>

#include <algorithm>

namespace tarnwell {
namespace {

// Header names are ASCII tokens, so a byte-wise fold is enough and needs no locale.
char foldCase(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool equalsIgnoringCase(std::string_view a, std::string_view b) noexcept {
  return std::ranges::equal(a, b, [](char x, char y) { return foldCase(x) == foldCase(y); });
}

}  // namespace

const std::string* HttpResponse::header(std::string_view name) const noexcept {
  for (const auto& [key, value] : headers) {
    if (equalsIgnoringCase(key, name)) return &value;
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
