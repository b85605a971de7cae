// File: tarnwell/livecards/live_card_config.h
//
// How a live card looks and behaves: the config document that a LiveCard carries as JSON text
// under "config".
//
//   LiveCardConfig config = LiveCardConfig::decode(JSONValue::decode(R"({
//       "style":{"backgroundColor":"#101820","borderRadius":12,"cornerRadius":16.5,"cornerRadiusUnit":"pt"},
//       "behavior":{"showCloseButton":true},"layout":{"position":"top","height":120}})"));
//   config.style->borderRadius;   // 12: a whole number
//   config.style->cornerRadius;   // 16.5: a floating-point number; the view decides between them
//
// Every field may be missing and then stays absent; nothing is filled in by decoding. A present
// value of the wrong JSON type fails the document. The targeting and segmentation maps are
// carried, never read: a card's targeting comes from its own "targeting" text.
// Plain values, safe on any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>

namespace tarnwell {

struct LiveCardStyle {
  std::optional<std::string> backgroundColor;
  std::optional<std::string> textColor;
  std::optional<std::string> buttonTextColor;
  std::optional<std::string> buttonBackgroundColor;
  std::optional<std::string> fontFamily;
  std::optional<std::string> titleSize;
  std::optional<std::string> textSize;
  std::optional<std::int64_t> borderRadius;
  std::optional<bool> shadow;
  std::optional<std::string> backgroundImage;
  std::optional<std::string> backgroundGradient;
  std::optional<bool> isImageBackground;
  std::optional<std::vector<std::string>> gradientColors;
  std::optional<std::string> gradientDirection;
  std::optional<std::string> iconColor;
  std::optional<std::string> iconSize;
  std::optional<double> iconWidth;
  std::optional<double> iconHeight;
  std::optional<std::string> iconFit;
  std::optional<std::string> iconAlignment;
  std::optional<std::string> subtitleSize;
  std::optional<std::string> titleColor;
  std::optional<std::string> subtitleColor;
  std::optional<std::string> descriptionSize;
  std::optional<std::int64_t> cardWidth;
  std::optional<std::int64_t> cardHeight;
  std::optional<std::string> sizeUnit;
  std::optional<double> cornerRadius;
  std::optional<std::string> cornerRadiusUnit;
  std::optional<bool> autoSize;

  friend bool operator==(const LiveCardStyle&, const LiveCardStyle&) = default;
};

struct LiveCardBehavior {
  std::optional<bool> autoDismiss;
  std::optional<bool> showCloseButton;
  std::optional<std::int64_t> displayDuration;
  std::optional<bool> showProgressIndicator;
  std::optional<bool> allowSwipeToDismiss;
  std::optional<bool> preventDismissOnInteraction;

  friend bool operator==(const LiveCardBehavior&, const LiveCardBehavior&) = default;
};

struct LiveCardLayout {
  std::optional<std::string> position;
  std::optional<std::string> animation;
  std::optional<double> width;
  std::optional<std::int64_t> maxWidth;
  std::optional<std::int64_t> height;
  std::optional<std::string> overlayColor;

  friend bool operator==(const LiveCardLayout&, const LiveCardLayout&) = default;
};

struct TARNWELL_API LiveCardConfig {
  std::optional<LiveCardStyle> style;
  std::optional<LiveCardBehavior> behavior;
  std::optional<LiveCardLayout> layout;
  std::optional<JSONObject> targeting;
  std::optional<JSONObject> segmentation;

  friend bool operator==(const LiveCardConfig&, const LiveCardConfig&) = default;

  // Throws DecodingError naming the key path of the first value that does not fit.
  static LiveCardConfig decode(const JSONValue& value);
  JSONValue encode() const;
};

}  // namespace tarnwell
