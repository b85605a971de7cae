#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/gateway/gateway_fixture.h"

namespace tarnwell::gateway {
namespace {

// Sections of the served content; "liveCards" is left out, so it is served empty.
constexpr const char* kFlags =
    R"([{"$id":"f1","key":"beta","type":"boolean","defaultValue":"false","status":"active"}])";
constexpr const char* kSegments =
    R"([{"id":"seg-pro","name":"Pro","conditions":"[{\"field\":\"plan\",\"operator\":\"equals\",\"value\":\"pro\"}]"},)"
    R"({"id":"seg-new","name":"New"},{"$id":"seg-doc","name":"Keyed by document id only"}])";
constexpr const char* kSurveys = R"([{"$id":"s1","name":"NPS","status":"published","targeting":"{\"rules\":[]}"}])";
constexpr const char* kAnnouncements = R"([{"$id":"a1","name":"Welcome","status":"published"}])";

class ContentActionsTest : public GatewayServerTest {
 protected:
  void SetUp() override {
    serve(testContent().updated(std::string(R"({"featureFlags":)") + kFlags + R"(,"segments":)" + kSegments +
                                R"(,"surveys":)" + kSurveys + R"(,"announcements":)" + kAnnouncements + "}"));
    token_ = bootstrapToken();
  }

  JSONValue call(std::string_view action, const JSONObject& payload) { return gateway().call(action, payload, token_); }
  JSONValue bundle(JSONObject knownVersions) { return call("get_runtime_bundle", {{"knownVersions", knownVersions}}); }
  // The marks /__gateway/content reports, which the bundle must carry.
  JSONValue versions() { return gateway().getJSON("/__gateway/content")["versions"]; }
  // The four marks of the bundle, in its order, taken from /__gateway/content.
  JSONObject bundleVersions() {
    const JSONValue all = versions();
    return JSONObject{{"surveys", all["surveys"]},
                      {"announcements", all["announcements"]},
                      {"liveCards", all["liveCards"]},
                      {"featureFlags", all["featureFlags"]}};
  }

  std::string token_;
};

TEST_F(ContentActionsTest, ABundleForNoKnownVersionsCarriesEveryKindWithItsMark) {
  const JSONObject marks = bundleVersions();
  EXPECT_EQ(bundle({}).encode(), R"({"ok":true,"data":{"versions":)" + JSONValue(marks).encode() +
                                     R"(,"items":{"surveys":)" + kSurveys + R"(,"announcements":)" + kAnnouncements +
                                     R"(,"liveCards":[],"featureFlags":)" + kFlags + "}}}");
  for (const auto& [kind, mark] : marks) {
    ASSERT_NE(mark.asString(), nullptr) << kind;
    EXPECT_EQ(mark.asString()->size(), 16u) << kind;
  }
}

TEST_F(ContentActionsTest, ABundleIsNotModifiedOnlyWhenTheCallerHoldsEveryCurrentMark) {
  const JSONObject marks = bundleVersions();
  EXPECT_EQ(bundle(marks).encode(),
            R"({"ok":true,"data":{"versions":)" + JSONValue(marks).encode() + R"(,"notModified":true}})");

  JSONObject withExtraKind = marks;
  withExtraKind.set("messages", 7);
  EXPECT_EQ(bundle(withExtraKind)["data"]["notModified"].encode(), "true");

  JSONObject oneStale = marks;
  oneStale.set("liveCards", "0000000000000000");
  JSONObject oneMissing = marks;
  oneMissing.erase("announcements");
  for (const JSONObject& known : {oneStale, oneMissing}) {
    SCOPED_TRACE(JSONValue(known).encode());
    const JSONValue answer = bundle(known);
    EXPECT_EQ(answer["data"]["versions"].encode(), JSONValue(marks).encode());
    EXPECT_FALSE(answer["data"].asObject()->contains("notModified"));
    EXPECT_EQ(answer["data"]["items"]["featureFlags"].encode(), kFlags);
  }
}

TEST_F(ContentActionsTest, ABundleCallMustSayWhichVersionsItHolds) {
  // Checked also when an earlier kind is already stale.
  JSONObject numberMark = bundleVersions();
  numberMark.set("surveys", "stale");
  numberMark.set("featureFlags", 1);
  EXPECT_EQ(call("get_runtime_bundle", {}).encode(),
            R"({"ok":false,"error":"Invalid get_runtime_bundle payload: knownVersions is missing"})");
  EXPECT_EQ(call("get_runtime_bundle", {{"knownVersions", JSONArray{}}}).encode(),
            R"({"ok":false,"error":"Invalid get_runtime_bundle payload: knownVersions must be an object"})");
  EXPECT_EQ(
      bundle(numberMark).encode(),
      R"({"ok":false,"error":"Invalid get_runtime_bundle payload: knownVersions.featureFlags must be a string"})");
}

TEST_F(ContentActionsTest, ListsEachKindOnItsOwn) {
  EXPECT_EQ(call("get_feature_flags", {}).encode(), std::string(R"({"ok":true,"data":{"items":)") + kFlags + "}}");
  EXPECT_EQ(call("get_surveys", {}).encode(), std::string(R"({"ok":true,"data":{"items":)") + kSurveys + "}}");
  EXPECT_EQ(call("get_announcements_banners", {}).encode(),
            std::string(R"({"ok":true,"data":{"items":)") + kAnnouncements + "}}");
  EXPECT_EQ(call("get_live_cards", {}).encode(), R"({"ok":true,"data":{"items":[]}})");
  // As every action but the bootstrap, answered also for a caller the gateway issued no token.
  EXPECT_EQ(gateway().call("get_feature_flags", {}, "gst_not_issued")["data"]["items"].encode(), kFlags);
}

