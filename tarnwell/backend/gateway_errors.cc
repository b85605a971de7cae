#include "tarnwell/backend/gateway_errors.h"

namespace tarnwell {
namespace {

// The descriptions a developer reads in the `error` state; the transport's own detail is kept
// beside them.
std::string describe(TransportErrorCode code) {
  switch (code) {
    case TransportErrorCode::cancelled: return "cancelled";
    case TransportErrorCode::timedOut: return "The request timed out.";
    case TransportErrorCode::cannotConnect: return "Could not connect to the server.";
    case TransportErrorCode::responseTooLarge: return "The response is larger than the transport accepts.";
    case TransportErrorCode::invalidRequest: return "unsupported URL";
    case TransportErrorCode::network: return "The network connection was lost.";
  }
  return "The network connection was lost.";
}

}  // namespace

RuntimeGatewayError RuntimeGatewayError::httpError(int statusCode) {
  return {Kind::httpError,
          "The Appwrite gateway request failed with HTTP status " + std::to_string(statusCode) + ".", statusCode};
}

RuntimeGatewayError RuntimeGatewayError::gatewayError(std::string_view message) {
  return {Kind::gatewayError, std::string(message), 0};
}

RuntimeGatewayError RuntimeGatewayError::invalidResponse() {
  return {Kind::invalidResponse, "The Appwrite gateway returned an invalid response.", 0};
}

TransportFailure::TransportFailure(TransportError error)
    : std::runtime_error(describe(error.code)), error_(std::move(error)) {}

}  // namespace tarnwell
