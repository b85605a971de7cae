// File: tools/cli/transfer_watch.h
//
// TransferWatch is an HttpTransport that hands every request on to another one and keeps count
// of the transfers under way, so the host can tell when the gateway calls that a timer set off
// (a flush, a user sync, a telemetry batch) have ended.
//
//   auto watch = std::make_shared<TransferWatch>(std::make_shared<CurlHttpTransport>());
//   options.transport = watch;
//   ...
//   watch->waitUntilIdle(std::chrono::seconds(5));   // true: nothing is under way
//
// Every member may be called from any thread. A transfer counts as under way until its
// completion has returned, so whatever the completion posted is queued by then.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

#include <tarnwell/platform/http_transport.h>

namespace tarnwell::cli {

class TransferWatch final : public HttpTransport {
 public:
  explicit TransferWatch(std::shared_ptr<HttpTransport> inner);

  std::shared_ptr<HttpTransfer> post(HttpRequest request, Completion completion) override;

  // How many transfers have been started so far.
  std::uint64_t started() const;
  // Blocks until no transfer is under way or `limit` has passed; true when none is.
  bool waitUntilIdle(std::chrono::milliseconds limit) const;

 private:
  struct Counts;
  std::shared_ptr<HttpTransport> inner_;
  // Shared with the completions, which may outlive the watch.
  std::shared_ptr<Counts> counts_;
};

}  // namespace tarnwell::cli
