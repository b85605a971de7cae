// Runs a fuzz target without libFuzzer: every file named on the command line, and every file
// under every folder named there, goes through LLVMFuzzerTestOneInput once, in name order.
// The test suite replays the seed corpora this way; a finding replays the same way:
//   build/debug/fuzz/json_fuzzer build/fuzz/artifacts/json/crash-...
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  std::vector<fs::path> inputs;
  for (int i = 1; i < argc; ++i) {
    const fs::path named(argv[i]);
    if (fs::is_directory(named)) {
      for (const fs::directory_entry& entry : fs::recursive_directory_iterator(named)) {
        if (entry.is_regular_file()) inputs.push_back(entry.path());
      }
    } else if (fs::is_regular_file(named)) {
      inputs.push_back(named);
    } else {
      std::fprintf(stderr, "No such input: %s\n", argv[i]);
      return 2;
    }
  }
  if (inputs.empty()) {
    std::fprintf(stderr, "No inputs to replay\n");
    return 1;
  }
  std::sort(inputs.begin(), inputs.end());
  for (const fs::path& input : inputs) {
    std::ifstream file(input, std::ios::binary);
    // An exact-size copy, so a sanitizer build catches any read past the input's end.
    const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!file.good() && !file.eof()) {
      std::fprintf(stderr, "Cannot read %s\n", input.c_str());
      return 2;
    }
    std::printf("Replaying %s\n", input.c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
  std::printf("Replayed %zu inputs\n", inputs.size());
  return 0;
}
