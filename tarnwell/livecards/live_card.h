// File: tarnwell/livecards/live_card.h
//
// LiveCard is a piece of remote content that the host places in its own screens when a
// trigger fires, exactly as the backend and the cached runtime bundle hold it: flat texts and
// counters, with the nested documents (structure, config, targeting, ...) kept as JSON text.
//
//   LiveCard card = LiveCard::decode(JSONValue::decode(R"({
//       "$id":"lc1","status":"live","eventTriggerId":"home_top",
//       "impressionCount":0,"tapCount":0,"version":3,"priority":1,
//       "structure":"{\"title\":\"New this week\"}"})"));
//   card.isActive();             // true: "live" or "published", exactly
//   card.structure()->title;     // "New this week", parsed from structureJSON on this call
//   card.targeting();            // std::nullopt: no "targeting" text, so untargeted
//
// Decoding is strict: impressionCount, tapCount, version and priority are required whole
// numbers, every other key is an optional text, and a value of the wrong JSON type fails the
// card (and with it the list it came in). A malformed nested document never fails the card:
// only its reading is absent. Plain values, safe on any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>
#include <tarnwell/livecards/live_card_config.h>
#include <tarnwell/livecards/live_card_structure.h>
#include <tarnwell/livecards/live_card_targeting.h>

namespace tarnwell {

struct TARNWELL_API LiveCard {
  std::optional<std::string> id;  // "$id"; keys all tracking
  std::optional<std::string> name;
  std::optional<std::string> description;
  std::optional<std::string> icon;
  std::optional<std::string> title;
  std::optional<std::string> subtitle;
  std::optional<std::string> deepLink;
  std::optional<std::string> backgroundColor;
  std::optional<std::string> textColor;
  std::optional<std::string> ownerId;
  std::optional<std::string> organizationId;
  std::optional<std::string> projectId;
  std::optional<std::string> appId;
  std::optional<std::string> templateId;
  std::optional<std::string> eventTriggerId;  // the trigger that selects this card
  std::optional<std::string> scheduleStart;   // ISO 8601
  std::optional<std::string> scheduleEnd;     // ISO 8601
  std::optional<std::string> createdAt;
  std::optional<std::string> updatedAt;
  std::optional<std::string> publishedAt;
  std::int64_t impressionCount = 0;  // required
  std::int64_t tapCount = 0;         // required
  std::int64_t version = 0;          // required
  std::optional<std::string> category;
  std::int64_t priority = 0;  // required; carried, the client never orders by it
  std::optional<std::string> status;
  std::optional<std::string> targetingJSON;  // "targeting"
  std::optional<std::string> rulesJSON;      // "rules"; carried, never a stand-in for targeting
  std::optional<std::string> scheduleJSON;   // "schedule"; carried
  std::optional<std::string> limitsJSON;     // "limits"; carried
  std::optional<std::string> structureJSON;  // "structure"
  std::optional<std::string> configJSON;     // "config"
  std::optional<std::string> analyticsJSON;  // "analytics"; carried
  std::optional<std::string> metadataJSON;   // "metadata"; carried

  friend bool operator==(const LiveCard&, const LiveCard&) = default;

  // Throws DecodingError naming the first key that is missing or does not fit.
  static LiveCard decode(const JSONValue& value);
  JSONValue encode() const;

  // True when status is exactly "live" or "published"; other spellings and no status are not.
  bool isActive() const;

  // The nested documents, parsed afresh on every call. Absent when the text is absent, empty
  // or does not decode; nothing is logged.
  std::optional<LiveCardStructure> structure() const;
  std::optional<LiveCardConfig> config() const;
  std::optional<LiveCardTargeting> targeting() const;
};

}  // namespace tarnwell
