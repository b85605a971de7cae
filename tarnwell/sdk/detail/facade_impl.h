// File: tarnwell/sdk/detail/facade_impl.h
//
// What the Tarnwell facade owns and the routines its public members run on the main context.
// The members are split by theme over facade.cc (construction and reads), facade_startup.cc,
// facade_identity.cc, facade_events.cc, facade_flags.cc, facade_content.cc, facade_delivery.cc
// (what surveys and announcements share), facade_surveys.cc, facade_announcements.cc,
// facade_live_cards.cc, facade_message_center.cc and facade_lifecycle.cc.
//
// Threads: fields under "main context only" are touched only there; the ones under `mutex` may
// be read from any thread. Coroutines started here run on the main context and refer to the
// Impl directly: it stops its main context before anything else is torn down.
#pragma once

#include <asio/awaitable.hpp>
#include <asio/cancellation_signal.hpp>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

#include "tarnwell/announcements/detail/announcement_manager.h"
#include "tarnwell/backend/detail/api_key_repository.h"
#include "tarnwell/core/detail/log_scope.h"
#include "tarnwell/events/detail/behavioral_event_tracker.h"
#include "tarnwell/events/detail/event_flush_loop.h"
#include "tarnwell/events/detail/event_manager.h"
#include "tarnwell/events/detail/runtime_telemetry_batcher.h"
#include "tarnwell/flags/detail/feature_flag_manager.h"
#include "tarnwell/identity/detail/property_manager.h"
#include "tarnwell/identity/detail/session_manager.h"
#include "tarnwell/identity/detail/user_sync.h"
#include "tarnwell/livecards/detail/live_card_manager.h"
#include "tarnwell/messagecenter/detail/message_manager.h"
#include "tarnwell/platform/detail/async.h"
#include "tarnwell/platform/detail/closable_seams.h"
#include "tarnwell/platform/detail/uuid.h"
#include "tarnwell/sdk/detail/content_refresh.h"
#include "tarnwell/sdk/facade.h"
#include "tarnwell/surveys/detail/survey_manager.h"

namespace tarnwell {

// Sends a survey or announcement response through `repository`, which the coroutine holds while
// the call runs on the worker pool.
template <typename Repository>
asio::awaitable<bool> submitThrough(Repository repository, SurveyResponse response) {
  co_return co_await repository.submitResponse(response);
}

struct Tarnwell::Impl {
  explicit Impl(HostOptions options);
  ~Impl();

  // Work that touches main-context state runs there: at once when already on it, else posted
  // in order with every other call.
  void runOnMain(std::function<void()> work);
  // Starts a coroutine on the main context; nobody waits for it. Callable from any thread: an
  // awaitable runs nothing until it is started, so a public operation hands over its member
  // coroutine as it is (`spawnOnMain(impl_->identify(id, traits))`); it starts at once when
  // called on the main context, else it is posted in order like runOnMain.
  void spawnOnMain(asio::awaitable<void> work);

  // ---- Lazily built components ----------------------------------------------------------
  std::shared_ptr<detail::AppwriteClient> client();
  detail::ApiKeyRepository& apiKeyRepository();
  detail::UserSync& userSync();
  std::shared_ptr<detail::EventManager> eventManager();
  detail::BehavioralEventTracker& behavioralEventTracker();
  detail::RuntimeTelemetryBatcher& telemetry();
  std::shared_ptr<detail::FeatureFlagManager> featureFlagManager();
  // Each content repository reads through a bundle repository of its own over the one client.
  detail::RuntimeBundleRepository makeRuntimeBundleRepository();

  // ---- Start-up (facade_startup.cc) -----------------------------------------------------
  void beginStartUp(TarnwellSDKConfig config, StateCallback completion);
  asio::awaitable<void> startUp(TarnwellSDKConfig config, StateCallback completion);
  void failStartUp(const std::exception& error, const StateCallback& completion);
  void failConfiguration(const std::exception& error, const StateCallback& completion);
  std::optional<ApiKeyConfig> loadedConfig() const;
  bool isReady() const { return state.value().kind() == SDKState::Kind::ready; }

