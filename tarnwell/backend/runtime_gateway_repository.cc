#include "tarnwell/backend/detail/runtime_gateway_repository.h"

#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/core/coding_error.h"
#include "tarnwell/platform/detail/async.h"

namespace tarnwell::detail {
namespace {

bool isUnreserved(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
         c == '_' || c == '~';
}

std::string percentEncodePathComponent(std::string_view component) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(component.size());
  for (unsigned char c : component) {
    if (isUnreserved(c)) {
      out.push_back(static_cast<char>(c));
    } else {
      out.push_back('%');
      out.push_back(kHex[c >> 4]);
      out.push_back(kHex[c & 0xF]);
    }
  }
  return out;
}

}  // namespace

HttpRequest buildExecutionRequest(const AppwriteClient& client, std::string_view gatewayInput) {
  HttpRequest request;
  request.url = client.getEndpoint();
  for (std::string_view component :
       {std::string_view("functions"), std::string_view(), std::string_view("executions")}) {
    if (request.url.empty() || request.url.back() != '/') request.url.push_back('/');
    request.url +=
        component.empty() ? percentEncodePathComponent(client.getGatewayFunctionId()) : std::string(component);
  }
  request.headers = {{"X-Appwrite-Project", client.getProjectId()}, {"Content-Type", "application/json"}};
  request.body =
      JSONValue(JSONObject{{"body", JSONValue(gatewayInput)}, {"async", false}, {"path", "/"}, {"method", "POST"}})
          .encode();
  request.timeout = RuntimeGatewayRepository::kRequestTimeout;
  return request;
}

std::string unwrapExecutionBody(std::string_view body) {
  try {
    const JSONValue record = JSONValue::decode(body);
    if (const JSONObject* object = record.asObject()) {
      if (const JSONValue* responseBody = object->find("responseBody")) {
        if (const JSONString* text = responseBody->asString()) {
          return text->str();
        }
      }
    }
  } catch (const DecodingError&) {
    // Not an execution record: the server answered with the envelope directly.
  }
  return std::string(body);
}

bool readAcknowledgement(const JSONValue* value) noexcept {
  if (value == nullptr) {
    return true;
  }
  switch (value->kind()) {
    case JSONValue::Kind::boolean: return *value->asBool();
    case JSONValue::Kind::number: return *value->asNumber() != 0;
    case JSONValue::Kind::string: {
      if (auto flag = value->boolValue()) return *flag;
      const auto number = value->doubleValue();
      return number.has_value() && *number != 0;
    }
    default: return false;
  }
}

RuntimeGatewayRepository::RuntimeGatewayRepository(std::shared_ptr<AppwriteClient> client,
                                                   std::shared_ptr<HttpTransport> transport)
    : client_(std::move(client)), transport_(std::move(transport)) {}

asio::awaitable<JSONObject> RuntimeGatewayRepository::execute(std::string action, JSONObject payload,
                                                              bool includeSessionToken) {
  JSONObject input{{"action", JSONValue(action)}, {"payload", JSONValue(std::move(payload))}};
  if (includeSessionToken) {
    // An empty token still counts as one; only an absent token is left out.
    if (auto token = client_->getGatewaySessionToken()) {
      input.set("sessionToken", JSONValue(*token));
    }
  }
  HttpRequest request = buildExecutionRequest(*client_, JSONValue(std::move(input)).encode());
  HttpResult result = co_await sendRequest(*transport_, std::move(request));
  if (auto* failure = std::get_if<TransportError>(&result)) {
    throw TransportFailure(std::move(*failure));
  }
  const HttpResponse& response = std::get<HttpResponse>(result);
  if (response.status < 200 || response.status > 299) {
    throw RuntimeGatewayError::httpError(response.status);
  }

  JSONValue envelope = JSONValue::decode(unwrapExecutionBody(response.body));
  JSONObject* fields = envelope.asObject();
  if (fields == nullptr) {
    throw DecodingError("Expected an object at the top level of the gateway envelope");
  }
  const JSONValue* ok = fields->find("ok");
  if (ok == nullptr || !ok->isBool()) {
    throw DecodingError(ok == nullptr ? "No value for the required key \"ok\" of the gateway envelope"
                                      : "Expected a bool at \"ok\" of the gateway envelope");
  }
  JSONValue* data = fields->find("data");
  const JSONValue* error = fields->find("error");
  if (data != nullptr && !data->isNull() && !data->isObject()) {
    throw DecodingError("Expected an object at \"data\" of the gateway envelope");
  }
  if (error != nullptr && !error->isNull() && !error->isString()) {
    throw DecodingError("Expected text at \"error\" of the gateway envelope");
  }
  if (!*ok->asBool()) {
    throw RuntimeGatewayError::gatewayError(error != nullptr && error->isString() ? std::string_view(*error->asString())
                                                                                  : "Unknown gateway error");
  }
  co_return data != nullptr && data->isObject() ? std::move(*data->asObject()) : JSONObject{};
}

asio::awaitable<bool> RuntimeGatewayRepository::executeBoolean(std::string action, JSONObject payload,
                                                               std::string dataKey, bool includeSessionToken) {
  const JSONObject data = co_await execute(std::move(action), std::move(payload), includeSessionToken);
  co_return readAcknowledgement(data.find(dataKey));
}

}  // namespace tarnwell::detail
