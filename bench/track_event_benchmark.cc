// What trackEvent costs the host's calling thread: building the event's properties and handing
// it to the SDK's main context, beside an empty hand-over to the same context.
#include <future>

#include "bench/ratio_reporter.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/sdk/facade.h"
#include "tarnwell/testing/scripted_http_transport.h"

namespace {

constexpr const char* kBootstrap =
    R"({"ok":true,"data":{"config":{"organizationId":"o","projectId":"p","appId":"a","teamId":"t","apiKeyId":"k"},)"
    R"("sessionToken":"tok"}})";

// A ready SDK on its own main thread whose gateway answers every call at once.
tarnwell::Tarnwell& readySdk() {
  static tarnwell::Tarnwell* sdk = [] {
    tarnwell::setLogSink([](tarnwell::LogLevel, std::string_view) {});
    auto transport = std::make_shared<tarnwell::testing::ScriptedHttpTransport>();
    transport->setResponder([](const tarnwell::HttpRequest& request) {
      tarnwell::HttpResponse response;
      response.status = 200;
      response.body = request.body.find("bootstrap") != std::string::npos ? kBootstrap : R"({"ok":true,"data":{}})";
      return tarnwell::HttpResult(response);
    });
    tarnwell::HostOptions options;
    options.store = std::make_shared<tarnwell::MemoryKeyValueStore>();
    options.transport = transport;
    auto* instance = new tarnwell::Tarnwell(std::move(options));
    std::promise<void> ready;
    tarnwell::TarnwellSDKConfig config;
    config.apiKey = "k";
    config.environment = "production";
    config.appwrite = {"https://gateway.bench/v1", "p", "d", "f", std::nullopt, std::nullopt};
    instance->initialize(config, [&](const tarnwell::SDKState&) { ready.set_value(); });
    ready.get_future().wait();
    return instance;
  }();
  return *sdk;
}

void BM_EmptyPostToMainContext(benchmark::State& state) {
  tarnwell::Tarnwell& sdk = readySdk();
  for (auto _ : state) {
    sdk.mainContext().post([] {});
  }
}
BENCHMARK(BM_EmptyPostToMainContext);

void BM_TrackEventFiveProperties(benchmark::State& state) {
  tarnwell::Tarnwell& sdk = readySdk();
  for (auto _ : state) {
    sdk.trackEvent(
        "purchase",
        tarnwell::JSONObject{
            {"sku", "SKU-12345"}, {"amount", 9.99}, {"currency", "EUR"}, {"first_purchase", true}, {"items", 3}},
        "commerce");
  }
}
BENCHMARK(BM_TrackEventFiveProperties);

}  // namespace

int main(int argc, char** argv) {
  // No target: the calling thread's cost is reported beside the bare hand-over it contains.
  return tarnwell::bench::runWithRatios(argc, argv, {{"BM_TrackEventFiveProperties", "BM_EmptyPostToMainContext", 0}});
}
