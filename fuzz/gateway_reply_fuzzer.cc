// A gateway reply of any status and body through RuntimeGatewayRepository on the scripted
// transport, read in each of its forms: the data itself, a record list, one record and an
// acknowledgement. The first two bytes choose the HTTP status; the rest is the body.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/flags/feature_flag.h"
#include "tarnwell/targeting/segment.h"
#include "tarnwell/testing/scripted_http_transport.h"

namespace tarnwell {
namespace {

// Nothing when the call answered (into `answer`), else its error: the errors the repository
// documents are named by type, anything else escapes as a finding.
template <typename T>
std::optional<std::string> failureOf(asio::awaitable<T> call, std::optional<T>& answer) {
  try {
    answer = fuzz::runToEnd(std::move(call));
    return std::nullopt;
  } catch (const detail::RuntimeGatewayError& error) {
    return "RuntimeGatewayError " + detail::textualForm(error);
  } catch (const DecodingError& error) {
    return std::string("DecodingError ") + error.what();
  }
}

bool isDecodingError(const std::optional<std::string>& failure) {
  return failure && failure->starts_with("DecodingError ");
}

}  // namespace
}  // namespace tarnwell

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarnwell;
  if (size < 2) return 0;
  HttpResponse reply;
  reply.status = 100 + (data[0] << 8 | data[1]) % 500;
  reply.body = std::string(fuzz::asText(data + 2, size - 2));

  static const auto client = std::make_shared<detail::AppwriteClient>("https://gateway.invalid/v1", "proj", "db", "fn");
  // A transport per input: it keeps a copy of every request it is sent.
  const auto transport = std::make_shared<testing::ScriptedHttpTransport>();
  transport->setResponder([&reply](const HttpRequest&) { return HttpResult(reply); });
  detail::RuntimeGatewayRepository gateway(client, transport);

  std::optional<JSONObject> answer;
  const auto failure = failureOf(gateway.execute("get_feature_flags", {}, true), answer);
  std::optional<std::vector<FeatureFlag>> flags;
  const auto listFailure = failureOf(gateway.executeList<FeatureFlag>("get_feature_flags", {}, "items", true), flags);
  std::optional<std::optional<Segment>> segment;
  const auto objectFailure =
      failureOf(gateway.executeObject<Segment>("get_segment", JSONObject{{"segmentId", "s1"}}, "item", true), segment);
  std::optional<bool> acknowledged;
  const auto booleanFailure = failureOf(gateway.executeBoolean("track_event_batch", {}, "success", true), acknowledged);
  fuzz::require(transport->requests().size() == 4, "a call did not send exactly one request");

  if (reply.status < 200 || reply.status > 299) {
    const std::string expected = "RuntimeGatewayError httpError(" + std::to_string(reply.status) + ")";
    fuzz::require(failure == expected, "a failed HTTP status is not an httpError with that status");
  }
  if (failure) {
    // Every form reads the same envelope first, so it fails the same way.
    fuzz::require(listFailure == failure && objectFailure == failure && booleanFailure == failure,
                  "the forms of a call disagree about a failed reply");
    return 0;
  }
  // The envelope was good: only the records inside may still fail to decode.
  fuzz::require(!booleanFailure && *acknowledged == detail::readSuccessFlag(*answer), "the acknowledgement misread");
  fuzz::require(!listFailure || isDecodingError(listFailure), "a list failed other than by a record");
  fuzz::require(!objectFailure || isDecodingError(objectFailure), "a record failed other than by decoding");
  if (flags) {
    const JSONValue* items = answer->find("items");
    const std::size_t count = items != nullptr && items->isArray() ? items->asArray()->size() : 0;
    fuzz::require(flags->size() == count, "the list does not hold one record per element");
  }
  if (segment) {
    const JSONValue* item = answer->find("item");
    fuzz::require(segment->has_value() == (item != nullptr && !item->isNull()), "a record was lost or invented");
  }
  return 0;
}
