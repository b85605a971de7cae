// File: tarnwell/platform/app_info.h
//
// AppInfo is what the SDK knows about the host application: its bundle identifier, marketing
// version, build number and names, as it reports them with sessions and events. Every field is
// optional because a host may not have all of them.
//
// A host that knows its own identity supplies a provider:
//
//   tarnwell::AppInfoProvider appInfo = [] {
//     return tarnwell::AppInfo{.bundleId = "com.example.notes", .shortVersion = "2.4.0",
//                              .buildVersion = "412", .displayName = "Notes"};
//   };
//
// Without one the SDK falls back to readProcessAppInfo().
#pragma once

#include <functional>
#include <optional>
#include <string>

#include <tarnwell/export.h>

namespace tarnwell {

struct AppInfo {
  std::optional<std::string> bundleId;
  std::optional<std::string> shortVersion;
  std::optional<std::string> buildVersion;
  std::optional<std::string> displayName;
  std::optional<std::string> bundleName;
};

// Called on whichever thread needs the facts; it should be cheap and must not throw.
using AppInfoProvider = std::function<AppInfo()>;

// What the running process can say about itself. A Linux program has no application bundle,
// so only bundleName is known: the file name of the executable (/proc/self/exe). Identifier,
// versions and display name stay absent; a host that wants them reported supplies its own
// AppInfoProvider. When the executable cannot be read, every field is absent.
// Any thread; throws nothing but std::bad_alloc.
TARNWELL_API AppInfo readProcessAppInfo();

}  // namespace tarnwell
