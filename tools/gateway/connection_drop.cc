#include "tools/gateway/connection_drop.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <string>

namespace tarnwell::gateway {
namespace {

// Enough for any server this tool runs as, and a bound on the search if the limit is huge.
constexpr rlim_t kMaxDescriptors = 65536;

struct Endpoint {
  std::string address;
  int port = -1;
};

// The address and port of a TCP socket over IPv4 or IPv6; port -1 for anything else.
Endpoint endpointOf(const sockaddr_storage& storage) {
  char text[INET6_ADDRSTRLEN] = {};
  if (storage.ss_family == AF_INET) {
    const auto& address = reinterpret_cast<const sockaddr_in&>(storage);
    inet_ntop(AF_INET, &address.sin_addr, text, sizeof(text));
    return {text, ntohs(address.sin_port)};
  }
  if (storage.ss_family == AF_INET6) {
    const auto& address = reinterpret_cast<const sockaddr_in6&>(storage);
    inet_ntop(AF_INET6, &address.sin6_addr, text, sizeof(text));
    return {text, ntohs(address.sin6_port)};
  }
  return {};
}

bool isConnectionOf(int fd, const httplib::Request& request) {
  sockaddr_storage peer{}, local{};
  socklen_t peerLength = sizeof(peer), localLength = sizeof(local);
  if (::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &peerLength) != 0 ||
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&local), &localLength) != 0) {
    return false;
  }
  const Endpoint remote = endpointOf(peer), here = endpointOf(local);
  return remote.port == request.remote_port && here.port == request.local_port &&
         remote.address == request.remote_addr && here.address == request.local_addr;
}

int findConnection(const httplib::Request& request) {
  rlimit limit{};
  const rlim_t count =
      ::getrlimit(RLIMIT_NOFILE, &limit) == 0 ? std::min(limit.rlim_cur, kMaxDescriptors) : kMaxDescriptors;
  for (int fd = 0; static_cast<rlim_t>(fd) < count; ++fd) {
    if (isConnectionOf(fd, request)) return fd;
  }
  return -1;
}

}  // namespace

bool dropConnection(const httplib::Request& request) noexcept {
  const int fd = findConnection(request);
  if (fd < 0) return false;
  const int sink = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  if (sink < 0) return false;
  // dup2 closes the socket and puts the sink in its place in one step, so the descriptor
  // httplib holds stays valid and is never reused by another connection meanwhile.
  const bool replaced = ::dup2(sink, fd) == fd;
  ::close(sink);
  return replaced;
}

}  // namespace tarnwell::gateway
