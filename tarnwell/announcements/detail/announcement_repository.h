// File: tarnwell/announcements/detail/announcement_repository.h
//
// AnnouncementRepository reads the announcements of the application, which travel in the survey
// record: from the runtime bundle, else through "get_announcements_banners". It holds no state
// and never throws. Internal: includes Asio.
#pragma once

#include <asio/awaitable.hpp>

#include <vector>

#include "tarnwell/backend/detail/runtime_bundle_repository.h"
#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/surveys/survey.h"

namespace tarnwell {

class AnnouncementRepository {
 public:
  AnnouncementRepository(RuntimeGatewayRepository gateway, RuntimeBundleRepository runtimeBundle);

  // Empty, with "Failed to fetch announcement banners" logged, when neither source answers.
  asio::awaitable<std::vector<Survey>> getAnnouncements();

 private:
  RuntimeGatewayRepository gateway_;
  RuntimeBundleRepository runtimeBundle_;
};

}  // namespace tarnwell
