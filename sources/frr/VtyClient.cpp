// SPDX-License-Identifier: Apache-2.0
#include "sources/frr/VtyClient.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace Sources {
namespace {

Kiv::String8 systemError(const Kiv::String8& what, int error) {
  return what + ": " + std::strerror(error);
}

}  // namespace

VtyClient::VtyClient(Loop::EventLoop& loop, Kiv::String8 socketPath, Watch watch,
                     double slowSeconds, double timeoutSeconds)
    : loop_(loop),
      socketPath_(std::move(socketPath)),
      watch_(std::move(watch)),
      slowSeconds_(slowSeconds),
      timeoutSeconds_(timeoutSeconds) {}

VtyClient::~VtyClient() {
  close();
}

void VtyClient::close() {
  if (timer_) loop_.timerDel(*timer_);
  timer_.reset();
  if (fd_ >= 0) {
    loop_.readFdDel(fd_);
    ::close(fd_);
  }
  fd_ = -1;
  queue_.clear();
  reply_.clear();
}

void VtyClient::connect() {
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  if (socketPath_.size() >= sizeof(addr.sun_path)) {
    throw VtyError(socketPath_ + ": path too long for a socket", VtyError::Cause::gone);
  }
  std::memcpy(addr.sun_path, socketPath_.c_str(), socketPath_.size() + 1);
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) throw VtyError(systemError("socket", errno), VtyError::Cause::gone);
  // A local stream socket connects at once or fails at once (a full backlog is EAGAIN).
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof(addr)) != 0) {
    int error = errno;
    ::close(fd);
    throw VtyError(systemError(socketPath_, error), VtyError::Cause::gone);
  }
  fd_ = fd;
  loop_.readFdIs(fd_, "vrrpd's vty reader", [this] { readable(); });
  // Operational data (the configuration as the daemon holds it) is an enable-mode command.
  queue_.push_back({"enable", [](std::string_view) {}, [](const VtyError&) {}});
}

void VtyClient::query(std::string_view command, OnAnswer onAnswer, OnFailure onFailure) {
  vtyRequest(command);  // refuses what cannot be sent before anything is queued
  if (fd_ < 0) {
    try {
      connect();
    } catch (const VtyError& e) {
      onFailure(e);
      return;
    }
  }
  queue_.push_back({Kiv::String8(command), std::move(onAnswer), std::move(onFailure)});
  if (!timer_) send();  // nothing on the wire: the front one goes (enable, after a connect)
}

void VtyClient::send() {
  Kiv::String8 request = vtyRequest(queue_.front().command);
  // A command is a few dozen bytes: an empty socket buffer always takes it whole.
  ssize_t n = ::send(fd_, request.data(), request.size(), MSG_NOSIGNAL);
  if (n != static_cast<ssize_t>(request.size())) {
    fail(n < 0 ? systemError("send", errno) : Kiv::String8("send: short write"),
         VtyError::Cause::gone);
    return;
  }
  timer_ = loop_.timerIs(slowSeconds_, false, "vrrpd's slow answer", [this] {
    timer_ = loop_.timerIs(timeoutSeconds_ - slowSeconds_, false, "vrrpd's answer timeout", [this] {
      timer_.reset();
      fail("no answer to '" + queue_.front().command + "' in time", VtyError::Cause::late);
    });
    if (watch_.onSlow) watch_.onSlow();
  });
}

void VtyClient::readable() {
  char buffer[65536];
  for (;;) {
    ssize_t n = ::recv(fd_, buffer, sizeof(buffer), 0);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (n <= 0) {
      Kiv::String8 reason = n == 0 ? Kiv::String8("connection closed") : systemError("recv", errno);
      if (!queue_.empty()) return fail(reason, VtyError::Cause::gone);
      close();
      if (watch_.onHangUp) watch_.onHangUp();
      return;
    }
    if (queue_.empty()) return fail("bytes that answer no command", VtyError::Cause::answer);
    try {
      if (!reply_.feed(std::string_view(buffer, static_cast<std::size_t>(n)))) continue;
    } catch (const VtyError& e) {
      return fail(e.message(), VtyError::Cause::answer);
    }
    if (timer_) loop_.timerDel(*timer_);
    timer_.reset();
    Pending done = std::move(queue_.front());
    queue_.pop_front();
    std::swap(reply_, answered_);
    reply_.clear();
    if (!queue_.empty()) send();
    if (answered_.status() == 0) {
      done.onAnswer(answered_.text());
    } else {
      Kiv::String8 text(answered_.text());
      while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
      done.onFailure(VtyError(socketPath_ + ": '" + done.command + "' failed (status " +
                              std::to_string(answered_.status()) + "): " + text));
    }
    // The callbacks may have closed this connection or queued more: read on only if open.
    if (fd_ < 0) return;
  }
}

void VtyClient::fail(const Kiv::String8& reason, VtyError::Cause cause) {
  std::deque<Pending> failed = std::move(queue_);
  close();
  VtyError error(socketPath_ + ": " + reason, cause);
  for (Pending& p : failed) p.onFailure(error);
}

}  // namespace Sources
