// File: tarnwell/content/detail/runtime_bundle_repository.h
//
// RuntimeBundleRepository keeps the runtime bundle of the current team and environment in the
// key-value store and asks the gateway for a newer one when the stored one is older than 900
// seconds. It sends the version marks it holds, so an unchanged bundle comes back as
// "notModified" with no lists.
//
//   RuntimeBundleRepository bundles(gateway, client, store, clock);
//   std::optional<RuntimeBundle> bundle = co_await bundles.loadBundle(false);
//
// It holds no state of its own: the stored bundle is the shared state. Repositories given the same
// BundleLoadGate share one request for a stale bundle; without one several loads may run at once
// (the last to finish wins the entry). loadBundle never throws: a failed request is
// logged and the stored bundle, however old, is the answer. Internal: includes Asio.
#pragma once

#include <asio/awaitable.hpp>

#include <memory>
#include <optional>
#include <string>

#include "tarnwell/backend/detail/appwrite_client.h"
#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/content/detail/bundle_load_gate.h"
#include "tarnwell/content/runtime_bundle.h"
#include "tarnwell/platform/clock.h"
#include "tarnwell/platform/key_value_store.h"

namespace tarnwell::detail {

class RuntimeBundleRepository {
 public:
  // How long a stored bundle is served without asking the server, whatever the runtime config.
  static constexpr double kFreshForSeconds = 900.0;

  RuntimeBundleRepository(RuntimeGatewayRepository gateway, std::shared_ptr<AppwriteClient> client,
                          KeyValueStore& store, Clock& clock, std::shared_ptr<detail::BundleLoadGate> loads = nullptr);

  asio::awaitable<std::optional<RuntimeBundle>> loadBundle(bool force);

  // "tarnwell.runtimeBundle." + team + "." + environment, computed on each access.
  std::string bundleCacheKey() const;
  // The stored bundle; absent when there is none or it no longer decodes (the entry stays).
  std::optional<RuntimeBundle> readCachedBundle() const;
  void writeCachedBundle(const RuntimeBundle& bundle) const;

 private:
  // The request itself, answered from `cached` when it fails.
  asio::awaitable<std::optional<RuntimeBundle>> fetchBundle(std::optional<RuntimeBundle> cached);
  bool isFresh(const std::optional<RuntimeBundle>& cached) const;

  RuntimeGatewayRepository gateway_;
  std::shared_ptr<AppwriteClient> client_;
  KeyValueStore& store_;
  Clock& clock_;
  std::shared_ptr<detail::BundleLoadGate> loads_;
};

}  // namespace tarnwell::detail
