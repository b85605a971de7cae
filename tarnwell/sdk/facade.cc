// The facade's construction, its lazily built components and its reads.
#include "tarnwell/sdk/facade.h"

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>

#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/core/constants.h"
#include "tarnwell/platform/detail/curl_http_transport.h"
#include "tarnwell/sdk/detail/facade_impl.h"

namespace tarnwell {

Tarnwell::Impl::Impl(HostOptions options)
    : logSink(std::make_shared<const LogSink>(std::move(options.logSink))),
      main(std::make_unique<MainContext>(options.mainContextMode, *logSink)),
      clock(std::make_shared<detail::ClosableClock>(options.clock ? std::move(options.clock) : systemClock())),
      store(options.store ? std::move(options.store)
                          : std::shared_ptr<KeyValueStore>(openKeyValueStore(
                                options.storePath.empty() ? defaultKeyValueStorePath() : options.storePath))),
      transport(std::make_shared<detail::ClosableTransport>(
          options.transport
              ? std::move(options.transport)
              : std::make_shared<detail::CurlHttpTransport>(detail::CurlHttpTransport::Options{.logSink = *logSink}))),
      backgroundTasks(options.backgroundTasks ? std::move(options.backgroundTasks)
                                              : std::make_shared<NullBackgroundTaskHost>()),
      uuids(options.uuidSeed ? std::make_unique<detail::UuidGenerator>(*options.uuidSeed)
                             : std::make_unique<detail::UuidGenerator>()),
      pool(std::make_unique<detail::WorkerPool>(2, *logSink)),
      appInfo(options.appInfo ? options.appInfo() : readProcessAppInfo()),
      deviceInfo(options.deviceInfo ? std::move(options.deviceInfo) : DeviceInfoProvider(readSystemDeviceInfo)),
      // Construction reads the stored identifiers and nothing else.
      properties(std::make_unique<detail::PropertyManager>(*store, appInfo, deviceInfo, *uuids)),
      sessions(std::make_unique<detail::SessionManager>(*clock, *uuids)),
      state(*main, SDKState::notInitialized()),
      flushLoop(std::make_unique<detail::EventFlushLoop>(main->ioContext().get_executor(), *clock,
                                                         [this] { return tuning().events.flushIntervalMs; })) {}

Tarnwell::Impl::~Impl() {
  // 1. No more main-context work. 2. End every sleep and transfer the SDK started, so the worker
  // pool drains; late completions for the main context land in its queue, never run again.
  // 3. Drop that queue (and the tasks in it) while the pool's strands still exist, since those
  // tasks hold components that live on them. 4. Only then the components and the pool.
  main->stop();
  clock->close();
  transport->close();
  pool->join();
  // The flush loop's cancellation slot still holds its last sleep, which resumes on the main
  // context: let go of it while that context exists.
  flushLoop.reset();
  main.reset();
  featureFlagManagerInstance.reset();
  eventManagerInstance.reset();
  telemetryInstance.reset();
  pool.reset();
}

void Tarnwell::Impl::runOnMain(std::function<void()> work) {
  if (main->runningInThisThread()) {
    work();
  } else {
    main->post(std::move(work));
  }
}

void Tarnwell::Impl::spawnOnMain(asio::awaitable<void> work) {
  asio::co_spawn(main->ioContext(), std::move(work), [](std::exception_ptr failure) {
    if (!failure) return;
    try {
      std::rethrow_exception(failure);
    } catch (const std::exception& error) {
      // Cancelled work ends quietly; anything else would be a fault of ours, never the host's.
      if (!detail::isCancellationError(error))
        logError("Background work of the SDK failed", detail::textualForm(error));
    } catch (...) {
      logError("Background work of the SDK failed", "unknown exception");
    }
  });
}

std::shared_ptr<detail::AppwriteClient> Tarnwell::Impl::client() {
  std::lock_guard lock(mutex);
  if (!clientInstance) {
    clientInstance = std::make_shared<detail::AppwriteClient>(
        std::string(Constants::appwriteEndpoint), std::string(Constants::centralProjectId),
        std::string(Constants::centralDatabaseId), std::string(Constants::sdkRuntimeGatewayFunctionId));
  }
  return clientInstance;
}

detail::ApiKeyRepository& Tarnwell::Impl::apiKeyRepository() {
  if (!apiKeyRepositoryInstance)
    apiKeyRepositoryInstance = std::make_unique<detail::ApiKeyRepository>(client(), transport);
  return *apiKeyRepositoryInstance;
}

detail::UserSync& Tarnwell::Impl::userSync() {
  if (!userSyncInstance) {
    userSyncInstance = std::make_unique<detail::UserSync>(
        detail::UserRepository(client(), transport), *properties, *clock, pool->executor(),
        [this](std::optional<std::string> sessionId, bool isRegistered) {
          return makeSnapshot(std::move(sessionId), isRegistered);
        });
  }
  return *userSyncInstance;
}

std::shared_ptr<detail::EventManager> Tarnwell::Impl::eventManager() {
  if (!eventManagerInstance) {
    eventManagerInstance =
        detail::EventManager::create(pool->executor(),
                                     detail::EventRepository(detail::RuntimeGatewayRepository(client(), transport),
                                                             *clock, *uuids, appInfo.bundleId),
                                     *clock, *store);
  }
  return eventManagerInstance;
}

detail::BehavioralEventTracker& Tarnwell::Impl::behavioralEventTracker() {
  if (!trackerInstance) trackerInstance = std::make_unique<detail::BehavioralEventTracker>(*store, *properties);
  return *trackerInstance;
}

detail::RuntimeTelemetryBatcher& Tarnwell::Impl::telemetry() {
  if (!telemetryInstance) {
    telemetryInstance = std::make_unique<detail::RuntimeTelemetryBatcher>(
        client(), transport, detail::RuntimeTelemetryQueue::create(*store, *clock, pool->executor()));
  }
  return *telemetryInstance;
}

std::shared_ptr<detail::FeatureFlagManager> Tarnwell::Impl::featureFlagManager() {
  if (!featureFlagManagerInstance) {
    // Experiment events reach trackEvent on the main context, where its gate is read.
    auto eventTracker = [this](std::string name, JSONObject properties, std::string eventType) {
      runOnMain([this, name = std::move(name), properties = std::move(properties), eventType = std::move(eventType)] {
        trackEvent(name, properties, eventType);
      });
    };
    featureFlagManagerInstance = detail::FeatureFlagManager::create(
        pool->executor(),
        detail::FeatureFlagRepository(detail::RuntimeGatewayRepository(client(), transport),
                                      makeRuntimeBundleRepository(), telemetry()),
        *properties, *sessions, *clock, detail::processStringHasher(), std::move(eventTracker), deviceInfo().platform);
  }
  return featureFlagManagerInstance;
}

detail::RuntimeBundleRepository Tarnwell::Impl::makeRuntimeBundleRepository() {
  return detail::RuntimeBundleRepository(detail::RuntimeGatewayRepository(client(), transport), client(), *store,
                                         *clock, bundleLoads);
}

// ---- The shared object ---------------------------------------------------------------------

namespace {

std::mutex& sharedMutex() {
  static std::mutex mutex;
  return mutex;
}

HostOptions& pendingHostOptions() {
  static HostOptions options;
  return options;
}

bool& sharedBuilt() {
  static bool built = false;
  return built;
}

}  // namespace

bool Tarnwell::configureHost(HostOptions options) {
  std::lock_guard lock(sharedMutex());
  if (sharedBuilt()) {
    logWarn("Host options are ignored once the shared Tarnwell object exists");
    return false;
  }
  pendingHostOptions() = std::move(options);
  return true;
}

Tarnwell& Tarnwell::shared() {
  static Tarnwell* instance = [] {
    std::lock_guard lock(sharedMutex());
    sharedBuilt() = true;
    // Lives for the rest of the process, like the application it serves.
    return new Tarnwell(std::move(pendingHostOptions()));
  }();
  return *instance;
}

// Construction and teardown run on the host's thread: their lines go to this object's sink too.
Tarnwell::Tarnwell(HostOptions options) {
  const detail::SharedLogSink sink = std::make_shared<const LogSink>(options.logSink);
  const detail::LogScope scope(sink);
  impl_ = std::make_unique<Impl>(std::move(options));
}

Tarnwell::~Tarnwell() {
  const detail::SharedLogSink sink = impl_->logSink;
  const detail::LogScope scope(sink);
  impl_.reset();
}

// ---- Reads ---------------------------------------------------------------------------------

SDKState Tarnwell::getState() const { return impl_->state.value(); }

Subscription Tarnwell::subscribeState(std::function<void(const SDKState&)> observer) {
  return impl_->state.subscribe(std::move(observer));
}

bool Tarnwell::isReady() const { return impl_->isReady(); }

bool Tarnwell::isInitialized() const { return isReady(); }

std::optional<std::string> Tarnwell::getUserId() const { return impl_->properties->getCurrentKnownUserId(); }

UserDebugState Tarnwell::getUserDebugState() const {
  const detail::PropertyManager& properties = *impl_->properties;
  UserDebugState debug;
  debug.profileId = properties.getProfileId();
  debug.anonymousId = properties.getAnonymousId();
  debug.identifiedUserId = properties.getCurrentKnownUserId();
  debug.effectiveUserId = debug.identifiedUserId.value_or(debug.anonymousId);
  debug.deviceId = properties.getDeviceId();
  debug.sessionId = impl_->sessions->getCurrentSessionId();
  const auto client = impl_->client();
  debug.teamId = client->getTeamId();
  debug.environment = client->getEnvironment();
  if (const auto config = impl_->loadedConfig()) debug.appId = config->appId;
  return debug;
}

MainContext& Tarnwell::mainContext() noexcept { return *impl_->main; }

RuntimeConfig Tarnwell::getRuntimeConfig() const { return impl_->tuning(); }

}  // namespace tarnwell
