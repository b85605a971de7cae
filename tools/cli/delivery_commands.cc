// surveys, announcements and what goes with them: what the delivery managers hold, decide and
// were answered, one handler for both kinds per command; survey-ledger, and event-count and
// milestone, the on-device counters that triggers read.
#include <tarnwell/surveys/delivery_verdict.h>

#include "tools/cli/builtin_commands.h"
#include "tools/cli/command_arguments.h"
#include "tools/cli/command_host.h"

namespace tarnwell::cli {
namespace {

using Item = std::optional<Survey>;
using ItemList = std::optional<std::vector<Survey>>;

// The facade's calls for one kind of delivered item, and the words of its commands.
struct DeliveryKind {
  std::string_view noun;     // "survey": the commands' suffix and the ITEM's key in results
  std::string_view plural;   // "surveys": the list command
  std::string_view answers;  // what submit's JSON argument is called in errors
  void (Tarnwell::*list)(std::function<void(ItemList)>);
  void (Tarnwell::*canShow)(std::string, std::function<void(bool)>);
  void (Tarnwell::*current)(std::function<void(Item)>);
  void (Tarnwell::*submit)(Survey, JSONObject, bool, std::function<void(bool)>);
  void (Tarnwell::*dismiss)();
  void (Tarnwell::*explain)(std::string, std::function<void(std::vector<DeliveryExplanation>)>);
  // The callback form of show, handing over the host's callback lines.
  void (*show)(CommandHost&, std::string, std::function<void(bool)>);
};

const DeliveryKind kSurveys{.noun = "survey",
                            .plural = "surveys",
                            .answers = "answers",
                            .list = &Tarnwell::getSurveys,
                            .canShow = &Tarnwell::canShowSurvey,
                            .current = &Tarnwell::getCurrentSurvey,
                            .submit = &Tarnwell::submitSurveyResponse,
                            .dismiss = &Tarnwell::dismissCurrentSurvey,
                            .explain = &Tarnwell::explainSurvey,
                            .show = [](CommandHost& host, std::string event, std::function<void(bool)> completion) {
                              host.sdk().showSurvey(std::move(event), host.callbackLines(), std::move(completion));
                            }};

const DeliveryKind kAnnouncements{
    .noun = "announcement",
    .plural = "announcements",
    .answers = "responses",
    .list = &Tarnwell::getAnnouncements,
    .canShow = &Tarnwell::canShowAnnouncement,
    .current = &Tarnwell::getCurrentAnnouncement,
    .submit = &Tarnwell::submitAnnouncementResponse,
    .dismiss = &Tarnwell::dismissCurrentAnnouncement,
    .explain = &Tarnwell::explainAnnouncement,
    .show = [](CommandHost& host, std::string event, std::function<void(bool)> completion) {
      host.sdk().showAnnouncement(std::move(event), host.callbackLines(), std::move(completion));
    }};

// ITEM: {"id","name","templateId"}, or null for no item.
JSONValue itemFields(const Item& item) {
  if (!item) return JSONValue();
  return JSONObject{
      {"id", textOrNull(item->id)}, {"name", textOrNull(item->name)}, {"templateId", textOrNull(item->templateId)}};
}

Item currentItem(CommandHost& host, const DeliveryKind& kind) {
  return host.ask<Item>([&](auto answer) { (host.sdk().*kind.current)(std::move(answer)); });
}

// The ids of the last refresh in the manager's order; null without a manager.
CommandHandler listCommand(const DeliveryKind& kind) {
  return [&kind](CommandHost& host, std::string_view arguments) {
    expectNoArguments(arguments);
    const ItemList items = host.ask<ItemList>([&](auto answer) { (host.sdk().*kind.list)(std::move(answer)); });
    if (!items) return JSONObject{{"ids", JSONValue()}};
    JSONArray ids;
    for (const Survey& item : *items) ids.push_back(textOrNull(item.id));
    return JSONObject{{"ids", JSONValue(std::move(ids))}};
  };
}

// `EVENT`
CommandHandler canShowCommand(const DeliveryKind& kind) {
  return [&kind](CommandHost& host, std::string_view arguments) {
    const std::string event = readWord(arguments, "event name");
    const bool value = host.ask<bool>([&](auto answer) { (host.sdk().*kind.canShow)(event, std::move(answer)); });
    return JSONObject{{"event", JSONValue(event)}, {"value", JSONValue(value)}};
  };
}

// `EVENT`: the item this call presented, or null, though another may stay current.
CommandHandler showCommand(const DeliveryKind& kind) {
  return [&kind](CommandHost& host, std::string_view arguments) {
    const std::string event = readWord(arguments, "event name");
    const Item shown = host.ask<Item>([&](auto answer) {
      kind.show(host, event, [sdk = &host.sdk(), current = kind.current, answer](bool presented) {
        if (!presented) return answer(std::nullopt);
        // Read at once on the main context, where the completion runs: nothing can have
        // replaced the item this call presented.
        (sdk->*current)(answer);
      });
    });
    return JSONObject{{"event", JSONValue(event)}, {std::string(kind.noun), itemFields(shown)}};
  };
}

CommandHandler currentCommand(const DeliveryKind& kind) {
  return [&kind](CommandHost& host, std::string_view arguments) {
    expectNoArguments(arguments);
    return JSONObject{{std::string(kind.noun), itemFields(currentItem(host, kind))}};
  };
}

// `ANSWERS_JSON [cancelled]`, for the current item; the callback's line comes first.
CommandHandler submitCommand(const DeliveryKind& kind) {
  return [&kind](CommandHost& host, std::string_view arguments) {
    const auto [answersArgument, rest] = splitFirstArgument(arguments);
    JSONObject answers = readJSONObjectArgument(answersArgument, kind.answers);
    const bool cancelled = !rest.empty();
    if (cancelled && readWord(rest, "cancelled") != "cancelled") {
      throw CommandError("expected \"cancelled\", got \"" + std::string(rest) + "\"");
    }
    const Item current = currentItem(host, kind);
    if (!current) throw CommandError("no " + std::string(kind.noun) + " is current");
    const bool accepted = host.ask<bool>(
        [&](auto answer) { (host.sdk().*kind.submit)(*current, std::move(answers), !cancelled, std::move(answer)); });
    return JSONObject{{"ok", JSONValue(accepted)}};
  };
}

// Answers once the dismissal has run, its callback line included.
CommandHandler dismissCommand(const DeliveryKind& kind) {
  return [&kind](CommandHost& host, std::string_view arguments) {
    expectNoArguments(arguments);
    (host.sdk().*kind.dismiss)();
    host.catchUp();
    return JSONObject{{"ok", true}};
  };
}

// `EVENT`: every candidate in decision order with the step that decided it.
CommandHandler explainCommand(const DeliveryKind& kind) {
  return [&kind](CommandHost& host, std::string_view arguments) {
    const std::string event = readWord(arguments, "event name");
    const auto verdicts = host.ask<std::vector<DeliveryExplanation>>(
        [&](auto answer) { (host.sdk().*kind.explain)(event, std::move(answer)); });
    JSONArray candidates;
    for (const DeliveryExplanation& candidate : verdicts) {
      candidates.push_back(JSONObject{{"id", textOrNull(candidate.itemId)},
                                      {"verdict", JSONValue(deliveryVerdictWord(candidate.verdict))}});
    }
    return JSONObject{{"event", JSONValue(event)}, {"candidates", JSONValue(std::move(candidates))}};
  };
}

void addDeliveryKind(CommandTable& table, const DeliveryKind& kind) {
  const std::string noun(kind.noun);
  table.add(std::string(kind.plural), listCommand(kind));
  table.add("can-show-" + noun, canShowCommand(kind));
  table.add("show-" + noun, showCommand(kind));
  table.add("current-" + noun, currentCommand(kind));
  table.add("submit-" + noun, submitCommand(kind));
  table.add("dismiss-" + noun, dismissCommand(kind));
  table.add("explain-" + noun, explainCommand(kind));
}

// `SURVEY_ID`: the delivery ledger for the current user; zeros when nothing is recorded.
JSONObject surveyLedger(CommandHost& host, std::string_view arguments) {
  std::string surveyId;
  std::string_view rest;
  std::tie(surveyId, rest) = readLeadingWord(arguments, "survey id");
  expectNoArguments(rest);
  const auto entry =
      host.ask<SurveyLedgerEntry>([&](auto answer) { host.sdk().getSurveyLedgerEntry(surveyId, std::move(answer)); });
  return JSONObject{{"surveyId", JSONValue(surveyId)},
                    {"impressions", JSONValue(entry.impressions)},
                    {"last_shown", JSONValue(entry.lastShown)},
                    {"dismissed", JSONValue(entry.dismissed)},
                    {"completed", JSONValue(entry.completed)}};
}

// `NAME`: how often the event was counted for the current profile.
JSONObject eventCount(CommandHost& host, std::string_view arguments) {
  const std::string name = readWord(arguments, "event name");
  const auto count = host.ask<std::int64_t>([&](auto answer) { host.sdk().getEventCount(name, std::move(answer)); });
  return JSONObject{{"name", JSONValue(name)}, {"count", JSONValue(count)}};
}

// `ITEM_ID EVENT COUNT`: whether that milestone was marked shown.
JSONObject milestone(CommandHost& host, std::string_view arguments) {
  std::string itemId;
  std::string event;
  std::string_view rest;
  std::tie(itemId, rest) = readLeadingWord(arguments, "item id");
  std::tie(event, rest) = readLeadingWord(rest, "event name");
  const auto [countArgument, extra] = splitFirstArgument(rest);
  expectNoArguments(extra);
  const std::int64_t count = readWholeNumber(countArgument, "count");
  const bool shown =
      host.ask<bool>([&](auto answer) { host.sdk().wasMilestoneShown(itemId, event, count, std::move(answer)); });
  return JSONObject{{"value", JSONValue(shown)}};
}

}  // namespace

void addDeliveryCommands(CommandTable& table) {
  addDeliveryKind(table, kSurveys);
  addDeliveryKind(table, kAnnouncements);
  table.add("survey-ledger", surveyLedger);
  table.add("event-count", eventCount);
  table.add("milestone", milestone);
}

}  // namespace tarnwell::cli
