#include "tools/cli/host_setup.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tarnwell/platform/detail/sqlite_key_value_store.h"
#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tests/cli/cli_test_support.h"
#include "tests/support/scratch_dir.h"
#include "tools/cli/host_process.h"

namespace tarnwell::cli {
namespace {

using tarnwell::testing::httpResponse;
using Arguments = std::vector<std::string_view>;

struct HostSetupTest : ::testing::Test {
  tarnwell::testing::ScratchDir dir;
  const std::string configPath = dir.file("config.json");

  void SetUp() override { write(configPath, testing::testConfig().encode().encode()); }

  static void write(const std::string& path, std::string_view text) { std::ofstream(path) << text; }

  std::string setupError(Arguments arguments) {
    try {
      loadHostSetup(arguments);
    } catch (const SetupError& error) {
      return error.what();
    }
    return "no error";
  }
};

TEST_F(HostSetupTest, ReadsTheConfigurationStoreAndScriptAndTheEndpointReplacesOnlyTheConfigurationsOwn) {
  const HostSetup setup =
      loadHostSetup(Arguments{"--store", "/tmp/s.sqlite", "--config", configPath, "--script", "run.txt", "--endpoint",
                              "http://127.0.0.1:8080/v1", "--clock", "virtual"});
  TarnwellSDKConfig expected = testing::testConfig();
  expected.appwrite.endpoint = "http://127.0.0.1:8080/v1";
  EXPECT_EQ(setup.config, expected);
  EXPECT_EQ(setup.storePath, "/tmp/s.sqlite");
  EXPECT_EQ(setup.scriptPath, "run.txt");
  EXPECT_TRUE(setup.virtualClock);

  const HostSetup plain = loadHostSetup(Arguments{"--config", configPath});
  EXPECT_EQ(plain.config, testing::testConfig());
  EXPECT_EQ(plain.storePath, std::nullopt);
  EXPECT_EQ(plain.scriptPath, std::nullopt);
  EXPECT_FALSE(plain.virtualClock);
  EXPECT_FALSE(loadHostSetup(Arguments{"--config", configPath, "--clock", "system"}).virtualClock);
}

TEST_F(HostSetupTest, CommandLineErrorsSayWhatIsWrong) {
  EXPECT_EQ(setupError({"--store", "s.sqlite"}), "missing --config FILE");
  EXPECT_EQ(setupError({"--config", configPath, "--endpoint"}), "--endpoint needs a value");
  EXPECT_EQ(setupError({"--config", configPath, "--verbose"}), "unknown argument: --verbose");
  EXPECT_EQ(setupError({"--config", configPath, "--clock", "sundial"}), "--clock takes system or virtual, not sundial");
}

TEST_F(HostSetupTest, ConfigFileErrorsNameTheFileAndTheProblem) {
  EXPECT_EQ(setupError({"--config", dir.file("none.json")}), "config file not found: " + dir.file("none.json"));
  EXPECT_EQ(setupError({"--config", dir.path()}), "config file not found: " + dir.path());

  write(configPath, "{\"apiKey\":");
  EXPECT_EQ(setupError({"--config", configPath}),
            "bad config file " + configPath +
                ": Unable to parse JSON: The JSON document has an improper structure: "
                "missing or superfluous commas, braces, missing keys, etc.");

  write(configPath, R"({"schemaVersion":1,"environment":"stage","appwrite":{}})");
  EXPECT_EQ(setupError({"--config", configPath}),
            "bad config file " + configPath + ": No value for the required key \"apiKey\"");
}

struct HostProcessTest : HostSetupTest {
  std::shared_ptr<tarnwell::testing::ScriptedHttpTransport> transport =
      std::make_shared<tarnwell::testing::ScriptedHttpTransport>();
  tarnwell::testing::LogRecorder log;
  std::istringstream input;
  std::ostringstream out;
  std::ostringstream err;

  HostOptions options() {
    HostOptions host;
    host.transport = transport;
    host.deviceInfo = iosDeviceProfile;
    host.mainContextMode = MainContext::Mode::hostPumped;
    return host;
  }
  int runProcess(Arguments arguments, HostOptions host) {
    return runHostProcess(arguments, std::move(host), input, out, err);
  }
};

TEST_F(HostProcessTest, AnUnusableSetupExitsWithStatusTwoAndSaysWhyOnStandardError) {
  input.str("state\n");
  EXPECT_EQ(runProcess({"--config", dir.file("none.json")}, options()), 2);
  EXPECT_EQ(err.str(), "tarnwell: config file not found: " + dir.file("none.json") + "\n" + std::string(kUsage) + "\n");
  EXPECT_EQ(out.str(), "");

  err.str("");
  EXPECT_EQ(runProcess({"--config", configPath, "--script", dir.file("none.txt")}, options()), 2);
  EXPECT_EQ(err.str(), "tarnwell: cannot read script file: " + dir.file("none.txt") + "\n");
  EXPECT_EQ(out.str(), "");
}

TEST_F(HostProcessTest, RunsTheScriptFileAgainstTheOverriddenEndpoint) {
  write(dir.file("run.txt"), "init\nquit\n");
  input.str("debug\n");
  transport->enqueue(tarnwell::testing::httpResponse(testing::kGoodBootstrap));
  HostOptions host = options();
  host.store = testing::storeWithKnownUser();
  EXPECT_EQ(runProcess({"--config", configPath, "--endpoint", "http://127.0.0.1:9/v1", "--script", dir.file("run.txt")},
                       std::move(host)),
            0);
  EXPECT_EQ(out.str(), "{\"cmd\":\"init\",\"state\":\"ready\"}\n{\"cmd\":\"quit\"}\n");
  EXPECT_EQ(err.str(), "");
  ASSERT_GE(transport->requests().size(), 1u);
  EXPECT_EQ(transport->requests()[0].url, "http://127.0.0.1:9/v1/functions/fn/executions");
}

TEST_F(HostProcessTest, ReadsStandardInputAndKeepsTheUserInTheStoreFile) {
  const std::string storePath = dir.file("state/store.sqlite");
  input.str("set-device-property device_id \"dev-5\"\n");
  EXPECT_EQ(runProcess({"--config", configPath, "--store", storePath}, options()), 0);
  EXPECT_EQ(out.str(), "{\"cmd\":\"set-device-property\",\"ok\":true}\n");

  auto opened = detail::SqliteKeyValueStore::open(storePath);
  ASSERT_NE(opened.store, nullptr) << opened.error;
  EXPECT_EQ(opened.store->getString("tarnwell_device_id"), "dev-5");
}

TEST_F(HostProcessTest, AdvanceMovesOnlyTheVirtualClockThatTheCommandLineAsksFor) {
  input.str("advance 1000\n");
  const std::string store = dir.file("store.sqlite");
  EXPECT_EQ(runProcess({"--config", configPath, "--store", store, "--clock", "virtual"}, options()), 0);
  EXPECT_EQ(out.str(), "{\"cmd\":\"advance\",\"ok\":true}\n");

  out.str("");
  input.clear();
  input.str("advance 1000\n");
  EXPECT_EQ(runProcess({"--config", configPath, "--store", store}, options()), 0);
  EXPECT_EQ(out.str(),
            "{\"cmd\":\"advance\",\"error\":\"the SDK runs on the system clock: start the host with --clock "
            "virtual\"}\n");
}

}  // namespace
}  // namespace tarnwell::cli
