#include <gtest/gtest.h>

#include "tarnwell/testing/log_recorder.h"

namespace tarnwell {
namespace {

TEST(LogTest, LinesCarryTheLevelPrefixAndTheErrorSeparator) {
  testing::LogRecorder log;
  logInfo("Started");
  logWarn("Ignoring event purchase before SDK ready");
  logError("Failed to initialize Tarnwell", "invalidURL");
  logError("Failed", "");
  EXPECT_EQ(log.lines(), (std::vector<std::string>{
                             "[Tarnwell][INFO] Started",
                             "[Tarnwell][WARN] Ignoring event purchase before SDK ready",
                             "[Tarnwell][ERROR] Failed to initialize Tarnwell :: invalidURL",
                             "[Tarnwell][ERROR] Failed :: ",
                         }));
}

TEST(LogTest, DefaultSinkWritesOneLineToStandardOutput) {
  ::testing::internal::CaptureStdout();
  logWarn("queue full");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "[Tarnwell][WARN] queue full\n");
}

}  // namespace
}  // namespace tarnwell
