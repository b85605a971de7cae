// File: tarnwell/announcements/announcement_callback.h
//
// How a host hears what became of the announcements the SDK showed: it implements
// AnnouncementCallback and hands it over with showAnnouncement.
//
//   struct Host : tarnwell::AnnouncementCallback {
//     void onAnnouncementSubmitted(const tarnwell::AnnouncementPresentationResult& r) override {
//       if (r.deepLink) open(*r.deepLink);   // the primary button's link
//     }
//     ...
//   };
//
// Every call runs on the SDK's main context. A primary press arrives as onAnnouncementSubmitted
// with the primary button's target and link, a secondary press as onAnnouncementCancelled with
// the secondary button's; closing the announcement without a press as onAnnouncementDismissed.
#pragma once

#include <optional>
#include <string>

#include <tarnwell/core/json_value.h>

namespace tarnwell {

struct AnnouncementPresentationResult {
  std::string announcementId;
  JSONObject responses;
  std::optional<std::string> targetScreen;
  std::optional<std::string> deepLink;
};

class AnnouncementCallback {
 public:
  virtual ~AnnouncementCallback() = default;
  virtual void onAnnouncementSubmitted(const AnnouncementPresentationResult& result) = 0;
  virtual void onAnnouncementCancelled(const std::string& announcementId,
                                       const std::optional<std::string>& targetScreen,
                                       const std::optional<std::string>& deepLink) = 0;
  virtual void onAnnouncementDismissed(const std::string& announcementId) = 0;
};

}  // namespace tarnwell
