// track, flush, queue, foreground and background: the event pipeline and the host's lifecycle.
#include "tools/cli/builtin_commands.h"
#include "tools/cli/command_arguments.h"
#include "tools/cli/command_host.h"

namespace tarnwell::cli {
namespace {

// `NAME [TYPE] [PROPS_JSON]`: a missing type is the empty type. Answers once the event's work on
// the main context has ended, the survey and announcement triggers included, so an item it
// presents is current when the line prints.
JSONObject track(CommandHost& host, std::string_view arguments) {
  std::string name;
  std::string type;
  std::string_view rest;
  std::tie(name, rest) = readLeadingWord(arguments, "event name");
  if (!rest.empty() && !rest.starts_with('{') && !rest.starts_with('[')) {
    std::tie(type, rest) = readLeadingWord(rest, "event type");
  }
  JSONObject properties = rest.empty() ? JSONObject{} : readJSONObjectArgument(rest, "properties");
  host.ask<bool>([&](auto answer) {
    host.sdk().trackEvent(std::move(name), std::move(properties), std::move(type), [answer] { answer(true); });
  });
  return JSONObject{{"ok", true}};
}

// A forced flush of events and telemetry, waited for (up to the host's wait limit).
JSONObject flush(CommandHost& host, std::string_view arguments) {
  expectNoArguments(arguments);
  return JSONObject{{"ok", JSONValue(host.sdk().flushAndWait(host.waitLimit()))}};
}

JSONObject queue(CommandHost& host, std::string_view arguments) {
  expectNoArguments(arguments);
  const auto count = host.ask<std::size_t>([&](auto answer) { host.sdk().getQueuedEventCount(std::move(answer)); });
  return JSONObject{{"count", JSONValue(count)}};
}

JSONObject foreground(CommandHost& host, std::string_view arguments) {
  expectNoArguments(arguments);
  host.sdk().onStart();
  return JSONObject{{"ok", true}};
}

JSONObject background(CommandHost& host, std::string_view arguments) {
  expectNoArguments(arguments);
  host.sdk().onStop();
  return JSONObject{{"ok", true}};
}

}  // namespace

void addEventCommands(CommandTable& table) {
  table.add("track", track);
  table.add("flush", flush);
  table.add("queue", queue);
  table.add("foreground", foreground);
  table.add("background", background);
}

}  // namespace tarnwell::cli
