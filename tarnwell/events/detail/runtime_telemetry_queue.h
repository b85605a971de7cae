// File: tarnwell/events/detail/runtime_telemetry_queue.h
//
// RuntimeTelemetryQueue collects high-volume bookkeeping records (flag evaluations, exposures,
// live card impressions and clicks) per tenant and sends them together in one gateway action,
// "track_runtime_telemetry_batch": as soon as a tenant's queue holds 40 items, else 120 seconds
// after the first item of a batch. Each tenant's queue is bounded at 40 items (the oldest is
// dropped) and kept in the key-value store, so items survive a restart.
//
//   auto queue = RuntimeTelemetryQueue::create(store, clock, io.get_executor());
//   queue->enqueue(runtimeTelemetryQueueKey(*client), "track_feature_flag_evaluation", payload, gateway);
//   co_await queue->flush(runtimeTelemetryQueueKey(*client), gateway);
//
// The SDK builds one queue for the process and shares it between its repositories (through
// RuntimeTelemetryBatcher). Internal: includes Asio.
//
// Contract:
// - All state lives on a strand over the executor given at construction. `enqueue` and `flush`
//   may be called from any thread; `enqueue` returns at once and its work runs on the strand in
//   call order. The strand suspends only during the gateway call, while enqueues go on filling
//   a new batch.
// - Nothing throws to the caller. A tenant's stored queue that does not decode is logged and
//   removed; a batch the gateway call fails on is logged and kept (bounded at 40) for the next
//   enqueue or flush, with no new timer. An answer of any content, even "success": false, ends
//   the batch.
// - Items live only in memory while their batch is being sent, so a crash then loses them.
// - Queues are owned by shared_ptr: a pending delayed flush keeps the queue alive until it ran.
//   The store and the clock must outlive the queue.
#pragma once

#include <asio/any_io_executor.hpp>
#include <asio/awaitable.hpp>
#include <asio/strand.hpp>

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tarnwell/backend/detail/appwrite_client.h"
#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/core/json_value.h"
#include "tarnwell/platform/clock.h"
#include "tarnwell/platform/key_value_store.h"

namespace tarnwell::detail {

class RuntimeTelemetryQueue : public std::enable_shared_from_this<RuntimeTelemetryQueue> {
 public:
  static constexpr std::size_t maxBatchSize = 40;
  static constexpr std::chrono::milliseconds flushDelay{120'000};

  static std::shared_ptr<RuntimeTelemetryQueue> create(KeyValueStore& store, Clock& clock,
                                                       asio::any_io_executor executor);

  RuntimeTelemetryQueue(const RuntimeTelemetryQueue&) = delete;
  RuntimeTelemetryQueue& operator=(const RuntimeTelemetryQueue&) = delete;

  // Appends {"action": action, "payload": payload} to the queue of `key`, flushing through
  // `gateway` when the queue fills or its delay passes.
  void enqueue(std::string key, std::string action, JSONObject payload, RuntimeGatewayRepository gateway);

  // Sends what stands in the queue of `key` now, if anything, and resumes the caller on its own
  // executor once the gateway has answered or failed.
  asio::awaitable<void> flush(std::string key, RuntimeGatewayRepository gateway);

 private:
  using Items = std::vector<JSONObject>;

  RuntimeTelemetryQueue(KeyValueStore& store, Clock& clock, asio::any_io_executor executor);

  void enqueueOnStrand(const std::string& key, std::string action, JSONObject payload,
                       const RuntimeGatewayRepository& gateway);
  asio::awaitable<void> flushOnStrand(std::string key, RuntimeGatewayRepository gateway);
  void startFlushTask(std::string key, RuntimeGatewayRepository gateway, bool afterDelay);
  void restore(const std::string& key);
  void persist(const std::string& key);

  KeyValueStore& store_;
  Clock& clock_;
  asio::strand<asio::any_io_executor> strand_;
  std::map<std::string, Items> queues_;  // oldest first
  std::set<std::string> scheduledKeys_;  // keys with a delayed flush pending
};

// A tenant's queue key: the client's team id, else "unknown_team"; ":"; its environment, else
// "production" (an empty value counts as absent).
std::string runtimeTelemetryQueueKey(const AppwriteClient& client);

}  // namespace tarnwell::detail
