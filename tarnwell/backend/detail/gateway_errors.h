// File: tarnwell/backend/detail/gateway_errors.h
//
// What a gateway call can fail with. The start-up shows the failure's what() text as the
// `error` state's text, so each text is worded for the developer who reads that state.
//
//   try { co_await gateway.execute("bootstrap", payload, false); }
//   catch (const RuntimeGatewayError& e) { e.kind(); e.what(); }
//   catch (const TransportFailure& e) { if (e.isCancellation()) ... }
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include <tarnwell/platform/http_transport.h>

namespace tarnwell::detail {

class RuntimeGatewayError : public std::runtime_error {
 public:
  enum class Kind { httpError, gatewayError, invalidResponse };

  // "The Appwrite gateway request failed with HTTP status " + code + "."
  static RuntimeGatewayError httpError(int statusCode);
  // The backend's own words.
  static RuntimeGatewayError gatewayError(std::string_view message);
  // "The Appwrite gateway returned an invalid response."
  static RuntimeGatewayError invalidResponse();

  Kind kind() const noexcept { return kind_; }
  int statusCode() const noexcept { return statusCode_; }  // httpError only

 private:
  RuntimeGatewayError(Kind kind, const std::string& text, int statusCode)
      : std::runtime_error(text), kind_(kind), statusCode_(statusCode) {}
  Kind kind_;
  int statusCode_;
};

// A transfer that produced no HTTP response, thrown as the transport reported it.
class TransportFailure : public std::runtime_error {
 public:
  explicit TransportFailure(TransportError error);

  TransportErrorCode code() const noexcept { return error_.code; }
  // The transport's own detail, e.g. curl's "Connection refused".
  const std::string& detail() const noexcept { return error_.message; }
  bool isCancellation() const noexcept { return error_.code == TransportErrorCode::cancelled; }

 private:
  TransportError error_;
};

// An endpoint that does not parse as a URL. what(): "bad URL".
class URLError : public std::runtime_error {
 public:
  enum class Code { badURL };
  URLError() : std::runtime_error("bad URL") {}
  Code code() const noexcept { return Code::badURL; }
};

// True for a cancelled operation: a cancelled transfer, or an awaited operation aborted by
// cancellation (asio::error::operation_aborted).
bool isCancellationError(const std::exception& error) noexcept;

// The error's textual form for ERROR log lines: the case and its payload, e.g.
// httpError(404), gatewayError("Invalid API key"), TransportFailure(cannotConnect: Connection
// refused); other errors give their what() text.
std::string textualForm(const std::exception& error);

}  // namespace tarnwell::detail
