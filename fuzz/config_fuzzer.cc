// A configuration file's text through TarnwellSDKConfig::fromJSON, and what the SDK reads out of
// it at start-up: the environment it selects and the backend coordinates the client takes.
#include <cstddef>
#include <cstdint>

#include "fuzz/fuzz_support.h"
#include "tarnwell/backend/detail/appwrite_client.h"
#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/core/detail/text.h"
#include "tarnwell/core/sdk_config.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarnwell;
  TarnwellSDKConfig config;
  try {
    config = TarnwellSDKConfig::fromJSON(fuzz::asText(data, size));
  } catch (const TarnwellSDKConfigError& error) {
    fuzz::require(error.code() == TarnwellSDKConfigError::Code::invalidUTF8, "fromJSON reported a missing file");
    return 0;
  } catch (const DecodingError&) {
    return 0;
  }
  fuzz::requireRoundTrip(config, "the configuration");

  // Selection ignores case and falls back to production for any other text.
  const Environment selected = config.selectedEnvironment();
  const Environment expected =
      environmentFromRawValue(detail::toLowerAscii(config.environment)).value_or(Environment::production);
  fuzz::require(selected == expected, "the selected environment is not the text's, ignoring case");
  fuzz::require(environmentFromRawValue(wireValue(selected)) == selected, "the wire value does not name it");

  // The client takes the coordinates whole when the endpoint is a URL, and nothing otherwise.
  const TarnwellSDKConfig::Appwrite before{"https://placeholder.invalid/v1", "p", "d", "g", std::nullopt, std::nullopt};
  detail::AppwriteClient client(before.endpoint, before.projectId, before.databaseId, before.gatewayFunctionId);
  const bool valid = detail::isValidEndpointURL(config.appwrite.endpoint);
  try {
    client.configure(config.appwrite);
    fuzz::require(valid, "the client took an endpoint that is not a URL");
  } catch (const detail::URLError&) {
    fuzz::require(!valid, "the client refused a valid endpoint");
  }
  const TarnwellSDKConfig::Appwrite& taken = valid ? config.appwrite : before;
  fuzz::require(client.getEndpoint() == taken.endpoint && client.getProjectId() == taken.projectId &&
                    client.getDatabaseId() == taken.databaseId &&
                    client.getGatewayFunctionId() == taken.gatewayFunctionId,
                "the client's coordinates are not the ones configured");
  return 0;
}
