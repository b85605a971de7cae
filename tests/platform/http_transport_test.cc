#include <tarnwell/platform/http_transport.h>

#include <gtest/gtest.h>

namespace tarnwell {
namespace {

TEST(HttpResponseTest, FindsTheFirstHeaderOfANameIgnoringCase) {
  const HttpResponse response{.status = 200,
                              .headers = {{"Content-Type", "application/json"}, {"X-Trace", "one"}, {"x-trace", "two"}},
                              .body = ""};
  ASSERT_NE(response.header("content-type"), nullptr);
  EXPECT_EQ(*response.header("content-type"), "application/json");
  ASSERT_NE(response.header("X-TRACE"), nullptr);
  EXPECT_EQ(*response.header("X-TRACE"), "one");
  EXPECT_EQ(response.header("Content-Typ"), nullptr);
  EXPECT_EQ(response.header("Content-Types"), nullptr);
  EXPECT_EQ(response.header(""), nullptr);
}

TEST(TransportErrorCodeTest, NamesEveryCode) {
  EXPECT_EQ(toString(TransportErrorCode::cancelled), "cancelled");
  EXPECT_EQ(toString(TransportErrorCode::timedOut), "timedOut");
  EXPECT_EQ(toString(TransportErrorCode::cannotConnect), "cannotConnect");
  EXPECT_EQ(toString(TransportErrorCode::responseTooLarge), "responseTooLarge");
  EXPECT_EQ(toString(TransportErrorCode::invalidRequest), "invalidRequest");
  EXPECT_EQ(toString(TransportErrorCode::network), "network");
}

}  // namespace
}  // namespace tarnwell
