// Runs the real `tarnwell` executable as a child process: exit status, standard output's
// result lines, the store file it was told to use, over the example configuration.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/cli/cli_test_support.h"
#include "tests/support/scratch_dir.h"

namespace tarnwell::cli {
namespace {

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

struct CliExecutableTest : ::testing::Test {
  tarnwell::testing::ScratchDir dir;

  static std::string read(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  }

  // `arguments` are single-quoted shell words: paths inside the scratch folder.
  Outcome runCli(const std::string& arguments) {
    const std::string command = std::string("'") + TARNWELL_CLI_EXE + "' " + arguments + " </dev/null >'" +
                                dir.file("out.txt") + "' 2>'" + dir.file("err.txt") + "'";
    const int wait = std::system(command.c_str());
    Outcome outcome;
    outcome.status = WIFEXITED(wait) ? WEXITSTATUS(wait) : -1;
    outcome.out = read(dir.file("out.txt"));
    outcome.err = read(dir.file("err.txt"));
    return outcome;
  }
};

TEST_F(CliExecutableTest, MissingConfigFileExitsWithStatusTwo) {
  const Outcome outcome = runCli("--config '" + dir.file("none.json") + "'");
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.out, "");
  EXPECT_TRUE(outcome.err.starts_with("tarnwell: config file not found: " + dir.file("none.json") + "\n"))
      << outcome.err;
}

TEST_F(CliExecutableTest, ExampleConfigWithAScriptOfStateAndQuitPrintsTheirResultLines) {
  std::ofstream(dir.file("script.txt")) << "# before start-up\nstate\nquit\nstate\n";
  const std::string store = dir.file("store.sqlite");
  const Outcome outcome = runCli("--config '" TARNWELL_CLI_EXAMPLE_CONFIG "' --endpoint http://127.0.0.1:9/v1" +
                                 (" --store '" + store + "' --script '" + dir.file("script.txt") + "'"));
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(testing::resultLines(outcome.out),
            (std::vector<std::string>{R"({"cmd":"state","state":"notInitialized"})", R"({"cmd":"quit"})"}));
  EXPECT_TRUE(std::filesystem::is_regular_file(store));
}

}  // namespace
}  // namespace tarnwell::cli
