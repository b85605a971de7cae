// File: tarnwell/platform/detail/curl_exchange.h
//
// CurlExchange is one POST and its response on a libcurl easy handle: it sets the handle up
// from an HttpRequest, collects the response headers and body (refusing a body past the cap),
// and turns libcurl's outcome into an HttpResult. CurlHttpTransport runs it on its multi handle.
//
//   CurlExchange exchange(std::move(request), 16 << 20);
//   if (auto error = exchange.prepare(easy, options.userAgent)) return fail(*error);
//   curl_multi_add_handle(multi, easy);  ...  HttpResult result = exchange.result(easy, code);
//
// Contract: used by one thread at a time. The exchange must outlive libcurl's use of `easy`
// (its callbacks, header list and error buffer are wired into the handle). Nothing throws
// except std::bad_alloc.
#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <optional>
#include <string>

#include <tarnwell/platform/http_transport.h>

namespace tarnwell::detail {

class CurlExchange {
 public:
  CurlExchange(HttpRequest request, std::size_t maxResponseBytes) noexcept;
  ~CurlExchange();

  CurlExchange(const CurlExchange&) = delete;
  CurlExchange& operator=(const CurlExchange&) = delete;

  // Sets a fresh (or reset) handle up for this request. An error means the request cannot be
  // sent as given and nothing was started.
  std::optional<TransportError> prepare(CURL* easy, const std::string& userAgent);

  // The outcome once libcurl finished the handle with `code`. Call once.
  HttpResult result(CURL* easy, CURLcode code);

 private:
  static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);
  static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);

  bool buildHeaderList();
  CURLcode configure(CURL* easy, const std::string& userAgent);
  std::string errorText(CURLcode code) const;

  const HttpRequest request_;
  const std::size_t maxResponseBytes_;
  curl_slist* headerList_ = nullptr;
  HttpResponse response_;
  bool bodyTooLarge_ = false;
  char errorBuffer_[CURL_ERROR_SIZE] = {};
};

}  // namespace tarnwell::detail
