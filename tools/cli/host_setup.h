// File: tools/cli/host_setup.h
//
// HostSetup is what the command line of `tarnwell` asks for:
//
//   tarnwell --config FILE [--endpoint URL] [--store PATH] [--script FILE] [--clock system|virtual]
//
// FILE is a TarnwellSDKConfig JSON file; --endpoint replaces its appwrite.endpoint, --store
// names the SQLite store (default: the library's default path), --script the file of commands
// (default: standard input) and --clock the SDK's clock: the system's (default) or a virtual one
// that starts at the real time and moves only with the command `advance`.
//
//   HostSetup setup = loadHostSetup({"--config", "tarnwell-config.json"});   // or SetupError
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include <tarnwell/core/sdk_config.h>

namespace tarnwell::cli {

inline constexpr std::string_view kUsage =
    "usage: tarnwell --config FILE [--endpoint URL] [--store PATH] [--script FILE] [--clock system|virtual]";

// A command line or configuration file the host cannot start with; what() says why.
class SetupError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct HostSetup {
  TarnwellSDKConfig config;
  std::optional<std::string> storePath;
  std::optional<std::string> scriptPath;
  bool virtualClock = false;
};

// Reads the arguments that follow the program's name and loads the configuration file.
// Throws SetupError.
HostSetup loadHostSetup(std::span<const std::string_view> arguments);

// Reads and decodes a TarnwellSDKConfig JSON file. Throws SetupError.
TarnwellSDKConfig loadConfigFile(const std::filesystem::path& path);

}  // namespace tarnwell::cli
