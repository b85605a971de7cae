// sleep, advance and quit: commands about the host itself rather than the SDK.
#include "tools/cli/builtin_commands.h"
#include "tools/cli/command_arguments.h"
#include "tools/cli/command_host.h"

namespace tarnwell::cli {
namespace {

JSONObject sleep(CommandHost& host, std::string_view arguments) {
  host.pause(readMilliseconds(arguments));
  return JSONObject{{"ok", true}};
}

// Moves the virtual clock and lets every timer that falls due run; an error on the system clock.
JSONObject advance(CommandHost& host, std::string_view arguments) {
  host.advanceClock(readMilliseconds(arguments));
  return JSONObject{{"ok", true}};
}

// The host stops reading; run() then shuts the SDK down.
JSONObject quit(CommandHost& host, std::string_view arguments) {
  expectNoArguments(arguments);
  host.stop();
  return {};
}

}  // namespace

void addHostCommands(CommandTable& table) {
  table.add("sleep", sleep);
  table.add("advance", advance);
  table.add("quit", quit);
}

}  // namespace tarnwell::cli
