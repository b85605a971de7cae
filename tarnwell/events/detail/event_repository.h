// File: tarnwell/events/detail/event_repository.h
//
// EventRepository sends a batch of queued events to the backend as one "track_event_batch"
// gateway call, session token included, payload {"items": [...]}. Each item carries a fresh
// lower-case UUID as "id" and "event_id" and the time of sending as "timestamp", so a re-sent
// event has a new id and the send time.
//
//   EventRepository events(RuntimeGatewayRepository(client, transport), clock, uuids, appInfo.bundleId);
//   bool accepted = co_await events.submitEvents(std::move(batch));
//
// Failures never pass on: a cancelled call logs "[Tarnwell][WARN] Event submission cancelled
// before completion", any other error "[Tarnwell][ERROR] Failed to submit events :: " and the
// error, and the answer is false. Any number of submissions may be in flight; the coroutine
// resumes on the caller's executor.
#pragma once

#include <asio/awaitable.hpp>

#include <optional>
#include <string>
#include <vector>

#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/core/timestamp.h"
#include "tarnwell/events/detail/event_record.h"
#include "tarnwell/platform/clock.h"
#include "tarnwell/platform/detail/uuid.h"

namespace tarnwell::detail {

class EventRepository {
 public:
  // `mainBundleId` is the host application's own identifier, the last resort for
  // "bundle_or_package_id" when the application properties name none.
  EventRepository(RuntimeGatewayRepository gateway, Clock& clock, UuidGenerator& uuids,
                  std::optional<std::string> mainBundleId);

  // True when the backend accepted the batch by the success rule; true at once for an empty one.
  asio::awaitable<bool> submitEvents(std::vector<EventRecord> events);

 private:
  RuntimeGatewayRepository gateway_;
  Clock& clock_;
  UuidGenerator& uuids_;
  std::optional<std::string> mainBundleId_;
};

// The 13 keys of one item, in wire order: "id", "event_id", "event_name", "user_id",
// "session_id" (null when absent), "timestamp", "properties", "user_properties",
// "app_properties", "device_properties" (each map as one compact JSON text, "{}" when it does
// not encode), "event_type" ("custom" when empty), "device_id" and "bundle_or_package_id"
// ("unknown" when nothing names them).
JSONObject buildEventItem(const EventRecord& event, const std::string& id, Timestamp sentAt,
                          const std::optional<std::string>& mainBundleId);

}  // namespace tarnwell::detail
