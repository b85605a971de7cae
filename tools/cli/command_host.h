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
// for a host-pumped one, the host runs it before each command and while it waits. Callback lines
// come from the main context; every line is written whole, one at a time.
//
// Time: over a testing::VirtualClock in the options, the SDK's time moves only with
// advanceClock(), which lets every timer that falls due run before it returns.
#pragma once

#include <chrono>
#include <iosfwd>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include <tarnwell/presentation/overlay_host.h>
#include <tarnwell/sdk/facade.h>
#include <tarnwell/testing/virtual_clock.h>

#include "tools/cli/builtin_commands.h"
#include "tools/cli/callback_lines.h"
#include "tools/cli/command_table.h"
#include "tools/cli/handover.h"
#include "tools/cli/transfer_watch.h"

namespace tarnwell::cli {

class CommandHost {
 public:
  // How long the host waits for the SDK (a start-up's completion, the shutdown state) at most.
  static constexpr std::chrono::milliseconds kDefaultWaitLimit{120'000};

  // Builds the SDK over `options`; nothing is started until a command asks for it. A virtual
  // clock in the options makes advanceClock() available.
  CommandHost(TarnwellSDKConfig config, HostOptions options, std::ostream& out,
              CommandTable commands = builtinCommands(), std::chrono::milliseconds waitLimit = kDefaultWaitLimit);
  ~CommandHost();
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
  // Waits (up to waitLimit()) until the main context has run the work posted to it before
  // this call, so what that work printed is out. Throws CommandError on time-out.
  void catchUp();
  // Moves the virtual clock forward; after every timer that fires, waits until the work it set
  // off has ended (the main context is quiet and no gateway call is under way). Throws
  // CommandError when the SDK runs on the system clock, and when the timers keep the SDK busy
  // past waitLimit() of real time (the clock then stops at the last timer that fired).
  void advanceClock(std::chrono::milliseconds duration);
  // Shuts the SDK down and waits (up to waitLimit()) until its state reads so; the state then.
  SDKState shutDownSdk();
  // run() reads no further line once the current command is done.
  void stop() noexcept { stopped_ = true; }

  // The callback handed to every showSurvey and showAnnouncement: one line per call.
  const std::shared_ptr<CallbackLines>& callbackLines() const noexcept { return callbackLines_; }
  // Writes `line` and a line end in one piece; any thread.
  void printLine(const JSONObject& line);
  // Queues `line` to print right after the current command's result line; dropped when the
  // command ends in an error. Command thread only.
  void printAfterResult(JSONObject line) { linesAfterResult_.push_back(std::move(line)); }

  // The overlay the view commands drive: null until one of them builds it. Built, read and
  // operated on the main context only, where its feeds deliver.
  std::unique_ptr<TarnwellOverlayHost>& overlay() noexcept { return overlay_; }

 private:
  // One round of waiting for the SDK to hold still; true when the main context ran something.
  bool settleRound();
  // Waits until the SDK holds still, or throws once `deadline` has passed.
  void settle(std::chrono::steady_clock::time_point deadline);

  TarnwellSDKConfig config_;
  // Declared before the SDK, which may print through them until it is gone.
  std::mutex outMutex_;
  std::ostream& out_;
  std::shared_ptr<CallbackLines> callbackLines_;
  std::shared_ptr<testing::VirtualClock> virtualClock_;
  std::shared_ptr<TransferWatch> transfers_;
  Tarnwell sdk_;
  // After the SDK, so it is gone before the SDK whose feeds it watches.
  std::unique_ptr<TarnwellOverlayHost> overlay_;
  CommandTable commands_;
  std::chrono::milliseconds waitLimit_;
  std::vector<JSONObject> linesAfterResult_;
  bool stopped_ = false;
};

}  // namespace tarnwell::cli
