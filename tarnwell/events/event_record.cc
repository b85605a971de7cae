#include "tarnwell/events/detail/event_record.h"

#include "tarnwell/core/detail/record_coding.h"

namespace tarnwell::detail {

template <>
struct RecordFields<EventRecord> {
  using R = EventRecord;
  static constexpr auto fields =
      std::make_tuple(field(&R::eventName, "eventName"), field(&R::userId, "userId"), field(&R::sessionId, "sessionId"),
                      field(&R::userProperties, "userProperties"), field(&R::appProperties, "appProperties"),
                      field(&R::deviceProperties, "deviceProperties"), field(&R::customProperties, "customProperties"),
                      field(&R::eventType, "eventType"));
};

JSONValue EventRecord::encode() const { return encodeRecord(*this); }

EventRecord EventRecord::decode(const JSONValue& value) { return decodeRecord<EventRecord>(value); }

EncodedEventRecord::EncodedEventRecord(EventRecord record) : record_(std::move(record)) {
  try {
    json_ = record_.encode().encode();
  } catch (const EncodingError& error) {
    encodingError_ = error.what();
  }
}

std::string encodeEventArray(std::span<const EncodedEventRecord> records) {
  std::size_t size = 2 + records.size();
  for (const EncodedEventRecord& record : records) {
    if (!record.json()) throw EncodingError(record.encodingError());
    size += record.json()->size();
  }
  std::string out;
  out.reserve(size);
  out.push_back('[');
  for (const EncodedEventRecord& record : records) {
    if (out.size() > 1) out.push_back(',');
    out += *record.json();
  }
  out.push_back(']');
  return out;
}

std::vector<EventRecord> decodeEventArray(std::string_view json) {
  return JSONCoder<std::vector<EventRecord>>::decode(JSONValue::decode(json), CodingPath{});
}

}  // namespace tarnwell::detail
