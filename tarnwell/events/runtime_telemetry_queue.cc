#include "tarnwell/events/detail/runtime_telemetry_queue.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/post.hpp>

#include <algorithm>
#include <system_error>
#include <utility>

#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/core/coding_error.h"
#include "tarnwell/core/detail/record_coding.h"
#include "tarnwell/core/log.h"
#include "tarnwell/platform/detail/async.h"

namespace tarnwell::detail {
namespace {

using ItemCoder = JSONCoder<std::vector<JSONObject>>;

std::string storageKey(const std::string& queueKey) {
  std::string key = queueKey;
  std::replace(key.begin(), key.end(), ':', '_');
  return "com.tarnwell.runtimeTelemetryQueue." + key + ".v1";
}

// Drops the oldest items beyond the bound.
void keepNewest(std::vector<JSONObject>& items) {
  if (items.size() > RuntimeTelemetryQueue::maxBatchSize) {
    items.erase(items.begin(), items.end() - RuntimeTelemetryQueue::maxBatchSize);
  }
}

}  // namespace

std::string runtimeTelemetryQueueKey(const AppwriteClient& client) {
  auto orDefault = [](std::optional<std::string> value, const char* fallback) {
    return value && !value->empty() ? *std::move(value) : std::string(fallback);
  };
  return orDefault(client.getTeamId(), "unknown_team") + ":" + orDefault(client.getEnvironment(), "production");
}

std::shared_ptr<RuntimeTelemetryQueue> RuntimeTelemetryQueue::create(KeyValueStore& store, Clock& clock,
                                                                     asio::any_io_executor executor) {
  return std::shared_ptr<RuntimeTelemetryQueue>(new RuntimeTelemetryQueue(store, clock, std::move(executor)));
}

RuntimeTelemetryQueue::RuntimeTelemetryQueue(KeyValueStore& store, Clock& clock, asio::any_io_executor executor)
    : store_(store), clock_(clock), strand_(asio::make_strand(std::move(executor))) {}

void RuntimeTelemetryQueue::enqueue(std::string key, std::string action, JSONObject payload,
                                    RuntimeGatewayRepository gateway) {
  asio::post(strand_, [self = shared_from_this(), key = std::move(key), action = std::move(action),
                       payload = std::move(payload), gateway = std::move(gateway)]() mutable {
    self->enqueueOnStrand(key, std::move(action), std::move(payload), gateway);
  });
}

asio::awaitable<void> RuntimeTelemetryQueue::flush(std::string key, RuntimeGatewayRepository gateway) {
  co_await runOn(strand_, flushOnStrand(std::move(key), std::move(gateway)));
}

void RuntimeTelemetryQueue::enqueueOnStrand(const std::string& key, std::string action, JSONObject payload,
                                            const RuntimeGatewayRepository& gateway) {
  restore(key);
  Items& items = queues_[key];
  items.push_back(JSONObject{{"action", JSONValue(std::move(action))}, {"payload", JSONValue(std::move(payload))}});
  keepNewest(items);
  persist(key);
  if (items.size() >= maxBatchSize) {
    startFlushTask(key, gateway, false);
  } else if (scheduledKeys_.insert(key).second) {
    startFlushTask(key, gateway, true);
  }
}

void RuntimeTelemetryQueue::startFlushTask(std::string key, RuntimeGatewayRepository gateway, bool afterDelay) {
  // Posted, so the task runs as work of its own after this turn, behind enqueues already waiting.
  asio::post(
      strand_, [self = shared_from_this(), key = std::move(key), gateway = std::move(gateway), afterDelay]() mutable {
        auto task = [self, key = std::move(key), gateway = std::move(gateway), afterDelay]() -> asio::awaitable<void> {
          if (afterDelay) {
            try {
              co_await sleepFor(self->clock_, flushDelay);
            } catch (const std::system_error&) {
              // Cut short (the host is shutting down): send what is there rather than leave it waiting.
            }
          }
          co_await self->flushOnStrand(key, gateway);
        };
        asio::co_spawn(self->strand_, std::move(task), asio::detached);
      });
}

asio::awaitable<void> RuntimeTelemetryQueue::flushOnStrand(std::string key, RuntimeGatewayRepository gateway) {
  restore(key);
  scheduledKeys_.erase(key);
  Items batch;
  if (auto found = queues_.find(key); found != queues_.end()) {
    batch = std::move(found->second);
    queues_.erase(found);
  }
  persist(key);
  if (batch.empty()) {
    co_return;
  }

  JSONObject payload{{"items", ItemCoder::encode(batch)}};
  try {
    // The answer carries nothing to act on: even "success": false ends the batch.
    co_await gateway.execute("track_runtime_telemetry_batch", std::move(payload), true);
  } catch (const std::exception& error) {
    logError("Failed to flush runtime telemetry batch", textualForm(error));
    // The batch goes back in front of what queued meanwhile; the next enqueue or flush retries.
    Items& queued = queues_[key];
    batch.insert(batch.end(), std::make_move_iterator(queued.begin()), std::make_move_iterator(queued.end()));
    keepNewest(batch);
    queued = std::move(batch);
    persist(key);
  }
}

void RuntimeTelemetryQueue::restore(const std::string& key) {
  if (queues_.contains(key)) {
    return;
  }
  const std::string stored = storageKey(key);
  const std::optional<Bytes> data = store_.getBytes(stored);
  if (!data) {
    return;
  }
  Items items;
  try {
    const std::string text(data->begin(), data->end());
    items = ItemCoder::decode(JSONValue::decode(text), CodingPath{});
  } catch (const DecodingError& error) {
    logError("Failed to restore runtime telemetry queue", textualForm(error));
    store_.remove(stored);
    return;
  }
  keepNewest(items);
  if (!items.empty()) {
    logInfo("Restored " + std::to_string(items.size()) + " runtime telemetry item(s) from disk");
  }
  queues_[key] = std::move(items);
}

void RuntimeTelemetryQueue::persist(const std::string& key) {
  const std::string stored = storageKey(key);
  const auto found = queues_.find(key);
  if (found == queues_.end() || found->second.empty()) {
    store_.remove(stored);
    return;
  }
  try {
    // A store that cannot write logs its own failure.
    store_.setBytes(stored, asBytes(ItemCoder::encode(found->second).encode()));
  } catch (const EncodingError& error) {
    logError("Failed to persist runtime telemetry queue", textualForm(error));
  }
}

}  // namespace tarnwell::detail
