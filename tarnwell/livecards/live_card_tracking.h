// File: tarnwell/livecards/live_card_tracking.h
//
// The records of what happened to a live card on this device: one impression each time a card
// is shown, one click each time the user acts on it. The client builds them and sends them;
// it never reads them back.
//
//   LiveCardImpression impression;
//   impression.liveCardId = "lc1";
//   impression.userId = "u1";
//   JSONObject payload = impression.toPayload();
//   // {"id":null,"liveCardId":"lc1","userId":"u1","sessionId":null, ... ,"platform":null}
//
// On the wire every key is always present, null where the field is absent, so the backend
// sees all 17 keys. Plain values, safe on any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>

namespace tarnwell {

struct TARNWELL_API LiveCardImpression {
  std::optional<std::string> id;
  std::optional<std::string> liveCardId;
  std::optional<std::string> userId;
  std::optional<std::string> sessionId;
  std::optional<std::string> deviceId;
  std::optional<std::string> appVersion;
  std::optional<std::string> connectionType;
  std::optional<std::string> timestamp;
  std::optional<std::string> metadata;
  std::optional<std::string> country;
  std::optional<std::string> region;
  std::optional<std::string> city;
  std::optional<std::string> language;
  std::optional<std::string> screenSize;
  std::optional<std::string> deviceModel;
  std::optional<std::string> osVersion;
  std::optional<std::string> platform;

  friend bool operator==(const LiveCardImpression&, const LiveCardImpression&) = default;

  static LiveCardImpression decode(const JSONValue& value);
  JSONValue encode() const;  // the payload as a JSONValue
  // All 17 keys in field order, null where absent.
  JSONObject toPayload() const;
};

struct TARNWELL_API LiveCardClick {
  std::optional<std::string> id;
  std::optional<std::string> liveCardId;
  std::optional<std::string> userId;
  std::optional<std::string> sessionId;
  std::optional<std::string> deviceId;
  std::optional<std::string> impressionId;
  std::optional<std::string> buttonType;
  std::optional<std::string> buttonId;
  std::optional<std::string> actionType;
  std::optional<std::string> actionTarget;
  std::optional<std::int64_t> carouselItemIndex;  // a JSON number on the wire
  std::optional<std::string> position;
  std::optional<std::string> timestamp;
  std::optional<std::int64_t> timeToAction;  // a JSON number on the wire
  std::optional<std::string> appVersion;
  std::optional<std::string> platform;
  std::optional<std::string> metadata;

  friend bool operator==(const LiveCardClick&, const LiveCardClick&) = default;

  static LiveCardClick decode(const JSONValue& value);
  JSONValue encode() const;  // the payload as a JSONValue
  // All 17 keys in field order, null where absent.
  JSONObject toPayload() const;
};

}  // namespace tarnwell
