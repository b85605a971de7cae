#include "tarnwell/livecards/detail/live_card_reporting.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

#include "tarnwell/core/detail/text.h"
#include "tarnwell/core/iso8601.h"
#include "tarnwell/platform/device_labels.h"

namespace tarnwell::detail {
namespace {

// The subtags of a locale identifier, without its codeset (".UTF-8") and keywords ("@euro").
std::vector<std::string_view> localeSubtags(std::string_view locale) {
  locale = locale.substr(0, locale.find_first_of(".@"));
  std::vector<std::string_view> subtags;
  while (!locale.empty()) {
    const std::size_t end = locale.find_first_of("_-");
    subtags.push_back(locale.substr(0, end));
    locale = end == std::string_view::npos ? std::string_view() : locale.substr(end + 1);
  }
  return subtags;
}

bool isLocaleLetters(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); });
}

bool isLocaleDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// Whole points of a screen side; an unknown or absurd size reads as 0.
std::int64_t wholeScreenPoints(double side) {
  return std::isfinite(side) && side > 0 && side < 1e9 ? static_cast<std::int64_t>(side) : 0;
}

// What the impression and the click share: who saw which card when, on what.
template <typename Record>
Record identifiedRecord(const LiveCardReportSource& source, std::string recordId, const LiveCard& card) {
  Record record;
  record.id = std::move(recordId);
  record.liveCardId = card.id;
  record.userId = source.properties.getUserId();
  record.sessionId = source.sessionId;
  record.deviceId = source.properties.getDeviceId();
  record.appVersion = liveCardAppVersion(source.properties.getAppProperties());
  record.timestamp = formatISO8601Date(source.now);
  record.platform = source.device.platform;
  return record;
}

}  // namespace

std::optional<std::string> liveCardAppVersion(const JSONObject& appProperties) {
  if (auto version = appProperties.scalarText("version_name")) return version;
  return appProperties.scalarText("app_version");
}

std::optional<std::string> localeLanguageCode(std::string_view locale) {
  const std::vector<std::string_view> subtags = localeSubtags(locale);
  if (subtags.empty() || subtags[0].size() < 2 || subtags[0].size() > 3 || !isLocaleLetters(subtags[0])) {
    return std::nullopt;
  }
  return toLowerAscii(subtags[0]);
}

std::optional<std::string> localeRegionCode(std::string_view locale) {
  if (!localeLanguageCode(locale)) return std::nullopt;
  const std::vector<std::string_view> subtags = localeSubtags(locale);
  // After the language may come a four-letter script ("Hans"); the region is the first subtag
  // of two letters or three digits.
  for (std::size_t i = 1; i < subtags.size(); ++i) {
    if (subtags[i].size() == 2 && isLocaleLetters(subtags[i])) {
      std::string region(subtags[i]);
      std::transform(region.begin(), region.end(), region.begin(),
                     [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
      return region;
    }
    if (subtags[i].size() == 3 && isLocaleDigits(subtags[i])) return std::string(subtags[i]);
  }
  return std::nullopt;
}

LiveCardImpression makeLiveCardImpression(const LiveCardReportSource& source, std::string impressionId,
                                          const LiveCard& card) {
  auto impression = identifiedRecord<LiveCardImpression>(source, std::move(impressionId), card);
  impression.country = localeRegionCode(source.device.locale);
  impression.language = localeLanguageCode(source.device.locale);
  impression.screenSize = std::to_string(wholeScreenPoints(source.device.screenWidth)) + "x" +
                          std::to_string(wholeScreenPoints(source.device.screenHeight));
  impression.deviceModel = deviceFamilyName(source.device);
  impression.osVersion = source.device.osVersion;
  return impression;
}

LiveCardClick makeLiveCardClick(const LiveCardReportSource& source, std::string clickId, const LiveCard& card,
                                const LiveCardAction& action, std::optional<std::string> impressionId,
                                std::optional<Timestamp> shownAt) {
  auto click = identifiedRecord<LiveCardClick>(source, std::move(clickId), card);
  click.impressionId = std::move(impressionId);
  click.buttonType = action.buttonType;
  click.buttonId = action.buttonId;
  click.actionType = action.actionType;
  click.actionTarget = action.actionTarget;
  click.carouselItemIndex = action.carouselItemIndex;
  click.position = action.position;
  // Seconds, although its neighbours count milliseconds: the backend reads it so.
  if (shownAt) {
    click.timeToAction =
        std::max<std::int64_t>(0, std::chrono::duration_cast<std::chrono::seconds>(source.now - *shownAt).count());
  }
  return click;
}

JSONObject liveCardEventProperties(const LiveCard& card, JSONObject properties) {
  const std::initializer_list<std::pair<const char*, const std::optional<std::string>&>> fields = {
      {"live_card_id", card.id},
      {"live_card_name", card.name},
      {"template_id", card.templateId},
      {"category", card.category},
      {"organization_id", card.organizationId},
      {"project_id", card.projectId},
      {"app_id", card.appId}};
  for (const auto& [key, text] : fields) properties.set(key, JSONValue(text.value_or("")));
  return properties;
}

JSONObject liveCardClickExtras(const LiveCard& card, const LiveCardAction& action) {
  return JSONObject{
      {"button_type", JSONValue(action.buttonType.value_or("primary"))},
      {"action_type", JSONValue(action.actionType.value_or("deeplink"))},
      {"action_target", JSONValue(action.actionTarget ? *action.actionTarget : card.deepLink.value_or(""))},
      {"carousel_item_index", JSONValue(action.carouselItemIndex.value_or(-1))}};
}

}  // namespace tarnwell::detail
