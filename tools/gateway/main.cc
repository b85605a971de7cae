// tarnwell-gateway: serves the gateway protocol on loopback from a content file, so a host
// application can be developed offline and tests have a backend to talk to.
//
//   tarnwell-gateway --content FILE [--host 127.0.0.1] [--port 0] [--db PATH]
//
// The first line on standard output is the endpoint to configure the SDK with, e.g.
// "http://127.0.0.1:40123/v1". SIGINT or SIGTERM stop it with exit status 0. A content file
// that cannot be used, or a bad command line, ends it with status 2; a server that cannot start
// (database, port) with status 1.
#include <signal.h>

#include <charconv>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

#include "tools/gateway/content.h"
#include "tools/gateway/gateway_server.h"

namespace {

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

constexpr std::string_view kUsage =
    "usage: tarnwell-gateway --content FILE [--host 127.0.0.1] [--port 0] [--db PATH]\n"
    "  --content FILE  the content file to serve (see tools/gateway/README.md)\n"
    "  --host HOST     the address to listen on (default 127.0.0.1)\n"
    "  --port PORT     the port to listen on; 0 picks a free one (default 0)\n"
    "  --db PATH       the SQLite database for sessions and received calls (default :memory:)\n";

struct Arguments {
  std::string content;
  std::string host = "127.0.0.1";
  int port = 0;
  std::string database = ":memory:";
};

std::optional<int> parsePort(std::string_view text) {
  int port = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error != std::errc() || end != text.data() + text.size() || port < 0 || port > 65535) return std::nullopt;
  return port;
}

// Absent, after telling why on standard error, when the command line does not fit.
std::optional<Arguments> parseArguments(int argc, char** argv) {
  Arguments arguments;
  for (int i = 1; i < argc; ++i) {
    const std::string_view option = argv[i];
    if (i + 1 >= argc) {
      std::cerr << "tarnwell-gateway: missing value for " << option << "\n" << kUsage;
      return std::nullopt;
    }
    const std::string value = argv[++i];
    if (option == "--content") {
      arguments.content = value;
    } else if (option == "--host") {
      arguments.host = value;
    } else if (option == "--db") {
      arguments.database = value;
    } else if (option == "--port") {
      const auto port = parsePort(value);
      if (!port) {
        std::cerr << "tarnwell-gateway: --port takes a number from 0 to 65535, not \"" << value << "\"\n";
        return std::nullopt;
      }
      arguments.port = *port;
    } else {
      std::cerr << "tarnwell-gateway: unknown option " << option << "\n" << kUsage;
      return std::nullopt;
    }
  }
  if (arguments.content.empty()) {
    std::cerr << "tarnwell-gateway: --content FILE is required\n" << kUsage;
    return std::nullopt;
  }
  return arguments;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && (std::string_view(argv[1]) == "--help" || std::string_view(argv[1]) == "-h")) {
    std::cout << kUsage;
    return 0;
  }
  const std::optional<Arguments> arguments = parseArguments(argc, argv);
  if (!arguments) return kExitUsage;

  // Taken by sigwait below rather than by a handler; blocked before any thread starts, so every
  // thread inherits the mask. (httplib's server already ignores SIGPIPE.)
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  std::optional<tarnwell::gateway::GatewayContent> content;
  try {
    content = tarnwell::gateway::GatewayContent::load(arguments->content);
  } catch (const tarnwell::gateway::ContentError& error) {
    std::cerr << "tarnwell-gateway: " << error.what() << "\n";
    return kExitUsage;
  }

  try {
    tarnwell::gateway::GatewayServer server(std::move(*content), arguments->database);
    server.start(arguments->host, arguments->port);
    std::cout << server.url() << std::endl;

    int received = 0;
    sigwait(&stopSignals, &received);
    server.stop();
  } catch (const std::exception& error) {
    std::cerr << "tarnwell-gateway: " << error.what() << "\n";
    return kExitFailure;
  }
  return 0;
}