  // ---- Identity and sessions (facade_identity.cc) ---------------------------------------
  std::optional<detail::UserSyncSnapshot> makeSnapshot(std::optional<std::string> sessionOverride = std::nullopt,
                                                       bool isRegistered = false);
  void scheduleUserSync(std::chrono::milliseconds delay);
  asio::awaitable<void> identify(std::string userId, JSONObject traits);
  asio::awaitable<void> setUserProfile(std::string userId, JSONObject userProperties);
  asio::awaitable<void> resetUser();
  void startSessionTracking();
  void endSessionTracking();
  void setPropertyThenSync(std::function<void(detail::PropertyManager&)> change);

  // ---- Events (facade_events.cc) --------------------------------------------------------
  void trackEvent(const std::string& name, const JSONObject& properties, const std::string& eventType,
                  std::function<void()> completion = {});
  // Queues the record, then lets the survey and announcement managers see the event.
  asio::awaitable<void> deliverEvent(detail::EventRecord record, std::function<void()> completion);
  asio::awaitable<void> reportQueuedEventCount(std::function<void(std::size_t)> completion);

  // ---- Content and flags (facade_content.cc, facade_flags.cc) ---------------------------
  asio::awaitable<void> refreshAllContent();
  asio::awaitable<void> refreshFeatureFlags(bool force);
  // The kinds whose refresh feeds a delivery manager's published list.
  enum class DeliveredContent { surveys, announcements };
  asio::awaitable<void> refreshDeliveredContent(DeliveredContent kind, bool force);

  // ---- Surveys and announcements (facade_delivery.cc, facade_surveys.cc, facade_announcements.cc)
  // A delivery manager's place in the facade: the manager of the last start-up, the observer of
  // its current item, when that item went on screen, and the current item as hosts follow it.
  struct DeliverySlot {
    explicit DeliverySlot(MainContext& main) : current(main, std::nullopt) {}
    std::shared_ptr<detail::DeliveryManager> manager;
    Subscription observer;
    std::optional<Timestamp> presentedAt;
    Published<std::optional<Survey>> current;
  };
  DeliverySlot& slot(DeliveredContent kind);
  // What every delivery manager (surveys, announcements, live cards) is built over.
  detail::DeliveryManagerParts deliveryManagerParts();
  // Builds fresh survey and announcement managers (a new start-up replaces them) and observes
  // their current items.
  void configureDeliveryManagers();
  void observeCurrentItem(DeliveredContent kind, const std::optional<Survey>& item);
  // The item's impression events, unless the backend's kill switch silences them.
  void reportImpression(DeliveredContent kind, const Survey& item);
  // An event about an item: its ids and names added, type "survey" or "announcement".
  void trackItemEvent(DeliveredContent kind, const std::string& name, const Survey& item, JSONObject properties);
  // The dashboard's own submit and response events of an accepted answer, with the answers.
  void trackAnsweredEvents(DeliveredContent kind, const Survey& item, const JSONObject& responses);
  asio::awaitable<void> canShow(DeliveredContent kind, std::string eventName, std::function<void(bool)> completion);
  asio::awaitable<void> show(DeliveredContent kind, std::string eventName,
                             std::function<void(std::optional<Survey>)> completion);
  // show() that first keeps the host's callback (by `keepCallback`) when the manager exists;
  // the completion says whether an item was shown.
  void showKeepingCallback(DeliveredContent kind, std::string eventName, std::function<void()> keepCallback,
                           std::function<void(bool)> completion);
  asio::awaitable<void> explain(DeliveredContent kind, std::string eventName,
                                std::function<void(std::vector<DeliveryExplanation>)> completion);
  // Runs `work` with the kind's manager on the main context; without one, `closed` instead.
  void withManager(DeliveredContent kind, std::function<void(detail::DeliveryManager&)> work,
                   std::function<void()> closed);
  void readList(DeliveredContent kind, std::function<void(std::optional<std::vector<Survey>>)> completion);
  void readCurrent(DeliveredContent kind, std::function<void(std::optional<Survey>)> completion);
  std::shared_ptr<detail::SurveyManager> surveyManager() const;
  std::shared_ptr<detail::AnnouncementManager> announcementManager() const;
  // The answers of a response as the backend records them.
  std::optional<SurveyResponse> makeResponse(DeliveredContent kind, const Survey& item, const JSONObject& responses,
                                             bool completed);
  asio::awaitable<void> submitSurveyResponse(Survey survey, JSONObject responses, bool completed,
                                             std::function<void(bool)> completion);
  void reportSurveyOutcome(const Survey& survey, const JSONObject& responses, bool completed);
  void dismissCurrentSurvey();
  asio::awaitable<void> submitAnnouncementResponse(Survey announcement, JSONObject responses, bool completed,
                                                   std::function<void(bool)> completion);
  void reportAnnouncementOutcome(const Survey& announcement, const JSONObject& responses, bool completed,
                                 std::optional<Timestamp> presentedAt);
  void dismissCurrentAnnouncement();
  void refreshDeliveredContentThen(DeliveredContent kind, bool force, std::function<void()> completion);
  // Runs `work` on the main context and calls `completion` there when it has ended; from any thread.
  void spawnThen(asio::awaitable<void> work, std::function<void()> completion);
  asio::awaitable<void> readStoredRuntimeBundle(std::function<void(std::optional<RuntimeBundle>)> completion);
  asio::awaitable<void> readFeatureFlagValue(std::string key, std::function<void(std::optional<JSONValue>)> completion);
  asio::awaitable<void> readExperimentVariation(std::string key,
                                                std::function<void(std::optional<Variation>)> completion);
  asio::awaitable<void> readExperimentConfig(std::string key,
                                             std::function<void(std::optional<ExperimentConfig>)> completion);
  asio::awaitable<void> trackExperimentExposure(std::string key, JSONObject context);
  asio::awaitable<void> trackExperimentConversion(std::string key, std::optional<std::string> goalId,
                                                  std::optional<JSONValue> value, JSONObject context);

