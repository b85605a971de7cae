// Compiles against the public header only and touches the library, so a broken package or
// a public header that leaks a third-party include fails here.
#include <tarnwell/tarnwell.h>

#include <cstdio>
#include <string>

int main() {
  std::string seen;
  tarnwell::setLogSink([&](tarnwell::LogLevel, std::string_view line) { seen = line; });
  tarnwell::logInfo("consumer");
  std::puts(seen.c_str());
  return seen == "[Tarnwell][INFO] consumer" ? 0 : 1;
}
