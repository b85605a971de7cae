// File: tarnwell/testing.h
//
// The test kit for host applications: everything a host's own unit tests need to run the SDK
// deterministically on the test thread, with no network and no waiting. Link tarnwell::testing.
//
//   tarnwell::testing::SdkHarness sdk;          // virtual clock, in-memory store, scripted gateway
//   sdk.start();                                // initialise; the scripted bootstrap answers
//   sdk->trackEvent("purchase", {{"sku", "A-1"}});
//   sdk.advance(std::chrono::minutes(2));       // the flush loop comes round in virtual time
//   auto batch = sdk.sent("track_event_batch");  // what would have gone to the backend
//
// The pieces can be used alone too: VirtualClock (a Clock that moves only when told),
// ScriptedHttpTransport (an HttpTransport that records requests and answers from a script),
// MemoryKeyValueStore (the in-memory KeyValueStore) and LogRecorder (captures log lines).
#pragma once

#include <tarnwell/platform/memory_key_value_store.h>
#include <tarnwell/testing/headless_driver.h>
#include <tarnwell/testing/log_recorder.h>
#include <tarnwell/testing/scripted_http_transport.h>
#include <tarnwell/testing/sdk_harness.h>
#include <tarnwell/testing/virtual_clock.h>
