#include "tarnwell/core/sdk_config.h"

#include <simdjson.h>

#include <fstream>
#include <iterator>
#include <system_error>

#include "tarnwell/core/constants.h"
#include "tarnwell/core/detail/record_coding.h"

namespace tarnwell {

namespace detail {

template <>
struct RecordFields<TarnwellSDKConfig::Appwrite> {
  using R = TarnwellSDKConfig::Appwrite;
  static constexpr auto fields = std::make_tuple(
      field(&R::endpoint, "endpoint"), field(&R::projectId, "projectId"), field(&R::databaseId, "databaseId"),
      field(&R::gatewayFunctionId, "gatewayFunctionId"), field(&R::imagesBucketId, "imagesBucketId"),
      field(&R::messageAttachmentsBucketId, "messageAttachmentsBucketId"));
};

template <>
struct RecordFields<TarnwellSDKConfig> {
  using R = TarnwellSDKConfig;
  static constexpr auto fields = std::make_tuple(
      field(&R::schemaVersion, "schemaVersion"), field(&R::apiKey, "apiKey"), field(&R::apiKeyId, "apiKeyId"),
      field(&R::apiKeyName, "apiKeyName"), field(&R::environment, "environment"), field(&R::appwrite, "appwrite"));
};

}  // namespace detail

TarnwellSDKConfig TarnwellSDKConfig::decode(const JSONValue& value) {
  return detail::decodeRecord<TarnwellSDKConfig>(value);
}

JSONValue TarnwellSDKConfig::encode() const { return detail::encodeRecord(*this); }

TarnwellSDKConfig TarnwellSDKConfig::fromJSON(std::string_view json) {
  if (!simdjson::validate_utf8(json.data(), json.size())) {
    throw TarnwellSDKConfigError::invalidUTF8();
  }
  return decode(JSONValue::decode(json));
}

std::string deletingPathExtension(std::string_view fileName) {
  const std::size_t dot = fileName.rfind('.');
  const std::size_t slash = fileName.rfind('/');
  // Only the last path component carries an extension, and a leading dot names a hidden file.
  if (dot == std::string_view::npos || dot == 0 || (slash != std::string_view::npos && dot <= slash + 1)) {
    return std::string(fileName);
  }
  return std::string(fileName.substr(0, dot));
}

TarnwellSDKConfig TarnwellSDKConfig::fromBundle(std::string_view fileName, const std::filesystem::path& bundle) {
  const std::filesystem::path file = bundle / (deletingPathExtension(fileName) + ".json");
  std::error_code error;
  if (!std::filesystem::is_regular_file(file, error)) {
    throw TarnwellSDKConfigError::fileNotFound(fileName);
  }
  std::ifstream stream(file, std::ios::binary);
  std::string contents;
  if (stream.is_open()) {
    contents.assign(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
  }
  if (!stream.is_open() || stream.bad()) {
    throw std::system_error(errno ? errno : EIO, std::generic_category(), "Unable to read " + file.string());
  }
  return fromJSON(contents);
}

TarnwellSDKConfig legacyPlaceholderConfig() {
  TarnwellSDKConfig config;
  config.schemaVersion = 1;
  config.apiKey = "__legacy_runtime__";
  config.environment = "production";
  config.appwrite = {std::string(Constants::appwriteEndpoint),
                     std::string(Constants::centralProjectId),
                     std::string(Constants::centralDatabaseId),
                     std::string(Constants::sdkRuntimeGatewayFunctionId),
                     std::nullopt,
                     std::nullopt};
  return config;
}

TarnwellSDKConfigError TarnwellSDKConfigError::fileNotFound(std::string_view fileName) {
  return {Code::fileNotFound, "Unable to find " + std::string(fileName) + ".json in the app bundle."};
}

TarnwellSDKConfigError TarnwellSDKConfigError::invalidUTF8() {
  return {Code::invalidUTF8, "The Tarnwell SDK config JSON is not valid UTF-8."};
}

}  // namespace tarnwell
