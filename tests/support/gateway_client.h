// Speaks the gateway protocol the way the SDK does, over cpp-httplib, for tests that run
// against the local gateway: posts function executions and unwraps the envelope of the answer.
//
//   tarnwell::testing::GatewayClient gateway(server.url(), "proj", "fn");
//   tarnwell::JSONValue envelope = gateway.call("bootstrap", {{"apiKey", "k"}, {"environment", "debug"}});
//   httplib::Result raw = gateway.post("get_surveys", {}, token);   // status, headers, body
#pragma once

#include <httplib.h>

#include <optional>
#include <string>
#include <string_view>

#include <tarnwell/core/json_value.h>

namespace tarnwell::testing {

// The body of one function execution: {"body": <input as JSON text>, "async": false, "path":
// "/", "method": "POST"}, the input being {"action", "payload"[, "sessionToken"]}.
std::string executionBody(std::string_view action, const JSONObject& payload,
                          const std::optional<std::string>& sessionToken = std::nullopt);

// The gateway envelope in an answer body: the "responseBody" of an execution record, or the
// body itself when it is no such record.
JSONValue envelopeOf(const std::string& body);

class GatewayClient {
 public:
  // `endpoint` as the gateway prints it, e.g. "http://127.0.0.1:40123/v1".
  GatewayClient(const std::string& endpoint, std::string projectId, std::string functionId);

  // One gateway call; transport errors show in the result.
  httplib::Result post(std::string_view action, const JSONObject& payload,
                       const std::optional<std::string>& sessionToken = std::nullopt);
  // A raw body to the execution route of `functionId`, with `projectId` as the project header
  // unless it is empty.
  httplib::Result postRaw(const std::string& body, const std::string& projectId, const std::string& functionId);
  // post(), then the envelope of its answer; fails the test unless the answer is an HTTP 200.
  JSONValue call(std::string_view action, const JSONObject& payload,
                 const std::optional<std::string>& sessionToken = std::nullopt);

  // The same host, for the inspection and fault routes.
  httplib::Client& http() { return client_; }
  // GET `path` and decode the JSON answer; fails the test unless it is an HTTP 200.
  JSONValue getJSON(const std::string& path);
  // POST a JSON body to `path`; the raw result.
  httplib::Result postJSON(const std::string& path, const std::string& body);

 private:
  httplib::Client client_;
  std::string basePath_;
  std::string projectId_;
  std::string functionId_;
};

}  // namespace tarnwell::testing
