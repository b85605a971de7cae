// JSON text through JSONValue. Whatever decodes must encode, decode back to an equal value and
// encode again to the very same text; every scalar's tolerant readings must agree with it.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_support.h"

namespace tarnwell {
namespace {

// A number's text (stringValue) must read back as that number, and its whole-number reading
// must be the number cut toward zero wherever a 64-bit integer holds it.
void checkReadings(const JSONValue& value) {
  if (const JSONArray* elements = value.asArray()) {
    for (const JSONValue& element : *elements) checkReadings(element);
  } else if (const JSONObject* members = value.asObject()) {
    for (const auto& [key, member] : *members) checkReadings(member);
  } else if (const double* number = value.asNumber()) {
    const std::string text = *value.stringValue();
    if (JSONValue(text).doubleValue() != *number) fuzz::fail("a number's text does not read back as it: " + text);
    const std::optional<std::int64_t> whole = value.intValue();
    if (whole && static_cast<double>(*whole) != std::trunc(*number)) {
      fuzz::fail("intValue is not the number cut toward zero: " + text);
    }
  } else if (const JSONString* text = value.asString()) {
    fuzz::require(value.stringValue() == text->str(), "stringValue of text is not the text");
    if (const std::optional<bool> flag = value.boolValue()) {
      fuzz::require(*text == (*flag ? "true" : "false"), "boolValue of text other than true/false");
    }
  }
}

}  // namespace
}  // namespace tarnwell

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarnwell;
  fuzz::silenceLog();
  JSONValue value;
  try {
    value = JSONValue::decode(fuzz::asText(data, size));
  } catch (const DecodingError&) {
    return 0;  // not one JSON value: refusing it is all there is to do
  }
  // Decoding gives only finite numbers and UTF-8 text, so encoding has nothing to refuse.
  const std::string text = value.encode();
  JSONValue again;
  try {
    again = JSONValue::decode(text);
  } catch (const DecodingError& error) {
    fuzz::fail(std::string("the encoding does not decode (") + error.what() + "): " + text);
  }
  if (!(again == value)) fuzz::fail("decoding the encoding gives another value: " + text);
  if (again.encode() != text) fuzz::fail("encoding the value again gives other text: " + text);
  checkReadings(value);
  return 0;
}
