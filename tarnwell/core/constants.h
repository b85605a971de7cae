// File: tarnwell/core/constants.h
//
// The SDK's built-in values. The four backend coordinates are deployment data, fixed when the
// library is built (CMake cache variables TARNWELL_DEFAULT_ENDPOINT, TARNWELL_DEFAULT_PROJECT_ID,
// TARNWELL_DEFAULT_DATABASE_ID, TARNWELL_DEFAULT_GATEWAY_FUNCTION_ID); a configuration that
// names its own endpoint overrides them.
//
// The three durations are published for reference only: the flush period in force comes from
// the backend's runtime configuration, no session times out by sessionTimeout, and live cards
// refresh by their cache time to live.
#pragma once

#include <string_view>

#include <tarnwell/export.h>
#include <tarnwell/version.h>

namespace tarnwell {

struct TARNWELL_API Constants {
  static const std::string_view appwriteEndpoint;
  static const std::string_view centralProjectId;
  static const std::string_view centralDatabaseId;
  static const std::string_view sdkRuntimeGatewayFunctionId;

  static constexpr std::string_view sdkVersion = TARNWELL_VERSION_STRING;
  static constexpr double flushInterval = 60.0;             // seconds
  static constexpr double liveCardRefreshInterval = 300.0;  // seconds
  static constexpr double sessionTimeout = 1800.0;          // seconds
  static constexpr std::string_view surveyStatusPublished = "published";
  static constexpr std::string_view liveCardStatusLive = "live";
  static constexpr std::string_view pushAnnouncementExtra = "tarnwell_extra_announcement_id";
  static constexpr std::string_view pushThreadExtra = "tarnwell_extra_thread_id";
  static constexpr std::string_view pushTabExtra = "tarnwell_extra_tab";
};

}  // namespace tarnwell
