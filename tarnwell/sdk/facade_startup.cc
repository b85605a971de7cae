// The start-up: from a configuration to a ready SDK, or to the error state with the failure's
// words.
#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>

#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/sdk/detail/facade_impl.h"

namespace tarnwell {

void Tarnwell::Impl::beginStartUp(TarnwellSDKConfig startConfig, StateCallback completion) {
  if (state.value().kind() == SDKState::Kind::initializing) {
    if (completion) completion(state.value());
    return;
  }
  state.set(SDKState::initializing());
  asio::co_spawn(main->ioContext(), startUp(std::move(startConfig), std::move(completion)), asio::detached);
}

asio::awaitable<void> Tarnwell::Impl::startUp(TarnwellSDKConfig startConfig, StateCallback completion) {
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
  const RuntimeConfig tuning = runtimeConfig;
  // The queue restores what an earlier process left before any event is admitted.
  co_await eventManager()->configure(tuning.events, tuning.killSwitches);
  configureDeliveryManagers();
  configureLiveCardManager();
  configureMessageManager();
  state.set(SDKState::ready());
  startSessionTracking();
  scheduleUserSync(std::chrono::milliseconds(0));
  flushLoop->start(eventManager());
  co_await refreshAllContent();
  if (completion) completion(state.value());
}

// A failed start-up stays failed until the application initialises again; what it changed
// already (the client's coordinates, sdkConfig) stays.
void Tarnwell::Impl::failStartUp(const std::exception& error, const StateCallback& completion) {
  state.set(SDKState::error(error.what()));
  logError("Failed to initialize Tarnwell", detail::textualForm(error));
  if (completion) completion(state.value());
}

// A configuration that cannot even be read goes straight to `error`, whatever the state,
// without a log line.
void Tarnwell::Impl::failConfiguration(const std::exception& error, const StateCallback& completion) {
  state.set(SDKState::error(error.what()));
  if (completion) completion(state.value());
}

std::optional<ApiKeyConfig> Tarnwell::Impl::loadedConfig() const {
  std::lock_guard lock(mutex);
  return config;
}

// ---- Public start-up operations ------------------------------------------------------------

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
  impl_->runOnMain([impl = impl_.get(), name = std::move(configFileName), bundle = std::move(bundle),
                    completion = std::move(completion)]() mutable {
    std::optional<TarnwellSDKConfig> config;
    try {
      config = TarnwellSDKConfig::fromBundle(name, bundle);
    } catch (const std::exception& error) {
      return impl->failConfiguration(error, completion);
    }
    impl->beginStartUp(std::move(*config), std::move(completion));
  });
}

void Tarnwell::initializeFromJSON(std::string configJSON, StateCallback completion) {
  impl_->runOnMain([impl = impl_.get(), json = std::move(configJSON), completion = std::move(completion)]() mutable {
    std::optional<TarnwellSDKConfig> config;
    try {
      config = TarnwellSDKConfig::fromJSON(json);
    } catch (const std::exception& error) {
      return impl->failConfiguration(error, completion);
    }
    impl->beginStartUp(std::move(*config), std::move(completion));
  });
}

}  // namespace tarnwell
