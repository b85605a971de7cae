// The message center: its state and refreshes, threads and messages, marking read, removing
// threads, the push token, and how pushes and the host open the center (the published route).
#include <limits>
#include <tuple>

#include "tools/cli/builtin_commands.h"
#include "tools/cli/command_arguments.h"
#include "tools/cli/command_host.h"

namespace tarnwell::cli {
namespace {

JSONValue threadFields(const MessageThread& thread) {
  return JSONObject{{"id", JSONValue(thread.id)},
                    {"conversationId", JSONValue(thread.conversationId)},
                    {"title", JSONValue(thread.title)},
                    {"status", JSONValue(thread.status)},
                    {"unreadCount", JSONValue(thread.unreadCount)}};
}

JSONValue messageFields(const Message& message) {
  return JSONObject{{"id", JSONValue(message.id)},
                    {"content", JSONValue(message.content)},
                    {"senderType", JSONValue(message.senderType)},
                    {"isRead", JSONValue(message.isRead)}};
}

// ROUTE: the three fields, each null when absent, or null for no route.
JSONValue routeFields(const std::optional<MessageCenterRoute>& route) {
  if (!route) return JSONValue();
  return JSONObject{{"initialTab", textOrNull(route->initialTab)},
                    {"announcementId", textOrNull(route->announcementId)},
                    {"threadId", textOrNull(route->threadId)}};
}

// The route published once what was posted to the main context, where routes change, has run.
JSONValue currentRoute(CommandHost& host) {
  host.catchUp();
  return routeFields(host.sdk().getMessageCenterRoute());
}

JSONObject routeResult(CommandHost& host) { return JSONObject{{"route", currentRoute(host)}}; }

// A JSON argument that must be a string (a subject, a message's text).
std::pair<std::string, std::string_view> readLeadingText(std::string_view arguments, std::string_view what) {
  auto [value, rest] = readLeadingJSONArgument(arguments, what);
  const JSONString* text = value.asString();
  if (text == nullptr) throw CommandError(std::string(what) + " must be a JSON string");
  return {text->str(), rest};
}

// The optional METADATA_JSON that ends create-thread and send-message.
std::optional<JSONObject> readMetadata(std::string_view rest) {
  if (rest.empty()) return std::nullopt;
  return readJSONObjectArgument(rest, "metadata");
}

// A word argument alone.
std::string readOnlyWord(std::string_view arguments, std::string_view what) {
  auto [word, rest] = readLeadingWord(arguments, what);
  expectNoArguments(rest);
  return word;
}

// `[refresh|poll]`: the manager's gates, lists and unread count, after a refresh or one turn of
// the screen's polling when asked.
JSONObject messageCenter(CommandHost& host, std::string_view arguments) {
  const std::string mode = arguments.empty() ? "" : readWord(arguments, "refresh or poll");
  if (mode == "refresh") {
    host.ask<bool>([&](auto answer) { host.sdk().refreshMessageCenter([answer] { answer(true); }); });
  } else if (mode == "poll") {
    host.ask<bool>([&](auto answer) { host.sdk().pollMessageCenter([answer] { answer(true); }); });
  } else if (!mode.empty()) {
    throw CommandError("expected \"refresh\" or \"poll\", got \"" + mode + "\"");
  }
  Tarnwell& sdk = host.sdk();
  const std::optional<MessageCenterState> state = sdk.getMessageCenterState();
  JSONArray threads;
  JSONArray announcements;
  if (state) {
    for (const MessageThread& thread : state->threads) threads.push_back(threadFields(thread));
    for (const MessageCenterAnnouncement& announcement : state->announcements) {
      announcements.push_back(JSONObject{{"id", JSONValue(announcement.id)}, {"title", JSONValue(announcement.title)}});
    }
  }
  return JSONObject{{"enabled", JSONValue(sdk.isMessageCenterEnabled())},
                    {"chatEnabled", JSONValue(state && state->chatEnabled)},
                    {"announcementsEnabled", JSONValue(state && state->announcementsEnabled)},
                    {"canShow", JSONValue(sdk.canShowMessageCenter())},
                    {"unread", JSONValue(sdk.getUnreadMessageCount())},
                    {"threads", JSONValue(std::move(threads))},
                    {"announcements", JSONValue(std::move(announcements))}};
}

// `SUBJECT_JSON MESSAGE_JSON [METADATA_JSON]`
JSONObject createThread(CommandHost& host, std::string_view arguments) {
  // Named variables rather than bindings: the lambda below captures them.
  std::string subject;
  std::string message;
  std::string_view rest;
  std::tie(subject, rest) = readLeadingText(arguments, "subject");
  std::tie(message, rest) = readLeadingText(rest, "message");
  std::optional<JSONObject> metadata = readMetadata(rest);
  const auto created = host.ask<std::optional<MessageThread>>([&](auto answer) {
    host.sdk().createThread(std::move(subject), std::move(message), std::move(metadata), std::move(answer));
  });
  return JSONObject{{"thread", created ? threadFields(*created) : JSONValue()}};
}

// `THREAD_ID CONTENT_JSON [METADATA_JSON]`
JSONObject sendMessage(CommandHost& host, std::string_view arguments) {
  std::string threadId;
  std::string content;
  std::string_view rest;
  std::tie(threadId, rest) = readLeadingWord(arguments, "thread id");
  std::tie(content, rest) = readLeadingText(rest, "content");
  std::optional<JSONObject> metadata = readMetadata(rest);
  const auto sent = host.ask<std::optional<Message>>([&](auto answer) {
    host.sdk().sendMessage(std::move(threadId), std::move(content), std::move(metadata), std::move(answer));
  });
  return JSONObject{{"message", sent ? messageFields(*sent) : JSONValue()}};
}

// `THREAD_ID [LIMIT]`: 100 messages unless told.
JSONObject messages(CommandHost& host, std::string_view arguments) {
  std::string threadId;
  std::string_view rest;
  std::tie(threadId, rest) = readLeadingWord(arguments, "thread id");
  std::int64_t limit = 100;
  if (!rest.empty()) {
    const auto [limitArgument, extra] = splitFirstArgument(rest);
    expectNoArguments(extra);
    limit = readWholeNumber(limitArgument, "limit");
    if (limit < 0 || limit > std::numeric_limits<int>::max()) throw CommandError("limit out of range");
  }
  const auto loaded = host.ask<std::vector<Message>>(
      [&](auto answer) { host.sdk().loadMessages(threadId, static_cast<int>(limit), std::move(answer)); });
  JSONArray list;
  for (const Message& message : loaded) list.push_back(messageFields(message));
  return JSONObject{{"threadId", JSONValue(threadId)}, {"messages", JSONValue(std::move(list))}};
}

// `MESSAGE_ID THREAD_ID`
JSONObject markMessageRead(CommandHost& host, std::string_view arguments) {
  std::string messageId;
  std::string_view rest;
  std::tie(messageId, rest) = readLeadingWord(arguments, "message id");
  const std::string threadId = readOnlyWord(rest, "thread id");
  host.ask<bool>([&](auto answer) { host.sdk().markMessageRead(messageId, threadId, [answer] { answer(true); }); });
  return JSONObject{{"ok", true}};
}

JSONObject markThreadRead(CommandHost& host, std::string_view arguments) {
  const std::string threadId = readOnlyWord(arguments, "thread id");
  host.ask<bool>([&](auto answer) { host.sdk().markUnreadMessagesRead(threadId, [answer] { answer(true); }); });
  return JSONObject{{"ok", true}};
}

JSONObject markAnnouncementRead(CommandHost& host, std::string_view arguments) {
  const std::string announcementId = readOnlyWord(arguments, "announcement id");
  host.ask<bool>([&](auto answer) { host.sdk().markAnnouncementRead(announcementId, [answer] { answer(true); }); });
  return JSONObject{{"ok", true}};
}

JSONObject deleteThread(CommandHost& host, std::string_view arguments) {
  const std::string threadId = readOnlyWord(arguments, "thread id");
  const bool deleted = host.ask<bool>([&](auto answer) { host.sdk().deleteThread(threadId, std::move(answer)); });
  return JSONObject{{"ok", JSONValue(deleted)}};
}

JSONObject hideThread(CommandHost& host, std::string_view arguments) {
  const std::string threadId = readOnlyWord(arguments, "thread id");
  const bool hidden = host.ask<bool>([&](auto answer) { host.sdk().hideThreadForUser(threadId, std::move(answer)); });
  return JSONObject{{"ok", JSONValue(hidden)}};
}

// The completion form, which refreshes first when the time to live allows.
JSONObject unread(CommandHost& host, std::string_view arguments) {
  expectNoArguments(arguments);
  const auto count = host.ask<std::int64_t>([&](auto answer) { host.sdk().getUnreadMessageCount(std::move(answer)); });
  return JSONObject{{"count", JSONValue(count)}};
}

JSONObject pushToken(CommandHost& host, std::string_view arguments) {
  const std::string token = readWord(arguments, "push token");
  host.ask<bool>([&](auto answer) { host.sdk().onPushTokenRefreshed(token, [answer] { answer(true); }); });
  return JSONObject{{"ok", true}};
}

JSONObject isPush(CommandHost& host, std::string_view arguments) {
  const JSONObject payload = readJSONObjectArgument(arguments, "push payload");
  return JSONObject{{"value", JSONValue(host.sdk().isTarnwellPush(payload))}};
}

JSONObject push(CommandHost& host, std::string_view arguments) {
  const JSONObject payload = readJSONObjectArgument(arguments, "push payload");
  const bool handled = host.sdk().handlePushMessage(payload);
  return JSONObject{{"handled", JSONValue(handled)}, {"route", currentRoute(host)}};
}

// `[TAB|-] [ANNOUNCEMENT_ID|-] [THREAD_ID|-]`: "-" or a missing word leaves that part absent.
JSONObject openMessageCenter(CommandHost& host, std::string_view arguments) {
  std::optional<std::string> parts[3];
  const char* names[3] = {"tab", "announcement id", "thread id"};
  std::string_view rest = arguments;
  for (int i = 0; i < 3 && !rest.empty(); ++i) {
    std::string word;
    std::tie(word, rest) = readLeadingWord(rest, names[i]);
    if (word != "-") parts[i] = std::move(word);
  }
  expectNoArguments(rest);
  host.sdk().openMessageCenter(std::move(parts[0]), std::move(parts[1]), std::move(parts[2]));
  return routeResult(host);
}

JSONObject route(CommandHost& host, std::string_view arguments) {
  expectNoArguments(arguments);
  return routeResult(host);
}

JSONObject clearRoute(CommandHost& host, std::string_view arguments) {
  expectNoArguments(arguments);
  host.sdk().clearMessageCenterRoute();
  return routeResult(host);
}

}  // namespace

void addMessageCenterCommands(CommandTable& table) {
  table.add("message-center", messageCenter);
  table.add("create-thread", createThread);
  table.add("send-message", sendMessage);
  table.add("messages", messages);
  table.add("mark-message-read", markMessageRead);
  table.add("mark-thread-read", markThreadRead);
  table.add("mark-announcement-read", markAnnouncementRead);
  table.add("delete-thread", deleteThread);
  table.add("hide-thread", hideThread);
  table.add("unread", unread);
  table.add("push-token", pushToken);
  table.add("is-push", isPush);
  table.add("push", push);
  table.add("open-message-center", openMessageCenter);
  table.add("route", route);
  table.add("clear-route", clearRoute);
}

}  // namespace tarnwell::cli
