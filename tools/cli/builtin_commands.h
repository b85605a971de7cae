// File: tools/cli/builtin_commands.h
//
// The commands the host knows, by group. Each group lives in its own file and adds its
// handlers to a table; builtinCommands() gathers every group.
#pragma once

#include "tools/cli/command_table.h"

namespace tarnwell::cli {

CommandTable builtinCommands();

// init, state, shutdown (lifecycle_commands.cc).
void addLifecycleCommands(CommandTable& table);
// debug, set-user-property, set-device-property (identity_commands.cc).
void addIdentityCommands(CommandTable& table);
// sleep, advance, quit (host_commands.cc).
void addHostCommands(CommandTable& table);
void addEventCommands(CommandTable& table);
void addContentCommands(CommandTable& table);
void addFlagCommands(CommandTable& table);
// The survey and announcement commands and the on-device counters (delivery_commands.cc).
void addDeliveryCommands(CommandTable& table);
// live-cards, has-live-card, live-card, live-card-impression, live-card-click (live_card_commands.cc).
void addLiveCardCommands(CommandTable& table);
// The message center's state, threads, messages, push token and routes (message_center_commands.cc).
void addMessageCenterCommands(CommandTable& table);
// view, view-texts, view-tap, view-type, view-page: the overlay as a node tree (view_commands.cc).
void addViewCommands(CommandTable& table);

}  // namespace tarnwell::cli