TEST_F(ContentActionsTest, FindsASegmentByItsId) {
  EXPECT_EQ(call("get_segment", {{"segmentId", "seg-new"}}).encode(),
            R"({"ok":true,"data":{"item":{"id":"seg-new","name":"New"}}})");
  EXPECT_EQ(call("get_segment", {{"segmentId", "seg-pro"}})["data"]["item"]["conditions"].stringValue(),
            R"([{"field":"plan","operator":"equals","value":"pro"}])");
  for (const char* unknown : {"seg-missing", "SEG-NEW", "", "seg-doc"}) {
    EXPECT_EQ(call("get_segment", {{"segmentId", unknown}}).encode(), R"({"ok":true,"data":{"item":null}})") << unknown;
  }
  EXPECT_EQ(call("get_segment", {}).encode(),
            R"({"ok":false,"error":"Invalid get_segment payload: segmentId is missing"})");
  EXPECT_EQ(call("get_segment", {{"segmentId", nullptr}}).encode(),
            R"({"ok":false,"error":"Invalid get_segment payload: segmentId must be a string"})");
}

TEST_F(ContentActionsTest, PostedContentReplacesTheSectionsItGivesAndOnlyTheirMarks) {
  const JSONValue before = versions();
  const httplib::Result posted =
      gateway().postJSON("/__gateway/content", R"({"surveys":[],"liveCards":[{"$id":"c1","impressionCount":0}]})");
  ASSERT_TRUE(posted) << httplib::to_string(posted.error());
  EXPECT_EQ(posted->status, 200);
  const JSONValue after = versions();
  EXPECT_EQ(posted->body, JSONValue(JSONObject{{"versions", after}}).encode());
  for (const auto& [kind, mark] : *after.asObject()) {
    EXPECT_EQ(mark != before[kind], kind == "surveys" || kind == "liveCards") << kind;
  }

  EXPECT_EQ(call("get_surveys", {}).encode(), R"({"ok":true,"data":{"items":[]}})");
  EXPECT_EQ(call("get_live_cards", {}).encode(), R"({"ok":true,"data":{"items":[{"$id":"c1","impressionCount":0}]}})");
  EXPECT_EQ(call("get_feature_flags", {})["data"]["items"].encode(), kFlags);
  EXPECT_EQ(bundle({})["data"]["versions"].encode(), JSONValue(bundleVersions()).encode());
  // The keys were not given, so they stay.
  EXPECT_EQ(gateway().call("bootstrap", {{"apiKey", "key-good"}, {"environment", "debug"}})["ok"].encode(), "true");
}

TEST_F(ContentActionsTest, RefusesContentThatDoesNotFitAndKeepsServingTheOld) {
  const JSONValue before = versions();
  // Every refusal of the content itself is listed with GatewayContent; here, the route's answer to it.
  const std::vector<std::pair<std::string, std::string>> bodies = {
      {R"({"surveys":[{"$id":"s9"}],"segments":[1]})", R"(Expected an object at \"segments[0]\" but found a number)"},
      {R"([{"surveys":[]}])", "Expected an object at the top level but found an array"},
      {"", "Unable to parse JSON: "},
  };
  for (const auto& [body, message] : bodies) {
    SCOPED_TRACE(body);
    const httplib::Result result = gateway().postJSON("/__gateway/content", body);
    ASSERT_TRUE(result) << httplib::to_string(result.error());
    EXPECT_EQ(result->status, 400);
    EXPECT_TRUE(result->body.starts_with(R"({"message":")" + message)) << result->body;
    EXPECT_TRUE(result->body.ends_with(R"(","code":400,"type":"general_argument_invalid"})")) << result->body;
  }
  EXPECT_EQ(versions().encode(), before.encode());
  EXPECT_EQ(call("get_surveys", {})["data"]["items"].encode(), kSurveys);
}

// Answers taken while the content is replaced belong to one content or the other, never a mix.
TEST_F(ContentActionsTest, EachAnswerComesFromOneContentWhileItIsReplaced) {
  const httplib::Result emptied = gateway().postJSON("/__gateway/content", R"({"surveys":[],"liveCards":[]})");
  ASSERT_TRUE(emptied && emptied->status == 200);
  const JSONValue emptyMark = versions()["liveCards"];
  std::atomic<bool> done = false;
  std::thread poster([&] {
    testing::GatewayClient client(server_->url(), kProjectId, kFunctionId);
    for (int round = 0; round < 40; ++round) {
      const std::string surveys = round % 2 == 0 ? "[]" : R"([{"$id":"s)" + std::to_string(round) + R"("}])";
      const httplib::Result posted =
          client.postJSON("/__gateway/content", R"({"surveys":)" + surveys + R"(,"liveCards":)" + surveys + "}");
      EXPECT_TRUE(posted && posted->status == 200);
    }
    done = true;
  });
  int answers = 0;
  while (!done || answers == 0) {
    const JSONValue data = bundle({})["data"];
    ++answers;
    EXPECT_EQ(data["items"]["surveys"].encode(), data["items"]["liveCards"].encode());
    EXPECT_EQ(data["versions"]["surveys"].encode(), data["versions"]["liveCards"].encode());
    EXPECT_EQ(data["items"]["surveys"].encode() == "[]", data["versions"]["surveys"] == emptyMark);
  }
  poster.join();
}

}  // namespace
}  // namespace tarnwell::gateway
