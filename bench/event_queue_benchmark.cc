// Admitting one event into a full queue (admission test with sampling at 100 percent, the oldest
// event dropped, the queue persisted) at depths 10, 100 and 500, each next to a bare
// KeyValueStore::setBytes of the same number of bytes on a SQLite store, as hosts have; and the
// sampling hash of a typical five-part text.
#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include <limits>
#include <string>
#include <vector>

#include "bench/ratio_reporter.h"
#include "tarnwell/events/detail/event_manager.h"
#include "tarnwell/events/detail/event_sampling.h"
#include "tarnwell/platform/detail/sqlite_key_value_store.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tarnwell/testing/virtual_clock.h"
#include "tests/support/scratch_dir.h"

namespace {

using namespace tarnwell;

// An event with property maps of the size the property store hands out.
detail::EventRecord typicalEvent() {
  detail::EventRecord event;
  event.eventName = "checkout_started";
  event.userId = "user-8431";
  event.sessionId = "5F0C7A52-9D1B-4E3A-8C21-3B6E0D9F4A17";
  event.userProperties = JSONObject{{"user_id", "user-8431"},
                                    {"anonymous_id", "anonymous_2B4D6F81-0A3C-4E5F-9B7D-1C3E5A7F9B2D"},
                                    {"profile_id", "prf_7E9A1C3B5D7F4E2A8C0B6D4F2A8E6C0B"},
                                    {"user_type", "pro"},
                                    {"is_identified", true}};
  event.appProperties = JSONObject{{"bundle_id", "com.example.notes"},
                                   {"version_name", "2.4.0"},
                                   {"app_version", "2.4.0"},
                                   {"build_number", "412"},
                                   {"app_name", "Notes"}};
  event.deviceProperties = JSONObject{{"device_id", "ios_device_3f2504e0-4f89-41d3-9a0c-0305e82c3301"},
                                      {"platform", "ios"},
                                      {"os_version", "17.4"},
                                      {"device_model", "iPhone15,2"},
                                      {"manufacturer", "Apple"},
                                      {"locale", "en_US"},
                                      {"timezone", "Europe/Berlin"},
                                      {"screen_width", 1179},
                                      {"screen_height", 2556}};
  event.customProperties = JSONObject{{"cart_value", 42.5}, {"items", 3}, {"currency", "EUR"}};
  event.eventType = "custom";
  return event;
}

std::unique_ptr<detail::SqliteKeyValueStore> openStore(const testing::ScratchDir& dir) {
  auto opened = detail::SqliteKeyValueStore::open(dir.file("store.sqlite"));
  if (!opened.store) throw std::runtime_error(opened.error);
  return std::move(opened.store);
}

// Every step of the manager runs on this thread, so CPU time covers the whole admission. The
// sends that eager flushing starts are held unanswered: after the first, every flush is refused
// at once and the queue stays at its bound, as it does while the network is slow.
void BM_QueueEventWithPersist(benchmark::State& state) {
  const auto depth = static_cast<std::size_t>(state.range(0));
  testing::ScratchDir dir;
  auto store = openStore(dir);
  asio::io_context io;
  auto keepPolling = asio::make_work_guard(io);  // poll() must not stop the context when idle
  testing::VirtualClock clock;
  detail::UuidGenerator uuids(1);
  auto transport = std::make_shared<testing::ScriptedHttpTransport>();
  transport->holdResponses(true);
  auto client = std::make_shared<detail::AppwriteClient>("https://api.example.com/v1", "p", "d", "g");
  auto manager = detail::EventManager::create(
      io.get_executor(),
      detail::EventRepository(detail::RuntimeGatewayRepository(client, transport), clock, uuids, std::nullopt), clock,
      *store);

  RuntimeConfig::EventsConfig events;
  events.maxQueueSize = static_cast<std::int64_t>(depth);
  events.maxEventsPerMinute = std::numeric_limits<std::int64_t>::max();
  auto run = [&io](asio::awaitable<void> work) {
    asio::co_spawn(io, std::move(work), asio::detached);
    io.poll();
  };
  run(manager->configure(events, {}));
  const detail::EventRecord event = typicalEvent();
  auto queued = [&] {
    auto count = asio::co_spawn(io, manager->queuedEventCount(), asio::use_future);
    io.poll();
    return count.get();
  };
  while (queued() < depth) run(manager->queueEvent(event));

  for (auto _ : state) {
    run(manager->queueEvent(event));
  }
  state.SetBytesProcessed(
      static_cast<std::int64_t>(state.iterations() * store->getBytes(detail::EventManager::kQueueStorageKey)->size()));

  HttpResponse accepted;
  accepted.status = 200;
  accepted.body = R"({"ok":true})";
  transport->completeAll(accepted);
  io.poll();
}
BENCHMARK(BM_QueueEventWithPersist)->Arg(10)->Arg(100)->Arg(500);

// The store write alone: the bytes a queue of `depth` such events persists.
void BM_StoreSetBytes(benchmark::State& state) {
  const auto depth = static_cast<std::size_t>(state.range(0));
  testing::ScratchDir dir;
  auto store = openStore(dir);
  const std::vector<detail::EncodedEventRecord> queue(depth, detail::EncodedEventRecord(typicalEvent()));
  const std::string bytes = detail::encodeEventArray(queue);
  for (auto _ : state) {
    benchmark::DoNotOptimize(store->setBytes(detail::EventManager::kQueueStorageKey, asBytes(bytes)));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_StoreSetBytes)->Arg(10)->Arg(100)->Arg(500);

// The die of sampling: FNV-1a over userId|sessionId|device_id|eventType|eventName.
void BM_SamplingHash(benchmark::State& state) {
  const std::string text = detail::samplingText(typicalEvent());
  for (auto _ : state) {
    benchmark::DoNotOptimize(detail::samplingBucket(text));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_SamplingHash);

}  // namespace

int main(int argc, char** argv) {
  // SQLite write times jump between two levels with whatever else the machine writes; the
  // interleaved repetitions of runWithRatios let a jump hit measurement and baseline alike.
  return tarnwell::bench::runWithRatios(argc, argv,
                                        {{"BM_QueueEventWithPersist/10", "BM_StoreSetBytes/10", 1.5},
                                         {"BM_QueueEventWithPersist/100", "BM_StoreSetBytes/100", 1.5},
                                         {"BM_QueueEventWithPersist/500", "BM_StoreSetBytes/500", 1.5}});
}
