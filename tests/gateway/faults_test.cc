#include "tools/gateway/faults.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include <tarnwell/core/coding_error.h>
#include "tarnwell/platform/detail/curl_http_transport.h"

#include "tests/gateway/gateway_fixture.h"
#include "tests/support/transfer_outcome.h"

namespace tarnwell::gateway {
namespace {

using namespace std::chrono_literals;

class FaultsTest : public GatewayServerTest {
 protected:
  // Posts a fault; the answer's body, which lists the pending faults.
  std::string addFault(const std::string& fault) {
    const httplib::Result result = gateway().postJSON("/__gateway/faults", fault);
    EXPECT_TRUE(result && result->status == 200) << (result ? result->body : httplib::to_string(result.error()));
    return result ? result->body : std::string();
  }

  int statusOf(std::string_view action) {
    const httplib::Result result = gateway().post(action, {});
    EXPECT_TRUE(result) << httplib::to_string(result.error());
    return result ? result->status : 0;
  }

  // "httpStatus/fault" of each recorded call, in order.
  std::vector<std::string> outcomes() {
    std::vector<std::string> list;
    const JSONValue requests = gateway().getJSON("/__gateway/requests");
    for (const JSONValue& item : *requests["items"].asArray()) {
      list.push_back(item["httpStatus"].encode() + "/" + item["fault"].encode());
    }
    return list;
  }
};

TEST_F(FaultsTest, AStatusFaultServesItsCountThenServiceResumes) {
  EXPECT_EQ(addFault(R"({"action":"get_surveys","count":2,"status":503})"),
            R"({"faults":[{"action":"get_surveys","count":2,"status":503}]})");

  const httplib::Result first = gateway().post("get_surveys", {});
  ASSERT_TRUE(first);
  EXPECT_EQ(first->status, 503);
  EXPECT_EQ(first->body, R"({"message":"Injected fault: HTTP 503","code":503,"type":"injected_fault"})");
  EXPECT_EQ(statusOf("get_live_cards"), 200);  // another action is served normally meanwhile
  EXPECT_EQ(gateway().getJSON("/__gateway/faults").encode(),
            R"({"faults":[{"action":"get_surveys","count":1,"status":503}]})");
  EXPECT_EQ(statusOf("get_surveys"), 503);
  EXPECT_EQ(gateway().call("get_surveys", {}).encode(), R"({"ok":true,"data":{"items":[]}})");

  EXPECT_EQ(gateway().getJSON("/__gateway/faults").encode(), R"({"faults":[]})");
  EXPECT_EQ(outcomes(), (std::vector<std::string>{"503/\"status\"", "200/null", "503/\"status\"", "200/null"}));
}

TEST_F(FaultsTest, FaultedCallsDoNotReachTheirHandler) {
  auto handled = std::make_shared<std::atomic<int>>(0);
  ActionTable actions = standardActions();
  actions["submit_survey_response"] = [handled](ActionContext&, const ActionCall&) {
    ++*handled;
    return ActionReply::success({});
  };
  serve(testContent(), std::move(actions));
  addFault(R"({"action":"submit_survey_response","status":500})");
  addFault(R"({"action":"*","emptyBody":true})");
  addFault(R"({"action":"*","malformed":true})");
  addFault(R"({"action":"*","drop":true})");
  addFault(R"({"action":"*","delayMs":0})");

  EXPECT_EQ(statusOf("submit_survey_response"), 500);
  EXPECT_EQ(statusOf("submit_survey_response"), 200);
  EXPECT_EQ(statusOf("submit_survey_response"), 200);
  EXPECT_FALSE(gateway().post("submit_survey_response", {}));
  EXPECT_EQ(handled->load(), 0);
  // A delay answers normally, so its call is handled.
  EXPECT_EQ(gateway().call("submit_survey_response", {}).encode(), R"({"ok":true,"data":{}})");
  EXPECT_EQ(handled->load(), 1);
}

TEST_F(FaultsTest, AMalformedFaultAnswers200WithABodyThatIsNotJson) {
  addFault(R"({"action":"get_surveys","malformed":true})");
  const httplib::Result result = gateway().post("get_surveys", {});
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 200);
  EXPECT_EQ(result->body, R"({"ok":true,"data":{"items":[)");
  EXPECT_THROW(JSONValue::decode(result->body), DecodingError);
  EXPECT_EQ(outcomes(), std::vector<std::string>{"200/\"malformed\""});
}

TEST_F(FaultsTest, ADelayHoldsTheAnswerUntilTheClockHasMovedThatFar) {
  addFault(R"({"action":"bootstrap","delayMs":5000})");
  // A client of its own: one httplib client sends one request at a time.
  auto answer = std::async(std::launch::async, [url = server_->url()] {
    return testing::GatewayClient(url, kProjectId, kFunctionId).call("bootstrap", {{"apiKey", "key-bad"}});
  });
  ASSERT_TRUE(eventually([this] { return clock_->pendingTimerCount() == 1; }));
  // Recorded on arrival, before the answer goes out.
  EXPECT_EQ(outcomes(), std::vector<std::string>{"200/\"delayMs\""});

  clock_->advance(4999ms);
  EXPECT_EQ(clock_->pendingTimerCount(), 1u);
  clock_->advance(1ms);
  EXPECT_EQ(answer.get().encode(), R"({"ok":false,"error":"Invalid API key"})");
}

TEST_F(FaultsTest, StoppingReleasesADelayedAnswer) {
  addFault(R"({"action":"*","delayMs":60000})");
  auto answer = std::async(std::launch::async, [url = server_->url()] {
    return testing::GatewayClient(url, kProjectId, kFunctionId).post("start_session", {});
  });
  ASSERT_TRUE(eventually([this] { return clock_->pendingTimerCount() == 1; }));

  server_->stop();
  const httplib::Result result = answer.get();
  ASSERT_TRUE(result) << httplib::to_string(result.error());
  EXPECT_EQ(result->status, 503);
  EXPECT_EQ(result->body, R"({"message":"The gateway is stopping","code":503,"type":"general_server_error"})");
}

TEST_F(FaultsTest, ADropReachesTheSdkTransportAsATransportError) {
  detail::CurlHttpTransport transport;
  const auto send = [&](std::string_view action) {
    testing::TransferOutcome outcome;
    transport.post({.url = server_->url() + "/functions/" + kFunctionId + "/executions",
                    .headers = {{"X-Appwrite-Project", kProjectId}, {"Content-Type", "application/json"}},
                    .body = testing::executionBody(action, {})},
                   outcome.callback());
    return outcome.get();
  };
  // A call first, so the dropped one would go over a reused connection if the gateway kept any.
  EXPECT_EQ(testing::responseOf(send("start_session")).status, 200);
  addFault(R"({"action":"get_surveys","drop":true})");

  const TransportError error = testing::errorOf(send("get_surveys"));
  EXPECT_EQ(error.code, TransportErrorCode::network) << error.message;
  EXPECT_EQ(testing::responseOf(send("get_surveys")).status, 200);
  EXPECT_EQ(outcomes(), (std::vector<std::string>{"200/null", "null/\"drop\"", "200/null"}));
}

TEST_F(FaultsTest, DeleteClearsThePendingFaults) {
  addFault(R"({"action":"*","count":3,"status":500})");
  addFault(R"({"action":"get_surveys","drop":true})");
  const httplib::Result cleared = gateway().http().Delete("/__gateway/faults");
  ASSERT_TRUE(cleared);
  EXPECT_EQ(cleared->body, R"({"faults":[]})");
  EXPECT_EQ(statusOf("get_surveys"), 200);
}

TEST_F(FaultsTest, RefusesAFaultThatDoesNotFitWith400) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"{", "Invalid fault: Unable to parse JSON: "},
      {R"({"status":503})", R"(Invalid fault: No value for the required key "action")"},
      {R"({"action":"","status":503})", R"(Invalid fault: "action" must name an action or be "*")"},
      {R"({"action":"*"})", R"(Invalid fault: name one of "status", "delayMs", "malformed", "emptyBody" and "drop")"},
      {R"({"action":"*","drop":true,"malformed":true})",
       R"(Invalid fault: name only one of "delayMs", "malformed", "emptyBody" and "drop")"},
      {R"({"action":"*","drop":true,"status":500})", R"(Invalid fault: "status" goes alone or with "emptyBody")"},
      {R"({"action":"*","status":200})", R"(Invalid fault: "status" must be from 400 to 599)"},
      {R"({"action":"*","emptyBody":true,"status":500})",
       R"(Invalid fault: "status" with "emptyBody" must be from 200 to 299)"},
      {R"({"action":"*","status":503,"count":0})", R"(Invalid fault: "count" must be from 1 to 1000000)"},
      {R"({"action":"*","status":503,"count":1.5})",
       R"(Invalid fault: Expected a whole number at "count" but found a number)"},
      {R"({"action":"*","delayMs":-1})", R"(Invalid fault: "delayMs" must be from 0 to 600000)"},
  };
  for (const auto& [body, message] : cases) {
    SCOPED_TRACE(body);
    const httplib::Result result = gateway().postJSON("/__gateway/faults", body);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->status, 400);
    const std::string text = JSONValue::decode(result->body)["message"].stringValue().value_or(result->body);
    EXPECT_EQ(ourWords(text, message), message);
  }
  EXPECT_EQ(gateway().getJSON("/__gateway/faults").encode(), R"({"faults":[]})");
}

}  // namespace
}  // namespace tarnwell::gateway
