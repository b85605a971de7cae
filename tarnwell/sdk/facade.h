// File: tarnwell/sdk/facade.h
//
// Tarnwell is the one object a host application talks to. It owns every component of the SDK,
// runs the start-up from a configuration to a working SDK and publishes the lifecycle state.
//
//   tarnwell::Tarnwell::configureHost({.storePath = "/var/lib/myapp/tarnwell.sqlite"});
//   auto& sdk = tarnwell::Tarnwell::shared();
//   sdk.initialize("tw_live_key", tarnwell::Environment::production,
//                  [](const tarnwell::SDKState& state) { /* on the SDK's main context */ });
//
// Threads: every member may be called from any thread. Calls that change state are carried out
// on the SDK's main context (posted there when made elsewhere); completions always run on the
// main context. Reads (getState, isReady, getUserId, getUserDebugState) answer at once. No
// call blocks on the network, except flushAndWait for as long as it is told.
//
// Property setters change the local identity at once and tell the backend 750 ms after the
// last of a burst.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tarnwell/announcements/announcement_callback.h>
#include <tarnwell/backend/runtime_config.h>
#include <tarnwell/content/runtime_bundle.h>
#include <tarnwell/core/environment.h>
#include <tarnwell/core/json_value.h>
#include <tarnwell/core/log.h>
#include <tarnwell/core/sdk_config.h>
#include <tarnwell/export.h>
#include <tarnwell/flags/feature_flag.h>
#include <tarnwell/flags/flag_value.h>
#include <tarnwell/livecards/live_card.h>
#include <tarnwell/livecards/live_card_handle.h>
#include <tarnwell/messagecenter/message.h>
#include <tarnwell/messagecenter/message_center_route.h>
#include <tarnwell/messagecenter/message_center_state.h>
#include <tarnwell/platform/app_info.h>
#include <tarnwell/platform/background_task_host.h>
#include <tarnwell/platform/clock.h>
#include <tarnwell/platform/device_info.h>
#include <tarnwell/platform/http_transport.h>
#include <tarnwell/platform/key_value_store.h>
#include <tarnwell/platform/main_context.h>
#include <tarnwell/platform/published.h>
#include <tarnwell/presentation/overlay_host.h>
#include <tarnwell/sdk/sdk_state.h>
#include <tarnwell/sdk/user_debug_state.h>
#include <tarnwell/surveys/delivery_verdict.h>
#include <tarnwell/surveys/survey.h>
#include <tarnwell/surveys/survey_callback.h>
#include <tarnwell/surveys/survey_ledger_entry.h>

namespace tarnwell {

// How the SDK meets its host. Every member has a working default; tests and hosts with their
// own loop, store or HTTP stack replace what they need, e.g. with designated initializers:
// Tarnwell sdk({.storePath = "/var/lib/app/tarnwell.sqlite", .mainContextMode = MainContext::Mode::hostPumped}).
struct HostOptions {
  // The store of everything that outlives the process. Default: the SQLite file at storePath.
  std::shared_ptr<KeyValueStore> store{};
  // Default: defaultKeyValueStorePath().
  std::string storePath{};
  // ownThread: the SDK runs its main context on a thread of its own. hostPumped: the host
  // calls mainContext().poll() from its own loop.
  MainContext::Mode mainContextMode = MainContext::Mode::ownThread;
  // Default: libcurl. The SDK takes it over; it must not be shared with another Tarnwell.
  std::shared_ptr<HttpTransport> transport{};
  // Default: the system clock.
  std::shared_ptr<Clock> clock{};
  // Default: readProcessAppInfo() / readSystemDeviceInfo.
  AppInfoProvider appInfo{};
  DeviceInfoProvider deviceInfo{};
  // Where this object's log lines go, from every thread it runs and every call it takes; no other
  // object's lines reach it. Default: the process's sink (setLogSink), else standard output.
  LogSink logSink{};
  // Seeds identifier minting, for reproducible tests. Default: random.
  std::optional<std::uint64_t> uuidSeed{};
  // Keeps the process alive while the last flush runs after onStop(). Default: a host that
  // grants every request and never expires.
  std::shared_ptr<BackgroundTaskHost> backgroundTasks{};
};

class TARNWELL_API Tarnwell {
 public:
  using StateCallback = std::function<void(const SDKState&)>;

