// File: tools/cli/command_host.h
//
// CommandHost runs the command-line host's commands against a Tarnwell object of its own: one
// command line in, one compact JSON result line out, {"cmd":NAME,...}. Blank lines and lines
// starting with "#" print nothing; an unknown command or an argument that does not fit prints
// {"cmd":NAME,"error":"..."} and the host goes on.
//
//   tarnwell::cli::CommandHost host(config, tarnwell::HostOptions{}, std::cout);
//   host.execute("init");           // prints {"cmd":"init","state":"ready"}
//   int status = host.run(std::cin);
//
// Threads: one thread drives the host. The SDK works on its main context; when the options ask
// for a host-pumped one, the host runs it before each command and while it waits.
#pragma once

#include <chrono>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string_view>

#include <tarnwell/sdk/facade.h>

#include "tools/cli/builtin_commands.h"
#include "tools/cli/command_table.h"
#include "tools/cli/handover.h"

namespace tarnwell::cli {

class CommandHost {
 public:
  // How long the host waits for the SDK (a start-up's completion, the shutdown state) at most.
  static constexpr std::chrono::milliseconds kDefaultWaitLimit{120'000};

  // Builds the SDK over `options`; nothing is started until a command asks for it.
  CommandHost(TarnwellSDKConfig config, HostOptions options, std::ostream& out,
              CommandTable commands = builtinCommands(), std::chrono::milliseconds waitLimit = kDefaultWaitLimit);
  CommandHost(const CommandHost&) = delete;
  CommandHost& operator=(const CommandHost&) = delete;

  // Runs one command line and prints its result line. False once the host has been stopped.
  bool execute(std::string_view line);
  // Runs the lines of `input` until a command stops the host or the input ends, then shuts the
  // SDK down. Returns the process's exit status.
  int run(std::istream& input);

  // ---- For command handlers ------------------------------------------------------------
  Tarnwell& sdk() noexcept { return sdk_; }
  // The configuration the host was started with.
  const TarnwellSDKConfig& config() const noexcept { return config_; }
  std::chrono::milliseconds waitLimit() const noexcept { return waitLimit_; }

  // Waits up to `limit` for the handover's value; absent on time-out.
  template <typename T>
  std::optional<T> await(const Handover<T>& handover, std::chrono::milliseconds limit) {
    if (sdk_.mainContext().mode() == MainContext::Mode::ownThread) {
      return handover.waitFor(limit);
    }
    if (!handover.value()) {
      sdk_.mainContext().runFor(limit, [&handover] { return handover.value().has_value(); });
    }
    return handover.value();
  }
  // Calls `ask` with a callback that hands its value over, and waits up to waitLimit() for it.
  // Throws CommandError when no answer comes in time.
  template <typename T, typename Ask>
  T ask(Ask&& askSdk) {
    auto answer = std::make_shared<Handover<T>>();
    std::forward<Ask>(askSdk)([answer](T value) { answer->give(std::move(value)); });
    std::optional<T> value = await(*answer, waitLimit_);
    if (!value) throw CommandError("no answer within " + std::to_string(waitLimit_.count()) + " ms");
    return std::move(*value);
  }
  // Lets `duration` of real time pass, running a host-pumped main context meanwhile.
  void pause(std::chrono::milliseconds duration);
  // Pauses in small steps until `condition` holds (true) or waitLimit() has passed (false).
  bool waitUntil(const std::function<bool()>& condition);
  // Shuts the SDK down and waits (up to waitLimit()) until its state reads so; the state then.
  SDKState shutDownSdk();
  // run() reads no further line once the current command is done.
  void stop() noexcept { stopped_ = true; }

 private:
  void print(const JSONObject& result);

  TarnwellSDKConfig config_;
  Tarnwell sdk_;
  std::ostream& out_;
  CommandTable commands_;
  std::chrono::milliseconds waitLimit_;
  bool stopped_ = false;
};

}  // namespace tarnwell::cli
