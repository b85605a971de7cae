// Runs the tarnwell-gateway executable as a developer would: reads the endpoint off its first
// line, talks to it, and stops it with a signal.
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include <tarnwell/content/runtime_bundle.h>
#include <tarnwell/messagecenter/message_center_settings.h>

#include "tests/support/gateway_client.h"
#include "tests/support/scratch_dir.h"

extern char** environ;

namespace tarnwell {
namespace {

// A child process with its standard output and error on pipes; killed if a test leaves it.
class GatewayProcess {
 public:
  explicit GatewayProcess(const std::vector<std::string>& arguments) {
    int out[2], err[2];
    if (::pipe(out) != 0 || ::pipe(err) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    for (int fd : {out[0], out[1], err[0], err[1]}) posix_spawn_file_actions_addclose(&actions, fd);

    std::vector<std::string> words{TARNWELL_GATEWAY_EXE};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    if (posix_spawn(&pid_, TARNWELL_GATEWAY_EXE, &actions, nullptr, argv.data(), environ) != 0) pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    ::close(err[1]);
    out_ = out[0];
    err_ = err[0];
  }
  ~GatewayProcess() {
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, nullptr, 0);
    }
    if (out_ >= 0) ::close(out_);
    if (err_ >= 0) ::close(err_);
  }
  GatewayProcess(const GatewayProcess&) = delete;
  GatewayProcess& operator=(const GatewayProcess&) = delete;

  bool running() const { return pid_ > 0; }
  // The next line of standard output without its new line; what there is at end of output.
  std::string readLine() {
    std::string line;
    char c;
    while (::read(out_, &c, 1) == 1 && c != '\n') line.push_back(c);
    return line;
  }
  std::string readAllErrors() {
    std::string text;
    char buffer[512];
    for (ssize_t n; (n = ::read(err_, buffer, sizeof(buffer))) > 0;) text.append(buffer, static_cast<std::size_t>(n));
    return text;
  }
  void signal(int number) { ::kill(pid_, number); }
  // The wait status once the process has ended.
  int wait() {
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return status;
  }

