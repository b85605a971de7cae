// File: tools/gateway/content.h
//
// GatewayContent is what the local gateway serves: the project and function it answers for,
// how it wraps its answers, and the API keys with their tenants. It is read once from a JSON
// content file; the whole document stays available, so an action handler can read a section
// of its own (flags, surveys, ...) beside the typed ones decoded here.
//
//   tarnwell::gateway::GatewayContent content =
//       tarnwell::gateway::GatewayContent::load("examples/gateway-content.json");
//   const ApiKeyEntry* key = content.findApiKey("twk_live_demo");
//
// A GatewayContent is a plain value: read it from any number of threads.
#pragma once

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
  std::vector<std::string> environments;     // the environment names the key is valid for
  std::optional<JSONValue> runtimeConfig;    // handed to the SDK verbatim by the bootstrap

  bool isValidFor(std::string_view environment) const;
};

// How an answer travels: inside a function execution record (as the hosted backend answers),
// or as the bare gateway envelope.
enum class EnvelopeMode { execution, bare };

struct GatewayContent {
  std::string projectId;
  std::string functionId;
  EnvelopeMode envelope = EnvelopeMode::execution;
  std::vector<ApiKeyEntry> apiKeys;
  // The whole document as read, sections this type does not know included.
  JSONValue document;

  const ApiKeyEntry* findApiKey(std::string_view key) const noexcept;

  // Throw ContentError for text that is not JSON or does not fit the format.
  static GatewayContent parse(std::string_view text);
  static GatewayContent load(const std::string& path);
};

}  // namespace tarnwell::gateway