  // Options for the shared object; effective only before shared() is first called. Returns
  // false (and logs a warning) when the shared object already exists.
  static bool configureHost(HostOptions options);
  // The shared object, built on first use.
  static Tarnwell& shared();

  // An object of its own, for hosts that manage its lifetime and for tests.
  explicit Tarnwell(HostOptions options = {});
  ~Tarnwell();
  Tarnwell(const Tarnwell&) = delete;
  Tarnwell& operator=(const Tarnwell&) = delete;

  // ---- Start-up ----------------------------------------------------------------------
  // The configuration form: bootstraps with the backend and reaches `ready` or `error`. A call
  // while a start-up is running only reports `initializing` to its completion; a call on a
  // ready SDK runs the whole start-up again.
  void initialize(TarnwellSDKConfig config, StateCallback completion = {});
  // The built-in backend with this key and environment.
  void initialize(std::string apiKey, Environment environment, StateCallback completion = {});
  // The configuration in "<stem>.json" in the folder `bundle` (see TarnwellSDKConfig::fromBundle).
  void initializeFromFile(std::string configFileName, std::filesystem::path bundle, StateCallback completion = {});
  // The configuration as JSON text.
  void initializeFromJSON(std::string configJSON, StateCallback completion = {});

  SDKState getState() const;
  // Follows every change of the state, starting with the current one (see Published).
  [[nodiscard]] Subscription subscribeState(std::function<void(const SDKState&)> observer);
  bool isReady() const;
  bool isInitialized() const;

  // ---- Lifecycle -----------------------------------------------------------------------
  // The host reports its application coming to the foreground and leaving it. The foreground
  // starts a session when none runs (once ready) or syncs the user; the background counts the
  // session's foreground time and flushes users, events and telemetry inside a background task.
  void onStart();
  void onStop();
  bool isApplicationInForeground() const;
  // Kept for hosts that call it; does nothing.
  void clearCurrentActivity();
  // Sends every queued event and the telemetry queue; returns at once.
  void flush();
  // Like flush(), then waits until it has finished or `timeout` has passed, whichever comes
  // first; true when it finished. For hosts that hold their exit for the last events. Must not
  // be called on the SDK's main context.
  bool flushAndWait(std::chrono::milliseconds timeout);
  // Stops the SDK: cancels the flush loop, ends the session, starts a last flush and sets the
  // state to `shutdown` at once. Nothing is released; a later initialize starts again.
  void shutdown();

  // ---- Events ----------------------------------------------------------------------------
  // Counts the event for on-device triggers and, when admitted by the backend's switch, rate
  // limit and sampling, queues it durably for the next flush; then the survey and announcement
  // managers see it, and may present an item. Before `ready` the event is dropped with a
  // warning. The completion runs on the main context once all of that has ended.
  void trackEvent(std::string name, JSONObject properties = {}, std::string eventType = {},
                  std::function<void()> completion = {});
  // The number of events waiting to be sent, reported on the main context.
  void getQueuedEventCount(std::function<void(std::size_t)> completion);

  // ---- Content refresh ---------------------------------------------------------------------
  // Each kind is fetched at most once per time to live of the runtime config (`force` passes
  // the gate); within 900 seconds of the last confirmation the stored bundle answers without a
  // request. Completions run on the main context once the refresh has ended, whether it ran or
  // was held back. Coming to the foreground refreshes nothing on its own.
  void refreshAllContent(std::function<void()> completion = {});
  // Only once ready.
  void refreshFeatureFlags(bool force = false, std::function<void()> completion = {});
  // Gated on their delivery managers, which exist from the first start-up on (and keep working
  // after shutdown). refreshAllContent always forces the live cards past their time to live.
  void refreshSurveys(bool force = false, std::function<void()> completion = {});
  void refreshAnnouncements(bool force = false, std::function<void()> completion = {});
  void refreshLiveCards(bool force = false, std::function<void()> completion = {});
  // The runtime bundle stored for the current team and environment, as the refreshes last left
  // it; absent when none is stored or it no longer decodes. For diagnostics; never a request.
  void getStoredRuntimeBundle(std::function<void(std::optional<RuntimeBundle>)> completion);

