#include "tools/cli/host_process.h"

#include <fstream>
#include <ostream>

#include <tarnwell/testing/virtual_clock.h>

#include "tools/cli/command_host.h"
#include "tools/cli/host_setup.h"

namespace tarnwell::cli {
namespace {

constexpr int kBadSetup = 2;

}  // namespace

int runHostProcess(std::span<const std::string_view> arguments, HostOptions options, std::istream& input,
                   std::ostream& out, std::ostream& err) {
  HostSetup setup;
  try {
    setup = loadHostSetup(arguments);
  } catch (const SetupError& error) {
    err << "tarnwell: " << error.what() << '\n' << kUsage << '\n';
    return kBadSetup;
  }
  std::ifstream script;
  if (setup.scriptPath) {
    script.open(*setup.scriptPath);
    if (!script.is_open()) {
      err << "tarnwell: cannot read script file: " << *setup.scriptPath << '\n';
      return kBadSetup;
    }
  }
  if (setup.storePath) {
    options.storePath = *setup.storePath;
  }
  if (setup.virtualClock) {
    options.clock = std::make_shared<testing::VirtualClock>(systemClock()->now());
  }
  CommandHost host(std::move(setup.config), std::move(options), out);
  return host.run(setup.scriptPath ? script : input);
}

}  // namespace tarnwell::cli
