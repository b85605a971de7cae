// File: tools/gateway/event_store.h
//
// EventStore keeps the analytics events and runtime telemetry items the SDK sends, in arrival
// order, as the backend would: each event with its four property maps decoded.
//
//   EventStore& events = gatewayStore.eventStore();
//   events.recordEvents(batch);                       // all of the batch, or none of it
//   for (const ReceivedEvent& event : events.events("screen_viewed")) ...
//
// Part of GatewayStore, which makes it over the store's connection: every member may be called
// from any thread. Failures of the database throw StoreError; a stored JSON text that no longer
// decodes (a file edited by hand) throws DecodingError when read.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <tarnwell/core/json_value.h>

#include "tools/gateway/sqlite_database.h"

namespace tarnwell::gateway {

// One item of "track_event_batch". The four maps travel as JSON texts; each is held here as the
// object its text holds, or, when the text holds no JSON object, as that text itself.
struct ReceivedEvent {
  std::string id;
  std::string eventId;
  std::string eventName;
  std::string userId;
  std::optional<std::string> sessionId;
  std::string timestamp;
  JSONValue properties;
  JSONValue userProperties;
  JSONValue appProperties;
  JSONValue deviceProperties;
  std::string eventType;
  std::string deviceId;
  std::string bundleOrPackageId;
  std::string receivedAt;  // ISO 8601, UTC, milliseconds

  // The item's 13 keys with the maps decoded, then "malformedMaps" (the keys of the maps kept as
  // texts, in item order) and "receivedAt".
  JSONValue toJSON() const;
};

// One item of "track_runtime_telemetry_batch".
struct ReceivedTelemetry {
  std::string action;
  JSONValue payload;
  std::string receivedAt;

  // {"action","payload","receivedAt"}.
  JSONValue toJSON() const;
};

class EventStore {
 public:
  // Creates the tables it needs when they are missing.
  explicit EventStore(SqliteDatabase& database);

  // Adds the batch in its order, in one transaction.
  void recordEvents(const std::vector<ReceivedEvent>& events);
  // In arrival order; only those named `eventName` when it is given.
  std::vector<ReceivedEvent> events(const std::optional<std::string>& eventName = std::nullopt);

  void recordTelemetry(const std::vector<ReceivedTelemetry>& items);
  std::vector<ReceivedTelemetry> telemetry();

 private:
  SqliteDatabase& database_;
};

}  // namespace tarnwell::gateway
