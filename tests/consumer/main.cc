// Compiles against the public header only and touches the library, so a broken package or
// a public header that leaks a third-party include fails here.
#include <tarnwell/tarnwell.h>

#include <cstdio>
#include <string>

int main() {
  std::string seen;
  tarnwell::setLogSink([&](tarnwell::LogLevel, std::string_view line) { seen = line; });
  tarnwell::logInfo("consumer");
  const auto config = tarnwell::TarnwellSDKConfig::fromJSON(
      R"({"schemaVersion":1,"apiKey":"k","environment":"Stage","appwrite":{"endpoint":"https://h/v1",)"
      R"("projectId":"p","databaseId":"d","gatewayFunctionId":"g"}})");
  tarnwell::MemoryKeyValueStore store;
  store.setString("tarnwell_user_type", "pro");
  std::puts(seen.c_str());
  const bool ok = seen == "[Tarnwell][INFO] consumer" && config.selectedEnvironment() == tarnwell::Environment::stage &&
                  store.getString("tarnwell_user_type") == "pro";
  return ok ? 0 : 1;
}
