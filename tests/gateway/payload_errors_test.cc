#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/gateway/gateway_fixture.h"
#include "tests/gateway/sdk_payloads.h"

namespace tarnwell::gateway {
namespace {

using PayloadErrorsTest = GatewayServerTest;

// A payload the SDK would send, spoilt in one place, and the error it must be answered with.
struct Spoilt {
  std::string action;
  JSONObject payload;
  std::string error;
};

JSONObject with(JSONObject object, const std::function<void(JSONObject&)>& spoil) {
  spoil(object);
  return object;
}

JSONObject sessionEnd() { return {{"snapshot", userSnapshot("prf_A")}, {"sessionData", sessionData("session_S1")}}; }
JSONObject userSync() { return {{"snapshot", userSnapshot("prf_A")}, {"incrementSessionCount", false}}; }
JSONObject identify() {
  return {{"snapshot", userSnapshot("prf_A")}, {"identifiedUserId", "user-7"}, {"traits", JSONObject{}}};
}
JSONObject eventBatch(JSONObject item) { return {{"items", JSONArray{eventItem("opened", "e-1"), std::move(item)}}}; }
JSONObject telemetryBatch(JSONObject item) { return {{"items", JSONArray{std::move(item)}}}; }
JSONObject telemetryItem() { return {{"action", "track_flag_evaluation"}, {"payload", JSONObject{}}}; }

JSONObject& snapshotOf(JSONObject& payload) { return *payload["snapshot"].asObject(); }
JSONObject surveyAnswer() { return surveyResponse("r-1", "srv_checkout_nps"); }

std::vector<Spoilt> spoiltPayloads() {
  return {
      {"start_session", {}, "snapshot is missing"},
      {"start_session", {{"snapshot", "prf_A"}}, "snapshot must be an object"},
      {"start_session",
       {{"snapshot", with(userSnapshot("prf_A"), [](JSONObject& s) { s.set("teamId", 7); })}},
       "snapshot.teamId must be a string"},
      {"start_session",
       {{"snapshot", with(userSnapshot("prf_A"), [](JSONObject& s) { s.erase("lastLogin"); })}},
       "snapshot.lastLogin is missing"},
      {"start_session",
       {{"snapshot", with(userSnapshot("prf_A"), [](JSONObject& s) { s.set("userType", false); })}},
       "snapshot.userType must be a string or null"},
      {"start_session",
       {{"snapshot", with(userSnapshot("prf_A"), [](JSONObject& s) { s.set("userProperties", JSONArray{}); })}},
       "snapshot.userProperties must be an object"},
      {"start_session",
       {{"snapshot", with(userSnapshot("prf_A"), [](JSONObject& s) { s.set("sessionId", nullptr); })}},
       "snapshot.sessionId must name the session that starts"},
      {"end_session", with(sessionEnd(), [](JSONObject& p) { p.erase("sessionData"); }), "sessionData is missing"},
      {"end_session", with(sessionEnd(), [](JSONObject& p) { p["sessionData"].asObject()->set("duration", "90500"); }),
       "sessionData.duration must be a number"},
      {"end_session",
       with(sessionEnd(),
            [](JSONObject& p) { (*p["sessionData"].asObject())["deviceInfo"].asObject()->erase("osVersion"); }),
       "sessionData.deviceInfo.osVersion is missing"},
      {"end_session", with(sessionEnd(), [](JSONObject& p) { snapshotOf(p).set("isRegistered", "false"); }),
       "snapshot.isRegistered must be a bool"},
      {"sync_user_state", with(userSync(), [](JSONObject& p) { p.set("incrementSessionCount", 1); }),
       "incrementSessionCount must be a bool"},
      {"sync_user_state", with(userSync(), [](JSONObject& p) { snapshotOf(p).set("profileId", ""); }),
       "snapshot.profileId must be a non-empty string"},
      {"identify_user", with(identify(), [](JSONObject& p) { p.set("identifiedUserId", ""); }),
       "identifiedUserId must be a non-empty string"},
      {"identify_user", with(identify(), [](JSONObject& p) { p.set("traits", JSONArray{}); }),
       "traits must be an object"},
      {"track_event_batch", {}, "items is missing"},
      {"track_event_batch", {{"items", JSONObject{}}}, "items must be an array"},
      {"track_event_batch", {{"items", JSONArray{eventItem("opened", "e-1"), 5}}}, "items[1] must be an object"},
      {"track_event_batch",
       eventBatch(with(eventItem("closed", "e-2"),
                       [](JSONObject& i) {
                         i.set("properties", JSONObject{{"screen", "home"}});
                       })),
       "items[1].properties must be a string"},
      {"track_event_batch",
       eventBatch(with(eventItem("closed", "e-2"), [](JSONObject& i) { i.set("timestamp", "yesterday"); })),
       "items[1].timestamp must be an ISO 8601 date"},
      {"track_event_batch", eventBatch(with(eventItem("closed", "e-2"), [](JSONObject& i) { i.set("session_id", 3); })),
       "items[1].session_id must be a string or null"},
      {"track_event_batch", eventBatch(with(eventItem("closed", "e-2"), [](JSONObject& i) { i.erase("event_type"); })),
       "items[1].event_type is missing"},
      {"track_runtime_telemetry_batch",
       telemetryBatch(with(telemetryItem(), [](JSONObject& i) { i.erase("payload"); })), "items[0].payload is missing"},
      {"track_runtime_telemetry_batch",
       telemetryBatch(with(telemetryItem(), [](JSONObject& i) { i.set("action", ""); })),
       "items[0].action must be a non-empty string"},
      {"submit_survey_response", with(surveyAnswer(), [](JSONObject& p) { p.erase("ownerId"); }), "ownerId is missing"},
      {"submit_survey_response", with(surveyAnswer(), [](JSONObject& p) { p.set("userEmail", 5); }),
       "userEmail must be a string or null"},
      {"submit_survey_response", with(surveyAnswer(), [](JSONObject& p) { p.set("completed", "true"); }),
       "completed must be a bool"},
      {"submit_survey_response", with(surveyAnswer(), [](JSONObject& p) { p.set("completionTime", nullptr); }),
       "completionTime must be a number"},
      {"submit_survey_response", with(surveyAnswer(), [](JSONObject& p) { p.set("score", "9"); }),
       "score must be a number or null"},
      {"submit_survey_response",
       with(surveyAnswer(),
            [](JSONObject& p) {
              p.set("responses", JSONObject{{"nps_score", 9}});
            }),
       "responses must be a JSON text or null"},
      {"submit_survey_response", with(surveyAnswer(), [](JSONObject& p) { p.set("answers", "nps_score=9"); }),
       "answers must be a JSON text or null"},
      // A survey's response sent as an announcement's: the banner's keys are missing.
      {"submit_announcement_banner_response", surveyAnswer(), "bannerId is missing"},
      {"submit_announcement_banner_response",
       with(bannerResponse("r-1", "ann_new_dashboard"), [](JSONObject& p) { p.set("bannerName", true); }),
       "bannerName must be a string or null"},
  };
}

TEST_F(PayloadErrorsTest, AnswersAMalformedPayloadWithThePathAtFaultAndStoresNothingOfIt) {
  for (const Spoilt& spoilt : spoiltPayloads()) {
    EXPECT_EQ(gateway().call(spoilt.action, spoilt.payload).encode(),
              R"({"ok":false,"error":"Invalid )" + spoilt.action + " payload: " + spoilt.error + R"("})");
  }

  // The batches with a bad second item had a good first one: a batch is taken whole or not at all.
  EXPECT_EQ(gateway().getJSON("/__gateway/events").encode(), R"({"items":[]})");
  EXPECT_EQ(gateway().getJSON("/__gateway/telemetry").encode(), R"({"items":[]})");
  EXPECT_EQ(gateway().getJSON("/__gateway/sessions").encode(), R"({"items":[]})");
  EXPECT_EQ(gateway().getJSON("/__gateway/users").encode(), R"({"profiles":[],"identifiedUsers":[]})");
  EXPECT_EQ(gateway().getJSON("/__gateway/responses").encode(), R"({"items":[]})");
  // Each was still received and answered.
  EXPECT_EQ(gateway().getJSON("/__gateway/requests")["items"].asArray()->size(), spoiltPayloads().size());
}

}  // namespace
}  // namespace tarnwell::gateway
