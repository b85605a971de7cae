#include "tests/support/gateway_client.h"

#include <gtest/gtest.h>

#include <utility>

namespace tarnwell::testing {
namespace {

// "http://127.0.0.1:40123/v1" splits into "http://127.0.0.1:40123" and "/v1".
std::pair<std::string, std::string> splitEndpoint(const std::string& endpoint) {
  const auto hostStart = endpoint.find("://");
  const auto pathStart = endpoint.find('/', hostStart == std::string::npos ? 0 : hostStart + 3);
  if (pathStart == std::string::npos) return {endpoint, ""};
  return {endpoint.substr(0, pathStart), endpoint.substr(pathStart)};
}

std::string describe(const httplib::Result& result) {
  if (!result) return "transport error " + httplib::to_string(result.error());
  return "HTTP " + std::to_string(result->status) + " " + result->body;
}

}  // namespace

std::string executionBody(std::string_view action, const JSONObject& payload,
                          const std::optional<std::string>& sessionToken) {
  JSONObject input{{"action", action}, {"payload", payload}};
  if (sessionToken) input.set("sessionToken", *sessionToken);
  return JSONValue(JSONObject{{"body", JSONValue(input).encode()}, {"async", false}, {"path", "/"}, {"method", "POST"}})
      .encode();
}

JSONValue envelopeOf(const std::string& body) {
  const JSONValue answer = JSONValue::decode(body);
  if (const JSONString* inner = answer["responseBody"].asString()) return JSONValue::decode(inner->view());
  return answer;
}

GatewayClient::GatewayClient(const std::string& endpoint, std::string projectId, std::string functionId)
    : client_(splitEndpoint(endpoint).first),
      basePath_(splitEndpoint(endpoint).second),
      projectId_(std::move(projectId)),
      functionId_(std::move(functionId)) {
  // As long as the SDK waits, so answers held back by a delay fault still arrive.
  client_.set_read_timeout(60, 0);
}

httplib::Result GatewayClient::post(std::string_view action, const JSONObject& payload,
                                    const std::optional<std::string>& sessionToken) {
  return postRaw(executionBody(action, payload, sessionToken), projectId_, functionId_);
}

httplib::Result GatewayClient::postRaw(const std::string& body, const std::string& projectId,
                                       const std::string& functionId) {
  httplib::Headers headers;
  if (!projectId.empty()) headers.emplace("X-Appwrite-Project", projectId);
  return client_.Post(basePath_ + "/functions/" + functionId + "/executions", headers, body, "application/json");
}

JSONValue GatewayClient::call(std::string_view action, const JSONObject& payload,
                              const std::optional<std::string>& sessionToken) {
  const httplib::Result result = post(action, payload, sessionToken);
  if (!result || result->status != 200) {
    ADD_FAILURE() << "gateway call " << action << ": " << describe(result);
    return {};
  }
  return envelopeOf(result->body);
}

JSONValue GatewayClient::getJSON(const std::string& path) {
  const httplib::Result result = client_.Get(path);
  if (!result || result->status != 200) {
    ADD_FAILURE() << "GET " << path << ": " << describe(result);
    return {};
  }
  return JSONValue::decode(result->body);
}

httplib::Result GatewayClient::postJSON(const std::string& path, const std::string& body) {
  return client_.Post(path, body, "application/json");
}

}  // namespace tarnwell::testing
