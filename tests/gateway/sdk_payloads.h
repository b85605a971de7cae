// Payloads of the identity, event and response actions as the SDK builds them, complete, so a test changes
// only the member it is about.
#pragma once

#include <string>

#include <tarnwell/core/json_value.h>

namespace tarnwell::gateway {

// A device's user snapshot: every one of its 20 members, anonymous, in team-1 / production.
inline JSONObject userSnapshot(const std::string& profileId, const std::string& sessionId = "session_S1") {
  return JSONObject{{"profileId", profileId},
                    {"anonymousId", "anonymous_A1"},
                    {"effectiveUserId", "anonymous_A1"},
                    {"identifiedUserId", nullptr},
                    {"teamId", "team-1"},
                    {"environment", "production"},
                    {"organizationId", "org-1"},
                    {"projectId", nullptr},
                    {"appId", "app-1"},
                    {"bundleOrPackageId", "com.example.app"},
                    {"deviceId", "ios_device_D1"},
                    {"userType", nullptr},
                    {"userProperties", JSONObject{{"plan", "pro"}}},
                    {"appProperties", JSONObject{}},
                    {"deviceProperties", JSONObject{{"device_id", "ios_device_D1"}}},
                    {"customProperties", JSONObject{}},
                    {"sessionId", sessionId},
                    {"isRegistered", false},
                    {"registrationDate", nullptr},
                    {"lastLogin", nullptr}};
}

// The "sessionData" of an ending session: 90.5 s long, times in milliseconds.
inline JSONObject sessionData(const std::string& sessionId) {
  return JSONObject{{"sessionId", sessionId},
                    {"startTime", 1767225600000.0},
                    {"endTime", 1767225690500.0},
                    {"duration", 90500.0},
                    {"foregroundTime", 60250.5},
                    {"backgroundTime", 0.0},
                    {"deviceInfo", JSONObject{{"platform", "ios"},
                                              {"model", "iPhone"},
                                              {"deviceModel", "iPhone15,2"},
                                              {"displayModel", "iPhone 14 Pro"},
                                              {"manufacturer", "Apple"},
                                              {"osVersion", "17.2"}}},
                    {"appInfo", JSONObject{}}};
}

// One "track_event_batch" item: its 13 keys, the four maps as JSON texts.
inline JSONObject eventItem(const std::string& name, const std::string& id) {
  return JSONObject{{"id", id},
                    {"event_id", id},
                    {"event_name", name},
                    {"user_id", "anonymous_A1"},
                    {"session_id", "session_S1"},
                    {"timestamp", "2026-01-01T00:00:00.000Z"},
                    {"properties", R"({"screen":"home","count":2})"},
                    {"user_properties", R"({"plan":"pro"})"},
                    {"app_properties", R"({"bundle_id":"com.example.app"})"},
                    {"device_properties", R"({"device_id":"ios_device_D1"})"},
                    {"event_type", "custom"},
                    {"device_id", "ios_device_D1"},
                    {"bundle_or_package_id", "com.example.app"}};
}

// A "submit_survey_response" payload: its 19 keys in the SDK's order, the optionals the SDK
// leaves empty as null, the answers as JSON texts.
inline JSONObject surveyResponse(const std::string& id, const std::string& surveyId) {
  return JSONObject{{"id", id},
                    {"userId", "anonymous_A1"},
                    {"appVersion", "2.4.0"},
                    {"platform", "ios"},
                    {"metadata", nullptr},
                    {"surveyId", surveyId},
                    {"responses", R"({"nps_score":9})"},
                    {"completed", true},
                    {"surveyName", "Checkout NPS"},
                    {"userName", nullptr},
                    {"userEmail", nullptr},
                    {"userSegment", "pro"},
                    {"answers", R"({"nps_score":9})"},
                    {"score", 9},
                    {"completionTime", 12},
                    {"deviceInfo", R"({"model":"iPhone15,2"})"},
                    {"location", nullptr},
                    {"submittedAt", "2026-01-01T00:00:00.000Z"},
                    {"ownerId", "user_owner_1"}};
}

// A "submit_announcement_banner_response" payload: the survey response's keys with "bannerId" and
// "bannerName" in place of "surveyId" and "surveyName".
inline JSONObject bannerResponse(const std::string& id, const std::string& bannerId) {
  JSONObject payload;
  for (const auto& [key, value] : surveyResponse(id, bannerId)) {
    if (key == "surveyId") {
      payload.set("bannerId", value);
    } else if (key == "surveyName") {
      payload.set("bannerName", "New dashboard");
    } else {
      payload.set(key, value);
    }
  }
  payload.set("responses", R"({"action":"open_dashboard"})");
  payload.set("answers", R"({"action":"open_dashboard"})");
  payload.set("score", nullptr);
  return payload;
}

}  // namespace tarnwell::gateway
