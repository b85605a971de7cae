#include "tools/gateway/event_actions.h"

#include <tarnwell/core/coding_error.h>
#include <tarnwell/core/iso8601.h>

#include "tools/gateway/payload_reader.h"

namespace tarnwell::gateway {
namespace {

// The object a map's JSON text holds; the text itself when it holds no JSON object, so that
// nothing the device sent is lost.
JSONValue decodeMap(const std::string& text) {
  try {
    JSONValue value = JSONValue::decode(text);
    if (value.isObject()) return value;
  } catch (const DecodingError&) {
    // Kept as received below.
  }
  return JSONValue(text);
}

ReceivedEvent readEvent(const PayloadReader& item, const std::string& receivedAt) {
  return ReceivedEvent{item.nonEmptyText("id"),
                       item.nonEmptyText("event_id"),
                       item.text("event_name"),
                       item.text("user_id"),
                       item.nullableText("session_id"),
                       item.date("timestamp"),
                       decodeMap(item.text("properties")),
                       decodeMap(item.text("user_properties")),
                       decodeMap(item.text("app_properties")),
                       decodeMap(item.text("device_properties")),
                       item.text("event_type"),
                       item.text("device_id"),
                       item.text("bundle_or_package_id"),
                       receivedAt};
}

ActionReply trackEventBatch(ActionContext& context, const ActionCall& call) {
  const std::string receivedAt = formatISO8601Date(context.clock.now());
  std::vector<ReceivedEvent> events;
  for (const PayloadReader& item : PayloadReader(call.payload).objects("items")) {
    events.push_back(readEvent(item, receivedAt));
  }
  context.store.eventStore().recordEvents(events);
  return ActionReply::success(JSONObject{{"success", true}, {"accepted", events.size()}});
}

ActionReply trackRuntimeTelemetryBatch(ActionContext& context, const ActionCall& call) {
  const std::string receivedAt = formatISO8601Date(context.clock.now());
  std::vector<ReceivedTelemetry> items;
  for (const PayloadReader& item : PayloadReader(call.payload).objects("items")) {
    items.push_back({item.nonEmptyText("action"), item.object("payload").value(), receivedAt});
  }
  context.store.eventStore().recordTelemetry(items);
  return ActionReply::success(JSONObject{{"success", true}});
}

}  // namespace

void addEventActions(ActionTable& table) {
  table["track_event_batch"] = answeringPayloadErrors(trackEventBatch);
  table["track_runtime_telemetry_batch"] = answeringPayloadErrors(trackRuntimeTelemetryBatch);
}

}  // namespace tarnwell::gateway
