// view, view-tap, view-type, view-page and view-texts: the overlay a host wraps round its own
// content, read as a node tree and operated the way a user would, through the node queries the
// headless driver uses. The host's own content layer is empty, so only surveys and announcements
// show.
#include <climits>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <tarnwell/ui/node_query.h>

#include "tools/cli/builtin_commands.h"
#include "tools/cli/command_arguments.h"
#include "tools/cli/command_host.h"

namespace tarnwell::cli {
namespace {

// Runs `work` with the overlay on the main context, where its feeds deliver and its presenters
// act, and waits for the answer. The first call builds the overlay over an empty content layer.
template <typename T, typename Work>
T withOverlay(CommandHost& host, Work work) {
  return host.ask<T>([&host, work = std::move(work)](auto answer) mutable {
    host.sdk().mainContext().post([host = &host, work = std::move(work), answer]() mutable {
      std::unique_ptr<TarnwellOverlayHost>& overlay = host->overlay();
      if (!overlay) {
        overlay = std::make_unique<TarnwellOverlayHost>(host->sdk().overlayFeeds(), [] { return ui::zstack({}); });
      }
      answer(work(*overlay));
    });
  });
}

// Lets the current items the overlay watches reach it: the deliveries posted before this call
// (a new overlay's first values, an action's dismissal) run first.
void settleOverlay(CommandHost& host) {
  withOverlay<bool>(host, [](TarnwellOverlayHost&) { return true; });
  host.catchUp();
}

// The overlay's tree once it has settled.
ui::Node settledOverlayTree(CommandHost& host) {
  settleOverlay(host);
  return withOverlay<ui::Node>(host, [](TarnwellOverlayHost& overlay) { return overlay.tree(); });
}

JSONObject overlayTreeLine(CommandHost& host) {
  return JSONObject{
      {"cmd", JSONValue("view")}, {"view", JSONValue("overlay")}, {"tree", settledOverlayTree(host).toJSON()}};
}

// `overlay`: the only view there is.
JSONObject viewCommand(CommandHost& host, std::string_view arguments) {
  if (readWord(arguments, "view name") != "overlay") {
    throw CommandError("unknown view \"" + std::string(trimBlanks(arguments)) + "\"; the one view is overlay");
  }
  return JSONObject{{"view", JSONValue("overlay")}, {"tree", settledOverlayTree(host).toJSON()}};
}

JSONObject viewTexts(CommandHost& host, std::string_view arguments) {
  expectNoArguments(arguments);
  JSONArray texts;
  for (std::string& text : ui::visibleTexts(settledOverlayTree(host))) texts.push_back(JSONValue(std::move(text)));
  return JSONObject{{"texts", JSONValue(std::move(texts))}};
}

std::string readViewTarget(std::string_view argument) {
  std::string target = readWord(argument, "target");
  if (target.empty()) throw CommandError("missing target");
  return target;
}

// Runs `action` on the tree the user sees now; answers {"ok"} and queues the tree after it. The
// action's synchronous part and the main-context work it posted have run when the tree is read.
template <typename Action>
JSONObject actOnOverlay(CommandHost& host, Action action) {
  settleOverlay(host);
  const bool done = withOverlay<bool>(host, [action = std::move(action)](TarnwellOverlayHost& overlay) {
    const ui::Node tree = overlay.tree();
    return action(tree);
  });
  host.catchUp();
  host.printAfterResult(overlayTreeLine(host));
  return JSONObject{{"ok", JSONValue(done)}};
}

// `TARGET`
JSONObject viewTap(CommandHost& host, std::string_view arguments) {
  std::string target = readViewTarget(arguments);
  return actOnOverlay(host,
                      [target = std::move(target)](const ui::Node& tree) { return ui::performTap(tree, target); });
}

// `TARGET TEXT_JSON`: the text is the last argument, a JSON string; the target all before it.
JSONObject viewType(CommandHost& host, std::string_view arguments) {
  arguments = trimBlanks(arguments);
  std::string_view textArgument;
  for (std::string_view rest = arguments; !rest.empty();) {
    std::tie(textArgument, rest) = splitFirstArgument(rest);
  }
  if (textArgument.empty() || textArgument.data() == arguments.data()) throw CommandError("missing target");
  const JSONValue text = readJSONArgument(textArgument, "text");
  if (!text.isString()) throw CommandError("text must be a JSON string");
  std::string target =
      readViewTarget(arguments.substr(0, static_cast<std::size_t>(textArgument.data() - arguments.data())));
  return actOnOverlay(host, [target = std::move(target), typed = text.asString()->str()](const ui::Node& tree) {
    return ui::performType(tree, target, typed);
  });
}

// `TARGET INDEX`: the index is the last word, counting from 0; the target all before it.
JSONObject viewPage(CommandHost& host, std::string_view arguments) {
  arguments = trimBlanks(arguments);
  const std::size_t lastBlank = arguments.find_last_of(" \t");
  if (lastBlank == std::string_view::npos) {
    throw CommandError(arguments.empty() ? "missing target" : "missing page index");
  }
  const std::int64_t index = readWholeNumber(arguments.substr(lastBlank + 1), "page index");
  if (index < 0 || index > INT_MAX) {
    throw CommandError("page index must be from 0 to " + std::to_string(INT_MAX) + ", not " + std::to_string(index));
  }
  std::string target = readViewTarget(arguments.substr(0, lastBlank));
  return actOnOverlay(host, [target = std::move(target), page = static_cast<int>(index)](const ui::Node& tree) {
    return ui::performPage(tree, target, page);
  });
}

}  // namespace

void addViewCommands(CommandTable& table) {
  table.add("view", viewCommand);
  table.add("view-texts", viewTexts);
  table.add("view-tap", viewTap);
  table.add("view-type", viewType);
  table.add("view-page", viewPage);
}

}  // namespace tarnwell::cli
