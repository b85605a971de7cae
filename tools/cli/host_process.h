// File: tools/cli/host_process.h
//
// The `tarnwell` executable's whole run, apart from the process itself: read the command line,
// load the configuration, build the SDK over the store it names and run the commands of the
// script file or of `input`. Result lines go to `out`, problems that stop the host to `err`.
//
//   int status = runHostProcess(arguments, tarnwell::HostOptions{}, std::cin, std::cout, std::cerr);
#pragma once

#include <iosfwd>
#include <span>
#include <string_view>

#include <tarnwell/sdk/facade.h>

namespace tarnwell::cli {

// The exit status: 0 after the commands ran, 2 when the command line, the configuration or
// the script file is unusable. --store takes effect only when `options` brings no store;
// --clock virtual replaces the options' clock.
int runHostProcess(std::span<const std::string_view> arguments, HostOptions options, std::istream& input,
                   std::ostream& out, std::ostream& err);

}  // namespace tarnwell::cli
