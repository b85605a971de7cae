// Durability across process death: events admitted by a host that is killed before any flush,
// and telemetry queued by a process that is killed, are sent by the next process on the same
// store.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "tarnwell/events/detail/runtime_telemetry_batcher.h"
#include "tarnwell/platform/detail/async.h"
#include "tarnwell/platform/detail/sqlite_key_value_store.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tarnwell/testing/virtual_clock.h"
#include "tests/gateway/gateway_fixture.h"
#include "tests/support/run_sync.h"
#include "tests/support/scratch_dir.h"

namespace tarnwell {
namespace {

// The command-line host as a child process, fed on standard input and read line by line.
class HostProcess {
 public:
  HostProcess(const std::string& config, const std::string& endpoint, const std::string& store) {
    int in[2];
    int out[2];
    if (pipe(in) != 0 || pipe(out) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(in[0], STDIN_FILENO);
      dup2(out[1], STDOUT_FILENO);
      close(in[1]);
      close(out[0]);
      execl(TARNWELL_CLI_EXE, "tarnwell", "--config", config.c_str(), "--endpoint", endpoint.c_str(), "--store",
            store.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    close(in[0]);
    close(out[1]);
    input_ = fdopen(in[1], "w");
    output_ = fdopen(out[0], "r");
  }
  ~HostProcess() {
    if (input_) fclose(input_);
    if (output_) fclose(output_);
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }

  void send(const std::string& line) {
    std::fputs((line + "\n").c_str(), input_);
    std::fflush(input_);
  }
  // The next result line (starting with "{"), or empty at the end of the output.
  std::string nextResult() {
    char buffer[8192];
    while (std::fgets(buffer, sizeof buffer, output_) != nullptr) {
      std::string line(buffer);
      if (!line.empty() && line.back() == '\n') line.pop_back();
      if (line.starts_with("{")) return line;
    }
    return {};
  }
  void killNow() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }
  int finish() {
    fclose(input_);
    input_ = nullptr;
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t pid_ = -1;
  FILE* input_ = nullptr;
  FILE* output_ = nullptr;
};

struct KillTest : gateway::GatewayServerTest {
  testing::ScratchDir dir;

  std::string writeConfig() {
    const std::string path = dir.file("config.json");
    std::ofstream(path) << R"({"schemaVersion":1,"apiKey":"key-good","environment":"debug","appwrite":{)"
                        << R"("endpoint":"http://127.0.0.1:1/v1","projectId":")" << gateway::kProjectId
                        << R"(","databaseId":"db","gatewayFunctionId":")" << gateway::kFunctionId << R"("}})";
    return path;
  }
  std::vector<std::string> storedEventNames() {
    std::vector<std::string> names;
    const JSONValue events = gateway().getJSON("/__gateway/events");
    for (const JSONValue& event : *events["items"].asArray()) {
      names.push_back(event["event_name"].asString()->str());
    }
    return names;
  }
};

TEST_F(KillTest, EventsAdmittedBeforeASigkillAreSentByTheNextProcess) {
  const std::string config = writeConfig();
  const std::string store = dir.file("sdk.sqlite");
  {
    HostProcess host(config, server_->url(), store);
    host.send("init");
    ASSERT_EQ(host.nextResult(), R"({"cmd":"init","state":"ready"})");
    for (const char* name : {"first", "second", "third"}) {
      host.send(std::string("track ") + name);
      ASSERT_EQ(host.nextResult(), R"({"cmd":"track","ok":true})");
    }
    host.send("queue");
    ASSERT_EQ(host.nextResult(), R"({"cmd":"queue","count":4})");
    host.killNow();
  }
  EXPECT_TRUE(storedEventNames().empty());

  HostProcess next(config, server_->url(), store);
  next.send("init");
  ASSERT_EQ(next.nextResult(), R"({"cmd":"init","state":"ready"})");
  next.send("flush");
  ASSERT_EQ(next.nextResult(), R"({"cmd":"flush","ok":true})");
  next.send("quit");
  ASSERT_EQ(next.nextResult(), R"({"cmd":"quit"})");
  EXPECT_EQ(next.finish(), 0);
  const std::vector<std::string> names = storedEventNames();
  EXPECT_EQ(std::vector<std::string>(names.begin(), names.begin() + 5),
            (std::vector<std::string>{"session_started", "first", "second", "third", "session_started"}));
}

// Killed processes fork from a test process that may already run threads; the child starts its
// own and touches nothing it inherited but the file system.
TEST(TelemetryKillTest, TelemetryQueuedBeforeASigkillIsSentByTheNextProcess) {
  testing::ScratchDir dir;
  const std::string storePath = dir.file("telemetry.sqlite");
  const std::string key = "com.tarnwell.runtimeTelemetryQueue.team-1_debug.v1";
  const pid_t child = fork();
  if (child == 0) {
    auto opened = detail::SqliteKeyValueStore::open(storePath);
    testing::VirtualClock clock;
    detail::WorkerPool pool(1);
    auto client = std::make_shared<detail::AppwriteClient>("http://127.0.0.1:1/v1", "p", "d", "f");
    client->setTeamId("team-1");
    client->setEnvironment("debug");
    detail::RuntimeTelemetryBatcher batcher(
        client, std::make_shared<testing::ScriptedHttpTransport>(),
        detail::RuntimeTelemetryQueue::create(*opened.store, clock, pool.executor()));
    for (int i = 0; i < 3; ++i) batcher.enqueue("track_feature_flag_evaluation", JSONObject{{"n", i}});
    // Killed the moment the third item is on disk, long before its delayed flush.
    for (;;) {
      const auto stored = opened.store->getBytes(key);
      if (stored && std::string(stored->begin(), stored->end()).find(R"("n":2)") != std::string::npos) raise(SIGKILL);
      usleep(1000);
    }
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));

  auto opened = detail::SqliteKeyValueStore::open(storePath);
  ASSERT_TRUE(opened.store);
  testing::VirtualClock clock;
  detail::WorkerPool pool(1);
  auto client = std::make_shared<detail::AppwriteClient>("http://127.0.0.1:1/v1", "p", "d", "f");
  client->setTeamId("team-1");
  client->setEnvironment("debug");
  auto transport = std::make_shared<testing::ScriptedHttpTransport>();
  transport->setResponder([](const HttpRequest&) {
    HttpResponse response;
    response.status = 200;
    response.body = R"({"ok":true,"data":{}})";
    return HttpResult(response);
  });
  detail::RuntimeTelemetryBatcher batcher(client, transport,
                                          detail::RuntimeTelemetryQueue::create(*opened.store, clock, pool.executor()));
  testing::runSync(batcher.flush());
  ASSERT_EQ(transport->requests().size(), 1u);
  const JSONValue input =
      JSONValue::decode(JSONValue::decode(transport->requests()[0].body)["body"].asString()->view());
  EXPECT_EQ(input["action"], JSONValue("track_runtime_telemetry_batch"));
  EXPECT_EQ(input["payload"]["items"].encode(), R"([{"action":"track_feature_flag_evaluation","payload":{"n":0}},)"
                                                R"({"action":"track_feature_flag_evaluation","payload":{"n":1}},)"
                                                R"({"action":"track_feature_flag_evaluation","payload":{"n":2}}])");
  EXPECT_FALSE(opened.store->getBytes(key));
}

}  // namespace
}  // namespace tarnwell
