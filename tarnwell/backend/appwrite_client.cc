#include "tarnwell/backend/detail/appwrite_client.h"

#include <curl/curl.h>

#include "tarnwell/backend/detail/gateway_errors.h"

namespace tarnwell::detail {

bool isValidEndpointURL(std::string_view url) noexcept {
  if (url.empty() || url.find_first_of(" \t\r\n") != std::string_view::npos) {
    return false;
  }
  CURLU* handle = curl_url();
  if (handle == nullptr) {
    return false;
  }
  const std::string text(url);
  bool valid = curl_url_set(handle, CURLUPART_URL, text.c_str(), 0) == CURLUE_OK;
  if (valid) {
    char* host = nullptr;
    valid = curl_url_get(handle, CURLUPART_HOST, &host, 0) == CURLUE_OK && host != nullptr && *host != '\0';
    curl_free(host);
  }
  curl_url_cleanup(handle);
  return valid;
}

AppwriteClient::AppwriteClient(std::string endpoint, std::string projectId, std::string databaseId,
                               std::string gatewayFunctionId)
    : endpoint_(std::move(endpoint)),
      projectId_(std::move(projectId)),
      databaseId_(std::move(databaseId)),
      gatewayFunctionId_(std::move(gatewayFunctionId)) {}

void AppwriteClient::configure(const TarnwellSDKConfig::Appwrite& appwrite) {
  if (!isValidEndpointURL(appwrite.endpoint)) {
    throw URLError();
  }
  std::lock_guard lock(mutex_);
  endpoint_ = appwrite.endpoint;
  projectId_ = appwrite.projectId;
  databaseId_ = appwrite.databaseId;
  gatewayFunctionId_ = appwrite.gatewayFunctionId;
}

std::string AppwriteClient::getEndpoint() const {
  std::lock_guard lock(mutex_);
  return endpoint_;
}

std::string AppwriteClient::getProjectId() const {
  std::lock_guard lock(mutex_);
  return projectId_;
}

std::string AppwriteClient::getDatabaseId() const {
  std::lock_guard lock(mutex_);
  return databaseId_;
}

std::string AppwriteClient::getGatewayFunctionId() const {
  std::lock_guard lock(mutex_);
  return gatewayFunctionId_;
}

std::optional<std::string> AppwriteClient::getTeamId() const {
  std::lock_guard lock(mutex_);
  return teamId_;
}

std::optional<std::string> AppwriteClient::getEnvironment() const {
  std::lock_guard lock(mutex_);
  return environment_;
}

std::optional<std::string> AppwriteClient::getGatewaySessionToken() const {
  std::lock_guard lock(mutex_);
  return gatewaySessionToken_;
}

void AppwriteClient::setTeamId(std::string teamId) {
  std::lock_guard lock(mutex_);
  teamId_ = std::move(teamId);
}

void AppwriteClient::setEnvironment(std::string environment) {
  std::lock_guard lock(mutex_);
  environment_ = std::move(environment);
}

void AppwriteClient::setGatewaySessionToken(std::optional<std::string> token) {
  std::lock_guard lock(mutex_);
  gatewaySessionToken_ = std::move(token);
}

}  // namespace tarnwell::detail