 private:
  pid_t pid_ = -1;
  int out_ = -1;
  int err_ = -1;
};

void expectExitStatus(int waitStatus, int expected) {
  ASSERT_TRUE(WIFEXITED(waitStatus)) << "ended by signal " << (WIFSIGNALED(waitStatus) ? WTERMSIG(waitStatus) : 0);
  EXPECT_EQ(WEXITSTATUS(waitStatus), expected);
}

TEST(GatewayExecutableTest, ServesTheExampleContentUntilAStopSignal) {
  for (const int stopSignal : {SIGTERM, SIGINT}) {
    SCOPED_TRACE(stopSignal);
    GatewayProcess gateway({"--content", TARNWELL_GATEWAY_EXAMPLE_CONTENT, "--port", "0"});
    ASSERT_TRUE(gateway.running());

    const std::string endpoint = gateway.readLine();
    ASSERT_TRUE(std::regex_match(endpoint, std::regex(R"(http://127\.0\.0\.1:[1-9][0-9]*/v1)"))) << endpoint;
    testing::GatewayClient client(endpoint, "tarnwell-local", "sdk-gateway");
    const JSONValue envelope = client.call("bootstrap", {{"apiKey", "tw_demo_key"}, {"environment", "debug"}});
    EXPECT_EQ(envelope["ok"].encode(), "true") << envelope.encode();
    EXPECT_EQ(envelope["data"]["config"]["teamId"].encode(), R"("team_demo")");
    EXPECT_EQ(envelope["data"]["runtimeConfig"]["events"]["batchSize"].encode(), "20");
    const JSONValue flags = client.call("get_feature_flags", {}, envelope["data"]["sessionToken"].stringValue());
    const JSONArray* items = flags["data"]["items"].asArray();
    ASSERT_TRUE(items != nullptr && !items->empty()) << flags.encode();
    EXPECT_EQ(items->front()["key"].encode(), R"("checkout_flow")");

    gateway.signal(stopSignal);
    expectExitStatus(gateway.wait(), 0);
    EXPECT_EQ(gateway.readAllErrors(), "");
  }
}

// The record of `id` in `list`; null when it is not there.
const Survey* findRecord(const std::vector<Survey>& list, std::string_view id) {
  for (const Survey& record : list) {
    if (record.id == id) return &record;
  }
  return nullptr;
}

// The demo triggers these by their events: each must reach the SDK whole, its nested documents
// readable.
TEST(GatewayExecutableTest, ServesTheExampleSurveysAndAnnouncementsAsTheSdkReadsThem) {
  GatewayProcess gateway({"--content", TARNWELL_GATEWAY_EXAMPLE_CONTENT});
  ASSERT_TRUE(gateway.running());
  testing::GatewayClient client(gateway.readLine(), "tarnwell-local", "sdk-gateway");
  const JSONValue bundle = client.call("get_runtime_bundle", {{"knownVersions", JSONObject{}}});
  const JSONValue& items = bundle["data"]["items"];
  // A record the SDK cannot read is dropped from its list.
  const std::vector<Survey> surveys = decodeSurveyList(items["surveys"]);
  const std::vector<Survey> announcements = decodeSurveyList(items["announcements"]);
  ASSERT_TRUE(items["surveys"].isArray() && items["announcements"].isArray()) << bundle.encode();
  EXPECT_EQ(surveys.size(), items["surveys"].asArray()->size());
  EXPECT_EQ(announcements.size(), items["announcements"].asArray()->size());
  for (const char* id : {"srv_checkout_nps", "srv_third_search", "srv_feedback_limited", "ann_new_dashboard"}) {
    SCOPED_TRACE(id);
    const Survey* record = findRecord(surveys, id) ? findRecord(surveys, id) : findRecord(announcements, id);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->status, "published");
    EXPECT_TRUE(record->structure() && record->targeting() && record->config() && record->analytics());
  }


  gateway.signal(SIGTERM);
  expectExitStatus(gateway.wait(), 0);
}

// The demo's message center: settings the SDK can read, and a thread of user_demo_1.
TEST(GatewayExecutableTest, SeedsTheExampleMessageCenter) {
  GatewayProcess gateway({"--content", TARNWELL_GATEWAY_EXAMPLE_CONTENT});
  ASSERT_TRUE(gateway.running());
  testing::GatewayClient client(gateway.readLine(), "tarnwell-local", "sdk-gateway");
  const JSONValue settings = client.call("get_message_center_settings", {})["data"]["item"];
  EXPECT_NO_THROW(MessageCenterSettings::decode(settings)) << settings.encode();
  const JSONObject owner{{"userId", "user_demo_1"}, {"anonymousId", nullptr}, {"limit", 50}};
  const JSONValue threads = client.call("get_message_threads", owner);
  ASSERT_TRUE(threads["data"]["items"].isArray()) << threads.encode();
  EXPECT_FALSE(threads["data"]["items"].asArray()->empty());

  gateway.signal(SIGTERM);
  expectExitStatus(gateway.wait(), 0);
}

// Every content error takes this way out: status 2, its message on standard error.
TEST(GatewayExecutableTest, RejectsABadContentFileWithStatus2) {
  testing::ScratchDir scratch;
  const std::string path = scratch.file("content.json");
  std::ofstream(path) << R"({"projectId":"p","functionId":"f","apiKeys":[{"key":"k","organizationId":7}]})";

  GatewayProcess gateway({"--content", path});
  ASSERT_TRUE(gateway.running());
  expectExitStatus(gateway.wait(), 2);
  EXPECT_EQ(gateway.readLine(), "");
  EXPECT_EQ(gateway.readAllErrors(), "tarnwell-gateway: Content file " + path +
                                         ": Expected text at \"apiKeys[0].organizationId\" but found a number\n");
}

}  // namespace
}  // namespace tarnwell
