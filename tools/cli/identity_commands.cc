// debug, set-user-property and set-device-property: who the SDK thinks the user is.
#include "tools/cli/builtin_commands.h"
#include "tools/cli/command_arguments.h"
#include "tools/cli/command_host.h"

namespace tarnwell::cli {
namespace {

using PropertySetter = void (Tarnwell::*)(std::string key, JSONValue value);

JSONObject debug(CommandHost& host, std::string_view arguments) {
  expectNoArguments(arguments);
  return *host.sdk().getUserDebugState().encode().asObject();
}

// `KEY JSON`: the rest of the line after the key is one JSON value.
CommandHandler propertyCommand(PropertySetter setter) {
  return [setter](CommandHost& host, std::string_view arguments) {
    auto [key, json] = readLeadingWord(arguments, "property key");
    JSONValue value = readJSONArgument(json, "JSON value");
    (host.sdk().*setter)(std::move(key), std::move(value));
    return JSONObject{{"ok", true}};
  };
}

// Waits (bounded) until the SDK names `userId` as its user: identify reaches the backend first.
void awaitUser(CommandHost& host, const std::string& userId) {
  const std::string trimmed(trimBlanks(userId));
  host.waitUntil([&] { return host.sdk().getUserId() == trimmed; });
}

// `USER [TRAITS_JSON]`
JSONObject identify(CommandHost& host, std::string_view arguments) {
  const auto [user, traits] = readLeadingWord(arguments, "user id");
  // The SDK ignores a blank name, so waiting for it would only run into the limit.
  if (trimBlanks(user).empty()) throw CommandError("missing user id");
  host.sdk().identify(user, traits.empty() ? JSONObject{} : readJSONObjectArgument(traits, "traits"));
  awaitUser(host, user);
  return JSONObject{{"ok", true}};
}

// One JSON object with userId, userType and the four property maps.
JSONObject setUserProfile(CommandHost& host, std::string_view arguments) {
  const JSONObject profile = readJSONObjectArgument(arguments, "profile");
  const auto text = [&](std::string_view key) {
    const JSONValue* value = profile.find(key);
    if (value == nullptr || !value->isString())
      throw CommandError("profile needs the text \"" + std::string(key) + "\"");
    return value->asString()->str();
  };
  const auto map = [&](std::string_view key) {
    const JSONValue* value = profile.find(key);
    if (value == nullptr) return JSONObject{};
    if (!value->isObject()) throw CommandError("profile's \"" + std::string(key) + "\" must be an object");
    return *value->asObject();
  };
  const std::string userId = text("userId");
  host.sdk().setUserProfile(userId, text("userType"), map("userProperties"), map("appProperties"),
                            map("deviceProperties"), map("customProperties"));
  awaitUser(host, userId);
  return JSONObject{{"ok", true}};
}

// `[REASON]`
JSONObject resetUser(CommandHost& host, std::string_view arguments) {
  const std::string previous = host.sdk().getUserDebugState().anonymousId;
  host.sdk().resetUser(readWord(arguments, "reason"));
  host.waitUntil([&] { return host.sdk().getUserDebugState().anonymousId != previous; });
  return JSONObject{{"ok", true}};
}

// `TYPE`
JSONObject setUserType(CommandHost& host, std::string_view arguments) {
  host.sdk().setUserType(readWord(arguments, "user type"));
  return JSONObject{{"ok", true}};
}

}  // namespace

void addIdentityCommands(CommandTable& table) {
  table.add("debug", debug);
  table.add("identify", identify);
  table.add("set-user-profile", setUserProfile);
  table.add("reset-user", resetUser);
  table.add("set-user-type", setUserType);
  table.add("set-user-property", propertyCommand(&Tarnwell::setUserProperty));
  table.add("set-device-property", propertyCommand(&Tarnwell::setDeviceProperty));
  table.add("set-app-property", propertyCommand(&Tarnwell::setAppProperty));
  table.add("set-custom-property", propertyCommand(&Tarnwell::setCustomProperty));
}

}  // namespace tarnwell::cli
