// A host's unit test as the README shows it, built against the installed test kit: the SDK
// starts against the scripted gateway in virtual time, and the test reads the events it would
// have sent. Plain checks instead of a test framework keep the consumer project small.
#include <tarnwell/tarnwell.h>
#include <tarnwell/testing.h>

#include <chrono>
#include <cstdio>

int main() {
  tarnwell::testing::SdkHarness sdk;
  sdk.start();
  sdk->trackEvent("purchase", {{"sku", "A-1"}}, "commerce");
  sdk.advance(std::chrono::minutes(2));  // the flush loop comes round
  const auto batches = sdk.sent("track_event_batch");
  const auto& items = *batches.at(0)["items"].asArray();
  const bool sent = items.back()["event_name"] == tarnwell::JSONValue("purchase") &&
                    items.back()["event_type"] == tarnwell::JSONValue("commerce");
  std::puts(sent ? "kit example: purchase sent" : "kit example: purchase missing");
  return sent ? 0 : 1;
}
