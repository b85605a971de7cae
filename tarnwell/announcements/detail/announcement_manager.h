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
// event; a tracked event records nothing more.
//
// A response serves the host and the screen first and the backend last: the host's callback
// hears of the button pressed, the announcement leaves the screen, and only then are the
// answers sent. Threads and failures as DeliveryManager; the host's callback runs on the main
// context.
#pragma once

#include <memory>

#include "tarnwell/announcements/announcement_callback.h"
#include "tarnwell/announcements/detail/announcement_repository.h"
#include "tarnwell/surveys/detail/delivery_manager.h"

namespace tarnwell::detail {

class AnnouncementManager final : public DeliveryManager {
 public:
  AnnouncementManager(DeliveryManagerParts parts, AnnouncementRepository repository);

  // The host's callback for every later outcome, until another replaces it.
  void setCallback(std::shared_ptr<AnnouncementCallback> callback) { callback_ = std::move(callback); }
  // The host's callback and a pending silent dismissal outlive the manager: a new start-up's
  // manager carries them over, and only teardown lets go of the callback.
  void carryOverHostState(const AnnouncementManager& previous) {
    callback_ = previous.callback_;
    suppressNextDismissCallback_ = previous.suppressNextDismissCallback_;
  }

  // The announcement answered by a button press (`completed` for the primary one): the host's
  // onAnnouncementSubmitted or onAnnouncementCancelled with the button's target, the dismissal
  // (without onAnnouncementDismissed), then the answers to the backend; whether it took them.
  // Taken: the "announcement_submitted" (or "announcement_cancelled") event and the dashboard's
  // own events. Refused: "Failed to persist announcement response for <id>" and the response is
  // lost. Before a start-up succeeded nothing happens and the answer is false.
  asio::awaitable<bool> submitResponse(Survey announcement, JSONObject responses, bool completed);
  // No announcement is current after; the host's onAnnouncementDismissed hears of one with an id.
  void dismissCurrentAnnouncement();

 protected:
  Candidates candidates(const std::vector<DeliveryItem>& items, std::string_view eventName) const override;
  asio::awaitable<DeliveryVerdict> check(const DeliveryItem& item, std::string_view eventName, bool preview) override;
  void recordForShow(std::string_view eventName, const Candidates& candidates) override;
  void recordForEvent(std::string_view) override {}

 private:
  void reportOutcome(const Survey& announcement, const JSONObject& responses, bool completed,
                     std::optional<Timestamp> shownSince);

  std::shared_ptr<AnnouncementCallback> callback_;
  // Set by a response's own dismissal; with no id the flag stays for the next dismissal.
  bool suppressNextDismissCallback_ = false;
};

}  // namespace tarnwell::detail
