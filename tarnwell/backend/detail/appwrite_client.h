// File: tarnwell/backend/detail/appwrite_client.h
//
// AppwriteClient holds the backend coordinates (endpoint, project, database, gateway function)
// and the session data the bootstrap hands out (team, environment, gateway session token). One
// client serves every repository of the process.
//
//   AppwriteClient client(Constants::appwriteEndpoint, Constants::centralProjectId, ...);
//   client.configure(config.appwrite);        // throws URLError for an endpoint that is not a URL
//   client.setGatewaySessionToken("gst_...");
//
// All members may be called from any thread.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include <tarnwell/core/sdk_config.h>

namespace tarnwell::detail {

class AppwriteClient {
 public:
  AppwriteClient(std::string endpoint, std::string projectId, std::string databaseId, std::string gatewayFunctionId);

  // Takes the endpoint and identifiers of `appwrite`; the session data stays. An endpoint that
  // is not an absolute URL throws URLError and changes nothing.
  void configure(const TarnwellSDKConfig::Appwrite& appwrite);

  std::string getEndpoint() const;
  std::string getProjectId() const;
  std::string getDatabaseId() const;
  std::string getGatewayFunctionId() const;
  std::optional<std::string> getTeamId() const;
  std::optional<std::string> getEnvironment() const;
  std::optional<std::string> getGatewaySessionToken() const;

  void setTeamId(std::string teamId);
  void setEnvironment(std::string environment);
  void setGatewaySessionToken(std::optional<std::string> token);

 private:
  mutable std::mutex mutex_;
  std::string endpoint_;
  std::string projectId_;
  std::string databaseId_;
  std::string gatewayFunctionId_;
  std::optional<std::string> teamId_;
  std::optional<std::string> environment_;
  std::optional<std::string> gatewaySessionToken_;
};

// True for an absolute URL with a scheme and a host, as the transport can reach it.
bool isValidEndpointURL(std::string_view url) noexcept;

}  // namespace tarnwell::detail
