#include "tarnwell/core/log.h"

#include "tarnwell/core/detail/log_scope.h"

#include <cstdio>
#include <mutex>
#include <string>

namespace tarnwell {
namespace {

std::mutex& sinkMutex() {
  static std::mutex mutex;
  return mutex;
}

LogSink& installedSink() {
  static LogSink sink;
  return sink;
}

// The sink of the SDK object whose work this thread is doing, if that object has one.
thread_local const LogSink* scopedSink = nullptr;

void emit(LogLevel level, std::string_view message, const std::string_view* errorText) noexcept {
  try {
    std::string line;
    switch (level) {
      case LogLevel::info: line = "[Tarnwell][INFO] "; break;
      case LogLevel::warn: line = "[Tarnwell][WARN] "; break;
      case LogLevel::error: line = "[Tarnwell][ERROR] "; break;
    }
    line.append(message);
    if (errorText != nullptr) {
      line.append(" :: ").append(*errorText);
    }
    std::lock_guard lock(sinkMutex());
    if (scopedSink != nullptr) {
      (*scopedSink)(level, line);
    } else if (auto& sink = installedSink()) {
      sink(level, line);
    } else {
      line.push_back('\n');
      std::fwrite(line.data(), 1, line.size(), stdout);
      std::fflush(stdout);
    }
  } catch (...) {
    // A log line that cannot be built or written is dropped; logging never takes the host down.
  }
}

}  // namespace

namespace detail {

LogScope::LogScope(const SharedLogSink& sink) noexcept : previous_(scopedSink) {
  if (sink && *sink) scopedSink = sink.get();
}

LogScope::~LogScope() { scopedSink = previous_; }

}  // namespace detail

void setLogSink(LogSink sink) {
  std::lock_guard lock(sinkMutex());
  installedSink() = std::move(sink);
}

void logInfo(std::string_view message) noexcept { emit(LogLevel::info, message, nullptr); }
void logWarn(std::string_view message) noexcept { emit(LogLevel::warn, message, nullptr); }
void logError(std::string_view message) noexcept { emit(LogLevel::error, message, nullptr); }
void logError(std::string_view message, std::string_view errorText) noexcept {
  emit(LogLevel::error, message, &errorText);
}

}  // namespace tarnwell
