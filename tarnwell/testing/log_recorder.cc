#include "tarnwell/testing/log_recorder.h"

#include <algorithm>

namespace tarnwell::testing {

LogRecorder::LogRecorder() {
  setLogSink([this](LogLevel, std::string_view line) {
    std::lock_guard lock(mutex_);
    lines_.emplace_back(line);
  });
}

LogRecorder::~LogRecorder() { setLogSink({}); }

std::vector<std::string> LogRecorder::lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

bool LogRecorder::contains(std::string_view line) const {
  std::lock_guard lock(mutex_);
  return std::find(lines_.begin(), lines_.end(), line) != lines_.end();
}

bool LogRecorder::containsSubstring(std::string_view fragment) const {
  std::lock_guard lock(mutex_);
  return std::any_of(lines_.begin(), lines_.end(),
                     [&](const std::string& line) { return line.find(fragment) != std::string::npos; });
}

void LogRecorder::clear() {
  std::lock_guard lock(mutex_);
  lines_.clear();
}

}  // namespace tarnwell::testing
