// Announcement responses, dismissal and the host's announcement callback. Unlike surveys, the
// host and the screen are served first and the backend last.
#include "tarnwell/core/detail/text.h"
#include "tarnwell/platform/detail/async.h"
#include "tarnwell/sdk/detail/facade_impl.h"
#include "tarnwell/surveys/detail/response_reporting.h"

namespace tarnwell {
namespace {

std::optional<SurveyButton> announcementButton(const Survey& announcement, bool primary) {
  const auto structure = announcement.structure();
  if (!structure || !structure->buttons) return std::nullopt;
  return primary ? structure->buttons->primary : structure->buttons->secondary;
}

}  // namespace

asio::awaitable<void> Tarnwell::Impl::submitAnnouncementResponse(Survey announcement, JSONObject responses,
                                                                 bool completed, std::function<void(bool)> completion) {
  std::optional<SurveyResponse> response;
  if (announcements.manager) {
    responses = detail::normalizeAnnouncementResponses(announcement, std::move(responses));
    response = makeResponse(DeliveredContent::announcements, announcement, responses, completed);
  }
  if (!response) {
    if (completion) completion(false);
    co_return;
  }
  // Read before the dismissal below clears it.
  const std::optional<Timestamp> presentedAt = announcements.presentedAt;
  if (announcement.id && announcementCallback) {
    const std::optional<SurveyButton> button = announcementButton(announcement, completed);
    const std::optional<std::string> target = button ? button->target : std::nullopt;
    const std::optional<std::string> link = button ? button->deeplinkURI : std::nullopt;
    if (completed) {
      announcementCallback->onAnnouncementSubmitted({*announcement.id, responses, target, link});
    } else {
      announcementCallback->onAnnouncementCancelled(*announcement.id, target, link);
    }
  }
  suppressNextAnnouncementDismissCallback = true;
  dismissCurrentAnnouncement();
  detail::AnnouncementRepository repository(detail::RuntimeGatewayRepository(client(), transport),
                                            makeRuntimeBundleRepository());
  const bool accepted = co_await detail::runOn(pool->executor(), submitThrough(std::move(repository), *response));
  if (accepted) {
    reportAnnouncementOutcome(announcement, responses, completed, presentedAt);
  } else {
    // The host has been told already; the response is lost.
    logWarn("Failed to persist announcement response for " + announcement.id.value_or("unknown"));
  }
  if (completion) completion(accepted);
}

void Tarnwell::Impl::reportAnnouncementOutcome(const Survey& announcement, const JSONObject& responses, bool completed,
                                               std::optional<Timestamp> presentedAt) {
  JSONObject outcome{{"response_id", JSONValue(detail::toLowerAscii(uuids->next()))},
                     {"responses_count", JSONValue(responses.size())},
                     {"score", JSONValue(0.0)}};
  for (const auto& [from, to] : {std::pair{"action", "button_role"}, std::pair{"button_clicked", "button_clicked"},
                                 std::pair{"page_index", "page_index"}, std::pair{"page_title", "page_title"},
                                 std::pair{"deep_link", "deep_link"}}) {
    if (const JSONValue* value = responses.find(from)) outcome.set(to, *value);
  }
  outcome.set("interaction_outcome", JSONValue(completed ? "positive" : "negative"));
  outcome.set("completion_time", JSONValue(detail::secondsOnScreen(presentedAt, clock->now())));
  if (!completed) {
    trackItemEvent(DeliveredContent::announcements, "announcement_cancelled", announcement, std::move(outcome));
    return;
  }
  trackItemEvent(DeliveredContent::announcements, "announcement_submitted", announcement, std::move(outcome));
  trackAnsweredEvents(DeliveredContent::announcements, announcement, responses);
}

void Tarnwell::Impl::dismissCurrentAnnouncement() {
  const auto manager = announcementManager();
  const std::optional<Survey> shown = manager ? manager->current().value() : std::nullopt;
  const std::string id = shown ? shown->id.value_or("") : "";
  if (manager) manager->dismissCurrentAnnouncement();
  // With no id the suppress flag stays set for the next dismissal.
  if (id.empty()) return;
  if (std::exchange(suppressNextAnnouncementDismissCallback, false)) return;
  if (announcementCallback) announcementCallback->onAnnouncementDismissed(id);
}

// ---- Public announcement operations --------------------------------------------------------

void Tarnwell::showAnnouncement(std::string eventName, std::shared_ptr<AnnouncementCallback> callback,
                                std::function<void(bool)> completion) {
  impl_->showKeepingCallback(
      Impl::DeliveredContent::announcements, std::move(eventName),
      [impl = impl_.get(), callback = std::move(callback)]() mutable {
        impl->announcementCallback = std::move(callback);
      },
      std::move(completion));
}

void Tarnwell::submitAnnouncementResponse(Survey announcement, JSONObject responses, bool completed,
                                          std::function<void(bool)> completion) {
  impl_->spawnOnMain(impl_->submitAnnouncementResponse(std::move(announcement), std::move(responses), completed,
                                                       std::move(completion)));
}

void Tarnwell::dismissCurrentAnnouncement() {
  impl_->runOnMain([impl = impl_.get()] { impl->dismissCurrentAnnouncement(); });
}

}  // namespace tarnwell
