// Content reaching the SDK from the local gateway over libcurl, in virtual time: the flags'
// time to live and the bundle's 900-second window both hold a change back, "notModified"
// confirms the stored bundle, an outage serves it stale, and reports arrive as telemetry.
#include <gtest/gtest.h>

#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/virtual_clock.h"
#include "tests/integration/sdk_gateway_fixture.h"

namespace tarnwell {
namespace {

using namespace std::chrono_literals;

std::string flagsSection(std::string_view bannerDefault) {
  return R"({"featureFlags":[
    {"$id":"ff-banner","key":"banner","status":"active","defaultValue":")" +
         std::string(bannerDefault) + R"("},
    {"$id":"ff-exp","key":"exp","status":"active","type":"experiment","organizationId":"org-1",
     "variations":"[{\"id\":\"only\",\"name\":\"Only\",\"value\":\"x\"}]"}]})";
}

struct ContentRefreshTest : testing::SdkOverGatewayTest {
  testing::LogRecorder log;
  std::shared_ptr<testing::VirtualClock> sdkClock =
      std::make_shared<testing::VirtualClock>(fromEpochSeconds(1'800'000'000));

  void SetUp() override {
    SdkOverGatewayTest::SetUp();
    postContent(flagsSection("one"));
    HostOptions options;
    options.clock = sdkClock;
    startSdk(std::move(options));
  }
  void postContent(const std::string& body) {
    const httplib::Result result = gateway().postJSON("/__gateway/content", body);
    ASSERT_TRUE(result && result->status == 200) << body;
  }
  void advance(std::chrono::seconds by) {
    sdkClock->advance(by, [this] { sdk->mainContext().poll(); });
  }
  void refreshFlags() {
    bool done = false;
    sdk->refreshFeatureFlags(false, [&] { done = true; });
    ASSERT_TRUE(pumpUntil([&] { return done; }));
  }
  std::optional<JSONValue> flag(const std::string& key) {
    std::optional<std::optional<JSONValue>> answer;
    sdk->getFeatureFlagValue(key, [&](std::optional<JSONValue> value) { answer = std::move(value); });
    EXPECT_TRUE(pumpUntil([&] { return answer.has_value(); }));
    return answer.value_or(std::nullopt);
  }
  std::vector<JSONValue> requests(const std::string& action) {
    const JSONValue answer = gateway().getJSON("/__gateway/requests?action=" + action);
    return answer["items"].isArray() ? *answer["items"].asArray() : std::vector<JSONValue>{};
  }
  RuntimeBundle storedBundle() {
    std::optional<std::optional<RuntimeBundle>> stored;
    sdk->getStoredRuntimeBundle([&](std::optional<RuntimeBundle> bundle) { stored = std::move(bundle); });
    EXPECT_TRUE(pumpUntil([&] { return stored.has_value(); }));
    return stored->value_or(RuntimeBundle{});
  }
};

TEST_F(ContentRefreshTest, AChangeWaitsForTheFlagsTimeToLiveAndTheBundleWindow) {
  EXPECT_EQ(flag("banner"), JSONValue("one"));
  ASSERT_EQ(requests("get_runtime_bundle").size(), 1u);
  postContent(flagsSection("two"));

  refreshFlags();  // within the flags' 300 seconds: nothing happens
  advance(301s);
  refreshFlags();  // past the time to live, but the stored bundle is only 301 seconds old
  EXPECT_EQ(flag("banner"), JSONValue("one"));
  EXPECT_EQ(requests("get_runtime_bundle").size(), 1u);

  advance(600s);
  refreshFlags();
  EXPECT_EQ(flag("banner"), JSONValue("two"));
  const std::vector<JSONValue> asked = requests("get_runtime_bundle");
  ASSERT_EQ(asked.size(), 2u);
  EXPECT_TRUE(asked[1]["payload"]["knownVersions"]["featureFlags"].isString()) << asked[1].encode();
}

TEST_F(ContentRefreshTest, NotModifiedKeepsTheContentAndConfirmsTheBundle) {
  const RuntimeBundle first = storedBundle();
  advance(901s);
  refreshFlags();
  ASSERT_EQ(requests("get_runtime_bundle").size(), 2u);
  const RuntimeBundle confirmed = storedBundle();
  EXPECT_EQ(confirmed.featureFlags, first.featureFlags);
  EXPECT_EQ(confirmed.versions, first.versions);
  EXPECT_EQ(confirmed.loadedAt, first.loadedAt + 901);
  EXPECT_EQ(flag("banner"), JSONValue("one"));
}

TEST_F(ContentRefreshTest, AnOutageServesTheStaleBundle) {
  const httplib::Result fault =
      gateway().postJSON("/__gateway/faults", R"({"action":"get_runtime_bundle","count":1,"status":500})");
  ASSERT_TRUE(fault && fault->status == 200);
  advance(std::chrono::hours(24));
  refreshFlags();
  EXPECT_TRUE(log.containsSubstring("[Tarnwell][ERROR] Runtime bundle refresh failed :: "));
  EXPECT_EQ(flag("banner"), JSONValue("one"));
  EXPECT_TRUE(requests("get_feature_flags").empty());  // a stored bundle, however old, is final
}

TEST_F(ContentRefreshTest, EvaluationsAndExposuresArriveAsTelemetryWithAllTheirKeys) {
  EXPECT_EQ(flag("exp"), JSONValue("x"));
  ASSERT_TRUE(sdk->flushAndWait(60s));
  const JSONValue telemetry = gateway().getJSON("/__gateway/telemetry");
  std::map<std::string, std::size_t> keysByAction;
  for (const JSONValue& item : *telemetry["items"].asArray()) {
    keysByAction[*item["action"].stringValue()] = item["payload"].asObject()->size();
  }
  EXPECT_EQ(keysByAction["track_feature_flag_evaluation"], 17u);
  EXPECT_EQ(keysByAction["track_feature_flag_exposure"], 12u);
}

}  // namespace
}  // namespace tarnwell
