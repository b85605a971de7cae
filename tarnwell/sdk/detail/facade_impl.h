// File: tarnwell/sdk/detail/facade_impl.h
//
// What the Tarnwell facade owns and the routines its public members run on the main context.
// The members are split by theme over facade.cc (construction and reads), facade_startup.cc,
// facade_identity.cc, facade_events.cc, facade_flags.cc, facade_content.cc, facade_delivery.cc
// (surveys and announcements), facade_live_cards.cc, facade_message_center.cc and
// facade_lifecycle.cc. The managers decide; the facade builds them at start-up, holds each in a
// ManagerSlot, and routes every public operation to one of them.
//
// Threads: fields under "main context only" are touched only there; the ones under `mutex` may
// be read from any thread, as may the manager slots and Published values. Coroutines started
// here run on the main context and refer to the Impl directly: it stops its main context before
// anything else is torn down.
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
#include "tarnwell/platform/detail/manager_slot.h"
#include "tarnwell/platform/detail/uuid.h"
#include "tarnwell/sdk/detail/content_refresh.h"
#include "tarnwell/sdk/facade.h"
#include "tarnwell/surveys/detail/survey_manager.h"

namespace tarnwell {

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
  // A change of the user's properties reaches the backend with the next sync, this long after.
  static constexpr std::chrono::milliseconds kSetterSyncDelay{750};
  // Applies one property setter on the main context, then schedules the sync.
  template <typename... Params, typename... Args>
  void setPropertyThenSync(void (detail::PropertyManager::*setter)(Params...), Args... args) {
    runOnMain([this, setter, args...]() mutable {
      ((*properties).*setter)(std::move(args)...);
      scheduleUserSync(kSetterSyncDelay);
    });
  }

  // ---- Events (facade_events.cc) --------------------------------------------------------
  void trackEvent(const std::string& name, const JSONObject& properties, const std::string& eventType,
                  std::function<void()> completion = {});
  // Queues the record, then lets the survey and announcement managers see the event.
  asio::awaitable<void> deliverEvent(detail::EventRecord record, std::function<void()> completion);
  asio::awaitable<void> reportQueuedEventCount(std::function<void(std::size_t)> completion);

  // ---- Content (facade_content.cc) -----------------------------------------------------
  // Each kind refreshes when its time to live lets it; without a manager its stamp stays.
  asio::awaitable<void> refreshAllContent();
  asio::awaitable<void> refreshFeatureFlags(bool force);
  asio::awaitable<void> refreshSurveys(bool force);
  asio::awaitable<void> refreshAnnouncements(bool force);
  asio::awaitable<void> refreshLiveCards(bool force);
  // Settings, then threads and announcements side by side; never forced.
  asio::awaitable<void> refreshMessageCenter();
  // Whether a refresh with this time to live goes through now; the stamp moves when it does.
  bool refreshDue(std::optional<Timestamp>& stamp, std::int64_t ttlMs, bool force);
  RuntimeConfig tuning() const;
  // Runs `work` on the main context and calls `completion` there when it has ended; from any thread.
  void spawnThen(asio::awaitable<void> work, std::function<void()> completion);
  asio::awaitable<void> readStoredRuntimeBundle(std::function<void(std::optional<RuntimeBundle>)> completion);

  // ---- Flags and experiments (facade_flags.cc) ------------------------------------------
  asio::awaitable<void> readFeatureFlagValue(std::string key, std::function<void(std::optional<JSONValue>)> completion);
  asio::awaitable<void> readExperimentVariation(std::string key,
                                                std::function<void(std::optional<Variation>)> completion);
  asio::awaitable<void> readExperimentConfig(std::string key,
                                             std::function<void(std::optional<ExperimentConfig>)> completion);
  asio::awaitable<void> trackExperimentExposure(std::string key, JSONObject context);
  asio::awaitable<void> trackExperimentConversion(std::string key, std::optional<std::string> goalId,
                                                  std::optional<JSONValue> value, JSONObject context);

