// File: tarnwell/livecards/detail/live_card_fields.h
//
// The field tables of the live-card records, for the records' own coding and for anything
// that decodes cards in bulk (the runtime bundle). The two tracking records use
// nullableField throughout: their wire form always carries every key.
#pragma once

#include <tuple>

#include "tarnwell/core/detail/record_coding.h"
#include "tarnwell/livecards/live_card.h"
#include "tarnwell/livecards/live_card_tracking.h"
#include "tarnwell/targeting/detail/rule_condition_fields.h"

namespace tarnwell::detail {

template <>
struct RecordFields<CarouselItemAction> {
  using R = CarouselItemAction;
  static constexpr auto fields = std::make_tuple(field(&R::type, "type"), field(&R::target, "target"));
};

template <>
struct RecordFields<CarouselItem> {
  using R = CarouselItem;
  static constexpr auto fields = std::make_tuple(
      field(&R::id, "id"), field(&R::icon, "icon"), field(&R::title, "title"), field(&R::subtitle, "subtitle"),
      field(&R::color, "color"), field(&R::action, "action"), field(&R::image, "image"),
      field(&R::titleColor, "titleColor"), field(&R::subtitleColor, "subtitleColor"), field(&R::titleSize, "titleSize"),
      field(&R::subtitleSize, "subtitleSize"), field(&R::deepLink, "deepLink"));
};

template <>
struct RecordFields<LiveCardStructure> {
  using R = LiveCardStructure;
  static constexpr auto fields = std::make_tuple(
      field(&R::type, "type"), field(&R::icon, "icon"), field(&R::title, "title"), field(&R::subtitle, "subtitle"),
      field(&R::allowCustomIcon, "allowCustomIcon"), field(&R::allowBackgroundImage, "allowBackgroundImage"),
      field(&R::buttonText, "buttonText"), field(&R::secondaryButtonText, "secondaryButtonText"),
      field(&R::deepLink, "deepLink"), field(&R::carouselItems, "carouselItems"), field(&R::autoScroll, "autoScroll"),
      field(&R::scrollInterval, "scrollInterval"), field(&R::showIndicators, "showIndicators"),
      field(&R::showButtons, "showButtons"), field(&R::allowCustomIcons, "allowCustomIcons"),
      field(&R::maxItems, "maxItems"), field(&R::iconURL, "iconUrl"));
};

template <>
struct RecordFields<LiveCardStyle> {
  using R = LiveCardStyle;
  static constexpr auto fields = std::make_tuple(
      field(&R::backgroundColor, "backgroundColor"), field(&R::textColor, "textColor"),
      field(&R::buttonTextColor, "buttonTextColor"), field(&R::buttonBackgroundColor, "buttonBackgroundColor"),
      field(&R::fontFamily, "fontFamily"), field(&R::titleSize, "titleSize"), field(&R::textSize, "textSize"),
      field(&R::borderRadius, "borderRadius"), field(&R::shadow, "shadow"),
      field(&R::backgroundImage, "backgroundImage"), field(&R::backgroundGradient, "backgroundGradient"),
      field(&R::isImageBackground, "isImageBackground"), field(&R::gradientColors, "gradientColors"),
      field(&R::gradientDirection, "gradientDirection"), field(&R::iconColor, "iconColor"),
      field(&R::iconSize, "iconSize"), field(&R::iconWidth, "iconWidth"), field(&R::iconHeight, "iconHeight"),
      field(&R::iconFit, "iconFit"), field(&R::iconAlignment, "iconAlignment"), field(&R::subtitleSize, "subtitleSize"),
      field(&R::titleColor, "titleColor"), field(&R::subtitleColor, "subtitleColor"),
      field(&R::descriptionSize, "descriptionSize"), field(&R::cardWidth, "cardWidth"),
      field(&R::cardHeight, "cardHeight"), field(&R::sizeUnit, "sizeUnit"), field(&R::cornerRadius, "cornerRadius"),
      field(&R::cornerRadiusUnit, "cornerRadiusUnit"), field(&R::autoSize, "autoSize"));
};

template <>
struct RecordFields<LiveCardBehavior> {
  using R = LiveCardBehavior;
  static constexpr auto fields = std::make_tuple(
      field(&R::autoDismiss, "autoDismiss"), field(&R::showCloseButton, "showCloseButton"),
      field(&R::displayDuration, "displayDuration"), field(&R::showProgressIndicator, "showProgressIndicator"),
      field(&R::allowSwipeToDismiss, "allowSwipeToDismiss"),
      field(&R::preventDismissOnInteraction, "preventDismissOnInteraction"));
};

template <>
struct RecordFields<LiveCardLayout> {
  using R = LiveCardLayout;
  static constexpr auto fields = std::make_tuple(field(&R::position, "position"), field(&R::animation, "animation"),
                                                 field(&R::width, "width"), field(&R::maxWidth, "maxWidth"),
                                                 field(&R::height, "height"), field(&R::overlayColor, "overlayColor"));
};

template <>
struct RecordFields<LiveCardConfig> {
  using R = LiveCardConfig;
  static constexpr auto fields =
      std::make_tuple(field(&R::style, "style"), field(&R::behavior, "behavior"), field(&R::layout, "layout"),
                      field(&R::targeting, "targeting"), field(&R::segmentation, "segmentation"));
};

template <>
struct RecordFields<LiveCardRule> {
  using R = LiveCardRule;
  static constexpr auto fields =
      std::make_tuple(field(&R::id, "id"), field(&R::name, "name"), field(&R::conditions, "conditions"),
                      field(&R::enabled, "enabled"), field(&R::requireAllConditions, "requireAllConditions"));
};

template <>
struct RecordFields<LiveCardTargeting> {
  using R = LiveCardTargeting;
  static constexpr auto fields = std::make_tuple(
      field(&R::rules, "rules"), field(&R::matchType, "matchType"), field(&R::segmentId, "segmentId"),
      field(&R::behavioralTrigger, "behavioralTrigger"), field(&R::audience, "audience"),
      field(&R::percentage, "percentage"), field(&R::userSegments, "userSegments"),
      field(&R::minSessions, "minSessions"), field(&R::minAppVersion, "minAppVersion"),
      field(&R::maxAppVersion, "maxAppVersion"), field(&R::platforms, "platforms"), field(&R::languages, "languages"),
      field(&R::triggerEvents, "triggerEvents"), field(&R::excludeUsers, "excludeUsers"),
      field(&R::requireUserProperties, "requireUserProperties"));
};

template <>
struct RecordFields<LiveCard> {
  using R = LiveCard;
  static constexpr auto fields = std::make_tuple(
      field(&R::id, "$id"), field(&R::name, "name"), field(&R::description, "description"), field(&R::icon, "icon"),
      field(&R::title, "title"), field(&R::subtitle, "subtitle"), field(&R::deepLink, "deepLink"),
      field(&R::backgroundColor, "backgroundColor"), field(&R::textColor, "textColor"), field(&R::ownerId, "ownerId"),
      field(&R::organizationId, "organizationId"), field(&R::projectId, "projectId"), field(&R::appId, "appId"),
      field(&R::templateId, "templateId"), field(&R::eventTriggerId, "eventTriggerId"),
      field(&R::scheduleStart, "scheduleStart"), field(&R::scheduleEnd, "scheduleEnd"),
      field(&R::createdAt, "createdAt"), field(&R::updatedAt, "updatedAt"), field(&R::publishedAt, "publishedAt"),
      field(&R::impressionCount, "impressionCount"), field(&R::tapCount, "tapCount"), field(&R::version, "version"),
      field(&R::category, "category"), field(&R::priority, "priority"), field(&R::status, "status"),
      field(&R::targetingJSON, "targeting"), field(&R::rulesJSON, "rules"), field(&R::scheduleJSON, "schedule"),
      field(&R::limitsJSON, "limits"), field(&R::structureJSON, "structure"), field(&R::configJSON, "config"),
      field(&R::analyticsJSON, "analytics"), field(&R::metadataJSON, "metadata"));
};

template <>
struct RecordFields<LiveCardImpression> {
  using R = LiveCardImpression;
  static constexpr auto fields = std::make_tuple(
      nullableField(&R::id, "id"), nullableField(&R::liveCardId, "liveCardId"), nullableField(&R::userId, "userId"),
      nullableField(&R::sessionId, "sessionId"), nullableField(&R::deviceId, "deviceId"),
      nullableField(&R::appVersion, "appVersion"), nullableField(&R::connectionType, "connectionType"),
      nullableField(&R::timestamp, "timestamp"), nullableField(&R::metadata, "metadata"),
      nullableField(&R::country, "country"), nullableField(&R::region, "region"), nullableField(&R::city, "city"),
      nullableField(&R::language, "language"), nullableField(&R::screenSize, "screenSize"),
      nullableField(&R::deviceModel, "deviceModel"), nullableField(&R::osVersion, "osVersion"),
      nullableField(&R::platform, "platform"));
};

template <>
struct RecordFields<LiveCardClick> {
  using R = LiveCardClick;
  static constexpr auto fields = std::make_tuple(
      nullableField(&R::id, "id"), nullableField(&R::liveCardId, "liveCardId"), nullableField(&R::userId, "userId"),
      nullableField(&R::sessionId, "sessionId"), nullableField(&R::deviceId, "deviceId"),
      nullableField(&R::impressionId, "impressionId"), nullableField(&R::buttonType, "buttonType"),
      nullableField(&R::buttonId, "buttonId"), nullableField(&R::actionType, "actionType"),
      nullableField(&R::actionTarget, "actionTarget"), nullableField(&R::carouselItemIndex, "carouselItemIndex"),
      nullableField(&R::position, "position"), nullableField(&R::timestamp, "timestamp"),
      nullableField(&R::timeToAction, "timeToAction"), nullableField(&R::appVersion, "appVersion"),
      nullableField(&R::platform, "platform"), nullableField(&R::metadata, "metadata"));
};

}  // namespace tarnwell::detail
