// File: tools/cli/command_table.h
//
// CommandTable maps a command's name to its handler. A handler gets the host and the rest of
// the line after the name; it returns the members of its result line that follow "cmd", and
// throws CommandError for an argument it cannot use. A new command lives in a file of its own
// and joins the table in builtin_commands.cc; the dispatcher never changes.
//
//   CommandTable table;
//   table.add("ping", [](CommandHost&, std::string_view) { return JSONObject{{"ok", true}}; });
//   if (const CommandHandler* ping = table.find("ping")) { (*ping)(host, ""); }
#pragma once

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <tarnwell/core/json_value.h>

namespace tarnwell::cli {

class CommandHost;

using CommandHandler = std::function<JSONObject(CommandHost& host, std::string_view arguments)>;

// A command's arguments do not fit; what() becomes the result line's "error".
class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class CommandTable {
 public:
  // A name added twice keeps the later handler.
  void add(std::string name, CommandHandler handler) { handlers_[std::move(name)] = std::move(handler); }

  // Null for a name the table does not know.
  const CommandHandler* find(std::string_view name) const {
    const auto found = handlers_.find(name);
    return found == handlers_.end() ? nullptr : &found->second;
  }

 private:
  std::map<std::string, CommandHandler, std::less<>> handlers_;
};

}  // namespace tarnwell::cli
