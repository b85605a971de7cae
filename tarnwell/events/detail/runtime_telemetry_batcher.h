// File: tarnwell/events/detail/runtime_telemetry_batcher.h
//
// RuntimeTelemetryBatcher is what the flag, exposure and live card repositories call to record
// a bookkeeping action without a gateway call of its own: it files the action under the current
// tenant (the client's team and environment) in the process-wide RuntimeTelemetryQueue, which
// sends the tenant's items together as one "track_runtime_telemetry_batch".
//
//   RuntimeTelemetryBatcher telemetry(client, transport, queue);
//   telemetry.enqueue("track_feature_flag_evaluation", JSONObject{{"flagKey", "new_checkout"}});
//   co_await telemetry.flush();   // at the end of the SDK's flush
//
// Contract: `enqueue` may be called from any thread and returns at once; `flush` resumes its
// caller on the caller's executor. Neither throws nor reports failures: the queue logs them and
// keeps the items. Internal: includes Asio.
#pragma once

#include <asio/awaitable.hpp>

#include <memory>
#include <string>

#include "tarnwell/backend/detail/appwrite_client.h"
#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/core/json_value.h"
#include "tarnwell/events/detail/runtime_telemetry_queue.h"
#include "tarnwell/platform/http_transport.h"

namespace tarnwell::detail {

class RuntimeTelemetryBatcher {
 public:
  RuntimeTelemetryBatcher(std::shared_ptr<AppwriteClient> client, std::shared_ptr<HttpTransport> transport,
                          std::shared_ptr<RuntimeTelemetryQueue> queue);

  // Queues {"action": action, "payload": payload} for the client's current tenant.
  void enqueue(std::string action, JSONObject payload);
  // Sends what the client's current tenant has queued, if anything.
  asio::awaitable<void> flush();

 private:
  std::shared_ptr<AppwriteClient> client_;
  RuntimeGatewayRepository gateway_;
  std::shared_ptr<RuntimeTelemetryQueue> queue_;
};

}  // namespace tarnwell::detail
