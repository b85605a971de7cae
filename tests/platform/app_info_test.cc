#include <tarnwell/platform/app_info.h>

#include <errno.h>

#include <gtest/gtest.h>

namespace tarnwell {
namespace {

TEST(AppInfoTest, ProcessKnowsOnlyItsExecutableName) {
  const AppInfo info = readProcessAppInfo();
  // glibc's short invocation name is the file name the test runner started.
  EXPECT_EQ(info.bundleName, std::optional<std::string>(program_invocation_short_name));
  EXPECT_EQ(info.bundleId, std::nullopt);
  EXPECT_EQ(info.shortVersion, std::nullopt);
  EXPECT_EQ(info.buildVersion, std::nullopt);
  EXPECT_EQ(info.displayName, std::nullopt);
}

}  // namespace
}  // namespace tarnwell
