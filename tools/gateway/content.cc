#include "tools/gateway/content.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>

#include <tarnwell/core/coding_error.h>
#include "tarnwell/core/detail/record_coding.h"
#include "tarnwell/platform/detail/string_hash.h"

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

namespace tarnwell::detail {

template <>
struct RecordFields<gateway::ApiKeyEntry> {
  using Entry = gateway::ApiKeyEntry;
  static constexpr auto fields = std::make_tuple(
      field(&Entry::key, "key"), field(&Entry::organizationId, "organizationId"), field(&Entry::projectId, "projectId"),
      field(&Entry::appId, "appId"), field(&Entry::teamId, "teamId"), field(&Entry::apiKeyId, "apiKeyId"),
      field(&Entry::environments, "environments"), field(&Entry::runtimeConfig, "runtimeConfig"));
};

template <>
struct RecordFields<gateway::ContentHead> {
  using Head = gateway::ContentHead;
  static constexpr auto fields =
      std::make_tuple(field(&Head::projectId, "projectId"), field(&Head::functionId, "functionId"),
                      field(&Head::envelope, "envelope"), field(&Head::apiKeys, "apiKeys"));
};

}  // namespace tarnwell::detail

namespace tarnwell::gateway {
namespace {

// The characters a backend id may hold; anything else could not appear in the execution path.
bool isIdentifier(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '-' ||
           c == '_';
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

// The hash of a section's compact JSON text, as 16 hex digits. The key is fixed, so the SDK's
// cached marks stay valid across restarts of the gateway that serve the same documents.
std::string versionMark(const JSONArray& documents) {
  static const detail::StringHasher hasher(0x7461726e77656c6cULL, 0x636f6e74656e7473ULL);
  std::string text = "[";
  for (std::size_t i = 0; i < documents.size(); ++i) {
    if (i > 0) text += ',';
    documents[i].encodeTo(text);
  }
  text += ']';
  char digits[16];
  const auto end = std::to_chars(digits, digits + sizeof(digits), hasher(text), 16).ptr;
  return std::string(static_cast<std::size_t>(digits + sizeof(digits) - end), '0') + std::string(digits, end);
}

// The section `name` of `document`: an array of objects when present. Throws DecodingError.
ContentSection readSection(const JSONObject& document, std::string_view name) {
  ContentSection section;
  if (const JSONValue* value = document.find(name)) {
    const detail::CodingPath path{nullptr, name};
    for (JSONObject& item : detail::JSONCoder<std::vector<JSONObject>>::decode(*value, path)) {
      section.documents.emplace_back(std::move(item));
    }
  }
  section.version = versionMark(section.documents);
  return section;
}

// The documents of `list` (a path in the message center seed), each an object with an "$id".
void checkSeedDocuments(const JSONValue* list, const std::string& path) {
  if (list == nullptr) return;
  const JSONArray* documents = list->asArray();
  if (documents == nullptr) throw ContentError("\"" + path + "\" must be an array of documents");
  for (std::size_t i = 0; i < documents->size(); ++i) {
    const JSONValue& document = (*documents)[i];
    const std::string where = path + "[" + std::to_string(i) + "]";
    if (!document.isObject()) throw ContentError("\"" + where + "\" must be a document (an object)");
    const JSONString* id = document["$id"].asString();
    if (id == nullptr || id->empty()) throw ContentError("\"" + where + ".$id\" must be a non-empty string");
  }
}

// "messageCenter": {"settings": {...} or null, "announcements": [...], "threads": [{..., "messages":
// [...]}]}, each part optional, each document with its "$id".
void checkMessageCenter(const JSONObject& document) {
  const JSONValue* center = document.find("messageCenter");
  if (center == nullptr) return;
  const JSONObject* parts = center->asObject();
  if (parts == nullptr) throw ContentError("\"messageCenter\" must be an object");
  if (const JSONValue* settings = parts->find("settings"); settings && !settings->isObject() && !settings->isNull()) {
    throw ContentError("\"messageCenter.settings\" must be an object or null");
  }
  checkSeedDocuments(parts->find("announcements"), "messageCenter.announcements");
  const JSONValue* threads = parts->find("threads");
  checkSeedDocuments(threads, "messageCenter.threads");
  if (threads == nullptr) return;
  for (std::size_t i = 0; i < threads->asArray()->size(); ++i) {
    checkSeedDocuments((*threads->asArray())[i].asObject()->find("messages"),
                       "messageCenter.threads[" + std::to_string(i) + "].messages");
  }
}

// What `read` returns, its DecodingError thrown as a ContentError.
template <typename Read>
auto readingContent(Read read) {
  try {
    return read();
  } catch (const DecodingError& error) {
    throw ContentError(error.what());
  }
}

// The content of a decoded document. Throws ContentError.
GatewayContent contentOf(JSONValue document) {
  GatewayContent content;
  ContentHead head = readingContent([&] { return detail::decodeRecord<ContentHead>(document); });
  if (!isIdentifier(head.projectId)) {
    throw ContentError("\"projectId\" must be a non-empty id of letters, digits, '.', '-' or '_'");
  }
  if (!isIdentifier(head.functionId)) {
    throw ContentError("\"functionId\" must be a non-empty id of letters, digits, '.', '-' or '_'");
  }
  checkApiKeys(head.apiKeys);
  checkMessageCenter(*document.asObject());
  for (const std::string_view name : kContentSections) {
    content.sections.emplace(name, readingContent([&] { return readSection(*document.asObject(), name); }));
  }
  content.projectId = std::move(head.projectId);
  content.functionId = std::move(head.functionId);
  content.envelope = envelopeMode(head.envelope);
  content.apiKeys = std::move(head.apiKeys);
  content.document = std::move(document);
  return content;
}

}  // namespace

bool ApiKeyEntry::isValidFor(std::string_view environment) const {
  return std::find(environments.begin(), environments.end(), environment) != environments.end();
}

const ApiKeyEntry* GatewayContent::findApiKey(std::string_view key) const noexcept {
  const auto found =
      std::find_if(apiKeys.begin(), apiKeys.end(), [&](const ApiKeyEntry& entry) { return entry.key == key; });
  return found == apiKeys.end() ? nullptr : &*found;
}

const ContentSection& GatewayContent::section(std::string_view name) const {
  const auto found = sections.find(name);
  if (found == sections.end()) throw std::out_of_range("No content section \"" + std::string(name) + "\"");
  return found->second;
}

GatewayContent GatewayContent::parse(std::string_view text) {
  return contentOf(readingContent([&] { return JSONValue::decode(text); }));
}

GatewayContent GatewayContent::updated(std::string_view changes) const {
  JSONObject given = readingContent(
      [&] { return detail::JSONCoder<JSONObject>::decode(JSONValue::decode(changes), detail::CodingPath{}); });
  JSONValue merged = document;
  for (auto& [key, value] : given) merged.asObject()->set(key, std::move(value));
  return contentOf(std::move(merged));
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
