#include <gtest/gtest.h>

#include <string>

#include "tests/gateway/gateway_fixture.h"
#include "tests/gateway/sdk_payloads.h"

namespace tarnwell::gateway {
namespace {

using namespace std::chrono_literals;

using SessionActionsTest = GatewayServerTest;

constexpr const char* kSucceeded = R"({"ok":true,"data":{"success":true}})";

std::string encoded(const JSONObject& object) { return JSONValue(object).encode(); }

TEST_F(SessionActionsTest, KeepsASessionFromItsStartToItsEnd) {
  const std::string token = bootstrapToken();
  clock_->advance(2s);
  EXPECT_EQ(gateway().call("start_session", {{"snapshot", userSnapshot("prf_A")}}, token).encode(), kSucceeded);
  EXPECT_EQ(gateway().getJSON("/__gateway/sessions").encode(),
            R"({"items":[{"sessionId":"session_S1","profileId":"prf_A","effectiveUserId":"anonymous_A1",)"
            R"("startedAt":"2026-01-01T00:00:02.000Z","endedAt":null,"sessionData":null}]})");

  clock_->advance(90500ms);
  EXPECT_EQ(
      gateway()
          .call("end_session", {{"snapshot", userSnapshot("prf_A")}, {"sessionData", sessionData("session_S1")}}, token)
          .encode(),
      kSucceeded);
  EXPECT_EQ(gateway().getJSON("/__gateway/sessions").encode(),
            R"({"items":[{"sessionId":"session_S1","profileId":"prf_A","effectiveUserId":"anonymous_A1",)"
            R"("startedAt":"2026-01-01T00:00:02.000Z","endedAt":"2026-01-01T00:01:32.500Z","sessionData":)" +
                encoded(sessionData("session_S1")) + "}]}");
}

TEST_F(SessionActionsTest, ARepeatedStartAttachesTheSessionToTheNewProfileAndKeepsItsStart) {
  gateway().call("start_session", {{"snapshot", userSnapshot("prf_A")}});
  clock_->advance(5s);
  // What an identify sends once the device has taken the user's profile.
  JSONObject identified = userSnapshot("prf_U");
  identified.set("effectiveUserId", "user-7");
  identified.set("identifiedUserId", "user-7");
  identified.set("isRegistered", true);
  EXPECT_EQ(gateway().call("start_session", {{"snapshot", identified}}).encode(), kSucceeded);

  EXPECT_EQ(gateway().getJSON("/__gateway/sessions").encode(),
            R"({"items":[{"sessionId":"session_S1","profileId":"prf_U","effectiveUserId":"user-7",)"
            R"("startedAt":"2026-01-01T00:00:00.000Z","endedAt":null,"sessionData":null}]})");
}

TEST_F(SessionActionsTest, KeepsSessionsApartAndAnEndWhoseStartNeverCame) {
  gateway().call("start_session", {{"snapshot", userSnapshot("prf_A", "session_S1")}});
  clock_->advance(1s);
  // The end is filed under the session its data names, whatever session the snapshot holds.
  gateway().call("end_session",
                 {{"snapshot", userSnapshot("prf_A", "session_S1")}, {"sessionData", sessionData("session_S0")}});

  EXPECT_EQ(gateway().getJSON("/__gateway/sessions").encode(),
            R"({"items":[{"sessionId":"session_S1","profileId":"prf_A","effectiveUserId":"anonymous_A1",)"
            R"("startedAt":"2026-01-01T00:00:00.000Z","endedAt":null,"sessionData":null},)"
            R"({"sessionId":"session_S0","profileId":"prf_A","effectiveUserId":"anonymous_A1",)"
            R"("startedAt":null,"endedAt":"2026-01-01T00:00:01.000Z","sessionData":)" +
                encoded(sessionData("session_S0")) + "}]}");
}

TEST_F(SessionActionsTest, SyncKeepsTheLatestSnapshotOfEachProfileAndCountsTheSessionsAskedFor) {
  const std::string token = bootstrapToken();
  EXPECT_EQ(gateway()
                .call("sync_user_state", {{"snapshot", userSnapshot("prf_A")}, {"incrementSessionCount", true}}, token)
                .encode(),
            kSucceeded);
  gateway().call("sync_user_state", {{"snapshot", userSnapshot("prf_B")}, {"incrementSessionCount", false}}, token);
  gateway().call("sync_user_state", {{"snapshot", userSnapshot("prf_A")}, {"incrementSessionCount", true}}, token);
  clock_->advance(750ms);
  JSONObject later = userSnapshot("prf_A");
  later.set("userProperties", JSONObject{{"plan", "team"}, {"seats", 4}});
  later.set("userType", "admin");
  gateway().call("sync_user_state", {{"snapshot", later}, {"incrementSessionCount", false}}, token);

  EXPECT_EQ(gateway().getJSON("/__gateway/users").encode(),
            R"({"profiles":[{"profileId":"prf_A","snapshot":)" + encoded(later) +
                R"(,"sessionCount":2,"updatedAt":"2026-01-01T00:00:00.750Z"},)"
                R"({"profileId":"prf_B","snapshot":)" +
                encoded(userSnapshot("prf_B")) +
                R"(,"sessionCount":0,"updatedAt":"2026-01-01T00:00:00.000Z"}],"identifiedUsers":[]})");
}

}  // namespace
}  // namespace tarnwell::gateway
