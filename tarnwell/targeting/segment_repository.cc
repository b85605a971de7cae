#include "tarnwell/targeting/detail/segment_repository.h"

#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/core/log.h"

namespace tarnwell::detail {

SegmentRepository::SegmentRepository(std::shared_ptr<AppwriteClient> client, std::shared_ptr<HttpTransport> transport)
    : gateway_(std::move(client), std::move(transport)) {}

asio::awaitable<std::optional<Segment>> SegmentRepository::getSegment(std::string id) {
  try {
    JSONObject payload{{"segmentId", JSONValue(id)}};
    co_return co_await gateway_.executeObject<Segment>("get_segment", std::move(payload), "item", true);
  } catch (const std::exception& error) {
    logError("Failed to fetch segment " + id, textualForm(error));
  }
  co_return std::nullopt;
}

}  // namespace tarnwell::detail
