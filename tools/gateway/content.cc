#include "tools/gateway/content.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>

#include <tarnwell/core/coding_error.h>
#include <tarnwell/core/record_coding.h>

namespace tarnwell::gateway {
namespace {

// The typed part of the document; other top-level keys are left to the handlers that use them.
struct ContentHead {
  std::string projectId;
  std::string functionId;
  std::optional<std::string> envelope;
  std::vector<ApiKeyEntry> apiKeys;
};

}  // namespace
}  // namespace tarnwell::gateway

namespace tarnwell {

template <>
struct RecordFields<gateway::ApiKeyEntry> {
  using Entry = gateway::ApiKeyEntry;
  static constexpr auto fields = std::make_tuple(
      field(&Entry::key, "key"), field(&Entry::organizationId, "organizationId"),
      field(&Entry::projectId, "projectId"), field(&Entry::appId, "appId"),
      field(&Entry::teamId, "teamId"), field(&Entry::apiKeyId, "apiKeyId"),
      field(&Entry::environments, "environments"), field(&Entry::runtimeConfig, "runtimeConfig"));
};

template <>
struct RecordFields<gateway::ContentHead> {
  using Head = gateway::ContentHead;
  static constexpr auto fields =
      std::make_tuple(field(&Head::projectId, "projectId"), field(&Head::functionId, "functionId"),
                      field(&Head::envelope, "envelope"), field(&Head::apiKeys, "apiKeys"));
};

}  // namespace tarnwell

namespace tarnwell::gateway {
namespace {

// The characters a backend id may hold; anything else could not appear in the execution path.
bool isIdentifier(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '-' || c == '_';
  });
}

EnvelopeMode envelopeMode(const std::optional<std::string>& name) {
  if (!name || *name == "execution") return EnvelopeMode::execution;
  if (*name == "bare") return EnvelopeMode::bare;
  throw ContentError("Unknown envelope \"" + *name + "\": use \"execution\" or \"bare\"");
}

void checkApiKeys(const std::vector<ApiKeyEntry>& keys) {
  std::set<std::string_view> seen;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const std::string where = "\"apiKeys[" + std::to_string(i) + "].key\"";
    if (keys[i].key.empty()) throw ContentError("Empty API key at " + where);
    if (!seen.insert(keys[i].key).second) throw ContentError("Duplicate API key at " + where);
  }
}

}  // namespace

bool ApiKeyEntry::isValidFor(std::string_view environment) const {
  return std::find(environments.begin(), environments.end(), environment) != environments.end();
}

const ApiKeyEntry* GatewayContent::findApiKey(std::string_view key) const noexcept {
  const auto found = std::find_if(apiKeys.begin(), apiKeys.end(),
                                  [&](const ApiKeyEntry& entry) { return entry.key == key; });
  return found == apiKeys.end() ? nullptr : &*found;
}

GatewayContent GatewayContent::parse(std::string_view text) {
  GatewayContent content;
  ContentHead head;
  try {
    content.document = JSONValue::decode(text);
    head = decodeRecord<ContentHead>(content.document);
  } catch (const DecodingError& error) {
    throw ContentError(error.what());
  }
  if (!isIdentifier(head.projectId)) {
    throw ContentError("\"projectId\" must be a non-empty id of letters, digits, '.', '-' or '_'");
  }
  if (!isIdentifier(head.functionId)) {
    throw ContentError("\"functionId\" must be a non-empty id of letters, digits, '.', '-' or '_'");
  }
  checkApiKeys(head.apiKeys);
  content.projectId = std::move(head.projectId);
  content.functionId = std::move(head.functionId);
  content.envelope = envelopeMode(head.envelope);
  content.apiKeys = std::move(head.apiKeys);
  return content;
}

GatewayContent GatewayContent::load(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw ContentError("Cannot read content file " + path + ": " + std::strerror(errno));
  const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  try {
    return parse(text);
  } catch (const ContentError& error) {
    throw ContentError("Content file " + path + ": " + error.what());
  }
}

}  // namespace tarnwell::gateway
