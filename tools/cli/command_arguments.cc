#include "tools/cli/command_arguments.h"

#include <charconv>
#include <cstdint>
#include <string>

#include "tools/cli/command_table.h"

namespace tarnwell::cli {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

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

void expectNoArguments(std::string_view arguments) {
  if (!trimBlanks(arguments).empty()) {
    throw CommandError("takes no arguments");
  }
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

namespace {

// Where the JSON value at the start of `text` ends: the matching close of an object, list or
// string, else the first blank.
std::size_t leadingValueLength(std::string_view text) {
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
    } else if (c == '}' || c == ']') {
      if (--depth <= 0) return i + 1;
    } else if (depth == 0 && (c == ' ' || c == '\t')) {
      return i;
    }
  }
  return text.size();
}

}  // namespace

std::pair<JSONValue, std::string_view> readLeadingJSONArgument(std::string_view text, std::string_view what) {
  text = trimBlanks(text);
  const std::size_t length = leadingValueLength(text);
  return {readJSONArgument(text.substr(0, length), what), trimBlanks(text.substr(length))};
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

}  // namespace tarnwell::cli
