// init, state and shutdown: the SDK's start-up and lifecycle state.
#include <memory>
#include <string>

#include "tools/cli/builtin_commands.h"
#include "tools/cli/command_arguments.h"
#include "tools/cli/command_host.h"

namespace tarnwell::cli {
namespace {

// {"state":NAME}, plus the failure's text for an error state.
JSONObject stateFields(const SDKState& state) {
  JSONObject fields{{"state", JSONValue(state.name())}};
  if (state.kind() == SDKState::Kind::error) {
    fields.set("error", JSONValue(state.errorText()));
  }
  return fields;
}

JSONObject init(CommandHost& host, std::string_view arguments) {
  expectNoArguments(arguments);
  auto completed = std::make_shared<Handover<SDKState>>();
  host.sdk().initialize(host.config(), [completed](const SDKState& state) { completed->give(state); });
  const std::optional<SDKState> state = host.await(*completed, host.waitLimit());
  if (!state) {
    throw CommandError("no completion within " + std::to_string(host.waitLimit().count()) + " ms");
  }
  return stateFields(*state);
}

JSONObject state(CommandHost& host, std::string_view arguments) {
  expectNoArguments(arguments);
  return stateFields(host.sdk().getState());
}

JSONObject shutdown(CommandHost& host, std::string_view arguments) {
  expectNoArguments(arguments);
  return stateFields(host.shutDownSdk());
}

}  // namespace

void addLifecycleCommands(CommandTable& table) {
  table.add("init", init);
  table.add("state", state);
  table.add("shutdown", shutdown);
}

}  // namespace tarnwell::cli
