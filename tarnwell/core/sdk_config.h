// File: tarnwell/core/sdk_config.h
//
// TarnwellSDKConfig is what an application gives the SDK: its API key, the environment and the
// backend coordinates. It comes as a value, as JSON text, or as a JSON file beside the
// application.
//
//   auto config = tarnwell::TarnwellSDKConfig::fromJSON(R"({"schemaVersion":1,"apiKey":"k",
//       "environment":"stage","appwrite":{"endpoint":"https://api.example.com/v1",
//       "projectId":"p","databaseId":"d","gatewayFunctionId":"g"}})");
//   config.selectedEnvironment();   // Environment::stage
//
// The JSON keys are the field names. Unknown keys are ignored; a missing required key or a value
// of the wrong type fails with a DecodingError that names the key.
#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include <tarnwell/core/environment.h>
#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>

namespace tarnwell {

struct TARNWELL_API TarnwellSDKConfig {
  struct TARNWELL_API Appwrite {
    std::string endpoint;                                   // base URL with its version path
    std::string projectId;                                  // sent as "X-Appwrite-Project"
    std::string databaseId;                                 // kept, not used by any request
    std::string gatewayFunctionId;                          // the one function every action executes
    std::optional<std::string> imagesBucketId;              // kept, not used
    std::optional<std::string> messageAttachmentsBucketId;  // kept, not used

    friend bool operator==(const Appwrite&, const Appwrite&) = default;
  };

  std::int64_t schemaVersion = 1;  // must be present; its value is not examined
  std::string apiKey;
  std::optional<std::string> apiKeyId;    // kept, not used
  std::optional<std::string> apiKeyName;  // kept, not used
  std::string environment;                // free text; see selectedEnvironment()
  Appwrite appwrite;

  friend bool operator==(const TarnwellSDKConfig&, const TarnwellSDKConfig&) = default;

  Environment selectedEnvironment() const noexcept { return selectEnvironment(environment); }

  // Decodes the record from JSON text. Throws TarnwellSDKConfigError (invalidUTF8) for text that
  // is not UTF-8, DecodingError for anything else that does not fit.
  static TarnwellSDKConfig fromJSON(std::string_view json);
  // Finds "<stem>.json" in the folder `bundle`, where the stem is `fileName` less its last
  // extension ("sdk.txt" looks for "sdk.json"; "a.b.json" for "a.b.json"). Throws
  // TarnwellSDKConfigError (fileNotFound) when there is no such file, std::system_error when it
  // cannot be read, DecodingError when it does not decode.
  static TarnwellSDKConfig fromBundle(std::string_view fileName, const std::filesystem::path& bundle);

  static TarnwellSDKConfig decode(const JSONValue& value);
  JSONValue encode() const;
};

// The configuration in force before the first start-up: the built-in backend, a placeholder key.
TARNWELL_API TarnwellSDKConfig legacyPlaceholderConfig();

class TARNWELL_API TarnwellSDKConfigError : public std::runtime_error {
 public:
  enum class Code { fileNotFound, invalidUTF8 };

  // what(): "Unable to find " + fileName + ".json in the app bundle." The name is the caller's,
  // unstripped, so "sdk.json" reads "sdk.json.json".
  static TarnwellSDKConfigError fileNotFound(std::string_view fileName);
  // what(): "The Tarnwell SDK config JSON is not valid UTF-8."
  static TarnwellSDKConfigError invalidUTF8();

  Code code() const noexcept { return code_; }

 private:
  TarnwellSDKConfigError(Code code, const std::string& description) : std::runtime_error(description), code_(code) {}
  Code code_;
};

// The stem `fileName` names once its last extension is deleted: "sdk.json" gives "sdk",
// "a.b.json" gives "a.b", "sdk" stays "sdk".
TARNWELL_API std::string deletingPathExtension(std::string_view fileName);

}  // namespace tarnwell
