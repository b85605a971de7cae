#include "tarnwell/platform/detail/curl_exchange.h"

#include <algorithm>
#include <limits>
#include <new>
#include <string_view>
#include <utility>

namespace tarnwell::detail {
namespace {

TransportErrorCode errorCodeFor(CURLcode code) noexcept {
  switch (code) {
    case CURLE_OPERATION_TIMEDOUT: return TransportErrorCode::timedOut;
    case CURLE_COULDNT_CONNECT:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY: return TransportErrorCode::cannotConnect;
    case CURLE_URL_MALFORMAT:
    case CURLE_UNSUPPORTED_PROTOCOL: return TransportErrorCode::invalidRequest;
    default: return TransportErrorCode::network;
  }
}

// A header that would split the request or be rewritten by libcurl is refused, not sent.
bool isSendableHeader(std::string_view name, std::string_view value) noexcept {
  const auto isTokenChar = [](char c) { return c > ' ' && c < 0x7f && c != ':'; };
  const auto isValueChar = [](char c) { return c != '\r' && c != '\n' && c != '\0'; };
  return !name.empty() && std::ranges::all_of(name, isTokenChar) && std::ranges::all_of(value, isValueChar);
}

// A count in the type libcurl takes for it, saturating rather than wrapping.
template <typename Target, typename Count>
Target clampedTo(Count count) noexcept {
  constexpr Target most = std::numeric_limits<Target>::max();
  return std::cmp_greater(count, most) ? most : static_cast<Target>(count);
}

std::string_view trimmed(std::string_view text) noexcept {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

}  // namespace

CurlExchange::CurlExchange(HttpRequest request, std::size_t maxResponseBytes) noexcept
    : request_(std::move(request)), maxResponseBytes_(maxResponseBytes) {}

CurlExchange::~CurlExchange() { curl_slist_free_all(headerList_); }

std::optional<TransportError> CurlExchange::prepare(CURL* easy, const std::string& userAgent) {
  if (request_.timeout.count() <= 0) {
    return TransportError{TransportErrorCode::invalidRequest, "time-out must be positive"};
  }
  for (const auto& [name, value] : request_.headers) {
    if (!isSendableHeader(name, value)) {
      return TransportError{TransportErrorCode::invalidRequest, "header \"" + name + "\" cannot be sent"};
    }
  }
  if (!buildHeaderList()) {
    return TransportError{TransportErrorCode::network, "out of memory for request headers"};
  }
  if (const CURLcode code = configure(easy, userAgent); code != CURLE_OK) {
    return TransportError{errorCodeFor(code), errorText(code)};
  }
  return std::nullopt;
}

// Sends exactly the caller's headers. The empty "Expect:" and "Content-Type:" at the end suppress
// libcurl's own (a wasted round trip before the body, a form content type); a header of the
// caller's with that name comes first and wins.
bool CurlExchange::buildHeaderList() {
  const auto append = [this](const std::string& line) {
    curl_slist* list = curl_slist_append(headerList_, line.c_str());
    if (list != nullptr) headerList_ = list;
    return list != nullptr;
  };
  for (const auto& [name, value] : request_.headers) {
    // "Name:" would remove the header; "Name;" is libcurl's way to send it empty.
    if (!append(value.empty() ? name + ";" : name + ": " + value)) return false;
  }
  return append("Expect:") && append("Content-Type:");
}

CURLcode CurlExchange::configure(CURL* easy, const std::string& userAgent) {
  CURLcode result = CURLE_OK;
  const auto set = [&](CURLoption option, auto value) {
    if (result == CURLE_OK) result = curl_easy_setopt(easy, option, value);
  };
  set(CURLOPT_ERRORBUFFER, errorBuffer_);
  set(CURLOPT_URL, request_.url.c_str());
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_HTTPHEADER, headerList_);
  set(CURLOPT_POSTFIELDSIZE_LARGE, clampedTo<curl_off_t>(request_.body.size()));
  set(CURLOPT_POSTFIELDS, request_.body.data());
  set(CURLOPT_TIMEOUT_MS, clampedTo<long>(request_.timeout.count()));
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_USERAGENT, userAgent.c_str());
  // Refuses a declared Content-Length past the cap before any byte of the body arrives.
  set(CURLOPT_MAXFILESIZE_LARGE, clampedTo<curl_off_t>(maxResponseBytes_));
  set(CURLOPT_WRITEFUNCTION, &CurlExchange::onBody);
  set(CURLOPT_WRITEDATA, this);
  set(CURLOPT_HEADERFUNCTION, &CurlExchange::onHeader);
  set(CURLOPT_HEADERDATA, this);
  return result;
}

std::size_t CurlExchange::onBody(char* data, std::size_t size, std::size_t count, void* self) {
  auto& exchange = *static_cast<CurlExchange*>(self);
  std::string& body = exchange.response_.body;
  const std::size_t length = size * count;
  if (length > exchange.maxResponseBytes_ - body.size()) {
    exchange.bodyTooLarge_ = true;
    return 0;  // libcurl aborts the transfer
  }
  try {
    body.append(data, length);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  return length;
}

std::size_t CurlExchange::onHeader(char* data, std::size_t size, std::size_t count, void* self) {
  HttpHeaders& headers = static_cast<CurlExchange*>(self)->response_.headers;
  const std::size_t length = size * count;
  const std::string_view line(data, length);
  // Each status line opens a new response (an interim "100 Continue" comes first).
  if (line.starts_with("HTTP/")) {
    headers.clear();
    return length;
  }
  const auto colon = line.find(':');
  if (colon == std::string_view::npos || colon == 0 || line.front() == ' ' || line.front() == '\t') {
    return length;  // the blank line that ends the block, or an obsolete folded line
  }
  try {
    headers.emplace_back(line.substr(0, colon), trimmed(line.substr(colon + 1)));
  } catch (const std::bad_alloc&) {
    return 0;
  }
  return length;
}

HttpResult CurlExchange::result(CURL* easy, CURLcode code) {
  if (code == CURLE_OK) {
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    response_.status = static_cast<int>(status);
    return std::move(response_);
  }
  if (bodyTooLarge_ || code == CURLE_FILESIZE_EXCEEDED) {
    return TransportError{TransportErrorCode::responseTooLarge,
                          "response body exceeds " + std::to_string(maxResponseBytes_) + " bytes"};
  }
  return TransportError{errorCodeFor(code), errorText(code)};
}

std::string CurlExchange::errorText(CURLcode code) const {
  const std::string_view buffered = trimmed(errorBuffer_);
  return buffered.empty() ? curl_easy_strerror(code) : std::string(buffered);
}

}  // namespace tarnwell::detail
