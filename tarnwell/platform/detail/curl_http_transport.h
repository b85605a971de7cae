// File: tarnwell/platform/detail/curl_http_transport.h
//
// CurlHttpTransport is the HttpTransport a host gets by default: libcurl's multi interface
// driven by one I/O thread that the transport owns, so any number of transfers share that
// thread and its connection cache.
//
//   tarnwell::detail::CurlHttpTransport transport({.maxResponseBytes = 4 << 20});
//   auto transfer = transport.post({.url = url, .body = payload},
//                                  [](tarnwell::HttpResult result) { ... });
//
// Contract, beyond HttpTransport's:
// - The I/O thread starts in the constructor. Completions run on it, so they must be short and
//   must not block; they may call `post` again.
// - TLS peers are verified, redirects are not followed, and the proxy environment variables
//   (`https_proxy`, `no_proxy`, ...) are honoured.
// - A body larger than `maxResponseBytes` aborts the transfer with `responseTooLarge`.
// - `HttpTransfer::cancel()` may be called from any thread at any moment, also after the
//   transport is gone; a transfer still in flight then completes promptly with `cancelled`.
// - The destructor cancels every transfer still in flight, waits until each completion has
//   run (with `cancelled`), and joins the I/O thread. Destroying the transport from inside one
//   of its own completions is allowed; the thread then winds down on its own.
// - If libcurl cannot be set up, the failure is logged once and every `post` completes at once
//   with a `network` error; nothing throws.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include <tarnwell/core/log.h>
#include <tarnwell/platform/http_transport.h>
#include <tarnwell/version.h>

namespace tarnwell::detail {

class CurlEngine;

class CurlHttpTransport final : public HttpTransport {
 public:
  struct Options {
    // A response body longer than this fails the transfer with `responseTooLarge`.
    std::size_t maxResponseBytes = 16 << 20;
    // Sent unless the request carries a User-Agent header of its own.
    std::string userAgent = "TarnwellSdk/" TARNWELL_VERSION_STRING;
    // The I/O thread logs here when given (the owning SDK object's sink), else to the process's sink.
    LogSink logSink{};
  };

  CurlHttpTransport();
  explicit CurlHttpTransport(Options options);
  ~CurlHttpTransport() override;

  CurlHttpTransport(const CurlHttpTransport&) = delete;
  CurlHttpTransport& operator=(const CurlHttpTransport&) = delete;

  std::shared_ptr<HttpTransfer> post(HttpRequest request, Completion completion) override;

 private:
  // The I/O thread's state, shared with the transfers so that cancel() outlives the transport.
  std::shared_ptr<CurlEngine> engine_;
};

}  // namespace tarnwell::detail
