// File: tarnwell/testing/sdk_harness.h
//
// A Tarnwell object wired for tests: a host-pumped main context run on the test thread, a
// virtual clock, an in-memory store and a scripted transport that answers each gateway action
// (by default with {"ok":true,"data":{}}; the bootstrap with a fixed tenant).
//
//   SdkHarness sdk;
//   sdk.start();                                     // ready
//   sdk->setUserProperty("plan", "pro");
//   sdk.advance(std::chrono::milliseconds(750));
//   EXPECT_EQ(sdk.sent("sync_user_state").size(), 2u);
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <tarnwell/platform/memory_key_value_store.h>
#include <tarnwell/sdk/facade.h>
#include <tarnwell/testing/scripted_http_transport.h>
#include <tarnwell/testing/virtual_clock.h>

namespace tarnwell::testing {

// The bootstrap answer of the harness's tenant: team "team_1", app "app_1", token "tok_1".
extern const char* const kHarnessBootstrap;

class SdkHarness {
 public:
  explicit SdkHarness(std::function<void(HostOptions&)> adjust = {});

  Tarnwell* operator->() { return sdk_.get(); }
  Tarnwell& sdk() { return *sdk_; }
  testing::VirtualClock& clock() { return *clock_; }
  testing::ScriptedHttpTransport& transport() { return *transport_; }
  MemoryKeyValueStore& store() { return *store_; }

  // Answers `action` with this envelope text from now on (a TransportError when `failure`).
  void answer(const std::string& action, std::string envelope);
  void fail(const std::string& action, TransportErrorCode code = TransportErrorCode::cannotConnect);

  // initialize and run until its completion; the state it reported.
  SDKState start();
  // Runs the main context until `condition` holds (true) or a generous real-time cap (false).
  bool waitUntil(const std::function<bool()>& condition);
  // Calls `operation` with a completion and runs the main context until it has answered; the
  // answer, or T{} when none came before the cap.
  //   bool shown = sdk.answerOf<bool>([&](auto done) { sdk->canShowSurvey("checkout", done); });
  template <typename T, typename Operation>
  T answerOf(Operation&& operation) {
    std::optional<T> answer;
    operation([&answer](T value) { answer = std::move(value); });
    waitUntil([&answer] { return answer.has_value(); });
    return answer.value_or(T{});
  }
  // Runs whatever is ready, including work coming back from the worker pool, until quiet.
  void settle();
  // Moves virtual time forward, settling after every timer that fires.
  void advance(std::chrono::milliseconds by);

  // The payloads sent for `action`, in order.
  std::vector<JSONValue> sent(const std::string& action) const;
  // The gateway input of every request ({"action","payload","sessionToken"}), in order.
  std::vector<JSONValue> inputs() const;

 private:
  HttpResult respond(const HttpRequest& request);

  std::shared_ptr<testing::VirtualClock> clock_ = std::make_shared<testing::VirtualClock>();
  std::shared_ptr<testing::ScriptedHttpTransport> transport_ = std::make_shared<testing::ScriptedHttpTransport>();
  std::shared_ptr<MemoryKeyValueStore> store_ = std::make_shared<MemoryKeyValueStore>();
  mutable std::mutex mutex_;
  std::map<std::string, HttpResult> answers_;
  std::unique_ptr<Tarnwell> sdk_;
};

}  // namespace tarnwell::testing
