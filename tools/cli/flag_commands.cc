// flag, experiment, experiment-config, exposure and conversion: feature flags and experiments.
#include <tarnwell/core/coding_error.h>

#include "tools/cli/builtin_commands.h"
#include "tools/cli/command_arguments.h"
#include "tools/cli/command_host.h"

namespace tarnwell::cli {
namespace {

std::string requireKey(std::string_view key) {
  if (key.empty()) throw CommandError("missing flag key");
  return std::string(key);
}

JSONObject contextArgument(std::string_view text) {
  if (text.empty()) return {};
  JSONValue context = readJSONArgument(text, "context");
  if (!context.isObject()) throw CommandError("context must be a JSON object");
  return std::move(*context.asObject());
}

template <typename T>
JSONValue typedFlag(CommandHost& host, const std::string& key, T defaultValue) {
  return JSONValue(
      host.ask<T>([&](auto answer) { host.sdk().getFeatureFlag<T>(key, std::move(defaultValue), std::move(answer)); }));
}

// `KEY [DEFAULT_JSON]`: read as the default's JSON type; without one, the raw value.
JSONObject flag(CommandHost& host, std::string_view arguments) {
  auto [keyWord, rest] = splitFirstWord(arguments);
  const std::string key = requireKey(keyWord);
  if (rest.empty()) {
    const auto value = host.ask<std::optional<JSONValue>>(
        [&](auto answer) { host.sdk().getFeatureFlagValue(key, std::move(answer)); });
    return JSONObject{
        {"key", JSONValue(key)}, {"found", JSONValue(value.has_value())}, {"value", value.value_or(nullptr)}};
  }
  const JSONValue defaultValue = readJSONArgument(rest, "default value");
  JSONValue value;
  if (const bool* flagDefault = defaultValue.asBool()) {
    value = typedFlag(host, key, *flagDefault);
  } else if (const double* number = defaultValue.asNumber()) {
    value = typedFlag(host, key, *number);
  } else if (const JSONString* text = defaultValue.asString()) {
    value = typedFlag(host, key, text->str());
  } else {
    value = typedFlag(host, key, defaultValue);
  }
  return JSONObject{{"key", JSONValue(key)}, {"value", std::move(value)}};
}

JSONObject experiment(CommandHost& host, std::string_view arguments) {
  auto [keyWord, rest] = splitFirstWord(arguments);
  const std::string key = requireKey(keyWord);
  expectNoArguments(rest);
  const auto variation = host.ask<std::optional<Variation>>(
      [&](auto answer) { host.sdk().getExperimentVariation(key, std::move(answer)); });
  return JSONObject{{"key", JSONValue(key)}, {"variation", variation ? variation->encode() : JSONValue()}};
}

JSONObject experimentConfig(CommandHost& host, std::string_view arguments) {
  auto [keyWord, rest] = splitFirstWord(arguments);
  const std::string key = requireKey(keyWord);
  expectNoArguments(rest);
  const auto config = host.ask<std::optional<ExperimentConfig>>(
      [&](auto answer) { host.sdk().getExperimentConfig(key, std::move(answer)); });
  return JSONObject{{"key", JSONValue(key)}, {"config", config ? config->encode() : JSONValue()}};
}

// `KEY [CONTEXT_JSON]`
JSONObject exposure(CommandHost& host, std::string_view arguments) {
  auto [keyWord, rest] = splitFirstWord(arguments);
  host.sdk().trackExperimentExposure(requireKey(keyWord), contextArgument(rest));
  return JSONObject{{"ok", true}};
}

// `KEY [GOAL] [VALUE_JSON] [CONTEXT_JSON]`: a goal is a word that is not JSON.
JSONObject conversion(CommandHost& host, std::string_view arguments) {
  auto [keyWord, rest] = splitFirstWord(arguments);
  const std::string key = requireKey(keyWord);
  std::optional<std::string> goalId;
  if (auto [word, afterWord] = splitFirstWord(rest); !word.empty()) {
    try {
      JSONValue::decode(word);
    } catch (const DecodingError&) {
      goalId = std::string(word);
      rest = afterWord;
    }
  }
  std::optional<JSONValue> value;
  if (!rest.empty()) std::tie(value, rest) = readLeadingJSONArgument(rest, "value");
  host.sdk().trackExperimentConversion(key, std::move(goalId), std::move(value), contextArgument(rest));
  return JSONObject{{"ok", true}};
}

}  // namespace

void addFlagCommands(CommandTable& table) {
  table.add("flag", flag);
  table.add("experiment", experiment);
  table.add("experiment-config", experimentConfig);
  table.add("exposure", exposure);
  table.add("conversion", conversion);
}

}  // namespace tarnwell::cli
