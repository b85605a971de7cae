#include "tools/gateway/gateway_store.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/gateway/gateway_fixture.h"
#include "tests/gateway/sdk_payloads.h"
#include "tests/support/scratch_dir.h"

namespace tarnwell::gateway {
namespace {

using namespace std::chrono_literals;

class GatewayStoreFileTest : public GatewayServerTest {
 protected:
  void SetUp() override { serve(testContent(), withWhoAmI(), database_); }
  // The server lets go of the file before the folder goes.
  void TearDown() override {
    client_.reset();
    server_.reset();
  }

  // Everything the inspection routes show, in one text.
  std::string inspection() {
    std::string shown;
    for (const char* path : {"/__gateway/requests", "/__gateway/sessions", "/__gateway/users", "/__gateway/events",
                             "/__gateway/telemetry", "/__gateway/responses"}) {
      shown += gateway().getJSON(path).encode() + "\n";
    }
    return shown;
  }

  testing::ScratchDir scratch_;
  std::string database_ = scratch_.file("gateway.sqlite");
};

TEST_F(GatewayStoreFileTest, WhatTheActionsStoredOutlivesTheServer) {
  const std::string token = bootstrapToken();
  gateway().call("start_session", {{"snapshot", userSnapshot("prf_A")}});
  gateway().call("sync_user_state", {{"snapshot", userSnapshot("prf_A")}, {"incrementSessionCount", true}});
  gateway().call(
      "identify_user",
      {{"snapshot", userSnapshot("prf_A")}, {"identifiedUserId", "user-7"}, {"traits", JSONObject{{"a", 1}}}});
  gateway().call("track_event_batch", {{"items", JSONArray{eventItem("opened", "e-1")}}});
  gateway().call("track_runtime_telemetry_batch",
                 {{"items", JSONArray{JSONObject{{"action", "track_exposure"}, {"payload", JSONObject{}}}}}});
  gateway().call("submit_survey_response", surveyResponse("r-1", "srv_checkout_nps"), token);
  for (const char* path :
       {"/__gateway/sessions", "/__gateway/events", "/__gateway/telemetry", "/__gateway/responses"}) {
    EXPECT_EQ(gateway().getJSON(path)["items"].asArray()->size(), 1u) << path;
  }
  const std::string before = inspection();

  clock_->advance(1s);
  serve(testContent(), withWhoAmI(), database_);
  EXPECT_EQ(inspection(), before);
  // The gateway still knows the caller its token was issued to.
  EXPECT_EQ(gateway().call("whoami", {}, token)["data"]["apiKeyId"].encode(), R"("kid-1")");
  // The user is read back too: another device's profile merges into the one kept on disk.
  EXPECT_EQ(gateway()
                .call("identify_user",
                      {{"snapshot", userSnapshot("prf_B")}, {"identifiedUserId", "user-7"}, {"traits", JSONObject{}}})
                .encode(),
            R"({"ok":true,"data":{"profileId":"prf_A","mergedFromProfileId":"prf_B"}})");
}

TEST(GatewayStoreTest, ADatabaseOfAnEarlierGatewayGainsTheNewTablesAndKeepsItsRows) {
  testing::ScratchDir scratch;
  const std::string path = scratch.file("earlier.sqlite");
  {
    // The tables a gateway had before it stored what the actions carry.
    SqliteDatabase earlier(path);
    earlier.locked([](sqlite3* db) {
      execute(db,
              "CREATE TABLE sessions (token TEXT PRIMARY KEY NOT NULL, api_key TEXT NOT NULL,"
              " organization_id TEXT NOT NULL, project_id TEXT NOT NULL, app_id TEXT NOT NULL,"
              " team_id TEXT NOT NULL, api_key_id TEXT NOT NULL, environment TEXT NOT NULL,"
              " created_at TEXT NOT NULL);"
              "CREATE TABLE requests (id INTEGER PRIMARY KEY AUTOINCREMENT, action TEXT NOT NULL,"
              " payload TEXT NOT NULL, session_token TEXT, received_at TEXT NOT NULL, http_status INTEGER,"
              " fault TEXT);"
              "INSERT INTO requests (action, payload, received_at, http_status)"
              " VALUES ('bootstrap', '{}', '2025-12-31T23:59:59.000Z', 200)");
    });
  }

  GatewayStore store(path);
  ASSERT_EQ(store.requests().size(), 1u);
  EXPECT_EQ(store.requests().front().toJSON().encode(),
            R"({"action":"bootstrap","payload":{},"sessionToken":null,"receivedAt":"2025-12-31T23:59:59.000Z",)"
            R"("httpStatus":200,"fault":null})");
  store.eventStore().recordTelemetry({{"track_exposure", JSONObject{{"flagKey", "f"}}, "2026-01-01T00:00:00.000Z"}});
  EXPECT_EQ(store.eventStore().telemetry().front().toJSON().encode(),
            R"({"action":"track_exposure","payload":{"flagKey":"f"},"receivedAt":"2026-01-01T00:00:00.000Z"})");
  store.identityStore().saveUserState("prf_A", userSnapshot("prf_A"), true, "2026-01-01T00:00:00.000Z");
  EXPECT_EQ(store.identityStore().userStates().front().sessionCount, 1);
}

}  // namespace
}  // namespace tarnwell::gateway
