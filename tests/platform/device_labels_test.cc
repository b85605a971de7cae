#include <tarnwell/platform/device_labels.h>

#include <gtest/gtest.h>

#include <string>

namespace tarnwell {
namespace {

using namespace std::string_literals;

DeviceInfo device(std::string modelIdentifier, std::string genericFamilyName) {
  DeviceInfo info;
  info.modelIdentifier = std::move(modelIdentifier);
  info.genericFamilyName = std::move(genericFamilyName);
  return info;
}

TEST(DeviceLabelsTest, ModelIdentifierEndsAtTheFirstNul) {
  EXPECT_EQ(deviceModelIdentifier(device("x86_64\0\0garbage"s, "")), "x86_64");
  EXPECT_EQ(deviceModelIdentifier(device("\0iPhone"s, "")), "");
  EXPECT_EQ(deviceModelIdentifier(device("iPad13,1", "")), "iPad13,1");
}

TEST(DeviceLabelsTest, FamilyComesFromTheIdentifierPrefix) {
  EXPECT_EQ(deviceFamilyName(device("iPhone15,2", "iOS Device")), "iPhone");
  EXPECT_EQ(deviceFamilyName(device("iPad13,1", "iOS Device")), "iPad");
  EXPECT_EQ(deviceFamilyName(device("iPod9,1", "iOS Device")), "iPod touch");
  EXPECT_EQ(deviceFamilyName(device("x86_64", "Linux Device")), "Linux Device");
  // The prefix is case-sensitive and must be at the start.
  EXPECT_EQ(deviceFamilyName(device("iphone15,2", "iOS Device")), "iOS Device");
  EXPECT_EQ(deviceFamilyName(device(" iPhone15,2", "iOS Device")), "iOS Device");
  // A prefix hidden behind a NUL does not count.
  EXPECT_EQ(deviceFamilyName(device("\0iPhone"s, "Linux Device")), "Linux Device");
}

TEST(DeviceLabelsTest, DisplayNameJoinsFamilyAndIdentifierWhenTheyDiffer) {
  EXPECT_EQ(deviceDisplayName(iosDeviceProfile()), "iPhone (iPhone15,2)");
  EXPECT_EQ(deviceDisplayName(device("x86_64", "Linux Device")), "Linux Device (x86_64)");
  EXPECT_EQ(deviceDisplayName(device("iPod9,1", "")), "iPod touch (iPod9,1)");
}

TEST(DeviceLabelsTest, DisplayNameIsTheFamilyWhenBothMatchIgnoringCase) {
  EXPECT_EQ(deviceDisplayName(device("iPhone", "iOS Device")), "iPhone");
  EXPECT_EQ(deviceDisplayName(device("LINUX DEVICE", "Linux Device")), "Linux Device");
  EXPECT_EQ(deviceDisplayName(device(" linux device\n", "Linux Device")), "Linux Device");
}

TEST(DeviceLabelsTest, DisplayNameFallsBackWhenOnePartIsEmptyOrBlank) {
  EXPECT_EQ(deviceDisplayName(device("", "Linux Device")), "Linux Device");
  EXPECT_EQ(deviceDisplayName(device(" \t\n", "Linux Device")), "Linux Device");
  EXPECT_EQ(deviceDisplayName(device("\u00A0\0x"s, "Linux Device")), "Linux Device");
  EXPECT_EQ(deviceDisplayName(device("x86_64", "")), "x86_64");
  EXPECT_EQ(deviceDisplayName(device("\tx86_64\r\n", "\u3000 ")), "x86_64");
  EXPECT_EQ(deviceDisplayName(device(" ", "\n")), "");
}

TEST(DeviceLabelsTest, DisplayNameTrimsBothParts) {
  EXPECT_EQ(deviceDisplayName(device(" x86_64\n", "\tLinux Device \u00A0")), "Linux Device (x86_64)");
}

}  // namespace
}  // namespace tarnwell
