// A fresh folder for one test's files, under $TARNWELL_TEST_TMPDIR when set (created if
// missing), else under the system's temporary folder. Removed with everything in it when the
// object goes away.
#pragma once

#include <string>
#include <string_view>

namespace tarnwell::testing {

class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  const std::string& path() const { return path_; }
  // path() + "/" + name; nothing is created.
  std::string file(std::string_view name) const;

 private:
  std::string path_;
};

}  // namespace tarnwell::testing
