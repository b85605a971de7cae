#include "tarnwell/platform/detail/curl_http_transport.h"

#include <curl/curl.h>

#include <atomic>
#include <exception>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tarnwell/core/detail/log_scope.h"
#include "tarnwell/platform/detail/curl_exchange.h"

namespace tarnwell::detail {
namespace {

// The I/O thread sleeps in curl_multi_poll at most this long when nothing wakes it; libcurl
// shortens the wait on its own when one of its timers is due.
constexpr int kIdlePollMs = 1000;
// Finished easy handles kept for reuse; more than this many are freed.
constexpr std::size_t kMaxIdleHandles = 8;

const TransportError kCancelled{TransportErrorCode::cancelled, "transfer cancelled"};
const TransportError kShutDown{TransportErrorCode::cancelled, "transport shut down"};

CURLcode initCurlOnce() {
  static const CURLcode result = curl_global_init(CURL_GLOBAL_DEFAULT);
  return result;
}

}  // namespace

// One POST handed to the engine. The I/O thread owns every field but `cancelRequested`, which
// cancel() may set from any thread.
struct CurlTransfer final : HttpTransfer {
  CurlTransfer(std::weak_ptr<CurlEngine> engine, HttpRequest request, HttpTransport::Completion completion,
               std::size_t maxResponseBytes)
      : engine(std::move(engine)), completion(std::move(completion)) {
    exchange.emplace(std::move(request), maxResponseBytes);
  }

  void cancel() noexcept override;

  // Runs the completion; the engine calls this exactly once per transfer. A completion that
  // throws is logged, so it cannot take the I/O thread down.
  void finish(HttpResult result) noexcept {
    auto run = std::move(completion);
    try {
      if (run) run(std::move(result));
    } catch (const std::exception& e) {
      logError("HTTP completion threw", e.what());
    } catch (...) {
      logError("HTTP completion threw", "unknown exception");
    }
  }

  const std::weak_ptr<CurlEngine> engine;
  HttpTransport::Completion completion;
  std::atomic<bool> cancelRequested{false};
  std::optional<CurlExchange> exchange;  // dropped once libcurl is done with it
  CURL* easy = nullptr;
  bool inMulti = false;
};

class CurlEngine final : public std::enable_shared_from_this<CurlEngine> {
 public:
  explicit CurlEngine(CurlHttpTransport::Options options) : options_(std::move(options)) {}

  ~CurlEngine() {
    for (CURL* easy : idleHandles_) curl_easy_cleanup(easy);
    if (multi_ != nullptr) curl_multi_cleanup(multi_);
  }

  // Sets libcurl up and starts the I/O thread. On failure it logs why and leaves the engine
  // unavailable, so every transfer fails at once instead.
  void start() {
    if (const CURLcode code = initCurlOnce(); code != CURLE_OK) {
      logError("HTTP transport unavailable", curl_easy_strerror(code));
      return;
    }
    multi_ = curl_multi_init();
    if (multi_ == nullptr) {
      logError("HTTP transport unavailable", "curl_multi_init failed");
      return;
    }
    try {
      thread_ = std::thread([self = shared_from_this()] { self->run(); });
      available_ = true;
    } catch (const std::system_error& e) {
      logError("HTTP transport unavailable", e.what());
    }
  }

  std::shared_ptr<HttpTransfer> post(HttpRequest request, HttpTransport::Completion completion) {
    auto transfer = std::make_shared<CurlTransfer>(weak_from_this(), std::move(request), std::move(completion),
                                                   options_.maxResponseBytes);
    if (!available_) {
      transfer->finish(TransportError{TransportErrorCode::network, "HTTP transport unavailable"});
      return transfer;
    }
    bool queued = false;
    {
      std::lock_guard lock(mutex_);
      if (!stopping_) {
        incoming_.push_back(transfer);
        queued = true;
      }
    }
    if (queued) {
      curl_multi_wakeup(multi_);
    } else {
      transfer->finish(kShutDown);  // only a completion running during shutdown gets here
    }
    return transfer;
  }

  void noteCancellation() noexcept {
    cancelPending_ = true;
    if (multi_ != nullptr) curl_multi_wakeup(multi_);
  }

