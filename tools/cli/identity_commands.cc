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
    const auto [key, json] = splitFirstWord(arguments);
    if (key.empty()) {
      throw CommandError("missing property key");
    }
    JSONValue value = readJSONArgument(json, "JSON value");
    (host.sdk().*setter)(std::string(key), std::move(value));
    return JSONObject{{"ok", true}};
  };
}

}  // namespace

void addIdentityCommands(CommandTable& table) {
  table.add("debug", debug);
  table.add("set-user-property", propertyCommand(&Tarnwell::setUserProperty));
  table.add("set-device-property", propertyCommand(&Tarnwell::setDeviceProperty));
}

}  // namespace tarnwell::cli