  // ---- Managers built at start-up -------------------------------------------------------
  // What every delivery manager (surveys, announcements, live cards) is built over.
  detail::DeliveryManagerParts deliveryManagerParts();
  // Fresh survey and announcement managers (a new start-up replaces them), whose current items
  // are republished for hosts (facade_delivery.cc).
  void configureDeliveryManagers();
  void configureLiveCardManager();  // facade_live_cards.cc
  // Follows the manager's state into messageCenterState and hands it the pending push token
  // (facade_message_center.cc).
  void configureMessageManager();

  // Hands `completion`, on the main context, what `read` gives of the slot's manager; without
  // one, an empty answer.
  template <typename Manager, typename Read, typename Result>
  void answerOnMain(const detail::ManagerSlot<Manager>& slot, Read read, std::function<void(Result)> completion) {
    if (!completion) return;
    runOnMain([&slot, read = std::move(read), completion = std::move(completion)] {
      const std::shared_ptr<Manager> manager = slot.get();
      completion(manager ? Result(read(*manager)) : Result{});
    });
  }

  // Shows an item for the event, keeping the host's callback first whether or not one is shown;
  // the completion says whether one was.
  template <typename Manager, typename Callback>
  asio::awaitable<void> showWithCallback(const detail::ManagerSlot<Manager>& slot, std::string eventName,
                                         std::shared_ptr<Callback> callback, std::function<void(bool)> completion) {
    bool shown = false;
    if (const std::shared_ptr<Manager> manager = slot.get()) {
      manager->setCallback(std::move(callback));
      const std::optional<Survey> item = co_await manager->show(std::move(eventName));
      shown = item.has_value();
    }
    if (completion) completion(shown);
  }

  // ---- Live cards and the message center (facade_live_cards.cc, facade_message_center.cc)
  asio::awaitable<void> createLiveCardView(std::string triggerId,
                                           std::function<void(std::optional<LiveCardHandle>)> completion);
  // The card with hooks that report through `manager`, from any thread.
  LiveCardHandle makeLiveCardHandle(std::shared_ptr<detail::LiveCardManager> manager, LiveCard card);
  // The manager's token sync, when there is a manager: after a change of user or a foreground.
  void syncPushToken();
  void openMessageCenter(MessageCenterRoute requested);

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

  // Main context only.
  std::unique_ptr<detail::ApiKeyRepository> apiKeyRepositoryInstance;
  std::unique_ptr<detail::UserSync> userSyncInstance;
  std::shared_ptr<detail::EventManager> eventManagerInstance;
  std::unique_ptr<detail::BehavioralEventTracker> trackerInstance;
  std::unique_ptr<detail::RuntimeTelemetryBatcher> telemetryInstance;
  std::shared_ptr<detail::FeatureFlagManager> featureFlagManagerInstance;
  // One bundle request at a time for all content kinds: they refresh side by side.
  std::shared_ptr<detail::BundleLoadGate> bundleLoads = std::make_shared<detail::BundleLoadGate>();
  detail::RefreshStamps refreshStamps;
  detail::ManagerSlot<detail::SurveyManager> surveys;
  detail::ManagerSlot<detail::AnnouncementManager> announcements;
  detail::ManagerSlot<detail::LiveCardManager> liveCards;
  detail::ManagerSlot<detail::MessageManager> messages;
  // What hosts follow, across managers replaced by a new start-up; the observers of the
  // current managers feed them.
  Published<std::optional<Survey>> currentSurvey{*main, std::nullopt};
  Published<std::optional<Survey>> currentAnnouncement{*main, std::nullopt};
  Published<std::optional<MessageCenterState>> messageCenterState{*main, std::nullopt};
  Published<std::optional<MessageCenterRoute>> messageCenterRoute{*main, std::nullopt};
  std::vector<Subscription> deliveryObservers;
  std::vector<Subscription> messageManagerObservers;
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
