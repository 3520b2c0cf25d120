#include "sources/frr/VtyClient.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "kiv/Clock.h"

namespace Sources {
namespace {

Kiv::String8 systemError(const Kiv::String8& what, int error) {
  return what + ": " + std::strerror(error);
}

}  // namespace

VtyClient::VtyClient(Kiv::String8 socketPath, double timeoutSeconds)
    : socketPath_(std::move(socketPath)), timeoutSeconds_(timeoutSeconds) {}

VtyClient::~VtyClient() {
  close();
}

void VtyClient::close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

void VtyClient::connect() {
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  if (socketPath_.size() >= sizeof(addr.sun_path)) {
    throw VtyError(socketPath_ + ": path too long for a socket");
  }
  std::memcpy(addr.sun_path, socketPath_.c_str(), socketPath_.size() + 1);
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) throw VtyError(systemError("socket", errno));
  // A local stream socket connects at once or fails at once (a full backlog is EAGAIN).
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof(addr)) != 0) {
    int error = errno;
    ::close(fd);
    throw VtyError(systemError(socketPath_, error));
  }
  fd_ = fd;
  // Operational data (the configuration as the daemon holds it) is an enable-mode command.
  exchange("enable");
}

Kiv::String8 VtyClient::query(std::string_view command) {
  timedOut_ = false;
  if (fd_ < 0) connect();
  return exchange(command);
}

Kiv::String8 VtyClient::exchange(std::string_view command) {
  Kiv::String8 request = vtyRequest(command);
  double deadline = Kiv::now() + timeoutSeconds_;
  auto fail = [this](const Kiv::String8& reason) {
    close();
    return VtyError(socketPath_ + ": " + reason);
  };
  auto wait = [&](short events) {
    double left = deadline - Kiv::now();
    pollfd p{fd_, events, 0};
    int n = left > 0 ? ::poll(&p, 1, static_cast<int>(left * 1000) + 1) : 0;
    if (n < 0 && errno != EINTR) throw fail(systemError("poll", errno));
    if (n == 0) {
      timedOut_ = true;
      throw fail("no answer to '" + Kiv::String8(command) + "' in time");
    }
  };
  std::size_t sent = 0;
  while (sent < request.size()) {
    ssize_t n = ::send(fd_, request.data() + sent, request.size() - sent, MSG_NOSIGNAL);
    if (n >= 0) {
      sent += static_cast<std::size_t>(n);
    } else if (errno == EAGAIN || errno == EINTR) {
      wait(POLLOUT);
    } else {
      throw fail(systemError("send", errno));
    }
  }
  VtyReply reply;
  char buffer[65536];
  while (!reply.complete()) {
    ssize_t n = ::recv(fd_, buffer, sizeof(buffer), 0);
    if (n > 0) {
      try {
        reply.feed(std::string_view(buffer, static_cast<std::size_t>(n)));
      } catch (const VtyError& e) {
        throw fail(e.message());
      }
    } else if (n == 0) {
      throw fail("connection closed");
    } else if (errno == EAGAIN || errno == EINTR) {
      wait(POLLIN);
    } else {
      throw fail(systemError("recv", errno));
    }
  }
  if (reply.status() != 0) {
    Kiv::String8 text(reply.text());
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    throw VtyError(socketPath_ + ": '" + Kiv::String8(command) + "' failed (status " +
                   std::to_string(reply.status()) + "): " + text);
  }
  return Kiv::String8(reply.text());
}

}  // namespace Sources