  // ---- Feature flags and experiments -------------------------------------------------------
  // The flag's value for this user now, decided on the device from the last refreshed flags;
  // absent before ready and for unknown or inactive flags. Reported on the main context.
  void getFeatureFlagValue(std::string key, std::function<void(std::optional<JSONValue>)> completion);
  // The value read as the default's type (see flagValueAs), or the default.
  template <typename T>
  void getFeatureFlag(std::string key, T defaultValue, std::function<void(T)> completion) {
    getFeatureFlagValue(std::move(key), [defaultValue = std::move(defaultValue),
                                         completion = std::move(completion)](std::optional<JSONValue> value) {
      if (completion) completion(value ? flagValueAs(*value, defaultValue) : defaultValue);
    });
  }
  // The variation assigned to this user for an experiment flag (stable for the process). Also
  // evaluates the flag first, which reports it like a read.
  void getExperimentVariation(std::string key, std::function<void(std::optional<Variation>)> completion);
  void getExperimentConfig(std::string key, std::function<void(std::optional<ExperimentConfig>)> completion);
  // Records that the user saw the assigned variation: a telemetry record and an
  // "experiment_exposure" event.
  void trackExperimentExposure(std::string key, JSONObject context = {});
  // Records that the user reached a goal: an "experiment_conversion" event.
  void trackExperimentConversion(std::string key, std::optional<std::string> goalId = std::nullopt,
                                 std::optional<JSONValue> value = std::nullopt, JSONObject context = {});

  // ---- Surveys ------------------------------------------------------------------------------
  // Every survey operation is gated on the survey manager (built at start-up): without it reads
  // answer false, absent or empty and the rest does nothing. Completions and callbacks run on
  // the main context. Tracked events present surveys on their own; these are for hosts that
  // decide the moment themselves.
  //
  // Whether a survey would be shown for the event now, counting the event as if recorded.
  // Records nothing.
  void canShowSurvey(std::string eventName, std::function<void(bool)> completion);
  // Records the event for triggers and presents the first eligible survey, making it current;
  // the completion gets it, or absent when none was shown (another may stay current).
  void showSurvey(std::string eventName, std::function<void(std::optional<Survey>)> completion = {});
  // The same, first keeping `callback` for every later outcome (it replaces the one before);
  // the completion says whether a survey was shown.
  void showSurvey(std::string eventName, std::shared_ptr<SurveyCallback> callback,
                  std::function<void(bool)> completion = {});
  // Sends the answers to the backend. When it accepts them: the outcome events, the callback's
  // onSurveySubmitted (also for `completed` false), the delivery ledger's "completed", and the
  // survey stops being current. When it does not, nothing of that happens and the survey stays
  // current, so the view may offer to send again. The completion says whether it was accepted.
  void submitSurveyResponse(Survey survey, JSONObject responses, bool completed,
                            std::function<void(bool)> completion = {});
  // Closes the current survey without a response: "dismissed" in the ledger, then onSurveyDismissed.
  void dismissCurrentSurvey();
  // Why each candidate of the event would or would not be shown now, in decision order. Records
  // nothing and presents nothing.
  void explainSurvey(std::string eventName, std::function<void(std::vector<DeliveryExplanation>)> completion);
  // The surveys of the last refresh; absent without a manager.
  void getSurveys(std::function<void(std::optional<std::vector<Survey>>)> completion);
  void getCurrentSurvey(std::function<void(std::optional<Survey>)> completion);
  // Follows the current survey (what an overlay draws), across managers replaced by a new
  // start-up; first the value current when subscribing.
  [[nodiscard]] Subscription subscribeCurrentSurvey(std::function<void(const std::optional<Survey>&)> observer);
  // The delivery ledger of a survey for the current user (zeros when nothing is recorded).
  void getSurveyLedgerEntry(std::string surveyId, std::function<void(SurveyLedgerEntry)> completion);

