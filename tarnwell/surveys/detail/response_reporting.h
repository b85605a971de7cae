// File: tarnwell/surveys/detail/response_reporting.h
//
// What an answered survey or announcement turns into besides the view: the response record
// sent to the backend, the score of the answers, the properties every survey and announcement
// event carries, and the normalised responses of an announcement's button press.
//
//   SurveyResponse response = makeSurveyResponse({properties, config, device, shownAt, now},
//                                                survey, answers, true);
//   trackEvent("survey_submitted", surveyEventProperties(survey, {{"score", *responseScore(answers)}}));
//
// Pure functions of their arguments (PropertyManager is read, never written). Nothing throws but
// std::bad_alloc.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tarnwell/backend/runtime_config.h"
#include "tarnwell/core/timestamp.h"
#include "tarnwell/identity/detail/property_manager.h"
#include "tarnwell/platform/device_info.h"
#include "tarnwell/surveys/survey.h"

namespace tarnwell::detail {

// Where a response's fields come from besides the item and its answers.
struct ResponseSource {
  PropertyManager& properties;
  const ApiKeyConfig& config;
  const DeviceInfo& device;
  std::optional<Timestamp> presentedAt;  // when the item went on screen, if known
  Timestamp now;
};

// Whole seconds from `since` to `now`, truncated, at least 1; 1 when `since` is absent.
std::int64_t secondsOnScreen(std::optional<Timestamp> since, Timestamp now) noexcept;

// The answers as compact JSON text; absent when they cannot be written (a non-finite number).
std::optional<std::string> answersText(const JSONObject& responses);

// The response record of `item` answered with `responses`: the user, the tenant, the app
// version, platform, name and email from the properties, the answers twice as text, the seconds
// on screen, the device's display name and the time of submission.
SurveyResponse makeSurveyResponse(const ResponseSource& source, const Survey& item, const JSONObject& responses,
                                  bool completed);

// The trimmed name of a custom event the dashboard configured (SurveyAnalytics); absent when blank.
std::optional<std::string> configuredEventName(const std::optional<std::string>& configured);

// The first of "nps_score", "rating", "satisfaction_score" that holds a number, or a text that
// is wholly one (no leading blank); absent when none does.
std::optional<double> responseScore(const JSONObject& responses);

// `properties` with "survey_id", "survey_name", "template_id", "organization_id", "project_id"
// and "app_id" of the survey set (absent as ""), replacing keys of the same name.
JSONObject surveyEventProperties(const Survey& survey, JSONObject properties);
// The same for announcements: "banner_id" and "announcement_id" both carry the id, "banner_name"
// and "announcement_name" the name, then "template_id" and the tenant's three ids.
JSONObject announcementEventProperties(const Survey& announcement, JSONObject properties);

// An announcement's responses after a button press: with "action" "primary" or "secondary" the
// map gains "button_clicked" (the button's text as a slug, else the given one, else the action),
// and, when missing, the button's "action_type" and "deep_link". Any other map stays as it is.
JSONObject normalizeAnnouncementResponses(const Survey& announcement, JSONObject responses);

}  // namespace tarnwell::detail
