#include "tarnwell/core/tarnwell.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>

#include <mutex>

#include "tarnwell/backend/detail/api_key_repository.h"
#include "tarnwell/backend/gateway_errors.h"
#include "tarnwell/core/constants.h"
#include "tarnwell/identity/property_manager.h"
#include "tarnwell/platform/curl_http_transport.h"
#include "tarnwell/platform/detail/async.h"

namespace tarnwell {

struct Tarnwell::Impl {
  explicit Impl(HostOptions options)
      : main(std::make_unique<MainContext>(options.mainContextMode)),
        clock(options.clock ? std::move(options.clock) : systemClock()),
        store(options.store ? std::move(options.store)
                            : std::shared_ptr<KeyValueStore>(openKeyValueStore(
                                  options.storePath.empty() ? defaultKeyValueStorePath() : options.storePath))),
        transport(options.transport ? std::move(options.transport) : std::make_shared<CurlHttpTransport>()),
        uuids(options.uuidSeed ? std::make_unique<UuidGenerator>(*options.uuidSeed) : std::make_unique<UuidGenerator>()),
        pool(std::make_unique<detail::WorkerPool>()),
        // Construction reads the stored identifiers and nothing else.
        properties(std::make_unique<PropertyManager>(
            *store, options.appInfo ? options.appInfo() : readProcessAppInfo(),
            options.deviceInfo ? std::move(options.deviceInfo) : DeviceInfoProvider(readSystemDeviceInfo), *uuids)),
        state(*main, SDKState::notInitialized()) {}

  ~Impl() {
    // Tear I/O down while the main context still exists, so late completions land in its
    // (never again run) queue rather than in freed memory.
    main->stop();
    transport.reset();
    pool.reset();
  }

  // Work that touches main-context state runs there: at once when already on it.
  void runOnMain(std::function<void()> work) {
    if (main->runningInThisThread()) {
      work();
    } else {
      main->post(std::move(work));
    }
  }

  std::shared_ptr<AppwriteClient> client() {
    std::lock_guard lock(mutex);
    if (!clientInstance) {
      clientInstance = std::make_shared<AppwriteClient>(
          std::string(Constants::appwriteEndpoint), std::string(Constants::centralProjectId),
          std::string(Constants::centralDatabaseId), std::string(Constants::sdkRuntimeGatewayFunctionId));
    }
    return clientInstance;
  }

  ApiKeyRepository& apiKeyRepository() {
    if (!apiKeyRepositoryInstance) {
      apiKeyRepositoryInstance = std::make_unique<ApiKeyRepository>(client(), transport);
    }
    return *apiKeyRepositoryInstance;
  }

  void beginStartUp(TarnwellSDKConfig startConfig, StateCallback completion) {
    if (state.value().kind() == SDKState::Kind::initializing) {
      if (completion) completion(state.value());
      return;
    }
    state.set(SDKState::initializing());
    asio::co_spawn(main->ioContext(), startUp(std::move(startConfig), std::move(completion)), asio::detached);
  }

  asio::awaitable<void> startUp(TarnwellSDKConfig startConfig, StateCallback completion) {
    try {
      client()->configure(startConfig.appwrite);
      sdkConfig = startConfig;
      const Environment environment = startConfig.selectedEnvironment();
      // The bootstrap is the one network call readiness depends on; it runs on the worker pool.
      ApiKeyConfig validated =
          co_await detail::runOn(pool->executor(), apiKeyRepository().validateApiKey(startConfig.apiKey, environment));
      {
        std::lock_guard lock(mutex);
        runtimeConfig = validated.runtimeConfig;
        config = std::move(validated);
      }
    } catch (const std::exception& error) {
      failStartUp(error, completion);
      co_return;
    }
    state.set(SDKState::ready());
    if (completion) completion(state.value());
  }

  // A failed start-up stays failed until the application initialises again; what it changed
  // already (the client's coordinates, sdkConfig) stays.
  void failStartUp(const std::exception& error, const StateCallback& completion) {
    state.set(SDKState::error(error.what()));
    logError("Failed to initialize Tarnwell", textualForm(error));
    if (completion) completion(state.value());
  }

  // A configuration that cannot even be read goes straight to `error`, whatever the state,
  // without a log line.
  void failConfiguration(const std::exception& error, const StateCallback& completion) {
    state.set(SDKState::error(error.what()));
    if (completion) completion(state.value());
  }

  std::unique_ptr<MainContext> main;
  std::shared_ptr<Clock> clock;
  std::shared_ptr<KeyValueStore> store;
  std::shared_ptr<HttpTransport> transport;
  std::unique_ptr<UuidGenerator> uuids;
  std::unique_ptr<detail::WorkerPool> pool;
  std::unique_ptr<PropertyManager> properties;
  Published<SDKState> state;

