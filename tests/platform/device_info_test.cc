#include <tarnwell/platform/device_info.h>

#include <sys/utsname.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace tarnwell {
namespace {

// Sets or clears environment variables for one test and puts the old values back.
class ScopedEnvironment {
 public:
  ScopedEnvironment() = default;
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
  ~ScopedEnvironment() {
    for (auto it = saved_.rbegin(); it != saved_.rend(); ++it) apply(it->first, it->second);
  }

  void set(const std::string& name, std::optional<std::string> value) {
    const char* old = std::getenv(name.c_str());
    saved_.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
    apply(name, value);
  }

 private:
  static void apply(const std::string& name, const std::optional<std::string>& value) {
    if (value) {
      ::setenv(name.c_str(), value->c_str(), 1);
    } else {
      ::unsetenv(name.c_str());
    }
  }

  std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};

std::string localeWith(std::optional<std::string> lcAll, std::optional<std::string> lcMessages,
                       std::optional<std::string> lang) {
  ScopedEnvironment environment;
  environment.set("LC_ALL", std::move(lcAll));
  environment.set("LC_MESSAGES", std::move(lcMessages));
  environment.set("LANG", std::move(lang));
  return readSystemDeviceInfo().locale;
}

std::string timeZoneWith(std::optional<std::string> tz) {
  ScopedEnvironment environment;
  environment.set("TZ", std::move(tz));
  return readSystemDeviceInfo().timeZone;
}

TEST(DeviceInfoTest, LocaleTakesTheFirstSetVariableWithoutCodesetOrModifier) {
  EXPECT_EQ(localeWith("de_DE.UTF-8", "fr_FR.UTF-8", "en_GB.UTF-8"), "de_DE");
  EXPECT_EQ(localeWith(std::nullopt, "fr_FR.UTF-8", "en_GB.UTF-8"), "fr_FR");
  EXPECT_EQ(localeWith(std::nullopt, std::nullopt, "en_GB.UTF-8"), "en_GB");
  EXPECT_EQ(localeWith("", "", "pt_BR"), "pt_BR");  // empty means unset
  EXPECT_EQ(localeWith(std::nullopt, std::nullopt, "de_DE@euro"), "de_DE");
  EXPECT_EQ(localeWith(std::nullopt, std::nullopt, "sr_RS.UTF-8@latin"), "sr_RS");
}

TEST(DeviceInfoTest, LocaleOfTheCLocaleOrNoneIsPosix) {
  EXPECT_EQ(localeWith(std::nullopt, std::nullopt, std::nullopt), "en_US_POSIX");
  EXPECT_EQ(localeWith("C", "fr_FR", "en_GB"), "en_US_POSIX");
  EXPECT_EQ(localeWith(std::nullopt, std::nullopt, "C.UTF-8"), "en_US_POSIX");
  EXPECT_EQ(localeWith(std::nullopt, "POSIX", "en_GB"), "en_US_POSIX");
  EXPECT_EQ(localeWith(std::nullopt, std::nullopt, ".UTF-8"), "en_US_POSIX");
}

TEST(DeviceInfoTest, TimeZoneComesFromTz) {
  EXPECT_EQ(timeZoneWith("Europe/Berlin"), "Europe/Berlin");
  EXPECT_EQ(timeZoneWith(":America/New_York"), "America/New_York");
  EXPECT_EQ(timeZoneWith(":/usr/share/zoneinfo/Asia/Tokyo"), "Asia/Tokyo");
  EXPECT_EQ(timeZoneWith("/usr/share/zoneinfo/Australia/Lord_Howe"), "Australia/Lord_Howe");
  EXPECT_EQ(timeZoneWith(""), "UTC");
}

TEST(DeviceInfoTest, TimeZoneWithoutANamedZoneInTzAsksTheSystem) {
  const std::string system = timeZoneWith(std::nullopt);
  EXPECT_FALSE(system.empty());
  EXPECT_FALSE(system.starts_with(':'));
  EXPECT_FALSE(system.starts_with('/'));
  EXPECT_EQ(timeZoneWith(":"), system);
  EXPECT_EQ(timeZoneWith(":/etc/localtime"), system);
}

TEST(DeviceInfoTest, DescribesTheRunningLinuxSystem) {
  utsname system{};
  ASSERT_EQ(uname(&system), 0);
  const DeviceInfo info = readSystemDeviceInfo();
  EXPECT_EQ(info.platform, "linux");
  EXPECT_EQ(info.osVersion, std::string("Linux ") + system.release + " " + system.version);
  EXPECT_EQ(info.modelIdentifier, system.machine);
  EXPECT_EQ(info.genericFamilyName, "Linux Device");
  EXPECT_EQ(info.deviceIdPrefix, "linux_device_");
  EXPECT_EQ(info.screenWidth, 0);
  EXPECT_EQ(info.screenHeight, 0);
  // The vendor file ends with a new line that must not reach the reported maker.
  EXPECT_FALSE(info.manufacturer.empty());
  EXPECT_EQ(info.manufacturer.find_first_of("\r\n"), std::string::npos);
  EXPECT_NE(info.manufacturer.back(), ' ');
}

TEST(DeviceInfoTest, IosProfileReproducesThePhone) {
  const DeviceInfo info = iosDeviceProfile();
  EXPECT_EQ(info.platform, "ios");
  EXPECT_EQ(info.osVersion, "Version 17.2 (Build 21C62)");
  EXPECT_EQ(info.locale, "en_US");
  EXPECT_EQ(info.timeZone, "America/New_York");
  EXPECT_EQ(info.modelIdentifier, "iPhone15,2");
  EXPECT_EQ(info.genericFamilyName, "iOS Device");
  EXPECT_EQ(info.manufacturer, "Apple");
  EXPECT_EQ(info.deviceIdPrefix, "ios_device_");
  EXPECT_EQ(info.screenWidth, 393);
  EXPECT_EQ(info.screenHeight, 852);
}

}  // namespace
}  // namespace tarnwell