  // ---- Live cards (facade_live_cards.cc) -----------------------------------------------
  // Builds a fresh live-card manager: a new start-up replaces it.
  void configureLiveCardManager();
  // Gated on the manager, then on its time to live; without a manager the stamp stays.
  asio::awaitable<void> refreshLiveCards(bool force);
  // Whether the trigger has an eligible card now; false without a manager.
  asio::awaitable<bool> hasLiveCard(std::string triggerId);
  asio::awaitable<void> reportHasLiveCard(std::string triggerId, std::function<void(bool)> completion);
  asio::awaitable<void> getLiveCard(std::string triggerId, std::function<void(std::optional<LiveCard>)> completion);
  asio::awaitable<void> createLiveCardView(std::string triggerId,
                                           std::function<void(std::optional<LiveCardHandle>)> completion);
  // The card with hooks that report through `manager`, from any thread.
  LiveCardHandle makeLiveCardHandle(std::shared_ptr<detail::LiveCardManager> manager, LiveCard card);
  // ---- Message center (facade_message_center.cc) ---------------------------------------
  // Builds a fresh message manager (a new start-up replaces it), follows its state into
  // messageCenterState and hands it the pending push token.
  void configureMessageManager();
  // Written on the main context, read from any thread.
  std::shared_ptr<detail::MessageManager> messageManager() const;
  // Settings, then threads and announcements side by side; at most once per time to live.
  asio::awaitable<void> refreshMessageCenter();
  // One turn of the screen's polling: threads, then the feed.
  asio::awaitable<void> pollMessageCenter();
  // The manager's token sync, when there is a manager: after a change of user or a foreground.
  void syncPushToken();
  asio::awaitable<void> handOverPushToken(std::string token);
  void openMessageCenter(MessageCenterRoute requested);
  // Runs `work` with the message manager held for its whole length; without one, `closed`.
  void withMessageManager(std::function<asio::awaitable<void>(std::shared_ptr<detail::MessageManager>)> work,
                          std::function<void()> closed);

