// File: tarnwell/announcements/detail/announcement_repository.h
//
// AnnouncementRepository reads the announcements of the application, which travel in the survey
// record (from the runtime bundle, else through "get_announcements_banners"), and submits their
// responses ("submit_announcement_banner_response", the survey payload with "bannerId" and
// "bannerName"). It holds no state and never throws. Internal: includes Asio.
#pragma once

#include "tarnwell/content/detail/content_repository.h"
#include "tarnwell/surveys/detail/survey_repository.h"

namespace tarnwell::detail {

class AnnouncementRepository : public ContentRepository {
 public:
  using ContentRepository::ContentRepository;

  // Empty, with "Failed to fetch announcement banners" logged, when neither source answers.
  asio::awaitable<std::vector<Survey>> getAnnouncements() {
    return readList(&RuntimeBundle::announcements, "get_announcements_banners", "Failed to fetch announcement banners");
  }

  // The record's surveyId and surveyName hold the announcement's id and name. A failure logs
  // "Failed to submit announcement response".
  asio::awaitable<bool> submitResponse(const SurveyResponse& response) {
    return submit("submit_announcement_banner_response", responsePayload(response, "bannerId", "bannerName"),
                  "Failed to submit announcement response");
  }
};

}  // namespace tarnwell::detail
