// File: tarnwell/announcements/detail/announcement_manager.h
//
// AnnouncementManager decides whether an announcement may be shown for an event and makes one
// the current announcement. It follows SurveyManager with fewer checks: no ledger, no frequency
// limits, no sampling, no trigger count rule and no priority.
//
//   AnnouncementManager announcements(parts, repository);
//   co_await announcements.refresh();
//   co_await announcements.show("Dashboard_Opened");   // meets "dashboard_opened", not "dashboard-opened"
//
// Candidates are the published announcements whose eventTriggerId, failing that whose
// behavioural trigger event, equals the event name ignoring case (no trimming, no other
// normalisation), in list order. Only a behavioural trigger excuses an announcement presented
// less than 24 hours ago. A show records the candidates' trigger events, never the given
// event; a tracked event records nothing more. Threads and failures as DeliveryManager.
#pragma once

#include "tarnwell/announcements/detail/announcement_repository.h"
#include "tarnwell/surveys/detail/delivery_manager.h"

namespace tarnwell::detail {

class AnnouncementManager final : public DeliveryManager {
 public:
  AnnouncementManager(DeliveryManagerParts parts, AnnouncementRepository repository);

  void dismissCurrentAnnouncement() { current().set(std::nullopt); }

 protected:
  Candidates candidates(const std::vector<DeliveryItem>& items, std::string_view eventName) const override;
  asio::awaitable<DeliveryVerdict> check(const DeliveryItem& item, std::string_view eventName, bool preview) override;
  void recordForShow(std::string_view eventName, const Candidates& candidates) override;
  void recordForEvent(std::string_view) override {}
};

}  // namespace tarnwell::detail
