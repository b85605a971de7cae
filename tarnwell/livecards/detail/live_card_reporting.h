// File: tarnwell/livecards/detail/live_card_reporting.h
//
// What a shown or pressed live card turns into: the impression and click records the backend
// keeps, and the properties of the "live_card_impression" and "live_card_click" events.
//
//   LiveCardImpression seen = makeLiveCardImpression({properties, sessionId, device, now}, id, card);
//   trackEvent("live_card_click", liveCardEventProperties(card, liveCardClickExtras(card, action)));
//
// The records carry the device's own platform word and model family, as the rest of the wire
// does. Pure functions of their arguments (PropertyManager is read, never written); nothing
// throws but std::bad_alloc.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tarnwell/core/json_value.h"
#include "tarnwell/core/timestamp.h"
#include "tarnwell/identity/detail/property_manager.h"
#include "tarnwell/livecards/live_card.h"
#include "tarnwell/livecards/live_card_handle.h"
#include "tarnwell/livecards/live_card_tracking.h"
#include "tarnwell/platform/device_info.h"

namespace tarnwell::detail {

// Where a record's fields come from besides the card.
struct LiveCardReportSource {
  PropertyManager& properties;
  std::optional<std::string> sessionId;
  const DeviceInfo& device;
  Timestamp now;
};

// The application's version as the records report it: the text of the scalar under
// "version_name", else under "app_version" (a number as its decimal text, a bool as
// "true"/"false"); absent when neither holds a scalar.
std::optional<std::string> liveCardAppVersion(const JSONObject& appProperties);

// The language and the region of a locale identifier: "en_US" gives "en" and "US",
// "zh_Hans_CN" gives "zh" and "CN", "de" gives "de" and no region. Each is absent when the
// identifier names none.
std::optional<std::string> localeLanguageCode(std::string_view locale);
std::optional<std::string> localeRegionCode(std::string_view locale);

// The impression `impressionId` of `card` now. Connection, metadata, region and city stay absent.
LiveCardImpression makeLiveCardImpression(const LiveCardReportSource& source, std::string impressionId,
                                          const LiveCard& card);

// The click `clickId` on `card`. `impressionId` and `shownAt` come from the card's impression,
// if there was one: timeToAction is the whole seconds since `shownAt`, never below 0, and absent
// without it.
LiveCardClick makeLiveCardClick(const LiveCardReportSource& source, std::string clickId, const LiveCard& card,
                                const LiveCardAction& action, std::optional<std::string> impressionId,
                                std::optional<Timestamp> shownAt);

// `properties` with "live_card_id", "live_card_name", "template_id", "category",
// "organization_id", "project_id" and "app_id" of the card set (absent as ""), replacing keys of
// the same name.
JSONObject liveCardEventProperties(const LiveCard& card, JSONObject properties);

// The extra properties of "live_card_click": "button_type" (else "primary"), "action_type"
// (else "deeplink"), "action_target" (else the card's deepLink, else ""), "carousel_item_index"
// (else -1).
JSONObject liveCardClickExtras(const LiveCard& card, const LiveCardAction& action);

}  // namespace tarnwell::detail
