// File: tarnwell/platform/device_info.h
//
// DeviceInfo is what the SDK reports about the device it runs on: platform name, OS version,
// locale, time zone, model, maker, screen size, and the prefix of device identifiers it makes.
// The SDK reads it through a DeviceInfoProvider, so a host (or a test) can supply its own.
//
//   tarnwell::DeviceInfoProvider device = tarnwell::readSystemDeviceInfo;   // the default
//   tarnwell::DeviceInfoProvider phone = tarnwell::iosDeviceProfile;        // fixed, for tests
//   std::string zone = device().timeZone;                                   // "Europe/Berlin"
#pragma once

#include <functional>
#include <string>

#include <tarnwell/export.h>

namespace tarnwell {

struct DeviceInfo {
  std::string platform;           // "linux", "ios", ...
  std::string osVersion;          // human-readable, e.g. "Linux 6.1.0-18-amd64 #1 SMP ..."
  std::string locale;             // identifier in the "en_US" form
  std::string timeZone;           // IANA name, e.g. "Europe/Berlin"
  std::string modelIdentifier;    // e.g. "x86_64", "iPhone15,2"
  std::string genericFamilyName;  // family used when the model names none, e.g. "Linux Device"
  std::string manufacturer;
  std::string deviceIdPrefix;  // device identifiers are this prefix plus a UUID
  double screenWidth = 0;      // points; 0 when unknown
  double screenHeight = 0;

  friend bool operator==(const DeviceInfo&, const DeviceInfo&) = default;
};

// Called on whichever thread needs the facts; it should be cheap and must not throw.
using DeviceInfoProvider = std::function<DeviceInfo()>;

// Reads the running Linux system, every time it is called:
// - platform "linux"; osVersion "Linux " + uname release + " " + uname version;
// - locale from the first non-empty of LC_ALL, LC_MESSAGES, LANG, without its codeset
//   (".UTF-8") and modifier ("@euro"); "C", "POSIX" or none give "en_US_POSIX";
// - timeZone from TZ (a leading ':' dropped; a path is reduced to what follows "zoneinfo/",
//   and a path without it defers to the system files; set but empty means "UTC", as for the
//   C library), else the target of the /etc/localtime link after "zoneinfo/", else the first
//   line of /etc/timezone, else "UTC";
// - modelIdentifier is the uname machine ("x86_64", "aarch64"); genericFamilyName
//   "Linux Device"; manufacturer the DMI system vendor, else "unknown";
// - deviceIdPrefix "linux_device_"; screen 0 x 0, since a library knows no screen.
// Any thread, though not while another thread changes the environment; throws nothing but
// std::bad_alloc.
TARNWELL_API DeviceInfo readSystemDeviceInfo();

// A fixed iPhone profile (iOS 17.2, iPhone15,2, en_US, America/New_York, 393 x 852 points)
// for tests that compare with what the SDK sends from a phone.
TARNWELL_API DeviceInfo iosDeviceProfile();

}  // namespace tarnwell
