// refresh and bundle: moving content from the runtime bundle into the SDK, and what is stored.
#include "tools/cli/builtin_commands.h"
#include "tools/cli/command_arguments.h"
#include "tools/cli/command_host.h"

namespace tarnwell::cli {
namespace {

using RefreshOperation = void (Tarnwell::*)(bool, std::function<void()>);

// `[all|flags|surveys|announcements|livecards] [force]`, waited for.
JSONObject refresh(CommandHost& host, std::string_view arguments) {
  auto [kindArgument, rest] = splitFirstArgument(arguments);
  const std::string kind = kindArgument.empty() ? "all" : readWord(kindArgument, "content kind");
  bool force = false;
  if (!rest.empty()) {
    if (readWord(rest, "force") != "force") {
      throw CommandError("expected \"force\", got \"" + std::string(rest) + "\"");
    }
    force = true;
  }
  if (kind == "all") {
    if (force) throw CommandError("refresh all takes no \"force\": it forces live cards alone");
    host.ask<bool>([&](auto answer) { host.sdk().refreshAllContent([answer] { answer(true); }); });
  } else {
    static const std::map<std::string, RefreshOperation, std::less<>> operations = {
        {"flags", &Tarnwell::refreshFeatureFlags},
        {"surveys", &Tarnwell::refreshSurveys},
        {"announcements", &Tarnwell::refreshAnnouncements},
        {"livecards", &Tarnwell::refreshLiveCards},
    };
    const auto operation = operations.find(kind);
    if (operation == operations.end()) throw CommandError("unknown content kind \"" + kind + "\"");
    host.ask<bool>([&](auto answer) { (host.sdk().*(operation->second))(force, [answer] { answer(true); }); });
  }
  return JSONObject{{"kind", JSONValue(kind)}, {"force", JSONValue(force)}};
}

// The stored bundle's versions, loadedAt and list sizes; "bundle" null when none is stored.
JSONObject bundle(CommandHost& host, std::string_view arguments) {
  expectNoArguments(arguments);
  const auto stored = host.ask<std::optional<RuntimeBundle>>(
      [&](auto answer) { host.sdk().getStoredRuntimeBundle(std::move(answer)); });
  if (!stored) return JSONObject{{"bundle", JSONValue()}};
  JSONObject versions;
  for (const auto& [kind, mark] : stored->versions) versions.set(kind, JSONValue(mark));
  return JSONObject{
      {"versions", JSONValue(std::move(versions))},       {"loadedAt", JSONValue(stored->loadedAt)},
      {"surveys", JSONValue(stored->surveys.size())},     {"announcements", JSONValue(stored->announcements.size())},
      {"liveCards", JSONValue(stored->liveCards.size())}, {"featureFlags", JSONValue(stored->featureFlags.size())}};
}

}  // namespace

void addContentCommands(CommandTable& table) {
  table.add("refresh", refresh);
  table.add("bundle", bundle);
}

}  // namespace tarnwell::cli
