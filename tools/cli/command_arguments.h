// File: tools/cli/command_arguments.h
//
// Reading a command line: the first word, the rest, and the argument forms commands take.
// The readers throw CommandError with a message fit for the result line's "error".
//
//   auto [name, rest] = splitFirstWord("set-user-property plan \"pro\"");  // "set-user-property"
//   auto [key, json] = splitFirstWord(rest);                              // "plan", "\"pro\""
//   JSONValue value = readJSONArgument(json);                             // "pro"
#pragma once

#include <chrono>
#include <string_view>
#include <utility>

#include <tarnwell/core/json_value.h>

namespace tarnwell::cli {

// `text` without spaces, tabs and line ends at either end.
std::string_view trimBlanks(std::string_view text);
// The first word of `text` and the rest, each trimmed; both empty for a blank text.
std::pair<std::string_view, std::string_view> splitFirstWord(std::string_view text);

// For commands that take no arguments.
void expectNoArguments(std::string_view arguments);
// One JSON value; `what` names it in the error ("JSON value").
JSONValue readJSONArgument(std::string_view text, std::string_view what);
// The JSON value at the start of `text` and the rest after it, for commands that take several
// JSON arguments in a row (`1.5 {"plan":"pro"}`).
std::pair<JSONValue, std::string_view> readLeadingJSONArgument(std::string_view text, std::string_view what);
// A whole, non-negative number of milliseconds.
std::chrono::milliseconds readMilliseconds(std::string_view text);

}  // namespace tarnwell::cli
