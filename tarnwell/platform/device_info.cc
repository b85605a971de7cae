#include <tarnwell/platform/device_info.h>

#include <sys/utsname.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <string_view>
#include <system_error>

#include "tarnwell/core/detail/text.h"

namespace tarnwell {
namespace {

std::optional<std::string_view> environmentValue(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  return std::string_view(value);
}

// "de_DE.UTF-8@euro" -> "de_DE"; the C locale reads as the platform's POSIX locale.
std::string localeIdentifier() {
  std::optional<std::string_view> value = environmentValue("LC_ALL");
  if (!value) value = environmentValue("LC_MESSAGES");
  if (!value) value = environmentValue("LANG");
  if (!value) return "en_US_POSIX";
  std::string_view name = value->substr(0, value->find_first_of(".@"));
  if (name.empty() || name == "C" || name == "POSIX") return "en_US_POSIX";
  return std::string(name);
}

// "/usr/share/zoneinfo/Europe/Berlin" -> "Europe/Berlin".
std::optional<std::string> zoneAfterZoneinfo(std::string_view path) {
  constexpr std::string_view kMarker = "zoneinfo/";
  const std::size_t at = path.find(kMarker);
  if (at == std::string_view::npos || at + kMarker.size() == path.size()) return std::nullopt;
  return std::string(path.substr(at + kMarker.size()));
}

// The first line of a small system file, trimmed; absent when unreadable or blank.
std::optional<std::string> readFirstLine(const char* path) {
  std::ifstream file(path, std::ios::binary);
  // Files of /etc and /sys hold one short line; the bound keeps an odd file from costing much.
  constexpr std::streamsize kMaxBytes = 256;
  std::string text(kMaxBytes, '\0');
  file.read(text.data(), kMaxBytes);
  text.resize(static_cast<std::size_t>(file.gcount()));
  const std::string_view line = detail::trimWhitespaceAndNewlines(std::string_view(text).substr(0, text.find('\n')));
  if (line.empty()) return std::nullopt;
  return std::string(line);
}

std::string readSystemZoneName() {
  std::error_code error;
  const std::filesystem::path target = std::filesystem::read_symlink("/etc/localtime", error);
  if (!error) {
    if (std::optional<std::string> zone = zoneAfterZoneinfo(target.native())) return *zone;
  }
  if (std::optional<std::string> zone = readFirstLine("/etc/timezone")) return *zone;
  return "UTC";
}

// The system's zone, read from the file system again at most once a second: targeting asks for
// the device facts for every field it resolves, and a changed zone is still seen promptly.
std::string systemZoneName() {
  static std::mutex mutex;
  static std::string zone;
  static std::chrono::steady_clock::time_point readAt;
  const auto now = std::chrono::steady_clock::now();
  std::lock_guard lock(mutex);
  if (zone.empty() || now - readAt >= std::chrono::seconds(1)) {
    zone = readSystemZoneName();
    readAt = now;
  }
  return zone;
}

std::string timeZoneName() {
  if (const char* tz = std::getenv("TZ")) {
    std::string_view name(tz);
    // The C library keeps local time in UTC when TZ is set but empty.
    if (name.empty()) return "UTC";
    if (name.starts_with(':')) name.remove_prefix(1);
    if (std::optional<std::string> zone = zoneAfterZoneinfo(name)) return *zone;
    // Any other path names a zone file, usually /etc/localtime itself: ask the system.
    if (!name.empty() && !name.starts_with('/')) return std::string(name);
  }
  return systemZoneName();
}

std::string fieldText(const char* field, std::size_t capacity) { return std::string(field, strnlen(field, capacity)); }

}  // namespace

namespace {

// What cannot change while the process runs (kernel, machine, maker), read once: targeting
// refreshes the device facts for every field it resolves.
struct MachineFacts {
  std::string osVersion = "Linux";
  std::string modelIdentifier;
  std::string manufacturer;
};

const MachineFacts& machineFacts() {
  static const MachineFacts facts = [] {
    MachineFacts read;
    utsname system{};
    if (uname(&system) == 0) {
      read.osVersion += " " + fieldText(system.release, sizeof system.release) + " " +
                        fieldText(system.version, sizeof system.version);
      read.modelIdentifier = fieldText(system.machine, sizeof system.machine);
    }
    read.manufacturer = readFirstLine("/sys/devices/virtual/dmi/id/sys_vendor").value_or("unknown");
    return read;
  }();
  return facts;
}

}  // namespace

DeviceInfo readSystemDeviceInfo() {
  const MachineFacts& machine = machineFacts();
  DeviceInfo info;
  info.platform = "linux";
  info.osVersion = machine.osVersion;
  info.modelIdentifier = machine.modelIdentifier;
  info.locale = localeIdentifier();
  info.timeZone = timeZoneName();
  info.genericFamilyName = "Linux Device";
  info.manufacturer = machine.manufacturer;
  info.deviceIdPrefix = "linux_device_";
  return info;
}

DeviceInfo iosDeviceProfile() {
  return DeviceInfo{
      .platform = "ios",
      .osVersion = "Version 17.2 (Build 21C62)",
      .locale = "en_US",
      .timeZone = "America/New_York",
      .modelIdentifier = "iPhone15,2",
      .genericFamilyName = "iOS Device",
      .manufacturer = "Apple",
      .deviceIdPrefix = "ios_device_",
      .screenWidth = 393,
      .screenHeight = 852,
  };
}

}  // namespace tarnwell
