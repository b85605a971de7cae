// File: tarnwell/platform/device_labels.h
//
// The labels the SDK shows and sends for a device: its model identifier, its family
// ("iPhone", "iPad", ...) and a display name that joins the two when they say different things.
//
//   tarnwell::DeviceInfo phone = tarnwell::iosDeviceProfile();
//   tarnwell::deviceDisplayName(phone);  // "iPhone (iPhone15,2)"
//
// Pure functions of their argument: any thread; they throw nothing but std::bad_alloc.
#pragma once

#include <string>

#include <tarnwell/export.h>
#include <tarnwell/platform/device_info.h>

namespace tarnwell {

// The model identifier up to its first NUL, as a C field would end it.
TARNWELL_API std::string deviceModelIdentifier(const DeviceInfo& device);

// "iPhone", "iPad" or "iPod touch" when the model identifier starts with "iPhone", "iPad" or
// "iPod"; otherwise the device's genericFamilyName.
TARNWELL_API std::string deviceFamilyName(const DeviceInfo& device);

// Family and identifier, each trimmed of white space and new lines. When one is empty, the
// other; when they differ ignoring ASCII case, "family (identifier)"; otherwise the family.
TARNWELL_API std::string deviceDisplayName(const DeviceInfo& device);

}  // namespace tarnwell
