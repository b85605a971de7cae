// Loopback HTTP servers for tests of the transport and what sits on it: a cpp-httplib server
// on an ephemeral 127.0.0.1 port, and a one-shot raw server that keeps the request head exactly
// as it came off the wire.
//
//   tarnwell::testing::LoopbackServer server;
//   server.routes().Post("/echo", [](const httplib::Request& q, httplib::Response& r) { ... });
//   ASSERT_TRUE(server.start());
//   transport.post({.url = server.url("/echo")}, ...);
#pragma once

#include <httplib.h>

#include <string>
#include <string_view>
#include <thread>

namespace tarnwell::testing {

// Binds `fd` to an ephemeral 127.0.0.1 port; returns the port, or 0 on failure.
int bindToLoopback(int fd);

// A loopback port that was just bound and released, so connecting to it is refused.
int closedLoopbackPort();

class LoopbackServer {
 public:
  // Up to 64 handlers may run (and block) at once.
  LoopbackServer();
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  // Add routes before start().
  httplib::Server& routes() { return server_; }
  // Binds, serves on a thread of its own and returns once it accepts; false if it cannot.
  bool start();
  // Waits for running handlers to return, so release blocked ones first.
  void stop();

  int port() const { return port_; }
  std::string url(std::string_view path) const;

 private:
  httplib::Server server_;
  std::thread thread_;
  int listeningFd_ = -1;
  int port_ = 0;
};

class RawHttpServer {
 public:
  // Listens at once; answers the first connection with "200 OK" and the body "ok".
  RawHttpServer();
  ~RawHttpServer();
  RawHttpServer(const RawHttpServer&) = delete;
  RawHttpServer& operator=(const RawHttpServer&) = delete;

  int port() const { return port_; }
  // The request head (request line and headers, up to the blank line) of the first
  // connection. Call once the client is done: it stops listening, so a client that never
  // connected gives an empty text.
  std::string head();

 private:
  void serveOne();

  int fd_;
  int port_;
  std::string head_;
  std::thread thread_;
};

}  // namespace tarnwell::testing
