#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tarnwell/core/coding_error.h"
#include "tarnwell/core/constants.h"
#include "tarnwell/core/sdk_config.h"
#include "tests/support/scratch_dir.h"

namespace tarnwell {
namespace {

constexpr std::string_view kConfig = R"({
  "schemaVersion": 1, "apiKey": "key_live", "apiKeyId": "kid", "environment": "Stage",
  "unknownTopLevel": [1, 2],
  "appwrite": {"endpoint": "https://api.example.com/v1", "projectId": "proj", "databaseId": "db",
               "gatewayFunctionId": "gw", "messageAttachmentsBucketId": "att"}
})";

TEST(EnvironmentTest, SelectionIsForgivingWhileRawValuesAreExact) {
  EXPECT_EQ(selectEnvironment("Stage"), Environment::stage);
  EXPECT_EQ(selectEnvironment("DEBUG"), Environment::debug);
  for (const char* text : {"PRODUCTION", "Production", "prod", "", "staging"}) {
    EXPECT_EQ(selectEnvironment(text), Environment::production) << text;
  }
  EXPECT_EQ(environmentFromRawValue("Stage"), std::nullopt);
  EXPECT_EQ(environmentFromRawValue("stage"), Environment::stage);
  EXPECT_EQ(wireValue(Environment::production), "production");
  EXPECT_EQ(allEnvironments.front(), Environment::debug);
}

TEST(SdkConfigTest, DecodesEveryFieldAndIgnoresUnknownKeys) {
  const TarnwellSDKConfig config = TarnwellSDKConfig::fromJSON(kConfig);
  EXPECT_EQ(config.apiKey, "key_live");
  EXPECT_EQ(config.apiKeyId, "kid");
  EXPECT_EQ(config.apiKeyName, std::nullopt);
  EXPECT_EQ(config.selectedEnvironment(), Environment::stage);
  EXPECT_EQ(config.appwrite.endpoint, "https://api.example.com/v1");
  EXPECT_EQ(config.appwrite.gatewayFunctionId, "gw");
  EXPECT_EQ(config.appwrite.imagesBucketId, std::nullopt);
  EXPECT_EQ(config.appwrite.messageAttachmentsBucketId, "att");
  EXPECT_EQ(TarnwellSDKConfig::decode(config.encode()), config);
}

TEST(SdkConfigTest, SchemaVersionMustBePresentButAnyValueLoads) {
  std::string v99(kConfig);
  v99.replace(v99.find("\"schemaVersion\": 1"), 18, "\"schemaVersion\": 99");
  EXPECT_EQ(TarnwellSDKConfig::fromJSON(v99).schemaVersion, 99);

  std::string without(kConfig);
  without.replace(without.find("\"schemaVersion\": 1,"), 19, "");
  try {
    TarnwellSDKConfig::fromJSON(without);
    FAIL() << "decoded without schemaVersion";
  } catch (const DecodingError& error) {
    EXPECT_STREQ(error.what(), "No value for the required key \"schemaVersion\"");
  }
}

TEST(SdkConfigTest, WrongTypesAndMissingNestedKeysNameTheirPath) {
  auto errorFor = [](std::string_view json) -> std::string {
    try {
      TarnwellSDKConfig::fromJSON(json);
    } catch (const DecodingError& error) {
      return error.what();
    }
    return "decoded";
  };
  EXPECT_EQ(errorFor(R"({"schemaVersion":1,"apiKey":5,"environment":"x","appwrite":{}})"),
            "Expected text at \"apiKey\" but found a number");
  EXPECT_EQ(errorFor(R"({"schemaVersion":1.5,"apiKey":"k","environment":"x","appwrite":{}})"),
            "Expected a whole number at \"schemaVersion\" but found a number");
  EXPECT_EQ(errorFor(R"({"schemaVersion":1,"apiKey":"k","environment":"x","appwrite":{"endpoint":"e"}})"),
            "No value for the required key \"appwrite.projectId\"");
  EXPECT_EQ(errorFor(R"({"schemaVersion":1,"apiKey":"k","apiKeyId":false,"environment":"x","appwrite":{}})"),
            "Expected text at \"apiKeyId\" but found a bool");
  EXPECT_EQ(errorFor(R"([1])"), "Expected an object at the top level but found an array");
  EXPECT_TRUE(errorFor("{").starts_with("Unable to parse JSON: ")) << errorFor("{");
}

TEST(SdkConfigTest, NonUtf8TextIsInvalidUTF8) {
  try {
    TarnwellSDKConfig::fromJSON("{\"apiKey\":\"\xC3\x28\"}");
    FAIL() << "accepted invalid UTF-8";
  } catch (const TarnwellSDKConfigError& error) {
    EXPECT_EQ(error.code(), TarnwellSDKConfigError::Code::invalidUTF8);
    EXPECT_STREQ(error.what(), "The Tarnwell SDK config JSON is not valid UTF-8.");
  }
}

TEST(SdkConfigTest, BundleLookupDeletesOneExtensionAndAddsJson) {
  EXPECT_EQ(deletingPathExtension("sdk.json"), "sdk");
  EXPECT_EQ(deletingPathExtension("sdk.txt"), "sdk");
  EXPECT_EQ(deletingPathExtension("a.b.json"), "a.b");
  EXPECT_EQ(deletingPathExtension("sdk"), "sdk");

  testing::ScratchDir scratch;
  const std::filesystem::path bundle(scratch.path());
  std::ofstream(bundle / "tarnwell.json") << kConfig;
  EXPECT_EQ(TarnwellSDKConfig::fromBundle("tarnwell", bundle).apiKey, "key_live");
  EXPECT_EQ(TarnwellSDKConfig::fromBundle("tarnwell.txt", bundle).apiKey, "key_live");
  try {
    TarnwellSDKConfig::fromBundle("missing.json", bundle);
    FAIL() << "found a missing file";
  } catch (const TarnwellSDKConfigError& error) {
    EXPECT_EQ(error.code(), TarnwellSDKConfigError::Code::fileNotFound);
    EXPECT_STREQ(error.what(), "Unable to find missing.json.json in the app bundle.");
  }
  std::ofstream(bundle / "empty.json");
  EXPECT_THROW(TarnwellSDKConfig::fromBundle("empty", bundle), DecodingError);
}

TEST(SdkConfigTest, LegacyPlaceholderHoldsTheBuiltInBackend) {
  const TarnwellSDKConfig config = legacyPlaceholderConfig();
  EXPECT_EQ(config.apiKey, "__legacy_runtime__");
  EXPECT_EQ(config.environment, "production");
  EXPECT_EQ(config.appwrite.endpoint, Constants::appwriteEndpoint);
  EXPECT_EQ(config.appwrite.projectId, Constants::centralProjectId);
  EXPECT_EQ(config.appwrite.imagesBucketId, std::nullopt);
  EXPECT_TRUE(Constants::appwriteEndpoint.starts_with("https://"));
  EXPECT_TRUE(Constants::appwriteEndpoint.ends_with("/v1"));
  for (std::string_view id :
       {Constants::centralProjectId, Constants::centralDatabaseId, Constants::sdkRuntimeGatewayFunctionId}) {
    EXPECT_EQ(id.size(), 20u);
    EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string_view::npos) << id;
  }
}

}  // namespace
}  // namespace tarnwell
