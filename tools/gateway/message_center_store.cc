#include "tools/gateway/message_center_store.h"

#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <climits>

namespace tarnwell::gateway {
namespace {

// Documents are kept whole; the columns beside them repeat what lookups and ordering need.
constexpr const char* kMessageCenterSchemaSql =
    "CREATE TABLE IF NOT EXISTS mc_settings ("
    " id INTEGER PRIMARY KEY CHECK (id = 1), document TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS mc_announcements ("
    " seq INTEGER PRIMARY KEY AUTOINCREMENT, announcement_id TEXT NOT NULL UNIQUE, document TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS mc_announcement_reads ("
    " announcement_id TEXT NOT NULL, user_id TEXT NOT NULL, anonymous_id TEXT, read_at TEXT NOT NULL,"
    " UNIQUE (announcement_id, user_id));"
    "CREATE TABLE IF NOT EXISTS mc_threads ("
    " seq INTEGER PRIMARY KEY AUTOINCREMENT, thread_id TEXT NOT NULL UNIQUE, conversation_id TEXT NOT NULL,"
    " user_id TEXT NOT NULL, anonymous_id TEXT, status TEXT NOT NULL, hidden INTEGER NOT NULL DEFAULT 0,"
    " last_activity TEXT NOT NULL, document TEXT NOT NULL);"
    "CREATE INDEX IF NOT EXISTS mc_threads_by_conversation ON mc_threads (conversation_id);"
    "CREATE TABLE IF NOT EXISTS mc_messages ("
    " seq INTEGER PRIMARY KEY AUTOINCREMENT, message_id TEXT NOT NULL UNIQUE, conversation_id TEXT NOT NULL,"
    " document TEXT NOT NULL);"
    "CREATE INDEX IF NOT EXISTS mc_messages_by_conversation ON mc_messages (conversation_id, seq);"
    "CREATE TABLE IF NOT EXISTS push_tokens ("
    " seq INTEGER PRIMARY KEY AUTOINCREMENT, device_id TEXT NOT NULL, platform TEXT NOT NULL,"
    " push_token TEXT NOT NULL, user_id TEXT, anonymous_id TEXT, created_at TEXT NOT NULL,"
    " updated_at TEXT NOT NULL, UNIQUE (device_id, platform))";

// The threads a device may see: its user's, and those it opened before its user signed in.
constexpr const char* kOwnedThreadsSql =
    " hidden = 0 AND (user_id = ?1 OR (?2 IS NOT NULL AND anonymous_id = ?2 AND user_id = anonymous_id))";

std::optional<std::string> memberText(const JSONValue& document, std::string_view key) {
  const JSONString* text = document[key].asString();
  return text ? std::optional(text->str()) : std::nullopt;
}

std::optional<int> sqlLimit(std::int64_t limit) {
  return static_cast<int>(std::clamp<std::int64_t>(limit, 0, INT_MAX));
}

std::vector<JSONValue> documentsOf(Statement& select) {
  std::vector<JSONValue> documents;
  while (select.step()) documents.push_back(JSONValue::decode(select.text(0)));
  return documents;
}

// Inserts the thread, or rewrites the one with its "$id"; a hidden thread stays hidden.
void saveThread(sqlite3* db, const JSONValue& thread) {
  const std::string id = memberText(thread, "$id").value_or("");
  const std::string lastActivity =
      memberText(thread, "lastMessageAt")
          .value_or(memberText(thread, "$updatedAt").value_or(memberText(thread, "$createdAt").value_or("")));
  Statement upsert(db,
                   "INSERT INTO mc_threads (thread_id, conversation_id, user_id, anonymous_id, status, last_activity,"
                   " document) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7) ON CONFLICT (thread_id) DO UPDATE SET"
                   " conversation_id = ?2, user_id = ?3, anonymous_id = ?4, status = ?5, last_activity = ?6,"
                   " document = ?7");
  upsert.bind(1, id).bind(2, memberText(thread, "conversationId").value_or(id));
  upsert.bind(3, memberText(thread, "userId").value_or("")).bind(4, memberText(thread, "anonymousId"));
  upsert.bind(5, memberText(thread, "status").value_or("open")).bind(6, lastActivity);
  upsert.bind(7, thread.encode()).step();
}

void insertMessage(sqlite3* db, const JSONValue& message, bool replace) {
  Statement insert(db, replace ? "INSERT OR REPLACE INTO mc_messages (message_id, conversation_id, document)"
                                 " VALUES (?, ?, ?)"
                               : "INSERT OR IGNORE INTO mc_messages (message_id, conversation_id, document)"
                                 " VALUES (?, ?, ?)");
  insert.bind(1, memberText(message, "$id").value_or("")).bind(2, memberText(message, "conversationId").value_or(""));
  insert.bind(3, message.encode()).step();
}

std::optional<JSONValue> threadRow(sqlite3* db, const std::string& threadId) {
  Statement select(db,
                   "SELECT document FROM mc_threads WHERE thread_id = ?1 OR conversation_id = ?1 ORDER BY seq LIMIT 1");
  select.bind(1, threadId);
  if (!select.step()) return std::nullopt;
  return JSONValue::decode(select.text(0));
}

// Changes the thread's document with `change` and stamps "$updatedAt"; the thread as it now
// stands, or absent when there is none.
template <typename Change>
std::optional<JSONValue> patchThread(sqlite3* db, const std::string& threadId, const std::string& now, Change change) {
  std::optional<JSONValue> thread = threadRow(db, threadId);
  if (!thread || !thread->isObject()) return std::nullopt;
  change(*thread->asObject());
  thread->asObject()->set("$updatedAt", now);
  saveThread(db, *thread);
  return thread;
}

}  // namespace

JSONValue PushTokenRecord::toJSON() const {
  return JSONObject{{"deviceId", deviceId},
                    {"platform", platform},
                    {"pushToken", pushToken},
                    {"userId", textOrNull(userId)},
                    {"anonymousId", textOrNull(anonymousId)},
                    {"createdAt", createdAt},
                    {"updatedAt", updatedAt}};
}

MessageCenterStore::MessageCenterStore(SqliteDatabase& database) : database_(database) {
  database_.locked([](sqlite3* db) { execute(db, kMessageCenterSchemaSql); });
}

void MessageCenterStore::seed(const JSONValue& messageCenter) {
  if (!messageCenter.isObject()) return;
  database_.locked([&](sqlite3* db) {
    Transaction transaction(db);
    if (const JSONValue* settings = messageCenter.asObject()->find("settings")) {
      Statement(db, "DELETE FROM mc_settings").step();
      if (!settings->isNull()) {
        Statement(db, "INSERT INTO mc_settings (id, document) VALUES (1, ?)").bind(1, settings->encode()).step();
      }
    }
    if (const JSONArray* announcements = messageCenter["announcements"].asArray()) {
      for (const JSONValue& announcement : *announcements) {
        Statement upsert(db,
                         "INSERT INTO mc_announcements (announcement_id, document) VALUES (?1, ?2)"
                         " ON CONFLICT (announcement_id) DO UPDATE SET document = ?2");
        upsert.bind(1, memberText(announcement, "$id").value_or("")).bind(2, announcement.encode()).step();
      }
    }
    if (const JSONArray* threads = messageCenter["threads"].asArray()) {
      for (const JSONValue& seeded : *threads) {
        if (!seeded.isObject()) continue;
        JSONValue thread = seeded;
        JSONValue messages;
        if (JSONValue* given = thread.asObject()->find("messages")) messages = std::move(*given);
        thread.asObject()->erase("messages");
        const std::string id = memberText(thread, "$id").value_or("");
        if (threadRow(db, id)) continue;
        saveThread(db, thread);
        const std::string conversationId = memberText(thread, "conversationId").value_or(id);
        if (const JSONArray* list = messages.asArray()) {
          for (JSONValue message : *list) {
            if (!message.isObject()) continue;
            if (!message.asObject()->contains("conversationId"))
              message.asObject()->set("conversationId", conversationId);
            insertMessage(db, message, false);
          }
        }
      }
    }
    transaction.commit();
  });
}

std::optional<JSONValue> MessageCenterStore::settings() {
  return database_.locked([](sqlite3* db) -> std::optional<JSONValue> {
    Statement select(db, "SELECT document FROM mc_settings WHERE id = 1");
    if (!select.step()) return std::nullopt;
    return JSONValue::decode(select.text(0));
  });
}

void MessageCenterStore::replaceSettings(const JSONValue& settings) { seed(JSONObject{{"settings", settings}}); }

std::vector<JSONValue> MessageCenterStore::announcements(std::int64_t limit) {
  return database_.locked([&](sqlite3* db) {
    Statement select(db, "SELECT document FROM mc_announcements ORDER BY seq LIMIT ?");
    select.bind(1, sqlLimit(limit));
    return documentsOf(select);
  });
}

bool MessageCenterStore::markAnnouncementRead(const std::string& announcementId, const std::string& userId,
                                              const std::optional<std::string>& anonymousId, const std::string& now) {
  return database_.locked([&](sqlite3* db) {
    Transaction transaction(db);
    Statement select(db, "SELECT document FROM mc_announcements WHERE announcement_id = ?");
    select.bind(1, announcementId);
    if (!select.step()) return false;
    JSONValue announcement = JSONValue::decode(select.text(0));
    Statement mark(db,
                   "INSERT OR IGNORE INTO mc_announcement_reads (announcement_id, user_id, anonymous_id, read_at)"
                   " VALUES (?, ?, ?, ?)");
    mark.bind(1, announcementId).bind(2, userId).bind(3, anonymousId).bind(4, now).step();
    if (sqlite3_changes(db) > 0 && announcement.isObject()) {
      const std::int64_t opened = announcement["openedCount"].intValue().value_or(0);
      announcement.asObject()->set("openedCount", opened + 1);
      Statement update(db, "UPDATE mc_announcements SET document = ? WHERE announcement_id = ?");
      update.bind(1, announcement.encode()).bind(2, announcementId).step();
    }
    transaction.commit();
    return true;
  });
}

std::vector<JSONValue> MessageCenterStore::threadsOf(const ThreadOwner& owner, std::int64_t limit) {
  return database_.locked([&](sqlite3* db) {
    Statement select(db, (std::string("SELECT document FROM mc_threads WHERE") + kOwnedThreadsSql +
                          " ORDER BY last_activity DESC, seq DESC LIMIT ?3")
                             .c_str());
    select.bind(1, owner.userId).bind(2, owner.anonymousId).bind(3, sqlLimit(limit));
    return documentsOf(select);
  });
}

std::vector<JSONValue> MessageCenterStore::allThreads() {
  return database_.locked([](sqlite3* db) {
    Statement select(db, "SELECT document FROM mc_threads ORDER BY seq");
    return documentsOf(select);
  });
}

std::optional<JSONValue> MessageCenterStore::findThread(const std::string& threadId) {
  return database_.locked([&](sqlite3* db) { return threadRow(db, threadId); });
}

bool MessageCenterStore::addThread(const JSONValue& thread, const JSONValue& firstMessage, const ThreadOwner& owner,
                                   std::optional<std::int64_t> maxOpen) {
  return database_.locked([&](sqlite3* db) {
    Transaction transaction(db);
    if (maxOpen) {
      Statement count(db, (std::string("SELECT COUNT(*) FROM mc_threads WHERE") + kOwnedThreadsSql +
                           " AND LOWER(status) <> 'closed'")
                              .c_str());
      count.bind(1, owner.userId).bind(2, owner.anonymousId).step();
      if (count.integer(0) >= *maxOpen) return false;
    }
    saveThread(db, thread);
    insertMessage(db, firstMessage, true);
    transaction.commit();
    return true;
  });
}

MessageAdded MessageCenterStore::addMessage(const std::string& threadId, const JSONValue& message, MessageSide side,
                                            const std::string& now) {
  return database_.locked([&](sqlite3* db) {
    Transaction transaction(db);
    const std::optional<JSONValue> thread = threadRow(db, threadId);
    if (!thread) return MessageAdded{ThreadChange::unknownThread, {}};
    const std::string status = memberText(*thread, "status").value_or("open");
    std::string lower(status);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
    if (lower == kClosedThreadStatus) return MessageAdded{ThreadChange::closedThread, {}};

    JSONValue kept = message;
    const std::string conversationId =
        memberText(*thread, "conversationId").value_or(memberText(*thread, "$id").value_or(""));
    kept.asObject()->set("conversationId", conversationId);
    insertMessage(db, kept, true);
    patchThread(db, threadId, now, [&](JSONObject& document) {
      document.set("lastMessageAt", now);
      if (side == MessageSide::support) {
        const JSONValue* unread = document.find("unreadCount");
        document.set("unreadCount", (unread ? unread->intValue().value_or(0) : 0) + 1);
      }
    });
    transaction.commit();
    return MessageAdded{ThreadChange::done, std::move(kept)};
  });
}

std::optional<std::vector<JSONValue>> MessageCenterStore::messages(const std::string& threadId, std::int64_t limit) {
  return database_.locked([&](sqlite3* db) -> std::optional<std::vector<JSONValue>> {
    const std::optional<JSONValue> thread = threadRow(db, threadId);
    if (!thread) return std::nullopt;
    // The latest `limit`, then put back in the order they were written.
    Statement select(db,
                     "SELECT document FROM (SELECT seq, document FROM mc_messages WHERE conversation_id = ?"
                     " ORDER BY seq DESC LIMIT ?) ORDER BY seq");
    select.bind(1, memberText(*thread, "conversationId").value_or(memberText(*thread, "$id").value_or("")));
    select.bind(2, sqlLimit(limit));
    return documentsOf(select);
  });
}

std::optional<JSONValue> MessageCenterStore::markMessageRead(const std::string& messageId, const std::string& now) {
  return database_.locked([&](sqlite3* db) -> std::optional<JSONValue> {
    Statement select(db, "SELECT document FROM mc_messages WHERE message_id = ?");
    select.bind(1, messageId);
    if (!select.step()) return std::nullopt;
    JSONValue message = JSONValue::decode(select.text(0));
    if (!message.isObject()) return std::nullopt;
    message.asObject()->set("isRead", true);
    message.asObject()->set("$updatedAt", now);
    Statement update(db, "UPDATE mc_messages SET document = ? WHERE message_id = ?");
    update.bind(1, message.encode()).bind(2, messageId).step();
    return message;
  });
}

std::optional<JSONValue> MessageCenterStore::setUnreadCount(const std::string& threadId, std::int64_t unreadCount,
                                                            const std::string& now) {
  return database_.locked([&](sqlite3* db) {
    return patchThread(db, threadId, now, [&](JSONObject& thread) { thread.set("unreadCount", unreadCount); });
  });
}

std::optional<JSONValue> MessageCenterStore::setStatus(const std::string& threadId, const std::string& status,
                                                       const std::string& now) {
  return database_.locked([&](sqlite3* db) {
    return patchThread(db, threadId, now, [&](JSONObject& thread) { thread.set("status", status); });
  });
}

std::optional<JSONValue> MessageCenterStore::hideThread(const std::string& threadId, const std::string& now) {
  return database_.locked([&](sqlite3* db) -> std::optional<JSONValue> {
    Transaction transaction(db);
    std::optional<JSONValue> thread =
        patchThread(db, threadId, now, [](JSONObject& document) { document.set("status", kClosedThreadStatus); });
    if (!thread) return std::nullopt;
    Statement hide(db, "UPDATE mc_threads SET hidden = 1 WHERE thread_id = ?");
    hide.bind(1, memberText(*thread, "$id").value_or("")).step();
    transaction.commit();
    return thread;
  });
}

bool MessageCenterStore::deleteThread(const std::string& threadId) {
  return database_.locked([&](sqlite3* db) {
    Transaction transaction(db);
    const std::optional<JSONValue> thread = threadRow(db, threadId);
    if (!thread) return false;
    const std::string id = memberText(*thread, "$id").value_or("");
    Statement messages(db, "DELETE FROM mc_messages WHERE conversation_id = ?");
    messages.bind(1, memberText(*thread, "conversationId").value_or(id)).step();
    Statement remove(db, "DELETE FROM mc_threads WHERE thread_id = ?");
    remove.bind(1, id).step();
    transaction.commit();
    return true;
  });
}

void MessageCenterStore::upsertPushToken(const PushTokenRecord& record) {
  database_.locked([&](sqlite3* db) {
    Statement upsert(db,
                     "INSERT INTO push_tokens (device_id, platform, push_token, user_id, anonymous_id, created_at,"
                     " updated_at) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?6) ON CONFLICT (device_id, platform) DO UPDATE"
                     " SET push_token = ?3, user_id = ?4, anonymous_id = ?5, updated_at = ?6");
    upsert.bind(1, record.deviceId).bind(2, record.platform).bind(3, record.pushToken);
    upsert.bind(4, record.userId).bind(5, record.anonymousId).bind(6, record.updatedAt).step();
  });
}

std::vector<PushTokenRecord> MessageCenterStore::pushTokens() {
  return database_.locked([](sqlite3* db) {
    Statement select(db,
                     "SELECT device_id, platform, push_token, user_id, anonymous_id, created_at, updated_at"
                     " FROM push_tokens ORDER BY seq");
    std::vector<PushTokenRecord> rows;
    while (select.step()) {
      rows.push_back({select.text(0), select.text(1), select.text(2), select.optionalText(3), select.optionalText(4),
                      select.text(5), select.text(6)});
    }
    return rows;
  });
}

}  // namespace tarnwell::gateway
