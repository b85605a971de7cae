// File: tarnwell/backend/detail/runtime_gateway_repository.h
//
// RuntimeGatewayRepository turns an action and a payload into the backend's answer. Every
// remote call of the SDK is one execution of the gateway function:
//
//   POST {endpoint}/functions/{gatewayFunctionId}/executions
//   {"body": "{\"action\":...,\"payload\":{...},\"sessionToken\":...}", "async": false, ...}
//
// and the reply, either an execution record whose "responseBody" holds the gateway envelope or
// the envelope itself, reads {"ok": true, "data": {...}} or {"ok": false, "error": "..."}.
//
//   RuntimeGatewayRepository gateway(client, transport);
//   JSONObject data = co_await gateway.execute("get_segment", {{"segmentId", id}}, true);
//
// It holds no state between calls, never logs, never retries: failures are thrown
// (TransportFailure, RuntimeGatewayError, DecodingError) for the repository above to handle. Any
// number of calls may be in flight; the coroutine resumes on the caller's executor.
#pragma once

#include <asio/awaitable.hpp>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tarnwell/backend/detail/appwrite_client.h"
#include "tarnwell/core/json_value.h"
#include "tarnwell/platform/http_transport.h"

namespace tarnwell::detail {

// A record the gateway can read out of a reply: `T::decode(const JSONValue&)` throws
// DecodingError when the value does not fit.
template <typename T>
concept GatewayRecord = requires(const JSONValue& value) {
  { T::decode(value) } -> std::convertible_to<T>;
};

class RuntimeGatewayRepository {
 public:
  static constexpr std::chrono::milliseconds kRequestTimeout{60'000};

  RuntimeGatewayRepository(std::shared_ptr<AppwriteClient> client, std::shared_ptr<HttpTransport> transport);

  // The reply's "data" (an empty object when it has none).
  asio::awaitable<JSONObject> execute(std::string action, JSONObject payload, bool includeSessionToken);

  // The list under `dataKey`; empty when the key is missing or not a list. The first element
  // that does not decode fails the whole call.
  template <GatewayRecord T>
  asio::awaitable<std::vector<T>> executeList(std::string action, JSONObject payload, std::string dataKey,
                                              bool includeSessionToken) {
    const JSONObject data = co_await execute(std::move(action), std::move(payload), includeSessionToken);
    std::vector<T> records;
    if (const JSONValue* value = data.find(dataKey); value != nullptr && value->isArray()) {
      records.reserve(value->asArray()->size());
      for (const JSONValue& element : *value->asArray()) {
        records.push_back(T::decode(element));
      }
    }
    co_return records;
  }

  // The whole of "data" when `dataKey` is absent; else the value under it, absent when the key
  // is missing or null. A value that does not decode is thrown.
  template <GatewayRecord T>
  asio::awaitable<std::optional<T>> executeObject(std::string action, JSONObject payload,
                                                  std::optional<std::string> dataKey, bool includeSessionToken) {
    JSONObject data = co_await execute(std::move(action), std::move(payload), includeSessionToken);
    if (!dataKey) {
      co_return T::decode(JSONValue(std::move(data)));
    }
    const JSONValue* value = data.find(*dataKey);
    if (value == nullptr || value->isNull()) {
      co_return std::nullopt;
    }
    co_return T::decode(*value);
  }

  // An acknowledgement: true unless the value under `dataKey` says otherwise (see
  // readAcknowledgement).
  asio::awaitable<bool> executeBoolean(std::string action, JSONObject payload, std::string dataKey,
                                       bool includeSessionToken);

  const std::shared_ptr<AppwriteClient>& client() const noexcept { return client_; }

 private:
  std::shared_ptr<AppwriteClient> client_;
  std::shared_ptr<HttpTransport> transport_;
};

// The whole wire request of one execution carrying `gatewayInput`.
HttpRequest buildExecutionRequest(const AppwriteClient& client, std::string_view gatewayInput);

// The gateway envelope inside an HTTP body: the execution record's "responseBody" when the body
// is such a record and has one, else the body itself.
std::string unwrapExecutionBody(std::string_view body);

// Reads an acknowledgement value: a missing value is true; a bool is itself; a number is true
// unless 0; "true"/"false" are themselves and other text is true when it parses as a non-zero
// number; objects, lists and null are false.
bool readAcknowledgement(const JSONValue* value) noexcept;

// The success rule of acknowledgements: the "success" member of a reply's data, read as
// readAcknowledgement does (a missing member counts as success).
inline bool readSuccessFlag(const JSONObject& data) noexcept { return readAcknowledgement(data.find("success")); }

}  // namespace tarnwell::detail