  // ---- Announcements -------------------------------------------------------------------------
  // As the survey operations, gated on the announcement manager. Announcements keep no ledger.
  void canShowAnnouncement(std::string eventName, std::function<void(bool)> completion);
  void showAnnouncement(std::string eventName, std::function<void(std::optional<Survey>)> completion = {});
  void showAnnouncement(std::string eventName, std::shared_ptr<AnnouncementCallback> callback,
                        std::function<void(bool)> completion = {});
  // Serves the host and the screen first: the callback (onAnnouncementSubmitted with the primary
  // button's target and link, or onAnnouncementCancelled with the secondary's when `completed`
  // is false) and the dismissal, without onAnnouncementDismissed; then the backend. The
  // completion says whether the backend accepted the response.
  void submitAnnouncementResponse(Survey announcement, JSONObject responses, bool completed,
                                  std::function<void(bool)> completion = {});
  void dismissCurrentAnnouncement();
  void explainAnnouncement(std::string eventName, std::function<void(std::vector<DeliveryExplanation>)> completion);
  void getAnnouncements(std::function<void(std::optional<std::vector<Survey>>)> completion);
  void getCurrentAnnouncement(std::function<void(std::optional<Survey>)> completion);
  [[nodiscard]] Subscription subscribeCurrentAnnouncement(std::function<void(const std::optional<Survey>&)> observer);

  // ---- Live cards ------------------------------------------------------------------------------
  // Cards the host places in its own screens, one per trigger id: the first card of the last
  // refresh that is live, names the trigger (ignoring case) and passes its schedule, segment,
  // rules and behavioural trigger for this user. Gated on the live-card manager (built at
  // start-up, replaced by a new one): without it the answers are false or absent. Completions
  // run on the main context.
  //
  // Whether the trigger has a card now.
  void hasLiveCard(std::string triggerId, std::function<void(bool)> completion);
  // The card for the trigger now, or absent.
  void getLiveCard(std::string triggerId, std::function<void(std::optional<LiveCard>)> completion);
  // The card for the trigger with the hooks that report its impression and clicks (see
  // LiveCardHandle), or absent. The library draws no live card yet: the host does, and calls
  // the hooks. The Tarnwell object must outlive the hooks' calls.
  void createLiveCardView(std::string triggerId, std::function<void(std::optional<LiveCardHandle>)> completion);
  // The cards of the last refresh in source order; absent without a manager.
  void getLiveCards(std::function<void(std::optional<std::vector<LiveCard>>)> completion);
  // ---- Message center ------------------------------------------------------------------------
  // Gated on the message manager, built at start-up and replaced by a new one (it keeps working
  // after shutdown): without it reads answer false, 0, empty or absent and the rest does
  // nothing. Completions run on the main context. Nothing is refused for want of settings: until
  // the workspace's settings have been read, chat and announcements are allowed.
  //
  // The workspace's settings, then (unless the center is off) the threads and the announcement
  // feed side by side; at most once per messageCenter.foregroundRefreshTtlMs, never forced.
  void refreshMessageCenter(std::function<void()> completion = {});
  // One turn of the message center screen's polling: the threads, then the feed; no time to live.
  void pollMessageCenter(std::function<void()> completion = {});
  // Opens a support thread with its first message, filed under the bootstrap's app and
  // environment; absent when chat is off, before the bootstrap, or when the backend fails.
  void createThread(std::string subject, std::string initialMessage, std::optional<JSONObject> metadata = std::nullopt,
                    std::function<void(std::optional<MessageThread>)> completion = {});
  // Sends a text message to a thread; absent when chat is off, the thread was closed by
  // support, before the bootstrap, or when the backend fails. The user's own thread reads as read.
  void sendMessage(std::string threadId, std::string content, std::optional<JSONObject> metadata = std::nullopt,
                   std::function<void(std::optional<Message>)> completion = {});
  // The thread's latest `limit` messages; on failure those loaded before, or none.
  void loadMessages(std::string threadId, int limit, std::function<void(std::vector<Message>)> completion);
  void markAnnouncementRead(std::string announcementId, std::function<void()> completion = {});
  // Marks one message, or every loaded unread message from support, read and recounts the thread.
  void markMessageRead(std::string messageId, std::string threadId, std::function<void()> completion = {});
  void markUnreadMessagesRead(std::string threadId, std::function<void()> completion = {});
  // Removes the thread for good, or hides it from the user (and closes it for support); the
  // completion says whether the backend did.
  void deleteThread(std::string threadId, std::function<void(bool)> completion = {});
  void hideThreadForUser(std::string threadId, std::function<void(bool)> completion = {});
  // Whether the workspace has the message center on (true until settings say otherwise).
  bool isMessageCenterEnabled() const;
  // The same, once the SDK is ready.
  bool canShowMessageCenter() const;
  // Unread support messages over the threads in memory.
  std::int64_t getUnreadMessageCount() const;
  // The same after a refreshMessageCenter (which its time to live may skip).
  void getUnreadMessageCount(std::function<void(std::int64_t)> completion);
  // What the message manager holds now; absent without one.
  std::optional<MessageCenterState> getMessageCenterState() const;
  // Follows it across managers replaced by a new start-up; first the value current when
  // subscribing.
  [[nodiscard]] Subscription subscribeMessageCenterState(
      std::function<void(const std::optional<MessageCenterState>&)> observer);

