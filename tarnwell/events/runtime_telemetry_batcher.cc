#include "tarnwell/events/detail/runtime_telemetry_batcher.h"

#include <utility>

namespace tarnwell::detail {

RuntimeTelemetryBatcher::RuntimeTelemetryBatcher(std::shared_ptr<AppwriteClient> client,
                                                 std::shared_ptr<HttpTransport> transport,
                                                 std::shared_ptr<RuntimeTelemetryQueue> queue)
    : client_(client), gateway_(std::move(client), std::move(transport)), queue_(std::move(queue)) {}

void RuntimeTelemetryBatcher::enqueue(std::string action, JSONObject payload) {
  queue_->enqueue(runtimeTelemetryQueueKey(*client_), std::move(action), std::move(payload), gateway_);
}

asio::awaitable<void> RuntimeTelemetryBatcher::flush() {
  co_await queue_->flush(runtimeTelemetryQueueKey(*client_), gateway_);
}

}  // namespace tarnwell::detail
