// File: tarnwell/events/detail/event_record.h
//
// EventRecord is one tracked analytics event as it waits in the event queue: who, in which
// session, with which property maps, under which name and type. It has no time of its own; the
// time of sending is stamped when it leaves. The queue survives process death as the JSON array
// of its records, keys equal to the field names.
//
//   tarnwell::detail::EventRecord event{.eventName = "checkout_started", .userId = "user-42",
//                                       .customProperties = {{"cart", 3}}, .eventType = "custom"};
//   tarnwell::detail::EncodedEventRecord queued(event);        // encoded once, here
//   std::string stored = tarnwell::detail::encodeEventArray(std::span(&queued, 1));
//   std::vector<tarnwell::detail::EventRecord> back = tarnwell::detail::decodeEventArray(stored);
//
// Everything here is a plain value or a pure function, safe on any thread. Encoding fails only
// for a number that is not finite (EncodingError), decoding for text that is not such an array
// (DecodingError naming the key path).
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <tarnwell/core/json_value.h>

namespace tarnwell::detail {

struct EventRecord {
  std::string eventName;                 // as the caller passed it
  std::string userId;                    // the effective user at tracking time
  std::optional<std::string> sessionId;  // absent when no session runs
  JSONObject userProperties;
  JSONObject appProperties;
  JSONObject deviceProperties;
  JSONObject customProperties;  // the call's own properties
  std::string eventType;

  friend bool operator==(const EventRecord&, const EventRecord&) = default;

  // Keys are the field names, in field order; an absent session is left out.
  JSONValue encode() const;
  // Strict: every field but sessionId is required and of its type.
  static EventRecord decode(const JSONValue& value);
};

// A queued record beside its compact JSON text, made once when the event enters the queue so
// that persisting the queue after every admission only joins texts.
class EncodedEventRecord {
 public:
  // Never throws but std::bad_alloc: a record that does not encode keeps the reason instead.
  explicit EncodedEventRecord(EventRecord record);

  const EventRecord& record() const noexcept { return record_; }
  // The record's JSON text; absent when it did not encode (see encodingError()).
  const std::optional<std::string>& json() const noexcept { return json_; }
  const std::string& encodingError() const noexcept { return encodingError_; }

 private:
  EventRecord record_;
  std::optional<std::string> json_;
  std::string encodingError_;
};

// "[" + the records' texts joined with "," + "]", byte for byte what encoding the records as
// one array gives. Throws EncodingError with the reason of the first record that did not encode.
std::string encodeEventArray(std::span<const EncodedEventRecord> records);

// The records of a stored queue. Throws DecodingError.
std::vector<EventRecord> decodeEventArray(std::string_view json);

}  // namespace tarnwell::detail
