// tarnwell: runs SDK commands from a script or standard input and prints one JSON result line
// per command (see host_setup.h for the command line).
#include <iostream>
#include <string_view>
#include <vector>

#include "tools/cli/host_process.h"

int main(int argc, char** argv) {
  const std::vector<std::string_view> arguments(argv + 1, argv + argc);
  return tarnwell::cli::runHostProcess(arguments, tarnwell::HostOptions{}, std::cin, std::cout, std::cerr);
}