  // ---- Push --------------------------------------------------------------------------------------
  // The host's push token (trimmed; a blank one changes nothing). Kept for every manager,
  // including one a later start-up builds, and registered once per user and device. The
  // completion runs once the registration (or the decision that none is due) has ended.
  void onPushTokenRefreshed(std::string token, std::function<void()> completion = {});
  // Whether a remote notification's payload is the message center's: it names an announcement
  // or a thread, or has a message-center type. Nested dictionaries and JSON-object texts count.
  bool isTarnwellPush(const JSONObject& userInfo) const;
  // Opens the message center where a push of ours points and answers true (also when the
  // center then turns out to be off); false, doing nothing, for any other payload, so the host
  // handles it.
  bool handlePushMessage(const JSONObject& userInfo);
  // Publishes a route for the message center screen, then refreshes the center. Before ready,
  // without a manager or with the center off: a warning and no route. Without chat the route
  // goes to the announcements tab, with no thread.
  void openMessageCenter(std::optional<std::string> initialTab = std::nullopt,
                         std::optional<std::string> announcementId = std::nullopt,
                         std::optional<std::string> threadId = std::nullopt);
  std::optional<MessageCenterRoute> getMessageCenterRoute() const;
  [[nodiscard]] Subscription subscribeMessageCenterRoute(
      std::function<void(const std::optional<MessageCenterRoute>&)> observer);
  // Called by the screen once it has applied the route.
  void clearMessageCenterRoute();

  // ---- Views ---------------------------------------------------------------------------------
  // What an overlay host watches and calls: the current survey and announcement, and the
  // submit and dismiss operations above. The object must outlive the overlay.
  //   TarnwellOverlayHost overlay(sdk.overlayFeeds(), [&] { return myScreen(); });
  OverlayFeeds overlayFeeds();

  // ---- On-device counters, for diagnostics ------------------------------------------------
  // How often the event was counted for the current profile.
  void getEventCount(std::string eventName, std::function<void(std::int64_t)> completion);
  // Whether `count` is the milestone last marked shown for the item and event.
  void wasMilestoneShown(std::string itemId, std::string eventName, std::int64_t count,
                         std::function<void(bool)> completion);

  // ---- Identity ----------------------------------------------------------------------
  // Names the user (trimmed; blank names change nothing) and stores the traits as user
  // properties. Once ready, the backend merges the anonymous profile into the user's.
  void identify(std::string userId, JSONObject traits = {});
  // Sets the user type and the four property maps at once, then identifies the user.
  void setUserProfile(std::string userId, std::string userType, JSONObject userProperties = {},
                      JSONObject appProperties = {}, JSONObject deviceProperties = {},
                      JSONObject customProperties = {});
  // Ends the session, forgets the user (new anonymous and profile ids) and starts a new session.
  // `reason` is accepted for the host's records; the backend always hears "manual_reset".
  void resetUser(std::string reason = {});
  // The identified user; never the anonymous identifier.
  std::optional<std::string> getUserId() const;
  UserDebugState getUserDebugState() const;
  void setUserProperty(std::string key, JSONValue value);
  void setAppProperty(std::string key, JSONValue value);
  void setDeviceProperty(std::string key, JSONValue value);
  void setCustomProperty(std::string key, JSONValue value);
  void setUserType(std::string userType);

  // ---- Host integration ----------------------------------------------------------------
  // The context the SDK's state lives on; a host that chose hostPumped pumps it.
  MainContext& mainContext() noexcept;
  // The backend's tuning in force (the defaults until a bootstrap succeeds).
  RuntimeConfig getRuntimeConfig() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tarnwell
