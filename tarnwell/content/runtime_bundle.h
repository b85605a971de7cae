// File: tarnwell/content/runtime_bundle.h
//
// RuntimeBundle is all delivered content of an application in one cached, versioned document:
// surveys, announcements, live cards and feature flags, with the server's version marks and the
// time the server last confirmed it. It is stored on the device as one value, so the SDK has
// content when the network does not answer.
//
//   RuntimeBundle bundle = RuntimeBundle::decodeText(stored);   // throws DecodingError
//   for (const FeatureFlag& flag : bundle.featureFlags) ...
//
// Plain values, safe on any thread.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>
#include <tarnwell/flags/feature_flag.h>
#include <tarnwell/livecards/live_card.h>
#include <tarnwell/surveys/survey.h>

namespace tarnwell {

struct TARNWELL_API RuntimeBundle {
  std::map<std::string, std::string> versions;  // opaque to the client
  double loadedAt = 0;                          // seconds since 1970
  std::vector<Survey> surveys;
  std::vector<Survey> announcements;  // announcements travel in the survey record
  std::vector<LiveCard> liveCards;
  std::vector<FeatureFlag> featureFlags;

  friend bool operator==(const RuntimeBundle&, const RuntimeBundle&) = default;

  // Every key is required; one record that does not decode fails the whole bundle.
  static RuntimeBundle decode(const JSONValue& value);
  static RuntimeBundle decodeText(std::string_view json);
  JSONValue encode() const;
};

// The records of a content list, one by one: an element that does not decode is dropped and
// the rest keep their order, so one bad record never costs the others.
TARNWELL_API std::vector<Survey> decodeSurveyList(const JSONValue& list);
TARNWELL_API std::vector<LiveCard> decodeLiveCardList(const JSONValue& list);
TARNWELL_API std::vector<FeatureFlag> decodeFeatureFlagList(const JSONValue& list);

}  // namespace tarnwell
