// The cost of one gateway call over loopback next to a raw libcurl POST of the same bytes to
// the same server, the thread hand-over that an own I/O thread adds, and a whole start-up from
// initialize to ready.
#include <curl/curl.h>

#include <asio/co_spawn.hpp>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/use_future.hpp>

#include <future>
#include <thread>

#include "bench/ratio_reporter.h"
#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/platform/detail/curl_http_transport.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/sdk/facade.h"
#include "tests/support/loopback_server.h"

namespace {

constexpr const char* kEnvelope =
    R"({"ok":true,"data":{"config":{"organizationId":"org","projectId":"prj","appId":"app","teamId":"team",)"
    R"("apiKeyId":"kid","environment":"production"},"sessionToken":"tok","items":[{"id":"a"},{"id":"b"}]}})";

// One server for the whole run: every request gets the same small envelope.
tarnwell::testing::LoopbackServer& server() {
  static auto* instance = [] {
    auto* s = new tarnwell::testing::LoopbackServer();
    s->routes().Post(R"(/v1/functions/.*/executions)", [](const httplib::Request&, httplib::Response& response) {
      response.set_content(kEnvelope, "application/json");
    });
    s->start();
    return s;
  }();
  return *instance;
}

std::shared_ptr<tarnwell::detail::AppwriteClient> makeClient() {
  return std::make_shared<tarnwell::detail::AppwriteClient>(server().url("/v1"), "proj", "db", "fn");
}

void BM_RawCurlPost(benchmark::State& state) {
  auto client = makeClient();
  const tarnwell::HttpRequest request =
      tarnwell::detail::buildExecutionRequest(*client, R"({"action":"x","payload":{}})");
  CURL* curl = curl_easy_init();
  curl_slist* headers = nullptr;
  for (const auto& [name, value] : request.headers) headers = curl_slist_append(headers, (name + ": " + value).c_str());
  std::string body;
  curl_easy_setopt(curl, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request.body.c_str());
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(
      curl, CURLOPT_WRITEFUNCTION, +[](char* data, size_t size, size_t count, void* out) {
        static_cast<std::string*>(out)->append(data, size * count);
        return size * count;
      });
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
  for (auto _ : state) {
    body.clear();
    if (curl_easy_perform(curl) != CURLE_OK) state.SkipWithError("raw POST failed");
    benchmark::DoNotOptimize(body);
  }
  curl_slist_free_all(headers);
  curl_easy_cleanup(curl);
}
BENCHMARK(BM_RawCurlPost)->UseRealTime();

// The transport alone, so the cost of the gateway layer above it can be told apart.
void BM_TransportPost(benchmark::State& state) {
  auto client = makeClient();
  tarnwell::detail::CurlHttpTransport transport;
  const tarnwell::HttpRequest request =
      tarnwell::detail::buildExecutionRequest(*client, R"({"action":"x","payload":{}})");
  for (auto _ : state) {
    std::promise<tarnwell::HttpResult> done;
    auto transfer = transport.post(request, [&](tarnwell::HttpResult result) { done.set_value(std::move(result)); });
    benchmark::DoNotOptimize(done.get_future().get());
  }
}
BENCHMARK(BM_TransportPost)->UseRealTime();

void BM_GatewayExecute(benchmark::State& state) {
  tarnwell::detail::RuntimeGatewayRepository gateway(makeClient(),
                                                     std::make_shared<tarnwell::detail::CurlHttpTransport>());
  asio::io_context io;
  for (auto _ : state) {
    tarnwell::JSONObject payload;
    auto done = asio::co_spawn(io, gateway.execute("x", std::move(payload), true), asio::use_future);
    while (done.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
      io.run_one();
    }
    io.restart();
    benchmark::DoNotOptimize(done.get());
  }
}
BENCHMARK(BM_GatewayExecute)->UseRealTime();

// A round trip between the caller's context and another thread's, with nothing sent: the floor
// that any transport with an I/O thread of its own adds to a gateway call on this machine.
void BM_ThreadHandOffRoundTrip(benchmark::State& state) {
  asio::io_context caller;
  asio::io_context other;
  // Neither context may run out of work while the reply is on its way.
  auto callerWaits = asio::make_work_guard(caller);
  auto keepRunning = asio::make_work_guard(other);
  std::thread otherThread([&] { other.run(); });
  for (auto _ : state) {
    bool back = false;
    asio::post(other, [&] { asio::post(caller, [&] { back = true; }); });
    while (!back) caller.run_one();
  }
  keepRunning.reset();
  otherThread.join();
}
BENCHMARK(BM_ThreadHandOffRoundTrip)->UseRealTime();

void BM_StartUpToReady(benchmark::State& state) {
  tarnwell::TarnwellSDKConfig config;
  config.apiKey = "tw_bench";
  config.environment = "production";
  config.appwrite = {server().url("/v1"), "proj", "db", "fn", std::nullopt, std::nullopt};
  tarnwell::setLogSink([](tarnwell::LogLevel, std::string_view) {});
  for (auto _ : state) {
    tarnwell::HostOptions options;
    options.store = std::make_shared<tarnwell::MemoryKeyValueStore>();
    tarnwell::Tarnwell sdk(std::move(options));
    std::promise<tarnwell::SDKState> ready;
    // From the call to the completion; building and tearing down the object is not start-up.
    const auto started = std::chrono::steady_clock::now();
    sdk.initialize(config, [&](const tarnwell::SDKState& s) { ready.set_value(s); });
    if (ready.get_future().get() != tarnwell::SDKState::ready()) state.SkipWithError("start-up failed");
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count());
  }
  tarnwell::setLogSink({});
}
BENCHMARK(BM_StartUpToReady)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  return tarnwell::bench::runWithRatios(argc, argv,
                                        {{"BM_GatewayExecute/real_time", "BM_RawCurlPost/real_time", 1.3},
                                         {"BM_TransportPost/real_time", "BM_RawCurlPost/real_time", 0},
                                         {"BM_ThreadHandOffRoundTrip/real_time", "BM_RawCurlPost/real_time", 0}});
}
