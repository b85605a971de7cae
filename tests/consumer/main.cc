// Compiles against the public header only and touches the library, so a broken package or
// a public header that leaks a third-party include fails here; and an internal header must not
// have been installed.
#include <tarnwell/tarnwell.h>

#if defined(TARNWELL_CONSUMER_INSTALLED) && __has_include(<tarnwell/events/detail/event_manager.h>)
#error "an internal header was installed"
#endif

#include <cstdio>
#include <string>

int main() {
  std::string seen;
  tarnwell::setLogSink([&](tarnwell::LogLevel, std::string_view line) { seen = line; });
  const auto config = tarnwell::TarnwellSDKConfig::fromJSON(
      R"({"schemaVersion":1,"apiKey":"k","environment":"Stage","appwrite":{"endpoint":"https://h/v1",)"
      R"("projectId":"p","databaseId":"d","gatewayFunctionId":"g"}})");
  tarnwell::HostOptions options;
  options.storePath = ":memory:";
  options.mainContextMode = tarnwell::MainContext::Mode::hostPumped;
  tarnwell::Tarnwell sdk(std::move(options));
  sdk.trackEvent("before_ready");
  sdk.mainContext().poll();
  const bool warned = seen == "[Tarnwell][WARN] Ignoring event before_ready before SDK ready";
  tarnwell::logInfo("consumer");
  auto store = tarnwell::openKeyValueStore(":memory:");
  store->setString("tarnwell_user_type", "pro");
  std::puts(seen.c_str());
  const bool ok = warned && seen == "[Tarnwell][INFO] consumer" &&
                  config.selectedEnvironment() == tarnwell::Environment::stage &&
                  store->getString("tarnwell_user_type") == "pro";
  return ok ? 0 : 1;
}
