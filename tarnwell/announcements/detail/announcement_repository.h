// File: tarnwell/announcements/detail/announcement_repository.h
//
// AnnouncementRepository reads the announcements of the application, which travel in the survey
// record: from the runtime bundle, else through "get_announcements_banners". It holds no state
// and never throws. Internal: includes Asio.
#pragma once

#include "tarnwell/content/detail/content_repository.h"
#include "tarnwell/surveys/survey.h"

namespace tarnwell::detail {

class AnnouncementRepository : public ContentRepository {
 public:
  using ContentRepository::ContentRepository;

  // Empty, with "Failed to fetch announcement banners" logged, when neither source answers.
  asio::awaitable<std::vector<Survey>> getAnnouncements() {
    return readList(&RuntimeBundle::announcements, "get_announcements_banners", "Failed to fetch announcement banners");
  }
};

}  // namespace tarnwell::detail
