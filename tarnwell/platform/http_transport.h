// File: tarnwell/platform/http_transport.h
//
// HttpTransport sends one HTTP POST and reports what came back. It knows nothing of the
// gateway: envelopes, status rules and errors live above it.
//
//   auto transfer = transport.post(
//       {.url = "https://api.example.com/v1/functions/f/executions",
//        .headers = {{"Content-Type", "application/json"}}, .body = "{}"},
//       [](tarnwell::HttpResult result) { ... });
//   transfer->cancel();  // the completion then receives TransportErrorCode::cancelled
//
// Contract for every implementation:
// - `post` may be called from any thread, never blocks on the network and never throws.
// - The completion runs exactly once, on a thread of the transport's choosing (possibly before
//   `post` returns); it must not block.
// - A response of any status is an HttpResponse; only a transfer that produced no complete
//   response is a TransportError.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <tarnwell/export.h>

namespace tarnwell {

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

struct HttpRequest {
  std::string url;
  HttpHeaders headers;
  std::string body;
  std::chrono::milliseconds timeout{60'000};
};

struct TARNWELL_API HttpResponse {
  int status = 0;
  HttpHeaders headers;  // names as the server sent them
  std::string body;

  // The first header with this name, compared case-insensitively.
  const std::string* header(std::string_view name) const noexcept;
};

enum class TransportErrorCode {
  cancelled,         // the transfer was cancelled by its caller or by shutdown
  timedOut,          // no complete response within the request's time-out
  cannotConnect,     // name resolution or connection failed
  responseTooLarge,  // the body passed the transport's size cap
  invalidRequest,    // the URL or a header could not be used
  network,           // any other failure during the transfer
};

struct TransportError {
  TransportErrorCode code = TransportErrorCode::network;
  std::string message;  // readable, e.g. "Connection refused"
};

using HttpResult = std::variant<HttpResponse, TransportError>;

// A transfer in flight. Cancelling a finished transfer does nothing.
class TARNWELL_API HttpTransfer {
 public:
  virtual ~HttpTransfer() = default;
  virtual void cancel() noexcept = 0;
};

class TARNWELL_API HttpTransport {
 public:
  using Completion = std::function<void(HttpResult)>;

  virtual ~HttpTransport() = default;
  virtual std::shared_ptr<HttpTransfer> post(HttpRequest request, Completion completion) = 0;
};

// "cancelled", "timedOut", ... as used in log lines and test output.
TARNWELL_API std::string_view toString(TransportErrorCode code) noexcept;

}  // namespace tarnwell
