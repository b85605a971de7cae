#include "tools/cli/command_host.h"

#include <istream>
#include <memory>
#include <ostream>
#include <string>
#include <thread>

#include "tarnwell/platform/detail/curl_http_transport.h"
#include "tools/cli/command_arguments.h"

namespace tarnwell::cli {
namespace {

// How long one round of settling lets the SDK's threads run before looking again.
constexpr std::chrono::milliseconds kSettleStep{2};
// Rounds in a row without news after which the SDK counts as holding still.
constexpr int kQuietRounds = 3;

// Advancing a virtual clock waits for the gateway calls its timers start, so it watches the
// transport (libcurl when the options bring none). Nothing is watched on the system clock.
std::shared_ptr<TransferWatch> watchTransfers(HostOptions& options, bool virtualClock) {
  if (!virtualClock) return nullptr;
  auto watch = std::make_shared<TransferWatch>(options.transport ? std::move(options.transport)
                                                                 : std::make_shared<detail::CurlHttpTransport>());
  options.transport = watch;
  return watch;
}

}  // namespace

CommandHost::CommandHost(TarnwellSDKConfig config, HostOptions options, std::ostream& out, CommandTable commands,
                         std::chrono::milliseconds waitLimit)
    : config_(std::move(config)),
      out_(out),
      callbackLines_(std::make_shared<CallbackLines>([this](const JSONObject& line) { printLine(line); })),
      virtualClock_(std::dynamic_pointer_cast<testing::VirtualClock>(options.clock)),
      transfers_(watchTransfers(options, virtualClock_ != nullptr)),
      sdk_(std::move(options)),
      commands_(std::move(commands)),
      waitLimit_(waitLimit) {}

CommandHost::~CommandHost() {
  if (!overlay_) return;
  // The overlay's watches deliver on the main context, so it goes there, between deliveries. The
  // task owns it: if the wait gives up, the task still ends it without this host.
  auto released = std::make_shared<Handover<bool>>();
  sdk_.mainContext().post([overlay = std::shared_ptr<TarnwellOverlayHost>(std::move(overlay_)), released]() mutable {
    overlay.reset();
    released->give(true);
  });
  await(*released, waitLimit_);
}

bool CommandHost::execute(std::string_view line) {
  const std::string_view text = trimBlanks(line);
  if (text.empty() || text.front() == '#') {
    return !stopped_;
  }
  // Whatever the SDK queued since the last command (observers, log lines) runs first.
  sdk_.mainContext().poll();

  const auto [name, arguments] = splitFirstWord(text);
  JSONObject result{{"cmd", JSONValue(name)}};
  linesAfterResult_.clear();
  try {
    const CommandHandler* handler = commands_.find(name);
    if (handler == nullptr) {
      throw CommandError("unknown command");
    }
    for (auto& [key, value] : (*handler)(*this, arguments)) {
      result.set(std::move(key), std::move(value));
    }
  } catch (const std::exception& error) {
    // A handler's failure is its command's result; the host goes on with the next line.
    result = JSONObject{{"cmd", JSONValue(name)}, {"error", JSONValue(error.what())}};
    linesAfterResult_.clear();
  }
  printLine(result);
  for (const JSONObject& line : linesAfterResult_) printLine(line);
  linesAfterResult_.clear();
  return !stopped_;
}

int CommandHost::run(std::istream& input) {
  std::string line;
  while (!stopped_ && std::getline(input, line)) {
    execute(line);
  }
  // A script that ended with `shutdown` has shut the SDK down already.
  if (sdk_.getState().kind() != SDKState::Kind::shutdown) shutDownSdk();
  return 0;
}

void CommandHost::pause(std::chrono::milliseconds duration) {
  if (sdk_.mainContext().mode() == MainContext::Mode::hostPumped) {
    sdk_.mainContext().runFor(duration);
  } else {
    std::this_thread::sleep_for(duration);
  }
}

bool CommandHost::waitUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + waitLimit_;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    pause(std::chrono::milliseconds(5));
  }
  return true;
}

SDKState CommandHost::shutDownSdk() {
  auto reached = std::make_shared<Handover<SDKState>>();
  Subscription watch = sdk_.subscribeState([reached](const SDKState& state) {
    if (state.kind() == SDKState::Kind::shutdown) reached->give(state);
  });
  sdk_.shutdown();
  await(*reached, waitLimit_);
  // The session's end and the last events go out before the host moves on, within the limit.
  sdk_.flushAndWait(waitLimit_);
  return sdk_.getState();
}

void CommandHost::catchUp() {
  auto marker = std::make_shared<Handover<bool>>();
  sdk_.mainContext().post([marker] { marker->give(true); });
  if (!await(*marker, waitLimit_)) {
    throw CommandError("the SDK did not catch up within " + std::to_string(waitLimit_.count()) + " ms");
  }
}

void CommandHost::advanceClock(std::chrono::milliseconds duration) {
  if (!virtualClock_) throw CommandError("the SDK runs on the system clock: start the host with --clock virtual");
  // A long advance over a short timer (years of a ten-second flush loop) must not hold the host.
  const auto deadline = std::chrono::steady_clock::now() + waitLimit_;
  virtualClock_->advance(duration, [this, deadline] { settle(deadline); });
}

bool CommandHost::settleRound() {
  if (sdk_.mainContext().mode() == MainContext::Mode::hostPumped) {
    return sdk_.mainContext().runFor(kSettleStep) > 0;
  }
  // The own thread runs by itself: wait for what is queued there, then give the worker threads
  // a moment to hand on what they hold.
  catchUp();
  std::this_thread::sleep_for(kSettleStep);
  return false;
}

void CommandHost::settle(std::chrono::steady_clock::time_point deadline) {
  int quietRounds = 0;
  while (quietRounds < kQuietRounds) {
    if (std::chrono::steady_clock::now() >= deadline) {
      throw CommandError("the SDK's timers kept it busy past " + std::to_string(waitLimit_.count()) +
                         " ms; the clock stopped at the last one that fired");
    }
    const std::uint64_t startedBefore = transfers_->started();
    const bool ran = settleRound();
    transfers_->waitUntilIdle(
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()));
    quietRounds = !ran && transfers_->started() == startedBefore ? quietRounds + 1 : 0;
  }
}

void CommandHost::printLine(const JSONObject& line) {
  // One write per line, so a log line from another thread never lands inside it; the lock keeps
  // callback lines from the main context and result lines apart.
  std::string text = JSONValue(line).encode();
  text.push_back('\n');
  std::lock_guard lock(outMutex_);
  out_.write(text.data(), static_cast<std::streamsize>(text.size()));
  out_.flush();
}

}  // namespace tarnwell::cli
