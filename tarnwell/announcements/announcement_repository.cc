#include "tarnwell/announcements/detail/announcement_repository.h"

#include "tarnwell/backend/detail/content_list_reader.h"

namespace tarnwell {

AnnouncementRepository::AnnouncementRepository(RuntimeGatewayRepository gateway,
                                               RuntimeBundleRepository runtimeBundle)
    : gateway_(std::move(gateway)), runtimeBundle_(std::move(runtimeBundle)) {}

asio::awaitable<std::vector<Survey>> AnnouncementRepository::getAnnouncements() {
  return readContentList(runtimeBundle_, gateway_, &RuntimeBundle::announcements, "get_announcements_banners",
                         "Failed to fetch announcement banners");
}

}  // namespace tarnwell
