#include "tarnwell/backend/detail/gateway_errors.h"

#include <asio/error.hpp>

#include <system_error>

namespace tarnwell::detail {
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
  return {Kind::httpError, "The Appwrite gateway request failed with HTTP status " + std::to_string(statusCode) + ".",
          statusCode};
}

RuntimeGatewayError RuntimeGatewayError::gatewayError(std::string_view message) {
  return {Kind::gatewayError, std::string(message), 0};
}

RuntimeGatewayError RuntimeGatewayError::invalidResponse() {
  return {Kind::invalidResponse, "The Appwrite gateway returned an invalid response.", 0};
}

TransportFailure::TransportFailure(TransportError error)
    : std::runtime_error(describe(error.code)), error_(std::move(error)) {}

bool isCancellationError(const std::exception& error) noexcept {
  if (const auto* transport = dynamic_cast<const TransportFailure*>(&error)) {
    return transport->isCancellation();
  }
  if (const auto* system = dynamic_cast<const std::system_error*>(&error)) {
    return system->code() == std::errc::operation_canceled || system->code() == asio::error::operation_aborted;
  }
  return false;
}

std::string textualForm(const std::exception& error) {
  if (const auto* gateway = dynamic_cast<const RuntimeGatewayError*>(&error)) {
    switch (gateway->kind()) {
      case RuntimeGatewayError::Kind::httpError: return "httpError(" + std::to_string(gateway->statusCode()) + ")";
      case RuntimeGatewayError::Kind::gatewayError: return "gatewayError(\"" + std::string(gateway->what()) + "\")";
      case RuntimeGatewayError::Kind::invalidResponse: return "invalidResponse";
    }
  }
  if (const auto* transport = dynamic_cast<const TransportFailure*>(&error)) {
    return "TransportFailure(" + std::string(toString(transport->code())) + ": " + transport->detail() + ")";
  }
  if (dynamic_cast<const URLError*>(&error) != nullptr) {
    return "URLError(badURL)";
  }
  return error.what();
}

}  // namespace tarnwell::detail