  // ---- Lifecycle (facade_lifecycle.cc) --------------------------------------------------
  void handleForeground();
  void handleBackground();
  void flushInBackground();
  void endBackgroundTask();
  asio::awaitable<void> backgroundFlush();
  // A forced event flush then the telemetry flush, counted in flushesInFlight from the moment
  // it is asked for.
  void startFlushAll();
  asio::awaitable<void> flushAll();

  // HostOptions::logSink (empty: the process's sink), in force on every thread of this object.
  detail::SharedLogSink logSink;
  std::unique_ptr<MainContext> main;
  // The host's clock and transport, wrapped so teardown can end all the SDK started on them.
  std::shared_ptr<detail::ClosableClock> clock;
  std::shared_ptr<KeyValueStore> store;
  std::shared_ptr<detail::ClosableTransport> transport;
  std::shared_ptr<BackgroundTaskHost> backgroundTasks;
  std::unique_ptr<detail::UuidGenerator> uuids;
  std::unique_ptr<detail::WorkerPool> pool;
  AppInfo appInfo;
  DeviceInfoProvider deviceInfo;
  std::unique_ptr<detail::PropertyManager> properties;
  std::unique_ptr<detail::SessionManager> sessions;
  Published<SDKState> state;
  // Released in ~Impl while the main context, where its last sleep resumes, still exists.
  std::unique_ptr<detail::EventFlushLoop> flushLoop;

  // Written on the main context; read from any thread under the mutex.
  mutable std::mutex mutex;
  std::shared_ptr<detail::AppwriteClient> clientInstance;
  std::optional<ApiKeyConfig> config;
  RuntimeConfig runtimeConfig = defaultRuntimeConfig();
  bool isAppInForeground = false;
  std::shared_ptr<detail::MessageManager> messageManagerInstance;

  // Main context only.
  std::unique_ptr<detail::ApiKeyRepository> apiKeyRepositoryInstance;
  std::unique_ptr<detail::UserSync> userSyncInstance;
  std::shared_ptr<detail::EventManager> eventManagerInstance;
  std::unique_ptr<detail::BehavioralEventTracker> trackerInstance;
  std::unique_ptr<detail::RuntimeTelemetryBatcher> telemetryInstance;
  std::shared_ptr<detail::FeatureFlagManager> featureFlagManagerInstance;
  // One bundle request at a time for all content kinds: they refresh side by side.
  std::shared_ptr<detail::BundleLoadGate> bundleLoads = std::make_shared<detail::BundleLoadGate>();
  DeliverySlot surveys{*main};
  DeliverySlot announcements{*main};
  std::shared_ptr<detail::LiveCardManager> liveCardManager;
  std::shared_ptr<SurveyCallback> surveyCallback;
  std::shared_ptr<AnnouncementCallback> announcementCallback;
  bool suppressNextAnnouncementDismissCallback = false;
  detail::RefreshStamps refreshStamps;
  // The message manager's state as hosts follow it, across managers replaced by a new start-up.
  Published<std::optional<MessageCenterState>> messageCenterState{*main, std::nullopt};
  std::vector<Subscription> messageManagerObservers;
  Published<std::optional<MessageCenterRoute>> messageCenterRoute{*main, std::nullopt};
  // The host's last push token, kept for every later manager; never cleared.
  std::optional<std::string> pendingPushToken;
  TarnwellSDKConfig sdkConfig = legacyPlaceholderConfig();
  BackgroundTaskHost::TaskId backgroundFlushTaskId = BackgroundTaskHost::invalidTask;

  // Waited on by flushAndWait from the host's thread.
  std::mutex flushMutex;
  int flushesInFlight = 0;
  std::condition_variable flushesDone;
};

}  // namespace tarnwell
