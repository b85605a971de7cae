#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/gateway/gateway_fixture.h"
#include "tests/gateway/sdk_payloads.h"

namespace tarnwell::gateway {
namespace {

using namespace std::chrono_literals;

using IdentifyActionTest = GatewayServerTest;

const JSONValue& element(const JSONValue& array, std::size_t index) { return array.asArray()->at(index); }

JSONObject identifyPayload(const std::string& profileId, const std::string& userId, JSONObject traits = {}) {
  return JSONObject{{"snapshot", userSnapshot(profileId)}, {"identifiedUserId", userId}, {"traits", std::move(traits)}};
}

TEST_F(IdentifyActionTest, TheFirstDeviceGivesTheUserItsProfileAndAnothersMergesIntoItTraitsAddingUp) {
  clock_->advance(3s);
  const JSONObject first = identifyPayload("prf_A", "user-7", {{"plan", "pro"}, {"seats", 2}});
  EXPECT_EQ(gateway().call("identify_user", first).encode(),
            R"({"ok":true,"data":{"profileId":"prf_A","mergedFromProfileId":"prf_A"}})");
  clock_->advance(1s);

  EXPECT_EQ(
      gateway().call("identify_user", identifyPayload("prf_B", "user-7", {{"seats", 5}, {"locale", "de"}})).encode(),
      R"({"ok":true,"data":{"profileId":"prf_A","mergedFromProfileId":"prf_B"}})");
  EXPECT_EQ(gateway().getJSON("/__gateway/users").encode(),
            R"({"profiles":[],"identifiedUsers":[{"teamId":"team-1","environment":"production","userId":"user-7",)"
            R"("profileId":"prf_A","profileIds":["prf_A","prf_B"],"traits":{"plan":"pro","seats":5,"locale":"de"},)"
            R"("identifiedAt":"2026-01-01T00:00:03.000Z","updatedAt":"2026-01-01T00:00:04.000Z"}]})");
}

TEST_F(IdentifyActionTest, IdentifyingAgainFromAJoinedProfileChangesNothingButTheTime) {
  gateway().call("identify_user", identifyPayload("prf_A", "user-7"));
  gateway().call("identify_user", identifyPayload("prf_B", "user-7"));
  clock_->advance(1s);

  // The first device again, and the second one still on its old profile.
  EXPECT_EQ(gateway().call("identify_user", identifyPayload("prf_A", "user-7")).encode(),
            R"({"ok":true,"data":{"profileId":"prf_A","mergedFromProfileId":"prf_A"}})");
  EXPECT_EQ(gateway().call("identify_user", identifyPayload("prf_B", "user-7")).encode(),
            R"({"ok":true,"data":{"profileId":"prf_A","mergedFromProfileId":"prf_B"}})");
  const JSONValue users = gateway().getJSON("/__gateway/users")["identifiedUsers"];
  ASSERT_EQ(users.asArray()->size(), 1u) << users.encode();
  EXPECT_EQ(element(users, 0)["profileIds"].encode(), R"(["prf_A","prf_B"])");
  EXPECT_EQ(element(users, 0)["updatedAt"].encode(), R"("2026-01-01T00:00:01.000Z")");
}

TEST_F(IdentifyActionTest, AProfileThatBelongsToAnotherUserIsNotTakenOver) {
  gateway().call("identify_user", identifyPayload("prf_A", "user-7"));
  gateway().call("identify_user", identifyPayload("prf_B", "user-7"));

  // A device of user-7 that identifies as someone else without a reset in between.
  for (const char* profile : {"prf_A", "prf_B"}) {
    const JSONValue other = gateway().call("identify_user", identifyPayload(profile, "user-8"));
    ASSERT_EQ(other["data"].asObject()->size(), 1u) << other.encode();
    const std::string fresh = other["data"]["profileId"].asString()->str();
    EXPECT_TRUE(std::regex_match(fresh, std::regex("prf_[0-9A-F]{32}"))) << fresh;

    const JSONValue users = gateway().getJSON("/__gateway/users")["identifiedUsers"];
    ASSERT_EQ(users.asArray()->size(), 2u) << users.encode();
    EXPECT_EQ(element(users, 0)["profileIds"].encode(), R"(["prf_A","prf_B"])");
    EXPECT_EQ(element(users, 1)["userId"].encode(), R"("user-8")");
    EXPECT_EQ(element(users, 1)["profileIds"].encode(), R"([")" + fresh + R"("])");
  }
}

TEST_F(IdentifyActionTest, TheSameUserIdInAnotherTeamOrEnvironmentIsAnotherUser) {
  gateway().call("identify_user", identifyPayload("prf_A", "user-7"));
  JSONObject stage = identifyPayload("prf_B", "user-7");
  stage["snapshot"].asObject()->set("environment", "stage");
  JSONObject otherTeam = identifyPayload("prf_C", "user-7");
  otherTeam["snapshot"].asObject()->set("teamId", "team-2");

  EXPECT_EQ(gateway().call("identify_user", stage).encode(),
            R"({"ok":true,"data":{"profileId":"prf_B","mergedFromProfileId":"prf_B"}})");
  EXPECT_EQ(gateway().call("identify_user", otherTeam).encode(),
            R"({"ok":true,"data":{"profileId":"prf_C","mergedFromProfileId":"prf_C"}})");
  const JSONValue users = gateway().getJSON("/__gateway/users");
  std::vector<std::string> scopes;
  for (const JSONValue& user : *users["identifiedUsers"].asArray()) {
    scopes.push_back(user["teamId"].asString()->str() + "/" + user["environment"].asString()->str() + " " +
                     user["profileId"].asString()->str());
  }
  EXPECT_EQ(scopes,
            (std::vector<std::string>{"team-1/production prf_A", "team-1/stage prf_B", "team-2/production prf_C"}));
}

TEST_F(IdentifyActionTest, DevicesIdentifyingAtOnceEndOnOneProfile) {
  constexpr int kDevices = 8;
  std::vector<std::string> answers(kDevices);
  std::vector<std::thread> devices;
  for (int device = 0; device < kDevices; ++device) {
    devices.emplace_back([this, device, &answers] {
      testing::GatewayClient client(server_->url(), kProjectId, kFunctionId);
      answers[device] =
          client.call("identify_user", identifyPayload("prf_" + std::to_string(device), "user-7"))["data"]["profileId"]
              .encode();
    });
  }
  for (std::thread& device : devices) device.join();

  EXPECT_EQ(std::set<std::string>(answers.begin(), answers.end()).size(), 1u) << answers.front();
  const JSONValue users = gateway().getJSON("/__gateway/users")["identifiedUsers"];
  ASSERT_EQ(users.asArray()->size(), 1u) << users.encode();
  EXPECT_EQ(element(users, 0)["profileId"].encode(), answers.front());
  std::set<std::string> joined;
  for (const JSONValue& id : *element(users, 0)["profileIds"].asArray()) joined.insert(id.asString()->str());
  EXPECT_EQ(joined.size(), static_cast<std::size_t>(kDevices));
}

}  // namespace
}  // namespace tarnwell::gateway