  // Cancels what is in flight and ends the I/O thread. Called from one of our own completions,
  // the thread cannot be joined; it winds down on its own and releases the engine last.
  void stop() {
    {
      std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    if (!thread_.joinable()) return;
    curl_multi_wakeup(multi_);
    if (thread_.get_id() == std::this_thread::get_id()) {
      thread_.detach();
    } else {
      thread_.join();
    }
  }

 private:
  void run() {
    const SharedLogSink logSink = std::make_shared<const LogSink>(options_.logSink);
    const LogScope scope(logSink);
    std::vector<std::shared_ptr<CurlTransfer>> arrived;
    for (;;) {
      bool stopping = false;
      {
        std::lock_guard lock(mutex_);
        arrived.swap(incoming_);
        stopping = stopping_;
      }
      if (stopping) break;
      for (auto& transfer : arrived) begin(std::move(transfer));
      arrived.clear();
      if (cancelPending_.exchange(false)) finishCancelled();
      int running = 0;
      curl_multi_perform(multi_, &running);
      collectFinished();
      curl_multi_poll(multi_, nullptr, 0, kIdlePollMs, nullptr);
    }
    for (auto& transfer : arrived) transfer->finish(kShutDown);
    for (auto& [easy, transfer] : std::exchange(active_, {})) {
      release(*transfer);
      transfer->finish(kShutDown);
    }
  }

  void begin(std::shared_ptr<CurlTransfer> transfer) {
    if (transfer->cancelRequested) return finish(*transfer, kCancelled);
    transfer->easy = takeHandle();
    if (transfer->easy == nullptr) {
      return finish(*transfer, TransportError{TransportErrorCode::network, "could not create a transfer handle"});
    }
    if (auto error = transfer->exchange->prepare(transfer->easy, options_.userAgent)) {
      return finish(*transfer, std::move(*error));
    }
    if (const CURLMcode code = curl_multi_add_handle(multi_, transfer->easy); code != CURLM_OK) {
      return finish(*transfer, TransportError{TransportErrorCode::network, curl_multi_strerror(code)});
    }
    transfer->inMulti = true;
    CURL* easy = transfer->easy;
    active_.emplace(easy, std::move(transfer));
  }

  void collectFinished() {
    int remaining = 0;
    while (CURLMsg* message = curl_multi_info_read(multi_, &remaining)) {
      if (message->msg != CURLMSG_DONE) continue;
      const auto found = active_.find(message->easy_handle);
      if (found == active_.end()) continue;
      const auto transfer = std::move(found->second);
      active_.erase(found);
      finish(*transfer, transfer->exchange->result(transfer->easy, message->data.result));
    }
  }

  void finishCancelled() {
    std::vector<std::shared_ptr<CurlTransfer>> cancelled;
    std::erase_if(active_, [&](auto& entry) {
      if (!entry.second->cancelRequested) return false;
      cancelled.push_back(std::move(entry.second));
      return true;
    });
    for (const auto& transfer : cancelled) finish(*transfer, kCancelled);
  }

  void finish(CurlTransfer& transfer, HttpResult result) {
    release(transfer);
    transfer.finish(std::move(result));
  }

  // Detaches the transfer from libcurl and keeps its handle for a later one.
  void release(CurlTransfer& transfer) {
    if (transfer.inMulti) curl_multi_remove_handle(multi_, transfer.easy);
    transfer.inMulti = false;
    if (CURL* easy = std::exchange(transfer.easy, nullptr)) {
      if (idleHandles_.size() < kMaxIdleHandles) {
        curl_easy_reset(easy);
        idleHandles_.push_back(easy);
      } else {
        curl_easy_cleanup(easy);
      }
    }
    transfer.exchange.reset();
  }

  CURL* takeHandle() {
    if (idleHandles_.empty()) return curl_easy_init();
    CURL* easy = idleHandles_.back();
    idleHandles_.pop_back();
    return easy;
  }

  const CurlHttpTransport::Options options_;
  CURLM* multi_ = nullptr;
  std::thread thread_;
  bool available_ = false;  // set once by start(), before any post
  std::atomic<bool> cancelPending_{false};

  std::mutex mutex_;
  std::vector<std::shared_ptr<CurlTransfer>> incoming_;  // guarded by mutex_
  bool stopping_ = false;                                // guarded by mutex_

  // The I/O thread's own.
  std::unordered_map<CURL*, std::shared_ptr<CurlTransfer>> active_;
  std::vector<CURL*> idleHandles_;
};

void CurlTransfer::cancel() noexcept {
  if (cancelRequested.exchange(true)) return;
  if (const auto owner = engine.lock()) owner->noteCancellation();
}

CurlHttpTransport::CurlHttpTransport() : CurlHttpTransport(Options{}) {}

CurlHttpTransport::CurlHttpTransport(Options options) : engine_(std::make_shared<CurlEngine>(std::move(options))) {
  engine_->start();
}

CurlHttpTransport::~CurlHttpTransport() { engine_->stop(); }

std::shared_ptr<HttpTransfer> CurlHttpTransport::post(HttpRequest request, Completion completion) {
  return engine_->post(std::move(request), std::move(completion));
}

}  // namespace tarnwell::detail
