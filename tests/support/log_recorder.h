// Captures the SDK's log lines for the life of a test, so assertions can name exact texts.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <tarnwell/core/log.h>

namespace tarnwell::testing {

class LogRecorder {
 public:
  LogRecorder();
  ~LogRecorder();
  LogRecorder(const LogRecorder&) = delete;
  LogRecorder& operator=(const LogRecorder&) = delete;

  std::vector<std::string> lines() const;
  bool contains(std::string_view line) const;
  bool containsSubstring(std::string_view fragment) const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace tarnwell::testing
