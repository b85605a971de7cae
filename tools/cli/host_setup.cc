#include "tools/cli/host_setup.h"

#include <fstream>
#include <iterator>
#include <system_error>

namespace tarnwell::cli {

HostSetup loadHostSetup(std::span<const std::string_view> arguments) {
  std::optional<std::string> configPath;
  std::optional<std::string> endpoint;
  std::optional<std::string> clock;
  HostSetup setup;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string_view flag = arguments[i];
    std::optional<std::string>* target = flag == "--config"     ? &configPath
                                         : flag == "--endpoint" ? &endpoint
                                         : flag == "--store"    ? &setup.storePath
                                         : flag == "--script"   ? &setup.scriptPath
                                         : flag == "--clock"    ? &clock
                                                                : nullptr;
    if (target == nullptr) {
      throw SetupError("unknown argument: " + std::string(flag));
    }
    if (i + 1 == arguments.size()) {
      throw SetupError(std::string(flag) + " needs a value");
    }
    *target = std::string(arguments[++i]);
  }
  if (!configPath) {
    throw SetupError("missing --config FILE");
  }
  if (clock && *clock != "system" && *clock != "virtual") {
    throw SetupError("--clock takes system or virtual, not " + *clock);
  }
  setup.virtualClock = clock == "virtual";
  setup.config = loadConfigFile(*configPath);
  if (endpoint) {
    setup.config.appwrite.endpoint = *endpoint;
  }
  return setup;
}

TarnwellSDKConfig loadConfigFile(const std::filesystem::path& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) {
    throw SetupError("config file not found: " + path.string());
  }
  std::ifstream stream(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (!stream.is_open() || stream.bad()) {
    throw SetupError("cannot read config file: " + path.string());
  }
  try {
    return TarnwellSDKConfig::fromJSON(text);
  } catch (const std::exception& decoding) {
    throw SetupError("bad config file " + path.string() + ": " + decoding.what());
  }
}

}  // namespace tarnwell::cli
