// What a message-center refresh costs against the local gateway over loopback: 50 threads of
// which 10 hold unread support messages, so the unread count is checked thread by thread. Shown
// as the gateway calls one refresh makes and its time, beside 11 plain gateway round trips (a
// call for the list and one per unread thread) made without the SDK in the same run.
#include <chrono>
#include <memory>
#include <string>

#include "bench/ratio_reporter.h"
#include "tarnwell/platform/detail/curl_http_transport.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/sdk/facade.h"
#include "tarnwell/testing/virtual_clock.h"
#include "tests/support/gateway_client.h"
#include "tools/gateway/gateway_server.h"

namespace {

using namespace tarnwell;

constexpr int kThreads = 50;
constexpr int kUnreadThreads = 10;
constexpr const char* kUser = "bench-user";

std::string message(const std::string& id, const std::string& sender, bool read) {
  return R"({"$id":")" + id + R"(","senderId":")" + sender + R"(","senderType":")" +
         (sender == "support" ? "admin" : "user") + R"(","content":"Hello","messageType":"text","isRead":)" +
         (read ? "true" : "false") + R"(,"$createdAt":"2026-03-01T10:00:00.000+00:00"})";
}

std::string content() {
  std::string threads;
  for (int i = 0; i < kThreads; ++i) {
    const std::string id = "thr_" + std::to_string(i);
    const bool unread = i < kUnreadThreads;
    if (!threads.empty()) threads += ",";
    threads += R"({"$id":")" + id + R"(","conversationId":")" + id + R"(","appId":"app-1","environment":"debug",)" +
               R"("userId":")" + kUser + R"(","title":"Thread )" + std::to_string(i) + R"(","status":"open",)" +
               R"("unreadCount":)" + (unread ? "1" : "0") + R"(,"messages":[)" + message(id + "_m1", kUser, true) +
               (unread ? "," + message(id + "_m2", "support", false) : "") + "]}";
  }
  return R"({"projectId":"proj-local","functionId":"fn-gateway","apiKeys":[
    {"key":"key-good","organizationId":"org-1","projectId":"proj-1","appId":"app-1","teamId":"team-1",
     "apiKeyId":"kid-1","environments":["debug"]}],
    "messageCenter":{"threads":[)" +
         threads + "]}}";
}

gateway::GatewayServer& server() {
  static auto* instance = [] {
    auto* s = new gateway::GatewayServer(gateway::GatewayContent::parse(content()), ":memory:");
    s->start();
    return s;
  }();
  return *instance;
}

std::size_t gatewayCalls(testing::GatewayClient& client) {
  const JSONValue requests = client.getJSON("/__gateway/requests");
  return requests["items"].isArray() ? requests["items"].asArray()->size() : 0;
}

// An SDK over libcurl, pumped by the benchmark's thread, identified as the threads' user.
struct ReadySdk {
  std::shared_ptr<testing::VirtualClock> clock = std::make_shared<testing::VirtualClock>();
  std::unique_ptr<Tarnwell> sdk;

  ReadySdk() {
    HostOptions options;
    options.store = std::make_shared<MemoryKeyValueStore>();
    options.transport = std::make_shared<detail::CurlHttpTransport>();
    options.mainContextMode = MainContext::Mode::hostPumped;
    options.clock = clock;
    sdk = std::make_unique<Tarnwell>(std::move(options));
    TarnwellSDKConfig config;
    config.apiKey = "key-good";
    config.environment = "debug";
    config.appwrite = {server().url(), "proj-local", "db", "fn-gateway", std::nullopt, std::nullopt};
    bool ready = false;
    sdk->initialize(config, [&](const SDKState&) { ready = true; });
    pumpUntil([&] { return ready; });
    sdk->identify(kUser);
    sdk->mainContext().runFor(std::chrono::milliseconds(50));
  }
  template <typename Condition>
  void pumpUntil(Condition condition) {
    while (!condition()) sdk->mainContext().runFor(std::chrono::milliseconds(1));
  }
};

void BM_RefreshMessageCenter(benchmark::State& state) {
  ReadySdk ready;
  testing::GatewayClient inspector(server().url(), "proj-local", "fn-gateway");
  std::size_t calls = 0;
  std::int64_t unread = 0;
  for (auto _ : state) {
    // Past the refresh's time to live, as after a while in the background.
    state.PauseTiming();
    ready.clock->advance(std::chrono::hours(1));
    const std::size_t before = gatewayCalls(inspector);
    state.ResumeTiming();
    bool done = false;
    ready.sdk->refreshMessageCenter([&] { done = true; });
    ready.pumpUntil([&] { return done; });
    state.PauseTiming();
    calls += gatewayCalls(inspector) - before;
    unread = ready.sdk->getUnreadMessageCount();
    state.ResumeTiming();
  }
  state.counters["gateway_calls"] = static_cast<double>(calls) / static_cast<double>(state.iterations());
  state.counters["unread"] = static_cast<double>(unread);
}

void BM_ElevenGatewayRoundTrips(benchmark::State& state) {
  testing::GatewayClient client(server().url(), "proj-local", "fn-gateway");
  const JSONValue bootstrap = client.call("bootstrap", {{"apiKey", "key-good"}, {"environment", "debug"}});
  const std::string token = bootstrap["data"]["sessionToken"].asString()->str();
  for (auto _ : state) {
    client.post("get_message_threads", {{"userId", kUser}, {"anonymousId", JSONValue()}, {"limit", 50}}, token);
    for (int i = 0; i < kUnreadThreads; ++i) {
      client.post("get_messages", {{"threadId", "thr_" + std::to_string(i)}, {"limit", 100}}, token);
    }
  }
}

BENCHMARK(BM_RefreshMessageCenter)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ElevenGatewayRoundTrips)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  return tarnwell::bench::runWithRatios(
      argc, argv, {{"BM_RefreshMessageCenter/real_time", "BM_ElevenGatewayRoundTrips/real_time", 0}});
}
