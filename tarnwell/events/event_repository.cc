#include "tarnwell/events/detail/event_repository.h"

#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/core/coding_error.h"
#include "tarnwell/core/detail/text.h"
#include "tarnwell/core/iso8601.h"
#include "tarnwell/core/log.h"

namespace tarnwell::detail {
namespace {

// A property map as one JSON text; a map that cannot be written (a number that is not finite)
// goes out as an empty object rather than holding up the batch.
std::string propertiesText(const JSONObject& properties) {
  try {
    return JSONValue(properties).encode();
  } catch (const EncodingError&) {
    return "{}";
  }
}

}  // namespace

JSONObject buildEventItem(const EventRecord& event, const std::string& id, Timestamp sentAt,
                          const std::optional<std::string>& mainBundleId) {
  std::optional<std::string> bundleOrPackageId = event.appProperties.scalarText("bundle_id");
  if (!bundleOrPackageId) bundleOrPackageId = event.appProperties.scalarText("package_name");
  if (!bundleOrPackageId) bundleOrPackageId = mainBundleId;

  JSONObject item;
  item.reserve(13);
  item.set("id", JSONValue(id));
  item.set("event_id", JSONValue(id));
  item.set("event_name", JSONValue(event.eventName));
  item.set("user_id", JSONValue(event.userId));
  item.set("session_id", event.sessionId ? JSONValue(*event.sessionId) : JSONValue());
  item.set("timestamp", JSONValue(formatISO8601Date(sentAt)));
  item.set("properties", JSONValue(propertiesText(event.customProperties)));
  item.set("user_properties", JSONValue(propertiesText(event.userProperties)));
  item.set("app_properties", JSONValue(propertiesText(event.appProperties)));
  item.set("device_properties", JSONValue(propertiesText(event.deviceProperties)));
  item.set("event_type", JSONValue(event.eventType.empty() ? std::string("custom") : event.eventType));
  item.set("device_id", JSONValue(event.deviceProperties.scalarText("device_id").value_or("unknown")));
  item.set("bundle_or_package_id", JSONValue(bundleOrPackageId.value_or("unknown")));
  return item;
}

EventRepository::EventRepository(RuntimeGatewayRepository gateway, Clock& clock, UuidGenerator& uuids,
                                 std::optional<std::string> mainBundleId)
    : gateway_(std::move(gateway)), clock_(clock), uuids_(uuids), mainBundleId_(std::move(mainBundleId)) {}

asio::awaitable<bool> EventRepository::submitEvents(std::vector<EventRecord> events) {
  if (events.empty()) co_return true;
  try {
    JSONArray items;
    items.reserve(events.size());
    for (const EventRecord& event : events) {
      items.emplace_back(buildEventItem(event, toLowerAscii(uuids_.next()), clock_.now(), mainBundleId_));
    }
    JSONObject payload{{"items", JSONValue(std::move(items))}};
    const JSONObject data = co_await gateway_.execute("track_event_batch", std::move(payload), true);
    co_return readSuccessFlag(data);
  } catch (const std::exception& error) {
    if (isCancellationError(error)) {
      logWarn("Event submission cancelled before completion");
    } else {
      logError("Failed to submit events", textualForm(error));
    }
  }
  co_return false;
}

}  // namespace tarnwell::detail
