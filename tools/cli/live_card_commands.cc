// live-cards, has-live-card, live-card, live-card-impression and live-card-click: the live-card
// manager's list, its choice for a trigger, and what a host's card reports through the hooks of
// createLiveCardView.
#include <cmath>

#include <tarnwell/livecards/live_card_handle.h>

#include "tools/cli/builtin_commands.h"
#include "tools/cli/command_arguments.h"
#include "tools/cli/command_host.h"

namespace tarnwell::cli {
namespace {

using Handle = std::optional<LiveCardHandle>;

// The ids of the last refresh in source order (null for an absent id); null without a manager.
JSONObject liveCardIds(CommandHost& host, std::string_view arguments) {
  expectNoArguments(arguments);
  const auto cards =
      host.ask<std::optional<std::vector<LiveCard>>>([&](auto answer) { host.sdk().getLiveCards(std::move(answer)); });
  if (!cards) return JSONObject{{"ids", JSONValue()}};
  JSONArray ids;
  for (const LiveCard& card : *cards) ids.push_back(textOrNull(card.id));
  return JSONObject{{"ids", JSONValue(std::move(ids))}};
}

// `TRIGGER`
JSONObject hasLiveCardCommand(CommandHost& host, std::string_view arguments) {
  const std::string trigger = readWord(arguments, "trigger id");
  const bool value = host.ask<bool>([&](auto answer) { host.sdk().hasLiveCard(trigger, std::move(answer)); });
  return JSONObject{{"trigger", JSONValue(trigger)}, {"value", JSONValue(value)}};
}

// `TRIGGER`: {"id","name","templateId"} of the trigger's card, or null.
JSONObject liveCardCommand(CommandHost& host, std::string_view arguments) {
  const std::string trigger = readWord(arguments, "trigger id");
  const auto card =
      host.ask<std::optional<LiveCard>>([&](auto answer) { host.sdk().getLiveCard(trigger, std::move(answer)); });
  JSONValue fields;
  if (card) {
    fields = JSONObject{
        {"id", textOrNull(card->id)}, {"name", textOrNull(card->name)}, {"templateId", textOrNull(card->templateId)}};
  }
  return JSONObject{{"trigger", JSONValue(trigger)}, {"card", std::move(fields)}};
}

Handle liveCardHandle(CommandHost& host, const std::string& trigger) {
  return host.ask<Handle>([&](auto answer) { host.sdk().createLiveCardView(trigger, std::move(answer)); });
}

// `TRIGGER`: answers once the impression's work on the main context has run; a card reported
// before answers true as well and sends nothing.
JSONObject liveCardImpression(CommandHost& host, std::string_view arguments) {
  const Handle handle = liveCardHandle(host, readWord(arguments, "trigger id"));
  if (handle) {
    handle->trackImpression();
    host.catchUp();
  }
  return JSONObject{{"ok", JSONValue(handle.has_value())}};
}

std::optional<std::string> clickText(const JSONObject& arguments, std::string_view key) {
  const JSONValue* value = arguments.find(key);
  if (value == nullptr || value->isNull()) return std::nullopt;
  if (const JSONString* text = value->asString()) return text->str();
  throw CommandError(std::string(key) + " must be a string");
}

// ARGS_JSON: what the user pressed; every key optional, and no other key.
LiveCardAction readClickAction(const JSONObject& arguments) {
  for (const auto& [key, value] : arguments) {
    if (key != "buttonType" && key != "buttonId" && key != "actionType" && key != "actionTarget" &&
        key != "carouselItemIndex" && key != "position") {
      throw CommandError("unknown click argument \"" + key + "\"");
    }
  }
  LiveCardAction action{.buttonType = clickText(arguments, "buttonType"),
                        .buttonId = clickText(arguments, "buttonId"),
                        .actionType = clickText(arguments, "actionType"),
                        .actionTarget = clickText(arguments, "actionTarget"),
                        .carouselItemIndex = std::nullopt,
                        .position = clickText(arguments, "position")};
  if (const JSONValue* index = arguments.find("carouselItemIndex"); index != nullptr && !index->isNull()) {
    const double* number = index->asNumber();
    if (number == nullptr || std::trunc(*number) != *number || std::abs(*number) > 1e15) {
      throw CommandError("carouselItemIndex must be a whole number");
    }
    action.carouselItemIndex = static_cast<std::int64_t>(*number);
  }
  return action;
}

// `TRIGGER [ARGS_JSON]`: answers once the click has been sent and answered (or has failed).
JSONObject liveCardClick(CommandHost& host, std::string_view arguments) {
  const auto [trigger, rest] = readLeadingWord(arguments, "trigger id");
  const LiveCardAction action =
      rest.empty() ? LiveCardAction{} : readClickAction(readJSONObjectArgument(rest, "click arguments"));
  const Handle handle = liveCardHandle(host, trigger);
  if (!handle) return JSONObject{{"ok", false}};
  host.ask<bool>([&](auto answer) { handle->trackClick(action, [answer] { answer(true); }); });
  return JSONObject{{"ok", true}};
}

}  // namespace

void addLiveCardCommands(CommandTable& table) {
  table.add("live-cards", liveCardIds);
  table.add("has-live-card", hasLiveCardCommand);
  table.add("live-card", liveCardCommand);
  table.add("live-card-impression", liveCardImpression);
  table.add("live-card-click", liveCardClick);
}

}  // namespace tarnwell::cli
