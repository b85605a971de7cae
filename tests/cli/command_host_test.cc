#include "tools/cli/command_host.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <thread>

#include "tarnwell/platform/detail/uuid.h"
#include "tarnwell/testing/log_recorder.h"
#include "tests/cli/cli_test_support.h"

namespace tarnwell::cli {
namespace {

using tarnwell::testing::httpResponse;
using testing::kGoodBootstrap;
using testing::kRejectedKey;
using Lines = std::vector<std::string>;

constexpr std::uint64_t kUuidSeed = 21;

// Ready, the SDK runs a session: the first identifier its generator mints.
const std::string kReadyDebugLine =
    R"({"cmd":"debug","profileId":"prf-1","anonymousId":"anon-1","effectiveUserId":"anon-1","deviceId":"dev-1",)"
    R"("sessionId":"session_)" +
    detail::UuidGenerator(kUuidSeed).next() + R"(","teamId":"team_1","environment":"stage","appId":"app_1"})";

struct CommandHostTest : testing::CommandHostFixture {
  tarnwell::testing::LogRecorder log;

  void start(MainContext::Mode mode = MainContext::Mode::hostPumped,
             std::chrono::milliseconds waitLimit = CommandHost::kDefaultWaitLimit) {
    HostOptions options = testing::scriptedHostOptions(transport, mode);
    options.uuidSeed = kUuidSeed;
    startHost(std::move(options), waitLimit);
  }
};

TEST_F(CommandHostTest, InitAfterARejectedKeyReportsTheErrorStateWithItsText) {
  start();
  transport->enqueue(tarnwell::testing::httpResponse(kRejectedKey));
  EXPECT_EQ(run({"init", "state"}), (Lines{R"({"cmd":"init","state":"error","error":"Invalid API key"})",
                                           R"({"cmd":"state","state":"error","error":"Invalid API key"})"}));
}

TEST_F(CommandHostTest, InitGivesUpWhenNoCompletionComesWithinTheWaitLimit) {
  start(MainContext::Mode::hostPumped, std::chrono::milliseconds(1));
  transport->holdResponses(true);
  EXPECT_EQ(run({"init", "state"}), (Lines{R"({"cmd":"init","error":"no completion within 1 ms"})",
                                           R"({"cmd":"state","state":"initializing"})"}));
  // Answer the bootstrap that is still out, so the SDK is not torn down in the middle of it.
  while (transport->pendingCount() == 0) std::this_thread::yield();
  EXPECT_EQ(transport->completeAll(tarnwell::testing::httpResponse(kGoodBootstrap)), 1u);
}

TEST_F(CommandHostTest, PropertyCommandsTakeOneJSONValueAfterTheKey) {
  start();
  transport->enqueue(tarnwell::testing::httpResponse(kGoodBootstrap));
  run({"init"});
  EXPECT_EQ(run({R"(set-user-property plan "pro")", R"(set-user-property seats {"count": 3, "tags": ["a b"]})",
                 R"(set-device-property device_id "dev-9")", "debug"}),
            (Lines{R"({"cmd":"set-user-property","ok":true})", R"({"cmd":"set-user-property","ok":true})",
                   R"({"cmd":"set-device-property","ok":true})",
                   std::regex_replace(kReadyDebugLine, std::regex("dev-1"), "dev-9")}));
}

TEST_F(CommandHostTest, PropertyCommandsRejectAMissingKeyOrValueAndSetNothing) {
  const std::string kBadJSONLine =
      R"({"cmd":"set-device-property","error":"bad JSON value: Unable to parse JSON: The JSON document has an )"
      R"(improper structure: missing or superfluous commas, braces, missing keys, etc."})";
  start();
  transport->enqueue(tarnwell::testing::httpResponse(kGoodBootstrap));
  run({"init"});
  EXPECT_EQ(run({"set-user-property", "set-device-property device_id", "set-device-property device_id dev-7",
                 R"(set-device-property device_id "dev-7" "dev-8")", "debug"}),
            (Lines{R"({"cmd":"set-user-property","error":"missing property key"})",
                   R"({"cmd":"set-device-property","error":"missing JSON value"})", kBadJSONLine, kBadJSONLine,
                   std::string(kReadyDebugLine)}));
}

