#include "tarnwell/announcements/detail/announcement_manager.h"

#include "tarnwell/core/detail/text.h"
#include "tarnwell/core/log.h"
#include "tarnwell/surveys/detail/response_reporting.h"

namespace tarnwell::detail {
namespace {

const std::optional<std::string>* triggerEventName(const DeliveryItem& item) {
  if (!item.targeting || !item.targeting->behavioralTrigger) return nullptr;
  return &item.targeting->behavioralTrigger->eventName;
}

std::optional<SurveyButton> announcementButton(const Survey& announcement, bool primary) {
  const auto structure = announcement.structure();
  if (!structure || !structure->buttons) return std::nullopt;
  return primary ? structure->buttons->primary : structure->buttons->secondary;
}

}  // namespace

AnnouncementManager::AnnouncementManager(DeliveryManagerParts parts, AnnouncementRepository repository)
    : DeliveryManager(
          std::move(parts),
          {"announcement", "announcement_impression", &RuntimeConfig::KillSwitchConfig::disableAnnouncementImpressions,
           &announcementEventProperties},
          [repository]() mutable { return repository.getAnnouncements(); },
          [repository](const SurveyResponse& response) mutable { return repository.submitResponse(response); }) {}

asio::awaitable<bool> AnnouncementManager::submitResponse(Survey announcement, JSONObject responses, bool completed) {
  responses = normalizeAnnouncementResponses(announcement, std::move(responses));
  const std::optional<SurveyResponse> response = makeResponse(announcement, responses, completed);
  if (!response) co_return false;
  // Read before the dismissal below clears it.
  const std::optional<Timestamp> shownSince = presentedAt();
  if (announcement.id && callback_) {
    const std::optional<SurveyButton> button = announcementButton(announcement, completed);
    const std::optional<std::string> target = button ? button->target : std::nullopt;
    const std::optional<std::string> link = button ? button->deeplinkURI : std::nullopt;
    if (completed) {
      callback_->onAnnouncementSubmitted({*announcement.id, responses, target, link});
    } else {
      callback_->onAnnouncementCancelled(*announcement.id, target, link);
    }
  }
  suppressNextDismissCallback_ = true;
  dismissCurrentAnnouncement();
  const bool accepted = co_await submit(*response);
  if (accepted) {
    reportOutcome(announcement, responses, completed, shownSince);
  } else {
    // The host has been told already; the response is lost.
    logWarn("Failed to persist announcement response for " + announcement.id.value_or("unknown"));
  }
  co_return accepted;
}

void AnnouncementManager::reportOutcome(const Survey& announcement, const JSONObject& responses, bool completed,
                                        std::optional<Timestamp> shownSince) {
  JSONObject outcome{{"response_id", JSONValue(toLowerAscii(newResponseId()))},
                     {"responses_count", JSONValue(responses.size())},
                     {"score", JSONValue(0.0)}};
  for (const auto& [from, to] : {std::pair{"action", "button_role"}, std::pair{"button_clicked", "button_clicked"},
                                 std::pair{"page_index", "page_index"}, std::pair{"page_title", "page_title"},
                                 std::pair{"deep_link", "deep_link"}}) {
    if (const JSONValue* value = responses.find(from)) outcome.set(to, *value);
  }
  outcome.set("interaction_outcome", JSONValue(completed ? "positive" : "negative"));
  outcome.set("completion_time", JSONValue(secondsOnScreen(shownSince, services_.clock.now())));
  trackItemEvent(completed ? "announcement_submitted" : "announcement_cancelled", announcement, std::move(outcome));
  if (completed) trackAnsweredEvents(announcement, responses);
}

void AnnouncementManager::dismissCurrentAnnouncement() {
  const std::optional<Survey> shown = current().value();
  const std::string id = shown ? shown->id.value_or("") : "";
  current().set(std::nullopt);
  if (id.empty()) return;
  if (std::exchange(suppressNextDismissCallback_, false)) return;
  if (callback_) callback_->onAnnouncementDismissed(id);
}

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
