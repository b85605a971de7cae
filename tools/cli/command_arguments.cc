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
