#include "tarnwell/announcements/detail/announcement_manager.h"

#include "tarnwell/core/detail/text.h"

namespace tarnwell::detail {
namespace {

const std::optional<std::string>* triggerEventName(const DeliveryItem& item) {
  if (!item.targeting || !item.targeting->behavioralTrigger) return nullptr;
  return &item.targeting->behavioralTrigger->eventName;
}

}  // namespace

AnnouncementManager::AnnouncementManager(DeliveryManagerParts parts, AnnouncementRepository repository)
    : DeliveryManager(std::move(parts),
                      [repository = std::move(repository)]() mutable { return repository.getAnnouncements(); }) {}

DeliveryManager::Candidates AnnouncementManager::candidates(const std::vector<DeliveryItem>& items,
                                                            std::string_view eventName) const {
  Candidates chosen;
  for (const DeliveryItem& item : items) {
    if (!item.isPublished) continue;
    const std::optional<std::string>* trigger = triggerEventName(item);
    if ((item.survey.eventTriggerId && equalsIgnoringAsciiCase(*item.survey.eventTriggerId, eventName)) ||
        (trigger && *trigger && equalsIgnoringAsciiCase(**trigger, eventName))) {
      chosen.push_back(&item);
    }
  }
  return chosen;
}

asio::awaitable<DeliveryVerdict> AnnouncementManager::check(const DeliveryItem& item, std::string_view eventName,
                                                            bool preview) {
  co_return (co_await checkShared(item, eventName, preview, GuardExcuse::triggerOnly))
      .value_or(DeliveryVerdict::eligible);
}

void AnnouncementManager::recordForShow(std::string_view, const Candidates& candidates) {
  for (const DeliveryItem* item : candidates) {
    const std::optional<std::string>* trigger = triggerEventName(*item);
    if (trigger && *trigger && !(*trigger)->empty()) services_.tracker.recordEvent(**trigger, services_.clock.now());
  }
}

}  // namespace tarnwell::detail