  // Written on the main context; read from any thread under the mutex.
  mutable std::mutex mutex;
  std::shared_ptr<AppwriteClient> clientInstance;
  std::optional<ApiKeyConfig> config;
  RuntimeConfig runtimeConfig = defaultRuntimeConfig();

  // Main context only.
  std::unique_ptr<ApiKeyRepository> apiKeyRepositoryInstance;
  TarnwellSDKConfig sdkConfig = legacyPlaceholderConfig();
};

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

Tarnwell::Tarnwell(HostOptions options) {
  if (options.logSink) {
    setLogSink(std::move(options.logSink));
  }
  impl_ = std::make_unique<Impl>(std::move(options));
}

Tarnwell::~Tarnwell() = default;

void Tarnwell::initialize(TarnwellSDKConfig config, StateCallback completion) {
  impl_->runOnMain([impl = impl_.get(), config = std::move(config), completion = std::move(completion)]() mutable {
    impl->beginStartUp(std::move(config), std::move(completion));
  });
}

void Tarnwell::initialize(std::string apiKey, Environment environment, StateCallback completion) {
  TarnwellSDKConfig config;
  config.schemaVersion = 1;
  config.apiKey = std::move(apiKey);
  config.environment = std::string(rawValue(environment));
  config.appwrite = legacyPlaceholderConfig().appwrite;
  initialize(std::move(config), std::move(completion));
}

void Tarnwell::initializeFromFile(std::string configFileName, std::filesystem::path bundle, StateCallback completion) {
  impl_->runOnMain([this, name = std::move(configFileName), bundle = std::move(bundle),
                    completion = std::move(completion)]() mutable {
    try {
      TarnwellSDKConfig config = TarnwellSDKConfig::fromBundle(name, bundle);
      impl_->beginStartUp(std::move(config), std::move(completion));
    } catch (const std::exception& error) {
      impl_->failConfiguration(error, completion);
    }
  });
}

void Tarnwell::initializeFromJSON(std::string configJSON, StateCallback completion) {
  impl_->runOnMain([this, json = std::move(configJSON), completion = std::move(completion)]() mutable {
    try {
      TarnwellSDKConfig config = TarnwellSDKConfig::fromJSON(json);
      impl_->beginStartUp(std::move(config), std::move(completion));
    } catch (const std::exception& error) {
      impl_->failConfiguration(error, completion);
    }
  });
}

SDKState Tarnwell::getState() const { return impl_->state.value(); }

Subscription Tarnwell::subscribeState(std::function<void(const SDKState&)> observer) {
  return impl_->state.subscribe(std::move(observer));
}

bool Tarnwell::isReady() const { return getState().kind() == SDKState::Kind::ready; }

bool Tarnwell::isInitialized() const { return isReady(); }

void Tarnwell::shutdown() {
  impl_->runOnMain([impl = impl_.get()] { impl->state.set(SDKState::shutdown()); });
}

std::optional<std::string> Tarnwell::getUserId() const { return impl_->properties->getCurrentKnownUserId(); }

UserDebugState Tarnwell::getUserDebugState() const {
  const PropertyManager& properties = *impl_->properties;
  UserDebugState debug;
  debug.profileId = properties.getProfileId();
  debug.anonymousId = properties.getAnonymousId();
  debug.identifiedUserId = properties.getCurrentKnownUserId();
  debug.effectiveUserId = debug.identifiedUserId.value_or(debug.anonymousId);
  debug.deviceId = properties.getDeviceId();
  const auto client = impl_->client();
  debug.teamId = client->getTeamId();
  debug.environment = client->getEnvironment();
  std::lock_guard lock(impl_->mutex);
  if (impl_->config) debug.appId = impl_->config->appId;
  return debug;
}

void Tarnwell::setUserProperty(std::string key, JSONValue value) {
  impl_->properties->setUserProperty(std::move(key), std::move(value));
}

void Tarnwell::setAppProperty(std::string key, JSONValue value) {
  impl_->properties->setAppProperty(std::move(key), std::move(value));
}

void Tarnwell::setDeviceProperty(std::string key, JSONValue value) {
  impl_->properties->setDeviceProperty(std::move(key), std::move(value));
}

void Tarnwell::setCustomProperty(std::string key, JSONValue value) {
  impl_->properties->setCustomProperty(std::move(key), std::move(value));
}

void Tarnwell::setUserType(std::string userType) { impl_->properties->setUserType(std::move(userType)); }

MainContext& Tarnwell::mainContext() noexcept { return *impl_->main; }

RuntimeConfig Tarnwell::getRuntimeConfig() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->runtimeConfig;
}

}  // namespace tarnwell
