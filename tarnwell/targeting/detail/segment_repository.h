// File: tarnwell/targeting/detail/segment_repository.h
//
// SegmentRepository fetches one segment from the backend, fresh on every call: consumers ask
// again for each decision, and nothing is cached here.
//
//   SegmentRepository segments(client, transport);
//   std::optional<Segment> segment = co_await segments.getSegment("seg_pros");
//   bool allowed = !segment || isInSegment(*segment, properties, sessions);
//
// Absent means no constraint: a segment the backend doesn't have, or one that couldn't be
// fetched or read, lets the item through. Holds no state; any number of calls may be in flight.
#pragma once

#include <asio/awaitable.hpp>

#include <memory>
#include <optional>
#include <string>

#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/targeting/segment.h"

namespace tarnwell::detail {

class SegmentRepository {
 public:
  SegmentRepository(std::shared_ptr<AppwriteClient> client, std::shared_ptr<HttpTransport> transport);

  // "get_segment" with the session token. The reply's "item", absent when it is missing or
  // null. A failed call or an item that isn't a segment logs
  // "[Tarnwell][ERROR] Failed to fetch segment <id> :: <error>" and gives absent. Never throws.
  asio::awaitable<std::optional<Segment>> getSegment(std::string id);

 private:
  RuntimeGatewayRepository gateway_;
};

}  // namespace tarnwell::detail
