#include "tools/cli/command_arguments.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "tools/cli/command_table.h"

namespace tarnwell::cli {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

// Where the argument at the start of `text` ends: a JSON string, object or list at its matching
// close (blanks inside do not count), anything else at the first blank.
std::size_t argumentLength(std::string_view text) {
  if (text.empty()) return 0;
  if (const char first = text.front(); first != '"' && first != '{' && first != '[') {
    return std::min(text.find_first_of(kBlanks), text.size());
  }
  int depth = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') {
        ++i;
      } else if (c == '"') {
        inString = false;
        if (depth == 0) return i + 1;
      }
    } else if (c == '"') {
      inString = true;
    } else if (c == '{' || c == '[') {
      ++depth;
    } else if ((c == '}' || c == ']') && --depth <= 0) {
      return i + 1;
    }
  }
  // Unclosed: the rest of the line, which then fails to read as what it should be.
  return text.size();
}

}  // namespace

std::string_view trimBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::pair<std::string_view, std::string_view> splitFirstWord(std::string_view text) {
  text = trimBlanks(text);
  const std::size_t end = text.find_first_of(kBlanks);
  if (end == std::string_view::npos) return {text, {}};
  return {text.substr(0, end), trimBlanks(text.substr(end))};
}

std::pair<std::string_view, std::string_view> splitFirstArgument(std::string_view text) {
  text = trimBlanks(text);
  const std::size_t length = argumentLength(text);
  return {text.substr(0, length), trimBlanks(text.substr(length))};
}

void expectNoArguments(std::string_view arguments) {
  if (!trimBlanks(arguments).empty()) {
    throw CommandError("takes no arguments");
  }
}

std::string readWord(std::string_view argument, std::string_view what) {
  argument = trimBlanks(argument);
  if (!argument.starts_with('"')) return std::string(argument);
  // A leading quote makes it a JSON string, and nothing else may follow it.
  return readJSONArgument(argument, what).asString()->str();
}

std::pair<std::string, std::string_view> readLeadingWord(std::string_view text, std::string_view what) {
  const auto [argument, rest] = splitFirstArgument(text);
  if (argument.empty()) throw CommandError("missing " + std::string(what));
  return {readWord(argument, what), rest};
}

JSONValue readJSONArgument(std::string_view text, std::string_view what) {
  text = trimBlanks(text);
  if (text.empty()) {
    throw CommandError("missing " + std::string(what));
  }
  try {
    return JSONValue::decode(text);
  } catch (const std::exception& error) {
    throw CommandError("bad " + std::string(what) + ": " + error.what());
  }
}

std::pair<JSONValue, std::string_view> readLeadingJSONArgument(std::string_view text, std::string_view what) {
  const auto [argument, rest] = splitFirstArgument(text);
  return {readJSONArgument(argument, what), rest};
}

JSONObject readJSONObjectArgument(std::string_view text, std::string_view what) {
  JSONValue value = readJSONArgument(text, what);
  if (!value.isObject()) throw CommandError(std::string(what) + " must be a JSON object");
  return std::move(*value.asObject());
}

std::chrono::milliseconds readMilliseconds(std::string_view text) {
  text = trimBlanks(text);
  if (text.empty()) {
    throw CommandError("missing milliseconds");
  }
  std::int64_t count = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
  if (error != std::errc() || end != text.data() + text.size() || count < 0) {
    throw CommandError("not a whole number of milliseconds: " + std::string(text));
  }
  return std::chrono::milliseconds(count);
}

std::int64_t readWholeNumber(std::string_view text, std::string_view what) {
  text = trimBlanks(text);
  if (text.empty()) throw CommandError("missing " + std::string(what));
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    throw CommandError(std::string(what) + " must be a whole number, not " + std::string(text));
  }
  return number;
}

}  // namespace tarnwell::cli
