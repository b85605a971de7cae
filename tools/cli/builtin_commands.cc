#include "tools/cli/builtin_commands.h"

namespace tarnwell::cli {

CommandTable builtinCommands() {
  CommandTable table;
  addLifecycleCommands(table);
  addIdentityCommands(table);
  addHostCommands(table);
  addEventCommands(table);
  addContentCommands(table);
  addFlagCommands(table);
  addDeliveryCommands(table);
  addLiveCardCommands(table);
  addMessageCenterCommands(table);
  addViewCommands(table);
  return table;
}

}  // namespace tarnwell::cli
