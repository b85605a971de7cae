#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/gateway/gateway_fixture.h"

namespace tarnwell::gateway {
namespace {

using namespace std::chrono_literals;

using RecordingTest = GatewayServerTest;

TEST_F(RecordingTest, KeepsEveryCallInArrivalOrder) {
  const std::string token = bootstrapToken();
  clock_->advance(1500ms);
  gateway().call("track_event_batch", {{"events", JSONArray{JSONObject{{"name", "opened"}}}}}, token);
  clock_->advance(1ms);
  gateway().call("get_surveys", {}, "gst_not_issued");

  EXPECT_EQ(gateway().getJSON("/__gateway/requests").encode(),
            R"({"items":[)"
            R"({"action":"bootstrap","payload":{"apiKey":"key-good","environment":"debug"},"sessionToken":null,)"
            R"("receivedAt":"2026-01-01T00:00:00.000Z","httpStatus":200,"fault":null},)"
            R"({"action":"track_event_batch","payload":{"events":[{"name":"opened"}]},"sessionToken":")" +
                token +
                R"(","receivedAt":"2026-01-01T00:00:01.500Z","httpStatus":200,"fault":null},)"
                R"({"action":"get_surveys","payload":{},"sessionToken":"gst_not_issued",)"
                R"("receivedAt":"2026-01-01T00:00:01.501Z","httpStatus":200,"fault":null}]})");
}

TEST_F(RecordingTest, FiltersByAction) {
  bootstrapToken();
  gateway().call("get_surveys", {{"page", 1}});
  gateway().call("get_live_cards", {});
  gateway().call("get_surveys", {{"page", 2}});

  const JSONValue surveys = gateway().getJSON("/__gateway/requests?action=get_surveys");
  ASSERT_EQ(surveys["items"].asArray()->size(), 2u) << surveys.encode();
  EXPECT_EQ((*surveys["items"].asArray())[0]["payload"].encode(), R"({"page":1})");
  EXPECT_EQ((*surveys["items"].asArray())[1]["payload"].encode(), R"({"page":2})");
  EXPECT_EQ(gateway().getJSON("/__gateway/requests?action=end_session").encode(), R"({"items":[]})");
}

TEST_F(RecordingTest, DeleteForgetsWhatWasReceived) {
  gateway().call("start_session", {});
  const httplib::Result cleared = gateway().http().Delete("/__gateway/requests");
  ASSERT_TRUE(cleared);
  EXPECT_EQ(cleared->status, 200);
  EXPECT_EQ(cleared->body, R"({"items":[]})");
  EXPECT_EQ(gateway().getJSON("/__gateway/requests").encode(), R"({"items":[]})");

  gateway().call("end_session", {});
  const JSONValue after = gateway().getJSON("/__gateway/requests");
  ASSERT_EQ(after["items"].asArray()->size(), 1u);
  EXPECT_EQ(after["items"].asArray()->front()["action"].encode(), R"("end_session")");
}

TEST_F(RecordingTest, RecordsCallsThatArriveTogether) {
  constexpr int kThreads = 6, kCallsEach = 5;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, t] {
      testing::GatewayClient client(server_->url(), kProjectId, kFunctionId);
      for (int i = 0; i < kCallsEach; ++i) client.call("track_event_batch", {{"thread", t}, {"call", i}});
    });
  }
  for (std::thread& thread : threads) thread.join();

  const JSONValue requests = gateway().getJSON("/__gateway/requests");
  ASSERT_EQ(requests["items"].asArray()->size(), static_cast<std::size_t>(kThreads * kCallsEach));
  // Each thread's calls keep their order among themselves.
  std::vector<int> nextCall(kThreads, 0);
  for (const JSONValue& item : *requests["items"].asArray()) {
    const auto thread = static_cast<std::size_t>(*item["payload"]["thread"].intValue());
    EXPECT_EQ(item["payload"]["call"].intValue(), nextCall[thread]++);
  }
}

}  // namespace
}  // namespace tarnwell::gateway
