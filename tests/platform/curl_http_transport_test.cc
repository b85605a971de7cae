#include "tarnwell/platform/detail/curl_http_transport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "tarnwell/testing/log_recorder.h"
#include "tests/support/loopback_server.h"
#include "tests/support/transfer_outcome.h"

namespace tarnwell::detail {
namespace {

using namespace std::chrono_literals;

using testing::errorOf;
using testing::responseOf;
using Outcome = testing::TransferOutcome;
constexpr auto kCap = testing::kCompletionWaitCap;

// What the handlers share with the test: arrivals to wait for, and a gate that holds blocking
// handlers until the test opens it.
class Gate {
 public:
  void arrive() {
    std::lock_guard lock(mutex_);
    ++arrived_;
    peak_ = std::max(peak_, arrived_ - left_);
    changed_.notify_all();
  }
  void leave() {
    std::lock_guard lock(mutex_);
    ++left_;
  }
  bool waitForArrivals(int count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kCap, [&] { return arrived_ >= count; });
  }
  void waitUntilOpen() {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, kCap, [&] { return open_; });
  }
  void open() {
    std::lock_guard lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  int peak() const {
    std::lock_guard lock(mutex_);
    return peak_;
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  int arrived_ = 0, left_ = 0, peak_ = 0;
  bool open_ = false;
};

class CurlHttpTransportTest : public ::testing::Test {
 protected:
  CurlHttpTransportTest() {
    server_.routes().Post("/echo", [this](const httplib::Request& request, httplib::Response& response) {
      std::lock_guard lock(mutex_);
      received_.push_back(request);
      response.set_content("reply-" + request.body, "text/plain");
    });
    server_.routes().Post("/held", [this](const httplib::Request&, httplib::Response& response) {
      gate_.arrive();
      gate_.waitUntilOpen();
      response.set_content("late", "text/plain");
    });
  }

  ~CurlHttpTransportTest() override {
    gate_.open();  // blocked handlers return, so the server can stop
    transport_.reset();
    server_.stop();
  }

  void startServer() {
    ASSERT_TRUE(server_.start());
    port_ = server_.port();
  }

  HttpRequest request(const std::string& path, std::string body = "{}") const {
    HttpRequest built;
    built.url = "http://127.0.0.1:" + std::to_string(port_) + path;
    built.body = std::move(body);
    return built;
  }

  HttpResult send(HttpRequest request) {
    Outcome outcome;
    transport_->post(std::move(request), outcome.callback());
    return outcome.get();
  }

  testing::LoopbackServer server_;
  int port_ = 0;
  Gate gate_;
  std::mutex mutex_;
  std::vector<httplib::Request> received_;
  std::unique_ptr<CurlHttpTransport> transport_ = std::make_unique<CurlHttpTransport>();
};

TEST_F(CurlHttpTransportTest, SendsPostWithExactBodyAndHeaders) {
  startServer();
  HttpRequest sent = request("/echo", std::string("{\"a\":1}\0tail", 12));
  sent.headers = {{"Content-Type", "application/json"}, {"X-Tarnwell-Key", "k 1"}};
  EXPECT_EQ(responseOf(send(sent)).body, "reply-" + sent.body);

  std::lock_guard lock(mutex_);
  ASSERT_EQ(received_.size(), 1u);
  const httplib::Request& arrived = received_[0];
  EXPECT_EQ(arrived.method, "POST");
  EXPECT_EQ(arrived.body, sent.body);
  EXPECT_EQ(arrived.get_header_value_count("Content-Type"), 1u);
  EXPECT_EQ(arrived.get_header_value("Content-Type"), "application/json");
  EXPECT_EQ(arrived.get_header_value("X-Tarnwell-Key"), "k 1");
  EXPECT_EQ(arrived.get_header_value("User-Agent"), "TarnwellSdk/" TARNWELL_VERSION_STRING);
  EXPECT_EQ(arrived.get_header_value_count("Expect"), 0u);
}

TEST_F(CurlHttpTransportTest, ReturnsEveryStatusAsResponseWithBodyAndHeaders) {
  server_.routes().Post(R"(/status/(\d+))", [](const httplib::Request& request, httplib::Response& response) {
    const std::string code = request.matches[1];
    response.status = std::stoi(code);
    response.set_header("X-Reply", "status-" + code);
    if (code != "204") response.set_content("body-" + code, "text/plain");
  });
  startServer();
  for (const int status : {200, 204, 404, 500}) {
    SCOPED_TRACE(status);
    const HttpResponse response = responseOf(send(request("/status/" + std::to_string(status))));
    EXPECT_EQ(response.status, status);
    EXPECT_EQ(response.body, status == 204 ? "" : "body-" + std::to_string(status));
    ASSERT_NE(response.header("x-reply"), nullptr);
    EXPECT_EQ(*response.header("x-reply"), "status-" + std::to_string(status));
  }
}

TEST_F(CurlHttpTransportTest, FailsWithTimedOutWhenServerAnswersAfterTheTimeOut) {
  startServer();
  HttpRequest slow = request("/held");
  slow.timeout = 200ms;
  const TransportError error = errorOf(send(slow));
  EXPECT_EQ(error.code, TransportErrorCode::timedOut);
  EXPECT_NE(error.message, "");
}

TEST_F(CurlHttpTransportTest, CancelMidTransferCompletesOnceWithCancelled) {
  startServer();
  HttpRequest held = request("/held");
  held.timeout = 10min;  // far past the wait cap: only cancel() can end this transfer
  Outcome outcome;
  const auto transfer = transport_->post(held, outcome.callback());
  ASSERT_TRUE(gate_.waitForArrivals(1));
  transfer->cancel();
  const TransportError error = errorOf(outcome.get());
  EXPECT_EQ(error.code, TransportErrorCode::cancelled);
  EXPECT_EQ(error.message, "transfer cancelled");
  transfer->cancel();
  EXPECT_EQ(responseOf(send(request("/echo", "after"))).body, "reply-after");
  EXPECT_EQ(outcome.calls(), 1);
}

TEST_F(CurlHttpTransportTest, CancelRightAfterPostCompletesWithCancelled) {
  startServer();
  HttpRequest held = request("/held");
  held.timeout = 10min;
  Outcome outcome;
  transport_->post(held, outcome.callback())->cancel();
  EXPECT_EQ(errorOf(outcome.get()).code, TransportErrorCode::cancelled);
}

TEST_F(CurlHttpTransportTest, FailsWithResponseTooLargeWhenBodyPassesTheCap) {
  constexpr std::size_t kMiB = 1 << 20;
  transport_ = std::make_unique<CurlHttpTransport>(CurlHttpTransport::Options{.maxResponseBytes = kMiB});
  server_.routes().Post("/exact", [](const httplib::Request&, httplib::Response& response) {
    response.set_content(std::string(kMiB, 'e'), "application/octet-stream");
  });
  server_.routes().Post("/sized", [](const httplib::Request&, httplib::Response& response) {
    response.set_content(std::string(2 * kMiB, 's'), "application/octet-stream");
  });
  server_.routes().Post("/chunked", [](const httplib::Request&, httplib::Response& response) {
    response.set_chunked_content_provider("application/octet-stream", [](std::size_t offset, httplib::DataSink& sink) {
      const std::string chunk(64 * 1024, 'c');
      if (offset < 2 * kMiB) return sink.write(chunk.data(), chunk.size());
      sink.done();
      return true;
    });
  });
  startServer();
  EXPECT_EQ(responseOf(send(request("/exact"))).body, std::string(kMiB, 'e'));
  for (const std::string path : {"/sized", "/chunked"}) {
    SCOPED_TRACE(path);
    const TransportError error = errorOf(send(request(path)));
    EXPECT_EQ(error.code, TransportErrorCode::responseTooLarge);
    EXPECT_EQ(error.message, "response body exceeds 1048576 bytes");
  }
}

TEST_F(CurlHttpTransportTest, FailsWithCannotConnectWhenNothingListens) {
  port_ = testing::closedLoopbackPort();
  ASSERT_GT(port_, 0);

  const TransportError error = errorOf(send(request("/echo")));
  EXPECT_EQ(error.code, TransportErrorCode::cannotConnect);
  EXPECT_NE(error.message, "");
}

TEST_F(CurlHttpTransportTest, FailsWithInvalidRequestForUnusableUrlHeaderOrTimeOut) {
  port_ = 1;  // nothing is sent, so no server is needed
  HttpRequest spacedHost = request("/");
  spacedHost.url = "http://exa mple.com/";
  HttpRequest otherScheme = request("/");
  otherScheme.url = "ftp://127.0.0.1/file";
  HttpRequest badHeader = request("/");
  badHeader.headers = {{"X-Split", "a\r\nInjected: 1"}};
  HttpRequest badTimeOut = request("/");
  badTimeOut.timeout = 0ms;
  for (const HttpRequest& sent : {spacedHost, otherScheme}) {
    SCOPED_TRACE(sent.url);
    EXPECT_EQ(errorOf(send(sent)).code, TransportErrorCode::invalidRequest);
  }
  const TransportError headerError = errorOf(send(badHeader));
  EXPECT_EQ(headerError.code, TransportErrorCode::invalidRequest);
  EXPECT_EQ(headerError.message, "header \"X-Split\" cannot be sent");
  const TransportError timeOutError = errorOf(send(badTimeOut));
  EXPECT_EQ(timeOutError.code, TransportErrorCode::invalidRequest);
  EXPECT_EQ(timeOutError.message, "time-out must be positive");
}

TEST_F(CurlHttpTransportTest, RunsFiftyTransfersAtOnceEachWithItsOwnBody) {
  constexpr int kCount = 50;
  server_.routes().Post("/together", [this](const httplib::Request& request, httplib::Response& response) {
    gate_.arrive();
    gate_.waitForArrivals(kCount);  // answers only once all of them are in flight
    gate_.leave();
    response.set_content("reply-" + request.body, "text/plain");
  });
  startServer();
  std::vector<Outcome> outcomes(kCount);
  for (int i = 0; i < kCount; ++i) {
    transport_->post(request("/together", "request-" + std::to_string(i)), outcomes[i].callback());
  }
  for (int i = 0; i < kCount; ++i) {
    EXPECT_EQ(responseOf(outcomes[i].get()).body, "reply-request-" + std::to_string(i));
  }
  EXPECT_EQ(gate_.peak(), kCount);
}

TEST_F(CurlHttpTransportTest, DestroyingTheTransportCancelsEveryTransferInFlight) {
  startServer();
  std::vector<Outcome> outcomes(3);
  for (auto& outcome : outcomes) transport_->post(request("/held"), outcome.callback());
  ASSERT_TRUE(gate_.waitForArrivals(3));
  transport_.reset();
  for (auto& outcome : outcomes) {
    const TransportError error = errorOf(outcome.get());
    EXPECT_EQ(error.code, TransportErrorCode::cancelled);
    EXPECT_EQ(error.message, "transport shut down");
    EXPECT_EQ(outcome.calls(), 1);
  }
}

TEST_F(CurlHttpTransportTest, SurvivesBeingDestroyedFromItsOwnCompletion) {
  startServer();
  Outcome held;
  transport_->post(request("/held"), held.callback());
  ASSERT_TRUE(gate_.waitForArrivals(1));
  std::promise<void> destroyed;
  transport_->post(request("/echo"), [&](HttpResult) {
    transport_.reset();
    destroyed.set_value();
  });
  ASSERT_EQ(destroyed.get_future().wait_for(kCap), std::future_status::ready);
  EXPECT_EQ(errorOf(held.get()).code, TransportErrorCode::cancelled);
}

TEST_F(CurlHttpTransportTest, LogsACompletionThatThrowsAndKeepsWorking) {
  testing::LogRecorder log;
  startServer();
  std::promise<void> thrown;
  transport_->post(request("/echo"), [&](HttpResult) {
    thrown.set_value();
    throw std::runtime_error("host bug");
  });
  ASSERT_EQ(thrown.get_future().wait_for(kCap), std::future_status::ready);
  EXPECT_EQ(responseOf(send(request("/echo", "next"))).body, "reply-next");
  EXPECT_TRUE(log.contains("[Tarnwell][ERROR] HTTP completion threw :: host bug"));
}

}  // namespace
}  // namespace tarnwell::detail
