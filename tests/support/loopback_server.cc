#include "tests/support/loopback_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>

namespace tarnwell::testing {

int bindToLoopback(int fd) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof(address);
  if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    return 0;
  }
  return ntohs(address.sin_port);
}

int closedLoopbackPort() {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  const int port = bindToLoopback(fd);
  if (fd >= 0) ::close(fd);
  return port;
}

LoopbackServer::LoopbackServer() {
  server_.new_task_queue = [] { return new httplib::ThreadPool(64); };
  // Idle kept-alive connections hold a handler thread; let them go soon.
  server_.set_keep_alive_timeout(1);
  // Without it a response written in two pieces waits out the client's delayed acknowledgement.
  server_.set_tcp_nodelay(true);
  // The hook sees the listening socket before it is bound; start() needs it to widen the backlog.
  server_.set_socket_options([this](int fd) {
    httplib::default_socket_options(fd);
    listeningFd_ = fd;
  });
}

LoopbackServer::~LoopbackServer() { stop(); }

bool LoopbackServer::start() {
  port_ = server_.bind_to_any_port("127.0.0.1");
  if (port_ <= 0) return false;
  // cpp-httplib listens with a backlog of 5: many clients connecting at once would lose their
  // SYNs and wait out the kernel's retransmission, seconds each. Listening again widens it.
  ::listen(listeningFd_, SOMAXCONN);
  thread_ = std::thread([this] { server_.listen_after_bind(); });
  // httplib offers no readiness signal; the cap keeps a broken start from hanging the test.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!server_.is_running() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::yield();
  }
  return server_.is_running();
}

void LoopbackServer::stop() {
  server_.stop();
  if (thread_.joinable()) thread_.join();
}

std::string LoopbackServer::url(std::string_view path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + std::string(path);
}

RawHttpServer::RawHttpServer() : fd_(::socket(AF_INET, SOCK_STREAM, 0)), port_(bindToLoopback(fd_)) {
  if (port_ != 0 && ::listen(fd_, 1) == 0) thread_ = std::thread([this] { serveOne(); });
}

RawHttpServer::~RawHttpServer() {
  ::shutdown(fd_, SHUT_RDWR);  // ends an accept still waiting
  if (thread_.joinable()) thread_.join();
  if (fd_ >= 0) ::close(fd_);
}

std::string RawHttpServer::head() {
  ::shutdown(fd_, SHUT_RDWR);
  if (thread_.joinable()) thread_.join();
  return head_;
}

void RawHttpServer::serveOne() {
  const int client = ::accept(fd_, nullptr, nullptr);
  if (client < 0) return;
  char buffer[4096];
  while (head_.find("\r\n\r\n") == std::string::npos) {
    const auto received = ::recv(client, buffer, sizeof(buffer), 0);
    if (received <= 0) break;
    head_.append(buffer, static_cast<std::size_t>(received));
  }
  const std::string_view reply = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nConnection: close\r\n\r\nok";
  ::send(client, reply.data(), reply.size(), MSG_NOSIGNAL);
  ::close(client);
}

}  // namespace tarnwell::testing
