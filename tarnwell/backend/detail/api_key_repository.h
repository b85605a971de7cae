// File: tarnwell/backend/detail/api_key_repository.h
//
// ApiKeyRepository runs the bootstrap: the first gateway call of every start-up, which turns the
// application's API key into the tenant's identifiers, a gateway session token and the
// backend's RuntimeConfig. Nothing of the answer is persisted.
//
//   ApiKeyRepository keys(client, transport);
//   ApiKeyConfig config = co_await keys.validateApiKey(apiKey, Environment::production);
//
// As a side effect it writes the team id, the environment and the session token (cleared when
// the answer has none) into the client.
#pragma once

#include <asio/awaitable.hpp>

#include <memory>
#include <string>

#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/backend/runtime_config.h"
#include "tarnwell/core/environment.h"

namespace tarnwell::detail {

class ApiKeyRepository {
 public:
  ApiKeyRepository(std::shared_ptr<AppwriteClient> client, std::shared_ptr<HttpTransport> transport);

  // Throws what the gateway call throws, or RuntimeGatewayError::gatewayError with
  // "Missing bootstrap config" / "Missing bootstrap field " + key.
  asio::awaitable<ApiKeyConfig> validateApiKey(std::string apiKey, Environment environment);

 private:
  std::shared_ptr<AppwriteClient> client_;
  RuntimeGatewayRepository gateway_;
};

// The text under `key` of a bootstrap object: text as it is, numbers and bools through
// stringifyScalar. Missing, of another case, or empty: gatewayError("Missing bootstrap field " + key).
std::string requiredBootstrapString(const JSONObject& object, std::string_view key);

}  // namespace tarnwell::detail
