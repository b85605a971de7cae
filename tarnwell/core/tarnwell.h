// File: tarnwell/core/tarnwell.h
//
// Tarnwell is the one object a host application talks to. It owns every component of the SDK,
// runs the start-up from a configuration to a working SDK and publishes the lifecycle state.
//
//   tarnwell::Tarnwell::configureHost({.storePath = "/var/lib/myapp/tarnwell.sqlite"});
//   auto& sdk = tarnwell::Tarnwell::shared();
//   sdk.initialize("tw_live_key", tarnwell::Environment::production,
//                  [](const tarnwell::SDKState& state) { /* on the SDK's main context */ });
//
// Threads: every member may be called from any thread. Calls that change state are carried out
// on the SDK's main context (posted there when made elsewhere); completions always run on the
// main context. Reads (getState, isReady, getUserId, getUserDebugState) answer at once. No
// call blocks on the network.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <tarnwell/backend/runtime_config.h>
#include <tarnwell/core/environment.h>
#include <tarnwell/core/json_value.h>
#include <tarnwell/core/log.h>
#include <tarnwell/core/sdk_config.h>
#include <tarnwell/core/sdk_state.h>
#include <tarnwell/core/user_debug_state.h>
#include <tarnwell/platform/app_info.h>
#include <tarnwell/platform/clock.h>
#include <tarnwell/platform/device_info.h>
#include <tarnwell/platform/http_transport.h>
#include <tarnwell/platform/key_value_store.h>
#include <tarnwell/platform/main_context.h>
#include <tarnwell/platform/published.h>
#include <tarnwell/export.h>

namespace tarnwell {

// How the SDK meets its host. Every member has a working default; tests and hosts with their
// own loop, store or HTTP stack replace what they need, e.g. with designated initializers:
// Tarnwell sdk({.storePath = "/var/lib/app/tarnwell.sqlite", .mainContextMode = MainContext::Mode::hostPumped}).
struct HostOptions {
  // The store of everything that outlives the process. Default: the SQLite file at storePath.
  std::shared_ptr<KeyValueStore> store{};
  // Default: defaultKeyValueStorePath().
  std::string storePath{};
  // ownThread: the SDK runs its main context on a thread of its own. hostPumped: the host
  // calls mainContext().poll() from its own loop.
  MainContext::Mode mainContextMode = MainContext::Mode::ownThread;
  // Default: libcurl. The SDK takes it over; it must not be shared with another Tarnwell.
  std::shared_ptr<HttpTransport> transport{};
  // Default: the system clock.
  std::shared_ptr<Clock> clock{};
  // Default: readProcessAppInfo() / readSystemDeviceInfo.
  AppInfoProvider appInfo{};
  DeviceInfoProvider deviceInfo{};
  // Default: standard output.
  LogSink logSink{};
  // Seeds identifier minting, for reproducible tests. Default: random.
  std::optional<std::uint64_t> uuidSeed{};
};

class TARNWELL_API Tarnwell {
 public:
  using StateCallback = std::function<void(const SDKState&)>;

  // Options for the shared object; effective only before shared() is first called. Returns
  // false (and logs a warning) when the shared object already exists.
  static bool configureHost(HostOptions options);
  // The shared object, built on first use.
  static Tarnwell& shared();

  // An object of its own, for hosts that manage its lifetime and for tests.
  explicit Tarnwell(HostOptions options = {});
  ~Tarnwell();
  Tarnwell(const Tarnwell&) = delete;
  Tarnwell& operator=(const Tarnwell&) = delete;

  // ---- Start-up ----------------------------------------------------------------------
  // The configuration form: bootstraps with the backend and reaches `ready` or `error`. A call
  // while a start-up is running only reports `initializing` to its completion; a call on a
  // ready SDK runs the whole start-up again.
  void initialize(TarnwellSDKConfig config, StateCallback completion = {});
  // The built-in backend with this key and environment.
  void initialize(std::string apiKey, Environment environment, StateCallback completion = {});
  // The configuration in "<stem>.json" in the folder `bundle` (see TarnwellSDKConfig::fromBundle).
  void initializeFromFile(std::string configFileName, std::filesystem::path bundle, StateCallback completion = {});
  // The configuration as JSON text.
  void initializeFromJSON(std::string configJSON, StateCallback completion = {});

  SDKState getState() const;
  // Follows every change of the state, starting with the current one (see Published).
  [[nodiscard]] Subscription subscribeState(std::function<void(const SDKState&)> observer);
  bool isReady() const;
  bool isInitialized() const;

  // Stops the SDK: the state becomes `shutdown`.
  void shutdown();

  // ---- Identity ----------------------------------------------------------------------
  // The identified user; never the anonymous identifier.
  std::optional<std::string> getUserId() const;
  UserDebugState getUserDebugState() const;
  void setUserProperty(std::string key, JSONValue value);
  void setAppProperty(std::string key, JSONValue value);
  void setDeviceProperty(std::string key, JSONValue value);
  void setCustomProperty(std::string key, JSONValue value);
  void setUserType(std::string userType);

  // ---- Host integration ----------------------------------------------------------------
  // The context the SDK's state lives on; a host that chose hostPumped pumps it.
  MainContext& mainContext() noexcept;
  // The backend's tuning in force (the defaults until a bootstrap succeeds).
  RuntimeConfig getRuntimeConfig() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tarnwell
