// File: tarnwell/livecards/live_card_structure.h
//
// What a live card shows: the structure document that a LiveCard carries as JSON text under
// "structure", with its optional carousel of items.
//
//   LiveCardStructure structure = LiveCardStructure::decode(JSONValue::decode(R"({
//       "type":"carousel","title":"New this week","iconUrl":"https://cdn.example/i.png",
//       "carouselItems":[{"id":"c1","title":"Themes","action":{"type":"deeplink","target":"app://themes"}}],
//       "autoScroll":true,"scrollInterval":5})"));
//   structure.iconURL;                              // the key is "iconUrl"
//   structure.carouselItems->at(0).action->target;  // "app://themes"
//
// Every field may be missing and then stays absent; nothing is filled in by decoding. A present
// value of the wrong JSON type fails the document. Plain values, safe on any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>

namespace tarnwell {

struct CarouselItemAction {
  std::optional<std::string> type;
  std::optional<std::string> target;

  friend bool operator==(const CarouselItemAction&, const CarouselItemAction&) = default;
};

struct CarouselItem {
  std::optional<std::string> id;
  std::optional<std::string> icon;
  std::optional<std::string> title;
  std::optional<std::string> subtitle;
  std::optional<std::string> color;
  std::optional<CarouselItemAction> action;
  std::optional<std::string> image;
  std::optional<std::string> titleColor;
  std::optional<std::string> subtitleColor;
  std::optional<std::string> titleSize;
  std::optional<std::string> subtitleSize;
  std::optional<std::string> deepLink;

  friend bool operator==(const CarouselItem&, const CarouselItem&) = default;
};

struct TARNWELL_API LiveCardStructure {
  std::optional<std::string> type;
  std::optional<std::string> icon;
  std::optional<std::string> title;
  std::optional<std::string> subtitle;
  std::optional<bool> allowCustomIcon;
  std::optional<bool> allowBackgroundImage;
  std::optional<std::string> buttonText;
  std::optional<std::string> secondaryButtonText;
  std::optional<std::string> deepLink;
  std::optional<std::vector<CarouselItem>> carouselItems;
  std::optional<bool> autoScroll;
  std::optional<std::int64_t> scrollInterval;
  std::optional<bool> showIndicators;
  std::optional<bool> showButtons;
  std::optional<bool> allowCustomIcons;
  std::optional<std::int64_t> maxItems;
  std::optional<std::string> iconURL;  // "iconUrl"

  friend bool operator==(const LiveCardStructure&, const LiveCardStructure&) = default;

  // Throws DecodingError naming the key path of the first value that does not fit.
  static LiveCardStructure decode(const JSONValue& value);
  JSONValue encode() const;
};

}  // namespace tarnwell
