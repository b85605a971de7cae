#include "tools/gateway/event_store.h"

#include <utility>

namespace tarnwell::gateway {
namespace {

// The maps are stored as JSON: an object, or a JSON string when the text held none.
constexpr const char* kEventSchemaSql =
    "CREATE TABLE IF NOT EXISTS events ("
    " id INTEGER PRIMARY KEY AUTOINCREMENT, item_id TEXT NOT NULL, event_id TEXT NOT NULL,"
    " event_name TEXT NOT NULL, user_id TEXT NOT NULL, session_id TEXT, timestamp TEXT NOT NULL,"
    " properties TEXT NOT NULL, user_properties TEXT NOT NULL, app_properties TEXT NOT NULL,"
    " device_properties TEXT NOT NULL, event_type TEXT NOT NULL, device_id TEXT NOT NULL,"
    " bundle_or_package_id TEXT NOT NULL, received_at TEXT NOT NULL);"
    "CREATE INDEX IF NOT EXISTS events_by_name ON events (event_name);"
    "CREATE TABLE IF NOT EXISTS telemetry ("
    " id INTEGER PRIMARY KEY AUTOINCREMENT, action TEXT NOT NULL, payload TEXT NOT NULL,"
    " received_at TEXT NOT NULL)";

}  // namespace

JSONValue ReceivedEvent::toJSON() const {
  JSONObject item{{"id", id},
                  {"event_id", eventId},
                  {"event_name", eventName},
                  {"user_id", userId},
                  {"session_id", sessionId ? JSONValue(*sessionId) : JSONValue()},
                  {"timestamp", timestamp},
                  {"properties", properties},
                  {"user_properties", userProperties},
                  {"app_properties", appProperties},
                  {"device_properties", deviceProperties},
                  {"event_type", eventType},
                  {"device_id", deviceId},
                  {"bundle_or_package_id", bundleOrPackageId}};
  JSONArray malformed;
  for (const std::string_view key : {"properties", "user_properties", "app_properties", "device_properties"}) {
    if (!item.find(key)->isObject()) malformed.emplace_back(key);
  }
  item.set("malformedMaps", std::move(malformed));
  item.set("receivedAt", receivedAt);
  return item;
}

JSONValue ReceivedTelemetry::toJSON() const {
  return JSONObject{{"action", action}, {"payload", payload}, {"receivedAt", receivedAt}};
}

EventStore::EventStore(SqliteDatabase& database) : database_(database) {
  database_.locked([](sqlite3* db) { execute(db, kEventSchemaSql); });
}

void EventStore::recordEvents(const std::vector<ReceivedEvent>& events) {
  database_.locked([&](sqlite3* db) {
    Transaction transaction(db);
    for (const ReceivedEvent& event : events) {
      Statement insert(db,
                       "INSERT INTO events (item_id, event_id, event_name, user_id, session_id, timestamp, properties,"
                       " user_properties, app_properties, device_properties, event_type, device_id,"
                       " bundle_or_package_id, received_at) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
      insert.bind(1, event.id).bind(2, event.eventId).bind(3, event.eventName).bind(4, event.userId);
      insert.bind(5, event.sessionId).bind(6, event.timestamp).bind(7, event.properties.encode());
      insert.bind(8, event.userProperties.encode()).bind(9, event.appProperties.encode());
      insert.bind(10, event.deviceProperties.encode()).bind(11, event.eventType).bind(12, event.deviceId);
      insert.bind(13, event.bundleOrPackageId).bind(14, event.receivedAt).step();
    }
    transaction.commit();
  });
}

std::vector<ReceivedEvent> EventStore::events(const std::optional<std::string>& eventName) {
  return database_.locked([&](sqlite3* db) {
    Statement select(db,
                     "SELECT item_id, event_id, event_name, user_id, session_id, timestamp, properties,"
                     " user_properties, app_properties, device_properties, event_type, device_id,"
                     " bundle_or_package_id, received_at FROM events WHERE ?1 IS NULL OR event_name = ?1 ORDER BY id");
    select.bind(1, eventName);
    std::vector<ReceivedEvent> rows;
    while (select.step()) {
      rows.push_back({select.text(0), select.text(1), select.text(2), select.text(3), select.optionalText(4),
                      select.text(5), JSONValue::decode(select.text(6)), JSONValue::decode(select.text(7)),
                      JSONValue::decode(select.text(8)), JSONValue::decode(select.text(9)), select.text(10),
                      select.text(11), select.text(12), select.text(13)});
    }
    return rows;
  });
}

void EventStore::recordTelemetry(const std::vector<ReceivedTelemetry>& items) {
  database_.locked([&](sqlite3* db) {
    Transaction transaction(db);
    for (const ReceivedTelemetry& item : items) {
      Statement insert(db, "INSERT INTO telemetry (action, payload, received_at) VALUES (?, ?, ?)");
      insert.bind(1, item.action).bind(2, item.payload.encode()).bind(3, item.receivedAt).step();
    }
    transaction.commit();
  });
}

std::vector<ReceivedTelemetry> EventStore::telemetry() {
  return database_.locked([](sqlite3* db) {
    Statement select(db, "SELECT action, payload, received_at FROM telemetry ORDER BY id");
    std::vector<ReceivedTelemetry> rows;
    while (select.step()) rows.push_back({select.text(0), JSONValue::decode(select.text(1)), select.text(2)});
    return rows;
  });
}

}  // namespace tarnwell::gateway
