#include "tools/gateway/content.h"

#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/gateway/gateway_fixture.h"
#include "tests/support/scratch_dir.h"

namespace tarnwell::gateway {
namespace {

// A valid document with `extra` spliced in before "apiKeys" and `keys` as its list.
std::string document(const std::string& extra, const std::string& keys) {
  return R"({"projectId":"p1","functionId":"f1",)" + extra + R"("apiKeys":[)" + keys + "]}";
}

constexpr const char* kKey =
    R"({"key":"k1","organizationId":"o","projectId":"p","appId":"a","teamId":"t","apiKeyId":"i",)"
    R"("environments":["debug","stage"]})";

// What the ContentError of `read` says; a test failure when it succeeds.
template <typename Read>
std::string errorOf(Read read) {
  try {
    read();
  } catch (const ContentError& error) {
    return error.what();
  }
  ADD_FAILURE() << "read without error";
  return {};
}

TEST(GatewayContentTest, TakesANullRuntimeConfigAsNone) {
  const std::string key = std::string(kKey).replace(std::string(kKey).size() - 1, 1, R"(,"runtimeConfig":null})");
  EXPECT_FALSE(GatewayContent::parse(document("", key)).apiKeys[0].runtimeConfig.has_value());
}

TEST(GatewayContentTest, SaysWhatDoesNotFit) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "Unable to parse JSON: "},
      {"[]", "Expected an object at the top level but found an array"},
      {R"({"functionId":"f1","apiKeys":[]})", R"(No value for the required key "projectId")"},
      {R"({"projectId":"p1","functionId":"f1"})", R"(No value for the required key "apiKeys")"},
      {R"({"projectId":"p1","functionId":"f1","apiKeys":{}})", R"(Expected an array at "apiKeys" but found an object)"},
      {R"({"projectId":"","functionId":"f1","apiKeys":[]})",
       R"("projectId" must be a non-empty id of letters, digits, '.', '-' or '_')"},
      {R"({"projectId":"p1","functionId":"f/1","apiKeys":[]})",
       R"("functionId" must be a non-empty id of letters, digits, '.', '-' or '_')"},
      {document(R"("envelope":"wrapped",)", ""), R"(Unknown envelope "wrapped": use "execution" or "bare")"},
      {document(R"("envelope":true,)", ""), R"(Expected text at "envelope" but found a bool)"},
      {document("", R"({"key":"k1"})"), R"(No value for the required key "apiKeys[0].organizationId")"},
      {document("", R"({"key":"k1","organizationId":"o","projectId":"p","appId":"a","teamId":"t",)"
                    R"("apiKeyId":"i","environments":["debug",3]})"),
       R"(Expected text at "apiKeys[0].environments[1]" but found a number)"},
      {document("", std::string(kKey) + "," + kKey), R"(Duplicate API key at "apiKeys[1].key")"},
      {document(R"("segments":null,)", kKey), R"(Expected an array at "segments" but found null)"},
      {document(R"("liveCards":[{"$id":"c1"},"c2"],)", kKey), R"(Expected an object at "liveCards[1]" but found text)"},
      {document("", R"({"key":"","organizationId":"o","projectId":"p","appId":"a","teamId":"t",)"
                    R"("apiKeyId":"i","environments":[]})"),
       R"(Empty API key at "apiKeys[0].key")"},
  };
  // Named copies, not a structured binding: clang 14 cannot capture a binding in a lambda.
  for (const auto& entry : cases) {
    const std::string& text = entry.first;
    const std::string& message = entry.second;
    SCOPED_TRACE(text);
    const std::string error = errorOf([&] { GatewayContent::parse(text); });
    EXPECT_EQ(ourWords(error, message), message);
  }
}

TEST(GatewayContentTest, MarksAVersionThatChangesExactlyWithTheDocuments) {
  const auto versionOf = [](const std::string& surveys) {
    return GatewayContent::parse(document(R"("surveys":)" + surveys + ",", kKey)).section("surveys").version;
  };
  const std::string one = versionOf(R"([{"$id":"s1","status":"published"}])");

  EXPECT_EQ(versionOf(R"([ {"$id" : "s1", "status":"published"} ])"), one);  // layout is not content
  EXPECT_NE(versionOf(R"([{"$id":"s1","status":"draft"}])"), one);           // one value in one document
  // No section and an empty one serve the same nothing.
  EXPECT_EQ(GatewayContent::parse(document("", kKey)).section("surveys").version, versionOf("[]"));
  // The key is fixed, so a device's cached mark of an empty section holds after a restart.
  EXPECT_EQ(versionOf("[]"), "811a2f398fa22227");
}

TEST(GatewayContentTest, UpdatesTheKeysGivenAndKeepsTheRest) {
  // "flags" is no section: kept in the document for the handlers that use it, never served.
  const GatewayContent before =
      GatewayContent::parse(document(R"("envelope":"bare","flags":[{"key":"beta"}],"surveys":[{"$id":"s1"}],)", kKey));
  EXPECT_THROW(before.section("flags"), std::out_of_range);
  const GatewayContent after = before.updated(R"({"projectId":"p2","apiKeys":[],"surveys":[{"$id":"s2"}]})");

  EXPECT_EQ(JSONValue(after.section("surveys").documents).encode(), R"([{"$id":"s2"}])");
  EXPECT_EQ(after.projectId, "p2");
  EXPECT_EQ(after.findApiKey("k1"), nullptr);
  EXPECT_EQ(after.functionId, "f1");
  EXPECT_EQ(after.envelope, EnvelopeMode::bare);
  EXPECT_EQ(after.document["flags"].encode(), R"([{"key":"beta"}])");
  // The content it was made from stays as it was, for the answers still being made from it.
  EXPECT_EQ(JSONValue(before.section("surveys").documents).encode(), R"([{"$id":"s1"}])");
  EXPECT_NE(before.findApiKey("k1"), nullptr);
}

TEST(GatewayContentTest, NamesTheFileItCouldNotUse) {
  testing::ScratchDir scratch;
  const std::string broken = scratch.file("broken.json");
  std::ofstream(broken) << R"({"projectId":"p1","functionId":"f1","apiKeys":[],"envelope":"raw"})";
  const std::string absent = scratch.file("absent.json");

  EXPECT_EQ(errorOf([&] { GatewayContent::load(broken); }),
            "Content file " + broken + R"(: Unknown envelope "raw": use "execution" or "bare")");
  EXPECT_EQ(errorOf([&] { GatewayContent::load(absent); }),
            "Cannot read content file " + absent + ": No such file or directory");
}

}  // namespace
}  // namespace tarnwell::gateway