TEST_F(CommandHostTest, UnknownCommandsAndStrayArgumentsAreReportedAndTheHostGoesOn) {
  start();
  EXPECT_EQ(
      run({"frobnicate 1 2", "state now", "init --fast", "debug me", "shutdown please", "quit now", "state"}),
      (Lines{R"({"cmd":"frobnicate","error":"unknown command"})", R"({"cmd":"state","error":"takes no arguments"})",
             R"({"cmd":"init","error":"takes no arguments"})", R"({"cmd":"debug","error":"takes no arguments"})",
             R"({"cmd":"shutdown","error":"takes no arguments"})", R"({"cmd":"quit","error":"takes no arguments"})",
             R"({"cmd":"state","state":"notInitialized"})"}));
  EXPECT_TRUE(transport->requests().empty());
}

TEST_F(CommandHostTest, SleepTakesAWholeNumberOfMilliseconds) {
  start();
  EXPECT_EQ(run({"sleep 2", "sleep", "sleep -5", "sleep 1.5", "sleep soon"}),
            (Lines{R"({"cmd":"sleep","ok":true})", R"({"cmd":"sleep","error":"missing milliseconds"})",
                   R"({"cmd":"sleep","error":"not a whole number of milliseconds: -5"})",
                   R"({"cmd":"sleep","error":"not a whole number of milliseconds: 1.5"})",
                   R"({"cmd":"sleep","error":"not a whole number of milliseconds: soon"})"}));
}

TEST_F(CommandHostTest, BlankLinesAndCommentsPrintNothingAndBlanksAroundACommandDoNotCount) {
  start();
  EXPECT_EQ(run({"", "   ", "\r", "# init", "   #init", "\tstate  \r"}),
            (Lines{R"({"cmd":"state","state":"notInitialized"})"}));
  EXPECT_TRUE(transport->requests().empty());
}

TEST_F(CommandHostTest, RunStopsReadingAtQuitOrTheEndOfTheInputAndShutsTheSdkDown) {
  start();
  std::istringstream quitting("state\nquit\nstate\n");
  EXPECT_EQ(host->run(quitting), 0);
  EXPECT_EQ(out.str(), "{\"cmd\":\"state\",\"state\":\"notInitialized\"}\n{\"cmd\":\"quit\"}\n");
  EXPECT_EQ(host->sdk().getState(), SDKState::shutdown());

  out.str("");
  start();
  transport->enqueue(tarnwell::testing::httpResponse(kGoodBootstrap));
  std::istringstream ending("init\n\n# done\n");
  EXPECT_EQ(host->run(ending), 0);
  EXPECT_EQ(out.str(), "{\"cmd\":\"init\",\"state\":\"ready\"}\n");
  EXPECT_EQ(host->sdk().getState(), SDKState::shutdown());
}

// The waits work whether the host pumps the SDK's main context or the SDK runs its own thread.
struct CommandHostModeTest : CommandHostTest, ::testing::WithParamInterface<MainContext::Mode> {};

TEST_P(CommandHostModeTest, InitAndShutdownReportTheStateTheyWaitedFor) {
  start(GetParam());
  transport->enqueue(tarnwell::testing::httpResponse(kGoodBootstrap));
  EXPECT_EQ(
      run({"init", "state", "sleep 1", "shutdown", "state"}),
      (Lines{R"({"cmd":"init","state":"ready"})", R"({"cmd":"state","state":"ready"})", R"({"cmd":"sleep","ok":true})",
             R"({"cmd":"shutdown","state":"shutdown"})", R"({"cmd":"state","state":"shutdown"})"}));
}

INSTANTIATE_TEST_SUITE_P(BothContextModes, CommandHostModeTest,
                         ::testing::Values(MainContext::Mode::hostPumped, MainContext::Mode::ownThread),
                         [](const auto& info) {
                           return info.param == MainContext::Mode::hostPumped ? "hostPumped" : "ownThread";
                         });

}  // namespace
}  // namespace tarnwell::cli
