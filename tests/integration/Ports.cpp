#include "tests/integration/Ports.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <random>
#include <set>
#include <stdexcept>
#include <string>

namespace Harness {
namespace {

constexpr int kLowPort = 20000;
constexpr int kHighPort = 32767;

// Binds 127.0.0.1:port (0: any) and returns the bound port, or 0 when it is in use.
std::uint16_t tryBind(int type, std::uint16_t port) {
  int fd = ::socket(AF_INET, type | SOCK_CLOEXEC, 0);
  if (fd < 0) throw std::runtime_error(std::string("socket: ") + std::strerror(errno));
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(port);
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::uint16_t bound = 0;
  if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0) {
    socklen_t len = sizeof addr;
    if (::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) == 0) {
      bound = ntohs(addr.sin_port);
    }
  }
  ::close(fd);
  return bound;
}

std::uint16_t freePort(int type) {
  static std::mutex mutex;
  static std::set<std::uint16_t> handedOut;
  static std::mt19937 random{std::random_device{}() ^ static_cast<unsigned>(::getpid())};
  std::lock_guard lock(mutex);
  std::uniform_int_distribution<int> pick(kLowPort, kHighPort);
  for (int attempt = 0; attempt < 200; ++attempt) {
    auto candidate = static_cast<std::uint16_t>(pick(random));
    if (handedOut.count(candidate)) continue;
    if (tryBind(type, candidate) == candidate) {
      handedOut.insert(candidate);
      return candidate;
    }
  }
  for (int attempt = 0; attempt < 50; ++attempt) {
    std::uint16_t port = tryBind(type, 0);
    if (port != 0 && handedOut.insert(port).second) return port;
  }
  throw std::runtime_error("no free loopback port");
}

}  // namespace

std::uint16_t freeUdpPort() {
  return freePort(SOCK_DGRAM);
}
std::uint16_t freeTcpPort() {
  return freePort(SOCK_STREAM);
}

}  // namespace Harness
