#include "tests/support/scratch_dir.h"

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace tarnwell::testing {
namespace {

std::string makeUniqueDir(const std::filesystem::path& base) {
  std::error_code error;
  std::filesystem::create_directories(base, error);
  std::string pattern = (base / "scratch-XXXXXX").string();
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  if (mkdtemp(buffer.data()) == nullptr) {
    return {};
  }
  return buffer.data();
}

}  // namespace

ScratchDir::ScratchDir() {
  if (const char* base = std::getenv("TARNWELL_TEST_TMPDIR"); base != nullptr && base[0] != '\0') {
    path_ = makeUniqueDir(base);
  }
  if (path_.empty()) {
    path_ = makeUniqueDir(std::filesystem::temp_directory_path() / "tarnwell-tests");
  }
  if (path_.empty()) {
    throw std::runtime_error("cannot create a scratch folder for the test");
  }
}

ScratchDir::~ScratchDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string ScratchDir::file(std::string_view name) const { return path_ + "/" + std::string(name); }

}  // namespace tarnwell::testing
