#include <gtest/gtest.h>

#include <limits>

#include "tarnwell/core/coding_error.h"
#include "tarnwell/events/detail/event_record.h"

namespace tarnwell::detail {
namespace {

EventRecord sample(std::string name = "checkout") {
  EventRecord record;
  record.eventName = std::move(name);
  record.userId = "user-1";
  record.sessionId = "sess-1";
  record.userProperties = JSONObject{{"user_id", "user-1"}, {"plan", "pro"}};
  record.appProperties = JSONObject{{"bundle_id", "com.example.app"}};
  record.deviceProperties = JSONObject{{"device_id", "dev-1"}, {"os_version", 17}};
  record.customProperties = JSONObject{{"cart", JSONArray{1, "two"}}, {"gift", true}};
  record.eventType = "custom";
  return record;
}

TEST(EventRecordTest, EncodesFieldNamesInFieldOrder) {
  EXPECT_EQ(sample().encode().encode(),
            R"({"eventName":"checkout","userId":"user-1","sessionId":"sess-1",)"
            R"("userProperties":{"user_id":"user-1","plan":"pro"},"appProperties":{"bundle_id":"com.example.app"},)"
            R"("deviceProperties":{"device_id":"dev-1","os_version":17},)"
            R"("customProperties":{"cart":[1,"two"],"gift":true},"eventType":"custom"})");
  EventRecord withoutSession = sample();
  withoutSession.sessionId.reset();
  EXPECT_EQ(withoutSession.encode()["sessionId"], JSONValue());
  EXPECT_FALSE(withoutSession.encode().asObject()->contains("sessionId"));
}

TEST(EventRecordTest, DecodesWhatItEncodesAndReadsANullSessionAsAbsent) {
  EXPECT_EQ(EventRecord::decode(sample().encode()), sample());
  JSONValue value = sample().encode();
  value.asObject()->set("sessionId", JSONValue());
  EXPECT_EQ(EventRecord::decode(value).sessionId, std::nullopt);
}

TEST(EventRecordTest, DecodingIsStrict) {
  JSONValue missingType = sample().encode();
  missingType.asObject()->erase("eventType");
  EXPECT_THROW(EventRecord::decode(missingType), DecodingError);
  JSONValue listOfProperties = sample().encode();
  listOfProperties.asObject()->set("userProperties", JSONArray{});
  EXPECT_THROW(EventRecord::decode(listOfProperties), DecodingError);
  JSONValue numericSession = sample().encode();
  numericSession.asObject()->set("sessionId", 5);
  EXPECT_THROW(EventRecord::decode(numericSession), DecodingError);
}

TEST(EventRecordTest, ArrayIsTheConcatenationOfTheEncodedRecords) {
  const std::vector<EncodedEventRecord> queued{EncodedEventRecord(sample("a")), EncodedEventRecord(sample("b")),
                                               EncodedEventRecord(sample("c"))};
  EXPECT_EQ(*queued[0].json(), sample("a").encode().encode());
  EXPECT_EQ(encodeEventArray(queued),
            JSONValue(JSONArray{sample("a").encode(), sample("b").encode(), sample("c").encode()}).encode());
  EXPECT_EQ(encodeEventArray(std::span(queued).last(1)), "[" + sample("c").encode().encode() + "]");
  EXPECT_EQ(encodeEventArray({}), "[]");
  EXPECT_EQ(decodeEventArray(encodeEventArray(queued)),
            (std::vector<EventRecord>{sample("a"), sample("b"), sample("c")}));
}

TEST(EventRecordTest, ARecordThatCannotBeEncodedKeepsItsReasonAndFailsTheArray) {
  EventRecord broken = sample("broken");
  broken.customProperties.set("ratio", std::numeric_limits<double>::quiet_NaN());
  const std::vector<EncodedEventRecord> queued{EncodedEventRecord(sample()), EncodedEventRecord(broken)};
  EXPECT_EQ(queued[1].json(), std::nullopt);
  EXPECT_FALSE(queued[1].encodingError().empty());
  EXPECT_EQ(queued[1].record().eventName, "broken");
  try {
    encodeEventArray(queued);
    ADD_FAILURE() << "expected EncodingError";
  } catch (const EncodingError& error) {
    EXPECT_EQ(std::string(error.what()), queued[1].encodingError());
  }
  EXPECT_EQ(encodeEventArray(std::span(queued).first(1)), "[" + *queued[0].json() + "]");
}

TEST(EventRecordTest, StoredQueueThatIsNotAnArrayOfRecordsFailsToDecode) {
  EXPECT_THROW(decodeEventArray("not json"), DecodingError);
  EXPECT_THROW(decodeEventArray(R"({"eventName":"x"})"), DecodingError);
  EXPECT_THROW(decodeEventArray(R"([{"eventName":"x"}])"), DecodingError);
  EXPECT_EQ(decodeEventArray("[]"), std::vector<EventRecord>{});
}

}  // namespace
}  // namespace tarnwell::detail
