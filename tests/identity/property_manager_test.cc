#include <gtest/gtest.h>

#include <regex>

#include "tarnwell/identity/detail/property_manager.h"
#include "tarnwell/platform/detail/sqlite_key_value_store.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tests/support/scratch_dir.h"

namespace tarnwell::detail {
namespace {

AppInfo sampleApp() {
  AppInfo app;
  app.bundleId = "com.example.app";
  app.shortVersion = "2.3";
  app.buildVersion = "77";
  app.bundleName = "Example";
  return app;
}

struct PropertyManagerTest : ::testing::Test {
  MemoryKeyValueStore store;
  UuidGenerator uuids{7};
  PropertyManager make(KeyValueStore& on) { return PropertyManager(on, sampleApp(), iosDeviceProfile, uuids); }
};

TEST_F(PropertyManagerTest, FirstLaunchMintsAndPersistsIdentifiersInTheirForms) {
  PropertyManager properties = make(store);
  EXPECT_TRUE(std::regex_match(properties.getAnonymousId(),
                               std::regex("anonymous_[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}")));
  EXPECT_TRUE(std::regex_match(properties.getProfileId(), std::regex("prf_[0-9A-F]{32}")));
  EXPECT_TRUE(std::regex_match(properties.getDeviceId(),
                               std::regex("ios_device_[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}")));
  EXPECT_EQ(store.getString("tarnwell_anonymous_id"), properties.getAnonymousId());
  EXPECT_EQ(store.getString("tarnwell_profile_id"), properties.getProfileId());
  EXPECT_EQ(store.getString("tarnwell_device_id"), properties.getDeviceId());
  EXPECT_EQ(store.getString("tarnwell_user_type"), "");
  EXPECT_EQ(store.getString("tarnwell_current_user_id"), std::nullopt);
  EXPECT_EQ(properties.getUserId(), properties.getAnonymousId());
}

TEST_F(PropertyManagerTest, IdentitySurvivesAReopenedSqliteStore) {
  testing::ScratchDir dir;
  std::string anonymous, profile, device;
  {
    auto opened = SqliteKeyValueStore::open(dir.file("store.sqlite"));
    ASSERT_TRUE(opened.store);
    PropertyManager properties = make(*opened.store);
    properties.setUserId("  user-42\n");
    properties.setUserType("pro");
    properties.setDeviceProperty("device_id", JSONValue(42));
    anonymous = properties.getAnonymousId();
    profile = properties.getProfileId();
  }
  auto reopened = SqliteKeyValueStore::open(dir.file("store.sqlite"));
  ASSERT_TRUE(reopened.store);
  UuidGenerator other(99);
  PropertyManager again(*reopened.store, sampleApp(), iosDeviceProfile, other);
  EXPECT_EQ(again.getAnonymousId(), anonymous);
  EXPECT_EQ(again.getProfileId(), profile);
  EXPECT_EQ(again.getDeviceId(), "42");
  EXPECT_EQ(again.getCurrentKnownUserId(), "user-42");
  EXPECT_EQ(again.getUserType(), "pro");
  const JSONObject user = again.getUserProperties();
  EXPECT_EQ(*user.find("is_identified"), JSONValue(true));
  EXPECT_EQ(*user.find("user_id"), JSONValue("user-42"));
  EXPECT_EQ(*user.find("user_type"), JSONValue("pro"));
}

TEST_F(PropertyManagerTest, BlankUserIdClearsTheIdentifiedUser) {
  PropertyManager properties = make(store);
  properties.setUserId("someone");
  properties.setUserId("  ");
  EXPECT_EQ(properties.getCurrentKnownUserId(), std::nullopt);
  EXPECT_EQ(store.getString("tarnwell_current_user_id"), std::nullopt);
  EXPECT_EQ(*properties.getUserProperties().find("user_id"), JSONValue(properties.getAnonymousId()));
  EXPECT_EQ(*properties.getUserProperties().find("is_identified"), JSONValue(false));
}

TEST_F(PropertyManagerTest, ResetIdentityKeepsDeviceTypeAndTraits) {
  PropertyManager properties = make(store);
  properties.setUserId("someone");
  properties.setUserType("pro");
  properties.setUserProperty("plan", JSONValue("gold"));
  const std::string device = properties.getDeviceId();
  const std::string anonymous = properties.getAnonymousId();
  const std::string profile = properties.getProfileId();
  properties.resetIdentity();
  EXPECT_EQ(properties.getDeviceId(), device);
  EXPECT_NE(properties.getAnonymousId(), anonymous);
  EXPECT_NE(properties.getProfileId(), profile);
  EXPECT_EQ(properties.getUserType(), "pro");
  EXPECT_EQ(store.getString("tarnwell_current_user_id"), std::nullopt);
  EXPECT_EQ(*properties.getUserProperties().find("plan"), JSONValue("gold"));
}

TEST_F(PropertyManagerTest, DeviceIdKeyIsExactAndIdentityKeysOverwriteUserSetOnes) {
  PropertyManager properties = make(store);
  const std::string device = properties.getDeviceId();
  properties.setDeviceProperty("Device_Id", JSONValue("x"));
  EXPECT_EQ(properties.getDeviceId(), device);
  properties.setUserProperty("user_type", JSONValue("forged"));
  properties.setProfileId("prf_backend");
  EXPECT_EQ(*properties.getUserProperties().find("user_type"), JSONValue(""));
  EXPECT_EQ(*properties.getUserProperties().find("profile_id"), JSONValue("prf_backend"));
}

TEST_F(PropertyManagerTest, CollectsAppAndDeviceFactsAndLayersAllProperties) {
  PropertyManager properties = make(store);
  EXPECT_EQ(JSONValue(properties.getAppProperties()).encode(),
            R"({"bundle_id":"com.example.app","version_name":"2.3","app_version":"2.3","build_number":"77",)"
            R"("app_name":"Example"})");
  properties.setDeviceProperty("locale", JSONValue("de_DE"));
  const JSONObject device = properties.getDeviceProperties();  // a refresh rewrites the facts
  EXPECT_EQ(*device.find("locale"), JSONValue("en_US"));
  EXPECT_EQ(*device.find("platform"), JSONValue("ios"));
  EXPECT_EQ(*device.find("model"), JSONValue("iPhone"));
  EXPECT_EQ(*device.find("device_model"), JSONValue("iPhone15,2"));
  EXPECT_EQ(*device.find("device_name"), JSONValue("iPhone (iPhone15,2)"));
  EXPECT_EQ(*device.find("brand"), JSONValue("Apple"));

  properties.setUserProperty("plan", JSONValue("user"));
  properties.setAppProperty("plan", JSONValue("app"));
  properties.setCustomProperty("plan", JSONValue("custom"));
  properties.setUserProperty("only_user", JSONValue(1));
  const JSONObject all = properties.getAllProperties();
  EXPECT_EQ(*all.find("plan"), JSONValue("custom"));
  EXPECT_EQ(*all.find("only_user"), JSONValue(1));
  EXPECT_EQ(*all.find("device_id"), JSONValue(properties.getDeviceId()));
}

TEST_F(PropertyManagerTest, EachRefreshSeesTheDeviceFactsAsTheyAreNow) {
  DeviceInfo now = iosDeviceProfile();
  PropertyManager properties(
      store, sampleApp(), [&now] { return now; }, uuids);
  EXPECT_EQ(properties.findTargetingProperty("TIMEZONE"), JSONValue("America/New_York"));
  now.timeZone = "Europe/Berlin";  // the user travelled
  EXPECT_EQ(properties.findTargetingProperty("timezone"), JSONValue("Europe/Berlin"));
  properties.setDeviceProperty("timezone", JSONValue("host's own"));
  EXPECT_EQ(properties.findTargetingProperty("timezone"), JSONValue("Europe/Berlin"));
}

TEST(PropertyManagerAppInfoTest, MissingBundleFactsFallBack) {
  MemoryKeyValueStore store;
  UuidGenerator uuids(1);
  AppInfo app;
  PropertyManager properties(store, app, iosDeviceProfile, uuids);
  EXPECT_EQ(
      JSONValue(properties.getAppProperties()).encode(),
      R"({"bundle_id":"","version_name":"unknown","app_version":"unknown","build_number":"0","app_name":"unknown"})");
}

}  // namespace
}  // namespace tarnwell::detail
