// What surveys and announcements share in the facade: their managers, built at start-up and
// replaced by a new one; the observers of their current items; their refreshes, decisions and
// events.
#include "tarnwell/platform/detail/async.h"
#include "tarnwell/sdk/detail/facade_impl.h"
#include "tarnwell/surveys/detail/response_reporting.h"

namespace tarnwell {

Tarnwell::Impl::DeliverySlot& Tarnwell::Impl::slot(DeliveredContent kind) {
  return kind == DeliveredContent::surveys ? surveys : announcements;
}

std::shared_ptr<detail::SurveyManager> Tarnwell::Impl::surveyManager() const {
  return std::static_pointer_cast<detail::SurveyManager>(surveys.manager);
}

std::shared_ptr<detail::AnnouncementManager> Tarnwell::Impl::announcementManager() const {
  return std::static_pointer_cast<detail::AnnouncementManager>(announcements.manager);
}

detail::DeliveryManagerParts Tarnwell::Impl::deliveryManagerParts() {
  return {.main = *main,
          .workers = pool->executor(),
          .segments = detail::SegmentRepository(client(), transport),
          .properties = *properties,
          .sessions = *sessions,
          .tracker = behavioralEventTracker(),
          .clock = *clock};
}

void Tarnwell::Impl::configureDeliveryManagers() {
  const detail::DeliveryManagerParts parts = deliveryManagerParts();
  const detail::RuntimeGatewayRepository gateway(client(), transport);
  surveys.manager = std::make_shared<detail::SurveyManager>(
      parts, detail::SurveyRepository(gateway, makeRuntimeBundleRepository()), *store);
  announcements.manager = std::make_shared<detail::AnnouncementManager>(
      parts, detail::AnnouncementRepository(gateway, makeRuntimeBundleRepository()));
  // The old managers' observers go with them; the new ones start from "nothing on screen".
  for (const DeliveredContent kind : {DeliveredContent::surveys, DeliveredContent::announcements}) {
    slot(kind).observer = slot(kind).manager->current().subscribe(
        [this, kind](const std::optional<Survey>& item) { observeCurrentItem(kind, item); });
  }
}

void Tarnwell::Impl::observeCurrentItem(DeliveredContent kind, const std::optional<Survey>& item) {
  DeliverySlot& delivery = slot(kind);
  delivery.presentedAt = item ? std::optional<Timestamp>(clock->now()) : std::nullopt;
  delivery.current.set(item);
  if (item) reportImpression(kind, *item);
}

void Tarnwell::Impl::reportImpression(DeliveredContent kind, const Survey& item) {
  const bool isSurvey = kind == DeliveredContent::surveys;
  {
    std::lock_guard lock(mutex);
    const RuntimeConfig::KillSwitchConfig& switches = runtimeConfig.killSwitches;
    if (isSurvey ? switches.disableSurveyImpressions : switches.disableAnnouncementImpressions) return;
  }
  if (const auto analytics = item.analytics()) {
    if (auto name = detail::configuredEventName(analytics->impressionEvent)) trackItemEvent(kind, *name, item, {});
  }
  trackItemEvent(kind, isSurvey ? "survey_impression" : "announcement_impression", item, {});
}

void Tarnwell::Impl::trackItemEvent(DeliveredContent kind, const std::string& name, const Survey& item,
                                    JSONObject properties) {
  if (kind == DeliveredContent::surveys) {
    trackEvent(name, detail::surveyEventProperties(item, std::move(properties)), "survey");
  } else {
    trackEvent(name, detail::announcementEventProperties(item, std::move(properties)), "announcement");
  }
}

void Tarnwell::Impl::trackAnsweredEvents(DeliveredContent kind, const Survey& item, const JSONObject& responses) {
  const auto analytics = item.analytics();
  if (!analytics) return;
  for (const auto& configured : {analytics->submitEvent, analytics->responseEvent}) {
    if (auto name = detail::configuredEventName(configured)) trackItemEvent(kind, *name, item, responses);
  }
}

std::optional<SurveyResponse> Tarnwell::Impl::makeResponse(DeliveredContent kind, const Survey& item,
                                                           const JSONObject& responses, bool completed) {
  const std::optional<ApiKeyConfig> loaded = loadedConfig();
  if (!loaded) return std::nullopt;
  const DeviceInfo device = deviceInfo();
  return detail::makeSurveyResponse({*properties, *loaded, device, slot(kind).presentedAt, clock->now()}, item,
                                    responses, completed);
}

void Tarnwell::Impl::readList(DeliveredContent kind,
                              std::function<void(std::optional<std::vector<Survey>>)> completion) {
  withManager(
      kind, [completion](detail::DeliveryManager& manager) { completion(manager.list()); },
      [completion] { completion(std::nullopt); });
}

void Tarnwell::Impl::readCurrent(DeliveredContent kind, std::function<void(std::optional<Survey>)> completion) {
  withManager(
      kind, [completion](detail::DeliveryManager& manager) { completion(manager.current().value()); },
      [completion] { completion(std::nullopt); });
}

void Tarnwell::Impl::withManager(DeliveredContent kind, std::function<void(detail::DeliveryManager&)> work,
                                 std::function<void()> closed) {
  runOnMain([this, kind, work = std::move(work), closed = std::move(closed)] {
    if (const std::shared_ptr<detail::DeliveryManager> manager = slot(kind).manager) {
      work(*manager);
    } else if (closed) {
      closed();
    }
  });
}

asio::awaitable<void> Tarnwell::Impl::canShow(DeliveredContent kind, std::string eventName,
                                              std::function<void(bool)> completion) {
  // Held for the whole check: a new start-up may replace the manager meanwhile.
  const std::shared_ptr<detail::DeliveryManager> manager = slot(kind).manager;
  bool answer = false;
  if (manager) answer = co_await manager->canShow(std::move(eventName));
  if (completion) completion(answer);
}

asio::awaitable<void> Tarnwell::Impl::show(DeliveredContent kind, std::string eventName,
                                           std::function<void(std::optional<Survey>)> completion) {
  const std::shared_ptr<detail::DeliveryManager> manager = slot(kind).manager;
  std::optional<Survey> shown;
  if (manager) shown = co_await manager->show(std::move(eventName));
  if (completion) completion(std::move(shown));
}

void Tarnwell::Impl::showKeepingCallback(DeliveredContent kind, std::string eventName,
                                         std::function<void()> keepCallback, std::function<void(bool)> completion) {
  runOnMain([this, kind, eventName = std::move(eventName), keepCallback = std::move(keepCallback),
             completion = std::move(completion)]() mutable {
    // Kept before anything is decided, whether or not an item is shown.
    if (slot(kind).manager) keepCallback();
    spawnOnMain(show(kind, std::move(eventName), [completion = std::move(completion)](std::optional<Survey> shown) {
      if (completion) completion(shown.has_value());
    }));
  });
}

asio::awaitable<void> Tarnwell::Impl::explain(DeliveredContent kind, std::string eventName,
                                              std::function<void(std::vector<DeliveryExplanation>)> completion) {
  const std::shared_ptr<detail::DeliveryManager> manager = slot(kind).manager;
  std::vector<DeliveryExplanation> verdicts;
  if (manager) verdicts = co_await manager->explain(std::move(eventName));
  if (completion) completion(std::move(verdicts));
}

asio::awaitable<void> Tarnwell::Impl::refreshDeliveredContent(DeliveredContent kind, bool force) {
  const std::shared_ptr<detail::DeliveryManager> manager = slot(kind).manager;
  if (!manager) co_return;
  std::int64_t ttlMs = 0;
  {
    std::lock_guard lock(mutex);
    ttlMs =
        kind == DeliveredContent::surveys ? runtimeConfig.cache.surveysTtlMs : runtimeConfig.cache.announcementsTtlMs;
  }
  std::optional<Timestamp>& stamp =
      kind == DeliveredContent::surveys ? refreshStamps.lastSurveysRefreshAt : refreshStamps.lastAnnouncementsRefreshAt;
  if (!detail::shouldRefresh(stamp, ttlMs, force, clock->now())) co_return;
  co_await manager->refresh();
}

// ---- Public operations both kinds share ----------------------------------------------------

void Tarnwell::canShowSurvey(std::string eventName, std::function<void(bool)> completion) {
  impl_->spawnOnMain(impl_->canShow(Impl::DeliveredContent::surveys, std::move(eventName), std::move(completion)));
}

void Tarnwell::canShowAnnouncement(std::string eventName, std::function<void(bool)> completion) {
  impl_->spawnOnMain(
      impl_->canShow(Impl::DeliveredContent::announcements, std::move(eventName), std::move(completion)));
}

void Tarnwell::showSurvey(std::string eventName, std::function<void(std::optional<Survey>)> completion) {
  impl_->spawnOnMain(impl_->show(Impl::DeliveredContent::surveys, std::move(eventName), std::move(completion)));
}

void Tarnwell::showAnnouncement(std::string eventName, std::function<void(std::optional<Survey>)> completion) {
  impl_->spawnOnMain(impl_->show(Impl::DeliveredContent::announcements, std::move(eventName), std::move(completion)));
}

void Tarnwell::explainSurvey(std::string eventName, std::function<void(std::vector<DeliveryExplanation>)> completion) {
  impl_->spawnOnMain(impl_->explain(Impl::DeliveredContent::surveys, std::move(eventName), std::move(completion)));
}

void Tarnwell::explainAnnouncement(std::string eventName,
                                   std::function<void(std::vector<DeliveryExplanation>)> completion) {
  impl_->spawnOnMain(
      impl_->explain(Impl::DeliveredContent::announcements, std::move(eventName), std::move(completion)));
}

void Tarnwell::getSurveys(std::function<void(std::optional<std::vector<Survey>>)> completion) {
  if (completion) impl_->readList(Impl::DeliveredContent::surveys, std::move(completion));
}

void Tarnwell::getAnnouncements(std::function<void(std::optional<std::vector<Survey>>)> completion) {
  if (completion) impl_->readList(Impl::DeliveredContent::announcements, std::move(completion));
}

void Tarnwell::getCurrentSurvey(std::function<void(std::optional<Survey>)> completion) {
  if (completion) impl_->readCurrent(Impl::DeliveredContent::surveys, std::move(completion));
}

void Tarnwell::getCurrentAnnouncement(std::function<void(std::optional<Survey>)> completion) {
  if (completion) impl_->readCurrent(Impl::DeliveredContent::announcements, std::move(completion));
}

Subscription Tarnwell::subscribeCurrentSurvey(std::function<void(const std::optional<Survey>&)> observer) {
  return impl_->surveys.current.subscribe(std::move(observer));
}

Subscription Tarnwell::subscribeCurrentAnnouncement(std::function<void(const std::optional<Survey>&)> observer) {
  return impl_->announcements.current.subscribe(std::move(observer));
}

OverlayFeeds Tarnwell::overlayFeeds() {
  OverlayFeeds feeds;
  feeds.watchSurvey = [this](auto observer) { return subscribeCurrentSurvey(std::move(observer)); };
  feeds.watchAnnouncement = [this](auto observer) { return subscribeCurrentAnnouncement(std::move(observer)); };
  feeds.surveyActions.submit = [this](const Survey& survey, JSONObject responses, bool completed,
                                      std::function<void(bool)> done) {
    submitSurveyResponse(survey, std::move(responses), completed, std::move(done));
  };
  feeds.surveyActions.dismiss = [this] { dismissCurrentSurvey(); };
  feeds.announcementActions.respond = [this](Survey announcement, JSONObject responses, bool completed) {
    submitAnnouncementResponse(std::move(announcement), std::move(responses), completed);
  };
  feeds.announcementActions.dismiss = [this] { dismissCurrentAnnouncement(); };
  return feeds;
}

void Tarnwell::getEventCount(std::string eventName, std::function<void(std::int64_t)> completion) {
  impl_->runOnMain([impl = impl_.get(), eventName = std::move(eventName), completion = std::move(completion)] {
    const std::int64_t count = impl->behavioralEventTracker().getEventCount(eventName);
    if (completion) completion(count);
  });
}

void Tarnwell::wasMilestoneShown(std::string itemId, std::string eventName, std::int64_t count,
                                 std::function<void(bool)> completion) {
  impl_->runOnMain([impl = impl_.get(), itemId = std::move(itemId), eventName = std::move(eventName), count,
                    completion = std::move(completion)] {
    const bool shown = impl->behavioralEventTracker().wasMilestoneShown(itemId, eventName, count);
    if (completion) completion(shown);
  });
}

}  // namespace tarnwell
