// flag, experiment, experiment-config, exposure and conversion: feature flags and experiments.
#include <tarnwell/core/coding_error.h>

#include "tools/cli/builtin_commands.h"
#include "tools/cli/command_arguments.h"
#include "tools/cli/command_host.h"

namespace tarnwell::cli {
namespace {

// The flag key that starts a command's arguments, and the arguments after it.
struct Keyed {
  std::string key;
  std::string_view rest;
};

Keyed readKey(std::string_view arguments) {
  Keyed keyed;
  std::tie(keyed.key, keyed.rest) = readLeadingWord(arguments, "flag key");
  if (keyed.key.empty()) throw CommandError("missing flag key");
  return keyed;
}

JSONObject contextArgument(std::string_view text) {
  return text.empty() ? JSONObject{} : readJSONObjectArgument(text, "context");
}

template <typename T>
JSONValue typedFlag(CommandHost& host, const std::string& key, T defaultValue) {
  return JSONValue(
      host.ask<T>([&](auto answer) { host.sdk().getFeatureFlag<T>(key, std::move(defaultValue), std::move(answer)); }));
}

// `KEY [DEFAULT_JSON]`: read as the default's JSON type; without one, the raw value.
JSONObject flag(CommandHost& host, std::string_view arguments) {
  const Keyed flag = readKey(arguments);
  if (flag.rest.empty()) {
    const auto value = host.ask<std::optional<JSONValue>>(
        [&](auto answer) { host.sdk().getFeatureFlagValue(flag.key, std::move(answer)); });
    return JSONObject{
        {"key", JSONValue(flag.key)}, {"found", JSONValue(value.has_value())}, {"value", value.value_or(nullptr)}};
  }
  const JSONValue defaultValue = readJSONArgument(flag.rest, "default value");
  JSONValue value;
  if (const bool* flagDefault = defaultValue.asBool()) {
    value = typedFlag(host, flag.key, *flagDefault);
  } else if (const double* number = defaultValue.asNumber()) {
    value = typedFlag(host, flag.key, *number);
  } else if (const JSONString* text = defaultValue.asString()) {
    value = typedFlag(host, flag.key, text->str());
  } else {
    value = typedFlag(host, flag.key, defaultValue);
  }
  return JSONObject{{"key", JSONValue(flag.key)}, {"value", std::move(value)}};
}

JSONObject experiment(CommandHost& host, std::string_view arguments) {
  const Keyed flag = readKey(arguments);
  expectNoArguments(flag.rest);
  const auto variation = host.ask<std::optional<Variation>>(
      [&](auto answer) { host.sdk().getExperimentVariation(flag.key, std::move(answer)); });
  return JSONObject{{"key", JSONValue(flag.key)}, {"variation", variation ? variation->encode() : JSONValue()}};
}

JSONObject experimentConfig(CommandHost& host, std::string_view arguments) {
  const Keyed flag = readKey(arguments);
  expectNoArguments(flag.rest);
  const auto config = host.ask<std::optional<ExperimentConfig>>(
      [&](auto answer) { host.sdk().getExperimentConfig(flag.key, std::move(answer)); });
  return JSONObject{{"key", JSONValue(flag.key)}, {"config", config ? config->encode() : JSONValue()}};
}

// `KEY [CONTEXT_JSON]`
JSONObject exposure(CommandHost& host, std::string_view arguments) {
  Keyed flag = readKey(arguments);
  host.sdk().trackExperimentExposure(std::move(flag.key), contextArgument(flag.rest));
  return JSONObject{{"ok", true}};
}

// `KEY [GOAL] [VALUE_JSON] [CONTEXT_JSON]`: a goal is an argument that does not read as JSON, so a
// quoted one is the value.
JSONObject conversion(CommandHost& host, std::string_view arguments) {
  Keyed flag = readKey(arguments);
  std::optional<std::string> goalId;
  if (auto [argument, afterGoal] = splitFirstArgument(flag.rest); !argument.empty()) {
    try {
      JSONValue::decode(argument);
    } catch (const DecodingError&) {
      goalId = std::string(argument);
      flag.rest = afterGoal;
    }
  }
  std::optional<JSONValue> value;
  if (!flag.rest.empty()) std::tie(value, flag.rest) = readLeadingJSONArgument(flag.rest, "value");
  host.sdk().trackExperimentConversion(std::move(flag.key), std::move(goalId), std::move(value),
                                       contextArgument(flag.rest));
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
