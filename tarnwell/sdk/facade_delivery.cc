// Surveys and announcements in the facade: their managers, built at start-up and replaced by a
// new one, and the operations routed to them. The decisions and the reports are the managers'.
#include "tarnwell/sdk/detail/facade_impl.h"

namespace tarnwell {

detail::DeliveryManagerParts Tarnwell::Impl::deliveryManagerParts() {
  return {.main = *main,
          .workers = pool->executor(),
          .segments = detail::SegmentRepository(client(), transport),
          .properties = *properties,
          .sessions = *sessions,
          .tracker = behavioralEventTracker(),
          .clock = *clock,
          .reporting = {.trackEvent = [this](std::string name, JSONObject eventProperties,
                                             std::string eventType) { trackEvent(name, eventProperties, eventType); },
                        .killSwitches = [this] { return tuning().killSwitches; },
                        .tenant = [this] { return loadedConfig(); },
                        .device = deviceInfo,
                        .newId = [this] { return uuids->next(); }}};
}

void Tarnwell::Impl::configureDeliveryManagers() {
  const detail::DeliveryManagerParts parts = deliveryManagerParts();
  const detail::RuntimeGatewayRepository gateway(client(), transport);
  const auto surveyManager = std::make_shared<detail::SurveyManager>(
      parts, detail::SurveyRepository(gateway, makeRuntimeBundleRepository()), *store);
  const auto announcementManager = std::make_shared<detail::AnnouncementManager>(
      parts, detail::AnnouncementRepository(gateway, makeRuntimeBundleRepository()));
  if (const auto previous = surveys.get()) surveyManager->carryOverHostState(*previous);
  if (const auto previous = announcements.get()) announcementManager->carryOverHostState(*previous);
  surveys.set(surveyManager);
  announcements.set(announcementManager);
  // The old managers' observers go with them; the new ones start from "nothing on screen".
  deliveryObservers.clear();
  deliveryObservers.push_back(
      surveyManager->current().subscribe([this](const std::optional<Survey>& item) { currentSurvey.set(item); }));
  deliveryObservers.push_back(announcementManager->current().subscribe(
      [this](const std::optional<Survey>& item) { currentAnnouncement.set(item); }));
}

// ---- Surveys ---------------------------------------------------------------------------------

void Tarnwell::canShowSurvey(std::string eventName, std::function<void(bool)> completion) {
  impl_->spawnOnMain(
      impl_->surveys.call(&detail::DeliveryManager::canShow, false, std::move(completion), std::move(eventName)));
}

void Tarnwell::showSurvey(std::string eventName, std::function<void(std::optional<Survey>)> completion) {
  impl_->spawnOnMain(
      impl_->surveys.call(&detail::DeliveryManager::show, std::nullopt, std::move(completion), std::move(eventName)));
}

void Tarnwell::showSurvey(std::string eventName, std::shared_ptr<SurveyCallback> callback,
                          std::function<void(bool)> completion) {
  impl_->spawnOnMain(
      impl_->showWithCallback(impl_->surveys, std::move(eventName), std::move(callback), std::move(completion)));
}

void Tarnwell::explainSurvey(std::string eventName, std::function<void(std::vector<DeliveryExplanation>)> completion) {
  impl_->spawnOnMain(
      impl_->surveys.call(&detail::DeliveryManager::explain, {}, std::move(completion), std::move(eventName)));
}

void Tarnwell::getSurveys(std::function<void(std::optional<std::vector<Survey>>)> completion) {
  impl_->answerOnMain(
      impl_->surveys, [](detail::DeliveryManager& manager) { return manager.list(); }, std::move(completion));
}

void Tarnwell::getCurrentSurvey(std::function<void(std::optional<Survey>)> completion) {
  impl_->answerOnMain(
      impl_->surveys, [](detail::DeliveryManager& manager) { return manager.current().value(); },
      std::move(completion));
}

Subscription Tarnwell::subscribeCurrentSurvey(std::function<void(const std::optional<Survey>&)> observer) {
  return impl_->currentSurvey.subscribe(std::move(observer));
}

void Tarnwell::submitSurveyResponse(Survey survey, JSONObject responses, bool completed,
                                    std::function<void(bool)> completion) {
  impl_->spawnOnMain(impl_->surveys.call(&detail::SurveyManager::submitResponse, false, std::move(completion),
                                         std::move(survey), std::move(responses), completed));
}

void Tarnwell::dismissCurrentSurvey() {
  impl_->runOnMain([impl = impl_.get()] {
    if (const auto manager = impl->surveys.get()) manager->dismissCurrentSurvey();
  });
}

void Tarnwell::getSurveyLedgerEntry(std::string surveyId, std::function<void(SurveyLedgerEntry)> completion) {
  impl_->runOnMain([impl = impl_.get(), surveyId = std::move(surveyId), completion = std::move(completion)] {
    // The ledger lives in the store: it reads the same with or without a manager.
    const detail::SurveyDeliveryLedger ledger(*impl->store, *impl->properties);
    if (completion) completion(ledger.entry(surveyId));
  });
}

// ---- Announcements ---------------------------------------------------------------------------

void Tarnwell::canShowAnnouncement(std::string eventName, std::function<void(bool)> completion) {
  impl_->spawnOnMain(
      impl_->announcements.call(&detail::DeliveryManager::canShow, false, std::move(completion), std::move(eventName)));
}

void Tarnwell::showAnnouncement(std::string eventName, std::function<void(std::optional<Survey>)> completion) {
  impl_->spawnOnMain(impl_->announcements.call(&detail::DeliveryManager::show, std::nullopt, std::move(completion),
                                               std::move(eventName)));
}

void Tarnwell::showAnnouncement(std::string eventName, std::shared_ptr<AnnouncementCallback> callback,
                                std::function<void(bool)> completion) {
  impl_->spawnOnMain(
      impl_->showWithCallback(impl_->announcements, std::move(eventName), std::move(callback), std::move(completion)));
}

void Tarnwell::explainAnnouncement(std::string eventName,
                                   std::function<void(std::vector<DeliveryExplanation>)> completion) {
  impl_->spawnOnMain(
      impl_->announcements.call(&detail::DeliveryManager::explain, {}, std::move(completion), std::move(eventName)));
}

void Tarnwell::getAnnouncements(std::function<void(std::optional<std::vector<Survey>>)> completion) {
  impl_->answerOnMain(
      impl_->announcements, [](detail::DeliveryManager& manager) { return manager.list(); }, std::move(completion));
}

void Tarnwell::getCurrentAnnouncement(std::function<void(std::optional<Survey>)> completion) {
  impl_->answerOnMain(
      impl_->announcements, [](detail::DeliveryManager& manager) { return manager.current().value(); },
      std::move(completion));
}

Subscription Tarnwell::subscribeCurrentAnnouncement(std::function<void(const std::optional<Survey>&)> observer) {
  return impl_->currentAnnouncement.subscribe(std::move(observer));
}

void Tarnwell::submitAnnouncementResponse(Survey announcement, JSONObject responses, bool completed,
                                          std::function<void(bool)> completion) {
  impl_->spawnOnMain(impl_->announcements.call(&detail::AnnouncementManager::submitResponse, false,
                                               std::move(completion), std::move(announcement), std::move(responses),
                                               completed));
}

void Tarnwell::dismissCurrentAnnouncement() {
  impl_->runOnMain([impl = impl_.get()] {
    if (const auto manager = impl->announcements.get()) manager->dismissCurrentAnnouncement();
  });
}

// ---- The overlay's feeds ---------------------------------------------------------------------

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

}  // namespace tarnwell
