#include "tarnwell/livecards/live_card.h"

#include <gtest/gtest.h>

#include <string>

#include "tarnwell/core/coding_error.h"
#include "tarnwell/testing/log_recorder.h"

namespace tarnwell {
namespace {

// Every key in the order the record writes them, so the encoded text can be compared whole.
constexpr std::string_view kFullCard =
    R"({"$id":"lc1","name":"Spring promo","description":"Body","icon":"star","title":"Hello","subtitle":"Sub",)"
    R"("deepLink":"app://promo","backgroundColor":"#FFFFFF","textColor":"#000000","ownerId":"u9",)"
    R"("organizationId":"o1","projectId":"p1","appId":"a1","templateId":"t1","eventTriggerId":"home_top",)"
    R"("scheduleStart":"2026-03-01T00:00:00.000Z","scheduleEnd":"2026-04-01T00:00:00.000Z",)"
    R"("createdAt":"2026-02-01T00:00:00.000Z","updatedAt":"2026-02-02T00:00:00.000Z",)"
    R"("publishedAt":"2026-02-03T00:00:00.000Z","impressionCount":120,"tapCount":7,"version":3,)"
    R"("category":"promo","priority":2,"status":"live",)"
    R"("targeting":"{\"rules\":[],\"audience\":\"all\",\"percentage\":100}","rules":"[]","schedule":"{}",)"
    R"("limits":"{\"max\":3}","structure":"{\"title\":\"Inner\"}","config":"{\"layout\":{\"height\":80}}",)"
    R"("analytics":"{}","metadata":"{\"k\":\"v\"}"})";

constexpr std::string_view kMinimalCard = R"({"impressionCount":0,"tapCount":0,"version":1,"priority":0})";

std::string decodeFailure(std::string_view json) {
  try {
    LiveCard::decode(JSONValue::decode(json));
  } catch (const DecodingError& error) {
    return error.what();
  }
  return "decoded";
}

// A minimal card whose nested document `member` holds `text`.
LiveCard cardWith(std::optional<std::string> LiveCard::*member, std::string text) {
  LiveCard card = LiveCard::decode(JSONValue::decode(kMinimalCard));
  card.*member = std::move(text);
  return card;
}

TEST(LiveCardTest, RoundTripsAll34KeysInTableOrder) {
  const LiveCard card = LiveCard::decode(JSONValue::decode(kFullCard));
  EXPECT_EQ(card.id, "lc1");
  EXPECT_EQ(card.impressionCount, 120);
  EXPECT_EQ(card.priority, 2);
  EXPECT_EQ(card.limitsJSON, R"({"max":3})");
  EXPECT_EQ(card.encode().encode(), kFullCard);
  EXPECT_EQ(LiveCard::decode(card.encode()), card);

  EXPECT_EQ(LiveCard::decode(JSONValue::decode(kMinimalCard)).encode().encode(),
            R"({"impressionCount":0,"tapCount":0,"version":1,"priority":0})");
}

TEST(LiveCardTest, TheFourCountersAreRequiredWholeNumbers) {
  EXPECT_EQ(decodeFailure(R"({"impressionCount":0,"tapCount":0,"version":1})"),
            "No value for the required key \"priority\"");
  EXPECT_EQ(decodeFailure(R"({"tapCount":0,"version":1,"priority":0})"),
            "No value for the required key \"impressionCount\"");
  EXPECT_EQ(decodeFailure(R"({"impressionCount":0,"tapCount":null,"version":1,"priority":0})"),
            "Expected a whole number at \"tapCount\" but found null");
  EXPECT_EQ(decodeFailure(R"({"impressionCount":0,"tapCount":0,"version":"1","priority":0})"),
            "Expected a whole number at \"version\" but found text");
  EXPECT_EQ(decodeFailure(R"({"impressionCount":0,"tapCount":0,"version":1,"priority":0,"title":5})"),
            "Expected text at \"title\" but found a number");
}

TEST(LiveCardTest, ReadsDollarIdAndPlainTimestampKeys) {
  const LiveCard card =
      LiveCard::decode(JSONValue::decode(R"({"id":"plain","$createdAt":"x","createdAt":"y","targetingJSON":"{}",)"
                                         R"("impressionCount":0,"tapCount":0,"version":1,"priority":0})"));
  EXPECT_EQ(card.id, std::nullopt);
  EXPECT_EQ(card.createdAt, "y");
  EXPECT_EQ(card.targetingJSON, std::nullopt);
  EXPECT_EQ(LiveCard::decode(JSONValue::decode(kFullCard)).id, "lc1");
}

TEST(LiveCardTest, IsActiveOnlyForTheExactLiveAndPublishedWords) {
  LiveCard card;
  EXPECT_FALSE(card.isActive());
  for (const char* status : {"live", "published"}) {
    card.status = status;
    EXPECT_TRUE(card.isActive()) << status;
  }
  for (const char* status : {"Live", "LIVE", "Published", "PUBLISHED", "draft", "", " live"}) {
    card.status = status;
    EXPECT_FALSE(card.isActive()) << status;
  }
}

TEST(LiveCardTest, NestedDocumentsReadAsAbsentWhenEmptyMalformedOrIncompleteWithoutALogLine) {
  testing::LogRecorder log;
  EXPECT_EQ(LiveCard{}.structure(), std::nullopt);
  EXPECT_EQ(cardWith(&LiveCard::structureJSON, "").structure(), std::nullopt);
  EXPECT_EQ(cardWith(&LiveCard::structureJSON, "{\"title\":").structure(), std::nullopt);
  EXPECT_EQ(cardWith(&LiveCard::configJSON, R"({"style":{"borderRadius":12.5}})").config(), std::nullopt);
  EXPECT_EQ(cardWith(&LiveCard::targetingJSON, R"({"rules":[],"percentage":100})").targeting(), std::nullopt);
  EXPECT_EQ(cardWith(&LiveCard::targetingJSON, R"({"rules":[],"audience":"all"})").targeting(), std::nullopt);

  // Rules kept beside the card are no stand-in for a targeting document without them.
  LiveCard card = cardWith(&LiveCard::targetingJSON, R"({"audience":"all","percentage":100})");
  card.rulesJSON = R"([{"conditions":[],"enabled":true,"requireAllConditions":true}])";
  EXPECT_EQ(card.targeting(), std::nullopt);
  EXPECT_TRUE(log.lines().empty());
}

TEST(LiveCardTest, StructureReadsIconUrlAndCarouselItems) {
  const LiveCard card =
      cardWith(&LiveCard::structureJSON, R"({"type":"carousel","iconURL":"ignored","iconUrl":"https://i/x.png",)"
                                         R"("carouselItems":[{"id":"c1","action":{"type":"link","target":"app://a"}},)"
                                         R"({"id":"c2","titleColor":"#FF0000"}],"scrollInterval":4})");
  const auto structure = card.structure();
  ASSERT_TRUE(structure.has_value());
  EXPECT_EQ(structure->iconURL, "https://i/x.png");
  ASSERT_EQ(structure->carouselItems->size(), 2u);
  EXPECT_EQ(structure->carouselItems->at(0).action, (CarouselItemAction{"link", "app://a"}));
  EXPECT_EQ(structure->carouselItems->at(1).titleColor, "#FF0000");
  EXPECT_EQ(structure->encode()["iconUrl"], JSONValue("https://i/x.png"));
  EXPECT_EQ(LiveCardStructure::decode(structure->encode()), *structure);

  EXPECT_EQ(cardWith(&LiveCard::structureJSON, R"({"iconURL":"https://i/y.png"})").structure()->iconURL, std::nullopt);
}

}  // namespace
}  // namespace tarnwell
