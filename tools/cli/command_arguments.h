// File: tools/cli/command_arguments.h
//
// Reading a command line: the first word, the arguments after it, and the forms they take.
// Arguments are split JSON-aware: one that starts with `"`, `{` or `[` runs to its matching close,
// blanks inside included; any other runs to the next blank. A word argument (an event name, a
// key, an id) is taken as it stands, or as the text of a JSON string when it starts with `"`,
// which carries blanks or an empty text. A JSON argument is a JSON text. The readers throw
// CommandError with a message fit for the result line's "error".
//
//   auto [name, rest] = splitFirstWord("set-user-property plan \"pro\"");  // "set-user-property"
//   auto [key, json] = readLeadingWord(rest, "property key");            // "plan", "\"pro\""
//   JSONValue value = readJSONArgument(json, "JSON value");               // "pro"
//   std::string event = readWord("\" Checkout Done\"", "event name");     // " Checkout Done"
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include <tarnwell/core/json_value.h>

namespace tarnwell::cli {

// `text` without spaces, tabs and line ends at either end.
std::string_view trimBlanks(std::string_view text);
// The first word of `text` and the rest, each trimmed; both empty for a blank text.
std::pair<std::string_view, std::string_view> splitFirstWord(std::string_view text);
// The first argument of `text` as written (a JSON string, object or list whole) and the rest,
// each trimmed; both empty for a blank text.
std::pair<std::string_view, std::string_view> splitFirstArgument(std::string_view text);

// For commands that take no arguments.
void expectNoArguments(std::string_view arguments);
// A word argument, or a word that ends the command (the rest of the line): the text as it
// stands, trimmed (empty when nothing is left), or the text of the one JSON string it is when it
// starts with `"`.
std::string readWord(std::string_view argument, std::string_view what);
// The first argument read as a word, and the rest; "missing WHAT" when there is none.
std::pair<std::string, std::string_view> readLeadingWord(std::string_view text, std::string_view what);
// One JSON value; `what` names it in the error ("JSON value").
JSONValue readJSONArgument(std::string_view text, std::string_view what);
// The JSON argument at the start of `text` and the rest after it, for commands that take several
// JSON arguments in a row (`1.5 {"plan":"pro"}`).
std::pair<JSONValue, std::string_view> readLeadingJSONArgument(std::string_view text, std::string_view what);
// One JSON object.
JSONObject readJSONObjectArgument(std::string_view text, std::string_view what);
// A whole, non-negative number of milliseconds.
std::chrono::milliseconds readMilliseconds(std::string_view text);
// A whole number, e.g. a count.
std::int64_t readWholeNumber(std::string_view text, std::string_view what);

}  // namespace tarnwell::cli
