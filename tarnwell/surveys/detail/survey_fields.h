// File: tarnwell/surveys/detail/survey_fields.h
//
// The field tables of the survey records, and the one hand-written coder of the family
// (SurveyOption's bare-string form), for the records' own coding and for anything that decodes
// surveys in bulk (the runtime bundle).
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "tarnwell/core/detail/record_coding.h"
#include "tarnwell/core/detail/text.h"
#include "tarnwell/surveys/survey.h"
#include "tarnwell/targeting/detail/rule_condition_fields.h"

namespace tarnwell::detail {

template <>
struct RecordFields<SurveyOption> {
  using R = SurveyOption;
  static constexpr auto fields =
      std::make_tuple(field(&R::value, "value"), field(&R::label, "label"), field(&R::description, "description"));
};

// An option is either a bare string, normalised into a label and a value, or an object.
template <>
struct JSONCoder<SurveyOption> {
  static SurveyOption decode(const JSONValue& value, const CodingPath& path) {
    const JSONString* text = value.asString();
    if (text == nullptr) return decodeRecordAt<SurveyOption>(value, path);
    const std::string_view label = trimWhitespaceAndNewlines(text->view());
    if (label.empty()) return {};
    std::string normalised = toLowerAscii(label);
    std::replace(normalised.begin(), normalised.end(), ' ', '_');
    return {std::move(normalised), std::string(label), std::nullopt};
  }
  static JSONValue encode(const SurveyOption& option) { return encodeRecord(option); }
};

template <>
struct RecordFields<SurveyQuestion> {
  using R = SurveyQuestion;
  static constexpr auto fields = std::make_tuple(
      field(&R::id, "id"), field(&R::type, "type"), field(&R::title, "title"), field(&R::subtitle, "subtitle"),
      field(&R::description, "description"), field(&R::placeholder, "placeholder"),
      defaultedField(&R::required, "required"), defaultedField(&R::options, "options"),
      field(&R::minRating, "minRating"), field(&R::maxRating, "maxRating"), field(&R::maxLength, "maxLength"),
      field(&R::maxSelections, "maxSelections"), field(&R::scale, "scale"), field(&R::logic, "logic"),
      field(&R::conditions, "conditions"), field(&R::style, "style"), field(&R::allowScreenshot, "allowScreenshot"),
      field(&R::screenshotLabel, "screenshotLabel"), field(&R::labels, "labels"));
};

template <>
struct RecordFields<SurveyButton> {
  using R = SurveyButton;
  static constexpr auto fields =
      std::make_tuple(field(&R::text, "text"), field(&R::type, "type"), defaultedField(&R::visible, "visible"),
                      field(&R::action, "action"), field(&R::deeplinkURI, "deeplinkUri"), field(&R::target, "target"));
};

template <>
struct RecordFields<SurveyButtons> {
  using R = SurveyButtons;
  static constexpr auto fields = std::make_tuple(
      field(&R::primary, "primary"), field(&R::secondary, "secondary"), field(&R::submitText, "submitText"),
      field(&R::cancelText, "cancelText"), field(&R::skipText, "skipText"), field(&R::nextText, "nextText"),
      field(&R::previousText, "previousText"), field(&R::confirmText, "confirmText"),
      field(&R::dismissText, "dismissText"));
};

template <>
struct RecordFields<SurveyStyle> {
  using R = SurveyStyle;
  static constexpr auto fields = std::make_tuple(
      field(&R::primaryColor, "primaryColor"), field(&R::backgroundColor, "backgroundColor"),
      field(&R::textColor, "textColor"), field(&R::buttonTextColor, "buttonTextColor"),
      field(&R::buttonBackgroundColor, "buttonBackgroundColor"),
      field(&R::secondaryButtonColor, "secondaryButtonColor"),
      field(&R::secondaryButtonTextColor, "secondaryButtonTextColor"), field(&R::bulletTextColor, "bulletTextColor"),
      field(&R::fontFamily, "fontFamily"), field(&R::titleSize, "titleSize"), field(&R::textSize, "textSize"),
      field(&R::borderRadius, "borderRadius"), field(&R::shadow, "shadow"), field(&R::iconColor, "iconColor"),
      field(&R::iconSize, "iconSize"));
};

template <>
struct RecordFields<SurveyStructure> {
  using R = SurveyStructure;
  static constexpr auto fields = std::make_tuple(
      field(&R::type, "type"), field(&R::title, "title"), field(&R::subtitle, "subtitle"),
      field(&R::description, "description"), defaultedField(&R::questions, "questions"), field(&R::buttons, "buttons"),
      field(&R::style, "style"), field(&R::config, "config"), field(&R::targeting, "targeting"),
      field(&R::iconURL, "iconUrl"), field(&R::icon, "icon"), field(&R::fieldStyles, "fieldStyles"),
      field(&R::items, "items"), field(&R::showIndicators, "showIndicators"), field(&R::allowSwipe, "allowSwipe"),
      field(&R::autoAdvance, "autoAdvance"), field(&R::autoAdvanceInterval, "autoAdvanceInterval"),
      field(&R::bullets, "bullets"));
};

template <>
struct RecordFields<SurveyRule> {
  using R = SurveyRule;
  static constexpr auto fields =
      std::make_tuple(field(&R::id, "id"), field(&R::name, "name"), field(&R::conditions, "conditions"),
                      field(&R::enabled, "enabled"), field(&R::requireAllConditions, "requireAllConditions"));
};

template <>
struct RecordFields<SurveySchedule> {
  using R = SurveySchedule;
  static constexpr auto fields = std::make_tuple(field(&R::enabled, "enabled"), field(&R::startDate, "startDate"),
                                                 field(&R::endDate, "endDate"), field(&R::timezone, "timezone"));
};

template <>
struct RecordFields<SurveyFrequency> {
  using R = SurveyFrequency;
  static constexpr auto fields = std::make_tuple(
      field(&R::showOncePerUser, "showOncePerUser"), field(&R::reshowAfterDismiss, "reshowAfterDismiss"),
      field(&R::maxImpressions, "maxImpressions"), field(&R::cooldownMinutes, "cooldownMinutes"));
};

template <>
struct RecordFields<SurveyTriggerCountRule> {
  using R = SurveyTriggerCountRule;
  static constexpr auto fields = std::make_tuple(field(&R::enabled, "enabled"), field(&R::eventName, "eventName"),
                                                 field(&R::count, "count"), field(&R::op, "operator"));
};

template <>
struct RecordFields<SurveyTargeting> {
  using R = SurveyTargeting;
  static constexpr auto fields =
      std::make_tuple(field(&R::rules, "rules"), field(&R::matchType, "matchType"), field(&R::schedule, "schedule"),
                      field(&R::segmentId, "segmentId"), field(&R::behavioralTrigger, "behavioralTrigger"),
                      field(&R::audience, "audience"), field(&R::percentage, "percentage"),
                      field(&R::samplingPercentage, "samplingPercentage"), field(&R::priority, "priority"),
                      field(&R::frequency, "frequency"), field(&R::triggerCountRule, "triggerCountRule"));
};

template <>
struct RecordFields<SurveyBehavior> {
  using R = SurveyBehavior;
  static constexpr auto fields = std::make_tuple(
      field(&R::showProgress, "showProgress"), field(&R::allowSkip, "allowSkip"), field(&R::autoDismiss, "autoDismiss"),
      field(&R::requireConfirmation, "requireConfirmation"), field(&R::showQuestionCount, "showQuestionCount"),
      field(&R::autoAdvance, "autoAdvance"), field(&R::fullscreen, "fullscreen"),
      field(&R::preventClose, "preventClose"), field(&R::displayDuration, "displayDuration"));
};

template <>
struct RecordFields<SurveyLayout> {
  using R = SurveyLayout;
  static constexpr auto fields =
      std::make_tuple(field(&R::position, "position"), field(&R::width, "width"), field(&R::maxWidth, "maxWidth"),
                      field(&R::animation, "animation"), field(&R::overlayColor, "overlayColor"));
};

template <>
struct RecordFields<SurveyConfig> {
  using R = SurveyConfig;
  static constexpr auto fields =
      std::make_tuple(field(&R::style, "style"), field(&R::behavior, "behavior"), field(&R::layout, "layout"),
                      field(&R::targeting, "targeting"), field(&R::segmentation, "segmentation"));
};

template <>
struct RecordFields<SurveyAnalytics> {
  using R = SurveyAnalytics;
  static constexpr auto fields =
      std::make_tuple(field(&R::impressionEvent, "impressionEvent"), field(&R::submitEvent, "submitEvent"),
                      field(&R::responseEvent, "responseEvent"));
};

template <>
struct RecordFields<Survey> {
  using R = Survey;
  static constexpr auto fields = std::make_tuple(
      field(&R::id, "$id"), field(&R::name, "name"), field(&R::description, "description"),
      field(&R::templateId, "templateId"), field(&R::status, "status"), field(&R::ownerId, "ownerId"),
      field(&R::organizationId, "organizationId"), field(&R::projectId, "projectId"), field(&R::appId, "appId"),
      field(&R::eventTriggerId, "eventTriggerId"), field(&R::scheduleStart, "scheduleStart"),
      field(&R::scheduleEnd, "scheduleEnd"), field(&R::structureJSON, "structure"),
      field(&R::targetingJSON, "targeting"), field(&R::configJSON, "config"), field(&R::analyticsJSON, "analytics"),
      field(&R::createdAt, "$createdAt"), field(&R::updatedAt, "$updatedAt"));
};

template <>
struct RecordFields<SurveyResponse> {
  using R = SurveyResponse;
  static constexpr auto fields = std::make_tuple(
      field(&R::id, "id"), field(&R::userId, "userId"), field(&R::appId, "appId"), field(&R::appVersion, "appVersion"),
      field(&R::platform, "platform"), field(&R::metadata, "metadata"), field(&R::organizationId, "organizationId"),
      field(&R::projectId, "projectId"), field(&R::surveyId, "surveyId"), field(&R::responsesJSON, "responses"),
      field(&R::completed, "completed"), field(&R::surveyName, "surveyName"), field(&R::userName, "userName"),
      field(&R::userEmail, "userEmail"), field(&R::userSegment, "userSegment"), field(&R::answersJSON, "answers"),
      field(&R::score, "score"), field(&R::completionTime, "completionTime"), field(&R::deviceInfo, "deviceInfo"),
      field(&R::location, "location"), field(&R::submittedAt, "submittedAt"), field(&R::ownerId, "ownerId"));
};

}  // namespace tarnwell::detail
