// Feature flags and experiments: reads answer absent (or the caller's default) and tracking
// does nothing until the SDK is ready.
#include "tarnwell/sdk/detail/facade_impl.h"

namespace tarnwell {

asio::awaitable<void> Tarnwell::Impl::readFeatureFlagValue(std::string key,
                                                           std::function<void(std::optional<JSONValue>)> completion) {
  std::optional<JSONValue> value;
  if (isReady()) value = (co_await featureFlagManager()->resolveValue(std::move(key))).value;
  if (completion) completion(std::move(value));
}

asio::awaitable<void> Tarnwell::Impl::readExperimentVariation(
    std::string key, std::function<void(std::optional<Variation>)> completion) {
  std::optional<Variation> variation;
  if (isReady()) {
    // Evaluated first, so asking for the variation reports the flag like a read.
    const std::shared_ptr<detail::FeatureFlagManager> flags = featureFlagManager();
    co_await flags->resolveValue(key);
    variation = co_await flags->getExperimentVariation(std::move(key));
  }
  if (completion) completion(std::move(variation));
}

asio::awaitable<void> Tarnwell::Impl::readExperimentConfig(
    std::string key, std::function<void(std::optional<ExperimentConfig>)> completion) {
  std::optional<ExperimentConfig> experiment;
  if (isReady()) experiment = co_await featureFlagManager()->getExperimentConfig(std::move(key));
  if (completion) completion(std::move(experiment));
}

asio::awaitable<void> Tarnwell::Impl::trackExperimentExposure(std::string key, JSONObject context) {
  if (isReady()) co_await featureFlagManager()->trackExperimentExposure(std::move(key), std::move(context));
}

asio::awaitable<void> Tarnwell::Impl::trackExperimentConversion(std::string key, std::optional<std::string> goalId,
                                                                std::optional<JSONValue> value, JSONObject context) {
  if (!isReady()) co_return;
  co_await featureFlagManager()->trackExperimentConversion(std::move(key), std::move(goalId), std::move(value),
                                                           std::move(context));
}

// ---- Public operations ---------------------------------------------------------------------

void Tarnwell::getFeatureFlagValue(std::string key, std::function<void(std::optional<JSONValue>)> completion) {
  impl_->spawnOnMain(impl_->readFeatureFlagValue(std::move(key), std::move(completion)));
}

void Tarnwell::getExperimentVariation(std::string key, std::function<void(std::optional<Variation>)> completion) {
  impl_->spawnOnMain(impl_->readExperimentVariation(std::move(key), std::move(completion)));
}

void Tarnwell::getExperimentConfig(std::string key, std::function<void(std::optional<ExperimentConfig>)> completion) {
  impl_->spawnOnMain(impl_->readExperimentConfig(std::move(key), std::move(completion)));
}

void Tarnwell::trackExperimentExposure(std::string key, JSONObject context) {
  impl_->spawnOnMain(impl_->trackExperimentExposure(std::move(key), std::move(context)));
}

void Tarnwell::trackExperimentConversion(std::string key, std::optional<std::string> goalId,
                                         std::optional<JSONValue> value, JSONObject context) {
  impl_->spawnOnMain(
      impl_->trackExperimentConversion(std::move(key), std::move(goalId), std::move(value), std::move(context)));
}

}  // namespace tarnwell
