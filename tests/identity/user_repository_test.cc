#include <gtest/gtest.h>

#include "tarnwell/identity/detail/user_repository.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tests/support/run_sync.h"

namespace tarnwell::detail {
namespace {

struct UserRepositoryTest : ::testing::Test {
  MemoryKeyValueStore store;
  UuidGenerator uuids{5};
  PropertyManager properties{store, AppInfo{}, iosDeviceProfile, uuids};
  std::shared_ptr<AppwriteClient> client = std::make_shared<AppwriteClient>("https://gw.test/v1", "p", "d", "fn");
  std::shared_ptr<testing::ScriptedHttpTransport> transport = std::make_shared<testing::ScriptedHttpTransport>();
  UserRepository users{client, transport};
  ApiKeyConfig config = [] {
    ApiKeyConfig c;
    c.organizationId = "org";
    c.projectId = "prj";
    c.appId = "app";
    c.teamId = "team-config";
    c.apiKeyId = "kid";
    c.environment = "production";
    return c;
  }();

  UserSyncSnapshot snapshot(std::optional<std::string> sessionId = std::nullopt, bool registered = false) {
    return *makeUserSyncSnapshot({.properties = properties,
                                  .client = *client,
                                  .config = &config,
                                  .sessionId = std::move(sessionId),
                                  .mainBundleId = "com.host.bundle",
                                  .isRegistered = registered});
  }
  void answer(const std::string& data) {
    HttpResponse response;
    response.status = 200;
    response.body = R"({"ok":true,"data":)" + data + "}";
    transport->enqueue(response);
  }
  JSONValue sentInput(std::size_t i = 0) {
    return JSONValue::decode(JSONValue::decode(transport->requests().at(i).body)["body"].asString()->view());
  }
};

TEST_F(UserRepositoryTest, NoConfigurationMeansNoSnapshot) {
  EXPECT_FALSE(makeUserSyncSnapshot({.properties = properties, .client = *client}));
}

TEST_F(UserRepositoryTest, SnapshotTakesEveryKeyInOrderWithNullsForAbsentValues) {
  properties.setUserProperty("user_type", JSONValue("  "));
  const JSONValue encoded = snapshot().encode();
  std::vector<std::string> keys;
  for (const auto& [key, value] : *encoded.asObject()) keys.push_back(key);
  EXPECT_EQ(keys,
            (std::vector<std::string>{"profileId",      "anonymousId",       "effectiveUserId",  "identifiedUserId",
                                      "teamId",         "environment",       "organizationId",   "projectId",
                                      "appId",          "bundleOrPackageId", "deviceId",         "userType",
                                      "userProperties", "appProperties",     "deviceProperties", "customProperties",
                                      "sessionId",      "isRegistered",      "registrationDate", "lastLogin"}));
  EXPECT_TRUE(encoded["identifiedUserId"].isNull());
  EXPECT_TRUE(encoded["userType"].isNull());  // blank after trimming
  EXPECT_TRUE(encoded["sessionId"].isNull());
  EXPECT_EQ(encoded["teamId"], JSONValue("team-config"));
  EXPECT_EQ(encoded["environment"], JSONValue("production"));
  EXPECT_EQ(encoded["bundleOrPackageId"], JSONValue(""));  // "bundle_id" is there, empty
  EXPECT_EQ(encoded["isRegistered"], JSONValue(false));
}

TEST_F(UserRepositoryTest, ClientSessionDataAndIdentityWinOverTheConfiguration) {
  client->setTeamId("team-client");
  client->setEnvironment("stage");
  properties.setUserId("user-9");
  properties.setUserType(" pro ");
  properties.setAppProperty("bundle_id", JSONValue(7));
  const UserSyncSnapshot s = snapshot("session_1");
  EXPECT_EQ(s.teamId, "team-client");
  EXPECT_EQ(s.environment, "stage");
  EXPECT_EQ(s.effectiveUserId, "user-9");
  EXPECT_EQ(s.userType, "pro");
  EXPECT_EQ(s.bundleOrPackageId, "7.0");
  EXPECT_EQ(s.sessionId, "session_1");
  EXPECT_TRUE(s.isRegistered);  // an identified user is registered whatever was asked
}

TEST_F(UserRepositoryTest, ActionsCarryTheSnapshotAndReadTheSuccessRule) {
  client->setGatewaySessionToken("tok");
  answer(R"({})");
  EXPECT_TRUE(testing::runSync(users.syncUserState(snapshot(), false)));
  answer(R"({"success":"0"})");
  EXPECT_FALSE(testing::runSync(users.startSession(snapshot("s1"))));
  answer(R"({"success":false})");
  JSONObject sessionData{{"sessionId", "s1"}};
  EXPECT_FALSE(testing::runSync(users.endSession(snapshot(), std::move(sessionData))));

  EXPECT_EQ(sentInput(0)["action"], JSONValue("sync_user_state"));
  EXPECT_EQ(sentInput(0)["payload"]["incrementSessionCount"], JSONValue(false));
  EXPECT_EQ(sentInput(0)["sessionToken"], JSONValue("tok"));
  EXPECT_EQ(sentInput(1)["payload"]["snapshot"]["sessionId"], JSONValue("s1"));
  EXPECT_EQ(sentInput(2)["payload"]["sessionData"], JSONValue(JSONObject{{"sessionId", "s1"}}));
}

TEST_F(UserRepositoryTest, IdentifyAdoptsTheAnsweredProfileOrKeepsTheSnapshots) {
  answer(R"({"profileId":"prf_server","mergedFromProfileId":"prf_old"})");
  JSONObject traits{{"plan", "pro"}};
  const IdentifyResult merged = testing::runSync(users.identifyUser(snapshot(), "user-1", traits));
  EXPECT_EQ(merged.profileId, "prf_server");
  EXPECT_EQ(merged.mergedFromProfileId, "prf_old");
  EXPECT_EQ(sentInput()["payload"]["traits"], JSONValue(traits));
  EXPECT_EQ(sentInput()["payload"]["identifiedUserId"], JSONValue("user-1"));

  answer(R"({"profileId":{"nested":true}})");
  const IdentifyResult kept = testing::runSync(users.identifyUser(snapshot(), "user-1", {}));
  EXPECT_EQ(kept.profileId, properties.getProfileId());
  EXPECT_EQ(kept.mergedFromProfileId, std::nullopt);
}

}  // namespace
}  // namespace tarnwell::detail
