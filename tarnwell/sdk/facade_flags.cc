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
    const std::shared_ptr<FeatureFlagManager> flags = featureFlagManager();
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

// ---- Public operations ---------------------------------------------------------------------

void Tarnwell::getFeatureFlagValue(std::string key, std::function<void(std::optional<JSONValue>)> completion) {
  impl_->runOnMain([impl = impl_.get(), key = std::move(key), completion = std::move(completion)]() mutable {
    impl->spawnOnMain(impl->readFeatureFlagValue(std::move(key), std::move(completion)));
  });
}

void Tarnwell::getExperimentVariation(std::string key, std::function<void(std::optional<Variation>)> completion) {
  impl_->runOnMain([impl = impl_.get(), key = std::move(key), completion = std::move(completion)]() mutable {
    impl->spawnOnMain(impl->readExperimentVariation(std::move(key), std::move(completion)));
  });
}

void Tarnwell::getExperimentConfig(std::string key,
                                   std::function<void(std::optional<ExperimentConfig>)> completion) {
  impl_->runOnMain([impl = impl_.get(), key = std::move(key), completion = std::move(completion)]() mutable {
    impl->spawnOnMain(impl->readExperimentConfig(std::move(key), std::move(completion)));
  });
}

void Tarnwell::trackExperimentExposure(std::string key, JSONObject context) {
  impl_->runOnMain([impl = impl_.get(), key = std::move(key), context = std::move(context)]() mutable {
    if (!impl->isReady()) return;
    impl->spawnOnMain(impl->featureFlagManager()->trackExperimentExposure(std::move(key), std::move(context)));
  });
}

void Tarnwell::trackExperimentConversion(std::string key, std::optional<std::string> goalId,
                                         std::optional<JSONValue> value, JSONObject context) {
  impl_->runOnMain([impl = impl_.get(), key = std::move(key), goalId = std::move(goalId), value = std::move(value),
                    context = std::move(context)]() mutable {
    if (!impl->isReady()) return;
    impl->spawnOnMain(impl->featureFlagManager()->trackExperimentConversion(std::move(key), std::move(goalId),
                                                                             std::move(value), std::move(context)));
  });
}

}  // namespace tarnwell
