#include <tarnwell/platform/app_info.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace tarnwell {

AppInfo readProcessAppInfo() {
  AppInfo info;
  std::error_code error;
  const std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) return info;
  std::string name = executable.filename().string();
  // An executable replaced on disk while it runs (a rebuild) keeps its link with this mark.
  constexpr std::string_view kDeletedMark = " (deleted)";
  if (name.ends_with(kDeletedMark)) name.resize(name.size() - kDeletedMark.size());
  if (!name.empty()) info.bundleName = std::move(name);
  return info;
}

}  // namespace tarnwell
