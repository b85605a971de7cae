// File: tarnwell/testing/log_recorder.h
//
// LogRecorder captures the SDK's log lines for the life of a test, so assertions can name the
// exact texts. It installs itself as the process's log sink and removes itself when destroyed.
//
//   tarnwell::testing::LogRecorder logs;
//   sdk.trackEvent("purchase");   // before initialize
//   EXPECT_TRUE(logs.contains("[Tarnwell][WARN] Ignoring event purchase before SDK ready"));
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
