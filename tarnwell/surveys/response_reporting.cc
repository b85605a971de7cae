#include "tarnwell/surveys/detail/response_reporting.h"

#include <charconv>
#include <cmath>

#include "tarnwell/core/coding_error.h"
#include "tarnwell/core/detail/text.h"
#include "tarnwell/core/iso8601.h"
#include "tarnwell/platform/device_labels.h"

namespace tarnwell::detail {
namespace {

constexpr std::size_t kMaxOwnerIdCharacters = 36;

std::size_t characterCount(std::string_view text) {
  std::size_t count = 0;
  for (const char c : text) count += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  return count;
}

// A text that is wholly a floating-point number, read in the "C" locale.
std::optional<double> wholeNumber(std::string_view text) {
  if (text.empty() || text.front() == ' ' || text.front() == '\t' || text.front() == '\n') return std::nullopt;
  if (text.front() == '+') text.remove_prefix(1);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// "Try it now!" -> "try_it_now"; the fallback when nothing is left.
std::string buttonSlug(std::string_view label, const std::string& fallback) {
  const std::string lower = toLowerAscii(trimWhitespaceAndNewlines(label));
  std::string slug;
  bool pendingSeparator = false;
  for (const char c : lower) {
    if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
      if (pendingSeparator && !slug.empty()) slug += '_';
      pendingSeparator = false;
      slug += c;
    } else {
      pendingSeparator = true;
    }
  }
  return slug.empty() ? fallback : slug;
}

// `properties` with each field set (absent as ""), replacing keys of the same name.
JSONObject withItemFields(JSONObject properties,
                          std::initializer_list<std::pair<const char*, const std::optional<std::string>&>> fields) {
  for (const auto& [key, text] : fields) properties.set(key, JSONValue(text.value_or("")));
  return properties;
}

}  // namespace

std::int64_t secondsOnScreen(std::optional<Timestamp> since, Timestamp now) noexcept {
  if (!since) return 1;
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - *since).count();
  return seconds < 1 ? 1 : seconds;
}

std::optional<std::string> answersText(const JSONObject& responses) {
  try {
    return JSONValue(responses).encode();
  } catch (const EncodingError&) {
    return std::nullopt;
  }
}

SurveyResponse makeSurveyResponse(const ResponseSource& source, const Survey& item, const JSONObject& responses,
                                  bool completed) {
  SurveyResponse response;
  response.userId = source.properties.getUserId();
  if (characterCount(*response.userId) <= kMaxOwnerIdCharacters) response.ownerId = response.userId;
  response.appId = source.config.appId;
  response.organizationId = source.config.organizationId;
  response.projectId = source.config.projectId;
  response.appVersion = source.properties.getAppProperties().scalarText("app_version");
  response.platform = source.properties.getDeviceProperties().scalarText("platform");
  const JSONObject user = source.properties.getUserProperties();
  response.userName = user.scalarText("name");
  response.userEmail = user.scalarText("email");
  response.surveyId = item.id;
  response.surveyName = item.name;
  response.responsesJSON = answersText(responses);
  response.answersJSON = response.responsesJSON;
  response.completed = completed;
  response.completionTime = secondsOnScreen(source.presentedAt, source.now);
  response.deviceInfo = deviceDisplayName(source.device);
  response.submittedAt = formatISO8601Date(source.now);
  return response;
}

std::optional<std::string> configuredEventName(const std::optional<std::string>& configured) {
  if (!configured) return std::nullopt;
  const std::string_view name = trimWhitespaceAndNewlines(*configured);
  return name.empty() ? std::nullopt : std::optional<std::string>(name);
}

std::optional<double> responseScore(const JSONObject& responses) {
  for (const char* key : {"nps_score", "rating", "satisfaction_score"}) {
    const JSONValue* value = responses.find(key);
    if (value == nullptr) continue;
    if (const double* number = value->asNumber()) return *number;
    if (const JSONString* text = value->asString()) {
      if (auto number = wholeNumber(text->view())) return number;
    }
  }
  return std::nullopt;
}

JSONObject surveyEventProperties(const Survey& survey, JSONObject properties) {
  return withItemFields(std::move(properties), {{"survey_id", survey.id},
                                                {"survey_name", survey.name},
                                                {"template_id", survey.templateId},
                                                {"organization_id", survey.organizationId},
                                                {"project_id", survey.projectId},
                                                {"app_id", survey.appId}});
}

JSONObject announcementEventProperties(const Survey& announcement, JSONObject properties) {
  return withItemFields(std::move(properties), {{"banner_id", announcement.id},
                                                {"banner_name", announcement.name},
                                                {"announcement_id", announcement.id},
                                                {"announcement_name", announcement.name},
                                                {"template_id", announcement.templateId},
                                                {"organization_id", announcement.organizationId},
                                                {"project_id", announcement.projectId},
                                                {"app_id", announcement.appId}});
}

JSONObject normalizeAnnouncementResponses(const Survey& announcement, JSONObject responses) {
  const std::optional<std::string> action = responses.scalarText("action");
  if (action != "primary" && action != "secondary") return responses;
  std::optional<SurveyButton> button;
  if (const auto structure = announcement.structure(); structure && structure->buttons) {
    button = *action == "primary" ? structure->buttons->primary : structure->buttons->secondary;
  }
  std::string label(trimWhitespaceAndNewlines(button && button->text ? *button->text : ""));
  if (label.empty()) {
    label = responses.contains("button_clicked") ? responses.scalarText("button_clicked").value_or("") : *action;
  }
  responses.set("button_clicked", JSONValue(buttonSlug(label, label)));
  auto setFromButton = [&](const char* key, const std::optional<std::string>& value) {
    if (responses.contains(key) || !value) return;
    const std::string_view trimmed = trimWhitespaceAndNewlines(*value);
    if (!trimmed.empty()) responses.set(key, JSONValue(trimmed));
  };
  if (button) {
    setFromButton("action_type", button->action);
    setFromButton("deep_link", button->deeplinkURI);
  }
  return responses;
}

}  // namespace tarnwell::detail
