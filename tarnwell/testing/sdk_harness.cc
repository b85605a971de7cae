#include "tarnwell/testing/sdk_harness.h"

#include <thread>

namespace tarnwell::testing {

const char* const kHarnessBootstrap =
    R"({"ok":true,"data":{"config":{"organizationId":"org_1","projectId":"prj_1","appId":"app_1","teamId":"team_1",)"
    R"("apiKeyId":"key_1","environment":"production"},"sessionToken":"tok_1"}})";

namespace {

JSONValue gatewayInput(const HttpRequest& request) {
  return JSONValue::decode(JSONValue::decode(request.body)["body"].asString()->view());
}

HttpResponse okResponse(std::string body) {
  HttpResponse response;
  response.status = 200;
  response.body = std::move(body);
  return response;
}

}  // namespace

SdkHarness::SdkHarness(std::function<void(HostOptions&)> adjust) {
  answer("bootstrap", kHarnessBootstrap);
  transport_->setResponder([this](const HttpRequest& request) { return respond(request); });
  HostOptions options;
  options.store = store_;
  options.mainContextMode = MainContext::Mode::hostPumped;
  options.transport = transport_;
  options.clock = clock_;
  options.deviceInfo = iosDeviceProfile;
  options.uuidSeed = 17;
  if (adjust) adjust(options);
  sdk_ = std::make_unique<Tarnwell>(std::move(options));
}

void SdkHarness::answer(const std::string& action, std::string envelope) {
  std::lock_guard lock(mutex_);
  answers_.insert_or_assign(action, okResponse(std::move(envelope)));
}

void SdkHarness::fail(const std::string& action, TransportErrorCode code) {
  std::lock_guard lock(mutex_);
  answers_.insert_or_assign(action, TransportError{code, "scripted failure"});
}

HttpResult SdkHarness::respond(const HttpRequest& request) {
  const std::string action = gatewayInput(request)["action"].asString()->str();
  std::lock_guard lock(mutex_);
  if (auto found = answers_.find(action); found != answers_.end()) return found->second;
  return okResponse(R"({"ok":true,"data":{}})");
}

SDKState SdkHarness::start() {
  std::optional<SDKState> completed;
  TarnwellSDKConfig config;
  config.apiKey = "tw_test";
  config.environment = "production";
  config.appwrite = {"https://gateway.test/v1", "proj", "db", "fn", std::nullopt, std::nullopt};
  sdk_->initialize(config, [&](const SDKState& state) { completed = state; });
  waitUntil([&] { return completed.has_value(); });
  settle();
  return completed.value_or(SDKState::notInitialized());
}

bool SdkHarness::waitUntil(const std::function<bool()>& condition) {
  const auto cap = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > cap) return false;
    sdk_->mainContext().runFor(std::chrono::milliseconds(2));
  }
  return true;
}

void SdkHarness::settle() {
  // Quiet means nothing ran on the main context for a few rounds while the worker pool had the
  // chance to hand its results back.
  int quietRounds = 0;
  while (quietRounds < 5) {
    const std::size_t ran = sdk_->mainContext().runFor(std::chrono::milliseconds(2));
    quietRounds = ran == 0 ? quietRounds + 1 : 0;
  }
}

void SdkHarness::advance(std::chrono::milliseconds by) {
  clock_->advance(by, [this] { settle(); });
}

std::vector<JSONValue> SdkHarness::sent(const std::string& action) const {
  std::vector<JSONValue> payloads;
  for (const JSONValue& input : inputs()) {
    if (input["action"] == JSONValue(action)) payloads.push_back(input["payload"]);
  }
  return payloads;
}

std::vector<JSONValue> SdkHarness::inputs() const {
  std::vector<JSONValue> all;
  for (const HttpRequest& request : transport_->requests()) all.push_back(gatewayInput(request));
  return all;
}

}  // namespace tarnwell::testing
