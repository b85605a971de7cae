#include "tarnwell/livecards/live_card_tracking.h"

#include <utility>

#include "tarnwell/livecards/detail/live_card_fields.h"

namespace tarnwell {
namespace {

// The tables write every key, null where absent, so the encoded record is the wire payload.
template <typename Record>
JSONObject payloadOf(const Record& record) {
  JSONValue encoded = detail::encodeRecord(record);
  return std::move(*encoded.asObject());
}

}  // namespace

LiveCardImpression LiveCardImpression::decode(const JSONValue& value) {
  return detail::decodeRecord<LiveCardImpression>(value);
}
JSONValue LiveCardImpression::encode() const { return detail::encodeRecord(*this); }
JSONObject LiveCardImpression::toPayload() const { return payloadOf(*this); }

LiveCardClick LiveCardClick::decode(const JSONValue& value) { return detail::decodeRecord<LiveCardClick>(value); }
JSONValue LiveCardClick::encode() const { return detail::encodeRecord(*this); }
JSONObject LiveCardClick::toPayload() const { return payloadOf(*this); }

}  // namespace tarnwell
