#include <tarnwell/platform/device_labels.h>

#include <string_view>

#include "tarnwell/core/detail/text.h"

namespace tarnwell {

std::string deviceModelIdentifier(const DeviceInfo& device) {
  const std::string& identifier = device.modelIdentifier;
  return identifier.substr(0, identifier.find('\0'));
}

std::string deviceFamilyName(const DeviceInfo& device) {
  const std::string identifier = deviceModelIdentifier(device);
  if (identifier.starts_with("iPhone")) return "iPhone";
  if (identifier.starts_with("iPad")) return "iPad";
  if (identifier.starts_with("iPod")) return "iPod touch";
  return device.genericFamilyName;
}

std::string deviceDisplayName(const DeviceInfo& device) {
  const std::string rawIdentifier = deviceModelIdentifier(device);
  const std::string rawFamily = deviceFamilyName(device);
  const std::string_view identifier = detail::trimWhitespaceAndNewlines(rawIdentifier);
  const std::string_view family = detail::trimWhitespaceAndNewlines(rawFamily);
  if (identifier.empty()) return std::string(family);
  if (family.empty()) return std::string(identifier);
  if (detail::toLowerAscii(family) != detail::toLowerAscii(identifier)) {
    return std::string(family) + " (" + std::string(identifier) + ")";
  }
  return std::string(family);
}

}  // namespace tarnwell
