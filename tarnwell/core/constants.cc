#include "tarnwell/core/constants.h"

namespace tarnwell {

const std::string_view Constants::appwriteEndpoint = TARNWELL_DEFAULT_ENDPOINT;
const std::string_view Constants::centralProjectId = TARNWELL_DEFAULT_PROJECT_ID;
const std::string_view Constants::centralDatabaseId = TARNWELL_DEFAULT_DATABASE_ID;
const std::string_view Constants::sdkRuntimeGatewayFunctionId = TARNWELL_DEFAULT_GATEWAY_FUNCTION_ID;

}  // namespace tarnwell
