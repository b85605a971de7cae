// File: tools/gateway/content.h
//
// GatewayContent is what the local gateway serves: the project and function it answers for,
// how it wraps its answers, the API keys with their tenants, and the backend documents of the
// content sections (flags, segments, surveys, announcements, live cards), each section with a
// version mark. It is read from a JSON content file; the whole document stays available, so an
// action handler can read a section of its own beside the typed ones decoded here.
//
//   tarnwell::gateway::GatewayContent content =
//       tarnwell::gateway::GatewayContent::load("examples/gateway-content.json");
//   const ApiKeyEntry* key = content.findApiKey("twk_live_demo");
//   const JSONArray& flags = content.section("featureFlags").documents;
//   GatewayContent next = content.updated(R"({"surveys": []})");   // the rest stays
//
// A GatewayContent is a plain value: read it from any number of threads.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <tarnwell/core/json_value.h>

namespace tarnwell::gateway {

// A content file that cannot be read or does not fit the format. what() says which file and
// which key, in words a developer can act on.
class ContentError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One API key and the tenant it belongs to.
struct ApiKeyEntry {
  std::string key;
  std::string organizationId;
  std::string projectId;
  std::string appId;
  std::string teamId;
  std::string apiKeyId;
  std::vector<std::string> environments;   // the environment names the key is valid for
  std::optional<JSONValue> runtimeConfig;  // handed to the SDK verbatim by the bootstrap

  bool isValidFor(std::string_view environment) const;
};

// The keys of the content sections: arrays of backend documents (objects), served as they
// stand, so a document the SDK cannot decode can be served on purpose.
inline constexpr std::array<std::string_view, 5> kContentSections = {"featureFlags", "segments", "surveys",
                                                                     "announcements", "liveCards"};

// The documents of one content section and their version mark, a text that changes exactly
// when the documents do and is the same for the same documents in every run.
struct ContentSection {
  JSONArray documents;
  std::string version;
};

// How an answer travels: inside a function execution record (as the hosted backend answers),
// or as the bare gateway envelope.
enum class EnvelopeMode { execution, bare };

struct GatewayContent {
  std::string projectId;
  std::string functionId;
  EnvelopeMode envelope = EnvelopeMode::execution;
  std::vector<ApiKeyEntry> apiKeys;
  // Every one of kContentSections; a section the document lacks is empty.
  std::map<std::string, ContentSection, std::less<>> sections;
  // The whole document as read, sections this type does not know included.
  JSONValue document;

  const ApiKeyEntry* findApiKey(std::string_view key) const noexcept;
  // The section `name`, one of kContentSections; throws std::out_of_range for any other name.
  const ContentSection& section(std::string_view name) const;

  // Throw ContentError for text that is not JSON or does not fit the format.
  static GatewayContent parse(std::string_view text);
  static GatewayContent load(const std::string& path);
  // This content with the top-level members of the JSON object `changes` in place of its own:
  // a section given replaces that section whole, and what is not given stays. Throws
  // ContentError, as parse() does, when `changes` or the result does not fit.
  GatewayContent updated(std::string_view changes) const;
};

}  // namespace tarnwell::gateway
