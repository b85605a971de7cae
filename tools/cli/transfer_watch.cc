#include "tools/cli/transfer_watch.h"

#include <condition_variable>
#include <mutex>

namespace tarnwell::cli {

struct TransferWatch::Counts {
  mutable std::mutex mutex;
  mutable std::condition_variable idle;
  std::uint64_t started = 0;
  std::uint64_t underWay = 0;

  void finish() {
    {
      std::lock_guard lock(mutex);
      --underWay;
    }
    idle.notify_all();
  }
};

TransferWatch::TransferWatch(std::shared_ptr<HttpTransport> inner)
    : inner_(std::move(inner)), counts_(std::make_shared<Counts>()) {}

std::shared_ptr<HttpTransfer> TransferWatch::post(HttpRequest request, Completion completion) {
  {
    std::lock_guard lock(counts_->mutex);
    ++counts_->started;
    ++counts_->underWay;
  }
  return inner_->post(std::move(request), [counts = counts_, completion = std::move(completion)](HttpResult result) {
    // Counted until the completion has handed the result on.
    struct Finish {
      Counts& counts;
      ~Finish() { counts.finish(); }
    } finish{*counts};
    if (completion) completion(std::move(result));
  });
}

std::uint64_t TransferWatch::started() const {
  std::lock_guard lock(counts_->mutex);
  return counts_->started;
}

bool TransferWatch::waitUntilIdle(std::chrono::milliseconds limit) const {
  std::unique_lock lock(counts_->mutex);
  return counts_->idle.wait_for(lock, limit, [this] { return counts_->underWay == 0; });
}

}  // namespace tarnwell::cli
