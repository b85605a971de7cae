#include "tarnwell/backend/detail/api_key_repository.h"

#include "tarnwell/backend/detail/gateway_errors.h"

namespace tarnwell::detail {

std::string requiredBootstrapString(const JSONObject& object, std::string_view key) {
  std::optional<std::string> text = object.scalarText(key);
  if (!text || text->empty()) {
    throw RuntimeGatewayError::gatewayError("Missing bootstrap field " + std::string(key));
  }
  return *std::move(text);
}

ApiKeyRepository::ApiKeyRepository(std::shared_ptr<AppwriteClient> client, std::shared_ptr<HttpTransport> transport)
    : client_(client), gateway_(std::move(client), std::move(transport)) {}

asio::awaitable<ApiKeyConfig> ApiKeyRepository::validateApiKey(std::string apiKey, Environment environment) {
  JSONObject payload{{"apiKey", JSONValue(apiKey)}, {"environment", JSONValue(wireValue(environment))}};
  const JSONObject data = co_await gateway_.execute("bootstrap", std::move(payload), false);

  const JSONValue* configValue = data.find("config");
  if (configValue == nullptr || !configValue->isObject()) {
    throw RuntimeGatewayError::gatewayError("Missing bootstrap config");
  }
  const JSONObject& config = *configValue->asObject();
  ApiKeyConfig result;
  result.organizationId = requiredBootstrapString(config, "organizationId");
  result.projectId = requiredBootstrapString(config, "projectId");
  result.appId = requiredBootstrapString(config, "appId");
  result.teamId = requiredBootstrapString(config, "teamId");
  result.apiKeyId = requiredBootstrapString(config, "apiKeyId");
  result.apiKey = std::move(apiKey);
  result.environment = config.scalarText("environment").value_or(std::string(wireValue(environment)));
  result.runtimeConfig = makeRuntimeConfig(data.find("runtimeConfig"));

  client_->setTeamId(result.teamId);
  client_->setEnvironment(*result.environment);
  // A repeated bootstrap without a token clears the old one.
  client_->setGatewaySessionToken(data.scalarText("sessionToken"));
  co_return result;
}

}  // namespace tarnwell::detail
