// SPDX-License-Identifier: Apache-2.0
#include "sources/adverts/AdvertSocket.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace Sources {
namespace {

constexpr const char* kWhat = "advertisement listener";

// Where the IPv6 header written in front puts what the kernel said beside the payload.
constexpr std::size_t kIp6PayloadLength = 4;
constexpr std::size_t kIp6NextHeader = 6;
constexpr std::size_t kIp6HopLimit = 7;
constexpr std::size_t kIp6Source = 8;
constexpr std::size_t kIp6Destination = 24;

}  // namespace

AdvertSocket::AdvertSocket(Loop::EventLoop& loop, Lirex::AddrFamily family, OnPacket onPacket)
    : loop_(loop), family_(family), onPacket_(std::move(onPacket)) {}

AdvertSocket::~AdvertSocket() {
  close();
}

void AdvertSocket::close() {
  if (rest_) loop_.timerDel(*rest_);
  rest_.reset();
  if (fd_ < 0) return;
  loop_.readFdDel(fd_);
  ::close(fd_);
  fd_ = -1;
}

int AdvertSocket::open() {
  const bool v4 = family_ == Lirex::AddrFamily::ipv4;
  const int fd =
      ::socket(v4 ? AF_INET : AF_INET6, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, kVrrpProtocol);
  if (fd < 0) return errno;
  // The interface each packet arrived on; for IPv6 also its destination and hop limit, which the
  // payload lacks. A smaller buffer only risks losses under a flood: failures do not matter.
  int on = 1;
  if (v4) {
    setsockopt(fd, IPPROTO_IP, IP_PKTINFO, &on, sizeof(on));
  } else {
    setsockopt(fd, IPPROTO_IPV6, IPV6_RECVPKTINFO, &on, sizeof(on));
    setsockopt(fd, IPPROTO_IPV6, IPV6_RECVHOPLIMIT, &on, sizeof(on));
  }
  int bytes = kBufferBytes;
  setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof(bytes));
  fd_ = fd;
  watch();
  return 0;
}

void AdvertSocket::watch() {
  loop_.readFdIs(fd_, kWhat, [this] { batch(true); });
}

void AdvertSocket::batch(bool watched) {
  const std::size_t read = drain();
  // A full batch leaves more waiting, an empty one says that nothing comes: watch the socket.
  if (read == 0 || read == kBatch) {
    if (!watched) watch();
    return;
  }
  if (watched) loop_.readFdDel(fd_);
  rest_ = loop_.timerIs(kRestSeconds, false, kWhat, [this] {
    rest_.reset();
    batch(false);
  });
}

std::size_t AdvertSocket::drain() {
  std::size_t read = 0;
  while (read < kBatch && readOne()) ++read;
  return read;
}

bool AdvertSocket::readOne() {
  const bool v4 = family_ == Lirex::AddrFamily::ipv4;
  // IPv6: the payload lands after room for the header written back in front.
  const std::size_t at = v4 ? 0 : kIpv6HeaderSize;
  iovec iov{packet_.data() + at, packet_.size() - at};
  sockaddr_in6 from{};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(in6_pktinfo)) + CMSG_SPACE(sizeof(int))];
  msghdr message{};
  message.msg_name = &from;
  message.msg_namelen = sizeof(from);
  message.msg_iov = &iov;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof(control);
  // MSG_TRUNC: the datagram's whole length, so that one cut to the buffer fails the length rule.
  const ssize_t n = recvmsg(fd_, &message, MSG_TRUNC);
  if (n < 0) return false;  // drained (EAGAIN), or nothing the next batch would not see again
  const std::size_t length = static_cast<std::size_t>(n);
  U32 ifIndex = 0;
  int hops = 0;
  in6_pktinfo info6{};
  for (cmsghdr* c = CMSG_FIRSTHDR(&message); c; c = CMSG_NXTHDR(&message, c)) {
    if (c->cmsg_level == IPPROTO_IP && c->cmsg_type == IP_PKTINFO) {
      in_pktinfo info;
      std::memcpy(&info, CMSG_DATA(c), sizeof(info));
      ifIndex = static_cast<U32>(info.ipi_ifindex);
    } else if (c->cmsg_level == IPPROTO_IPV6 && c->cmsg_type == IPV6_PKTINFO) {
      std::memcpy(&info6, CMSG_DATA(c), sizeof(info6));
      ifIndex = info6.ipi6_ifindex;
    } else if (c->cmsg_level == IPPROTO_IPV6 && c->cmsg_type == IPV6_HOPLIMIT) {
      std::memcpy(&hops, CMSG_DATA(c), sizeof(hops));
    }
  }
  if (!v4) {
    // What the kernel did not say reads as zeros, which the receive rules refuse.
    char* header = packet_.data();
    std::memset(header, 0, kIpv6HeaderSize);
    header[0] = 0x60;
    const std::size_t payload = std::min<std::size_t>(length, 0xffff);
    header[kIp6PayloadLength] = static_cast<char>(payload >> 8);
    header[kIp6PayloadLength + 1] = static_cast<char>(payload);
    header[kIp6NextHeader] = static_cast<char>(kVrrpProtocol);
    header[kIp6HopLimit] = static_cast<char>(std::clamp(hops, 0, 255));
    std::memcpy(header + kIp6Source, &from.sin6_addr, 16);
    std::memcpy(header + kIp6Destination, &info6.ipi6_addr, 16);
  }
  onPacket_(ifIndex, std::string_view(packet_.data(), at + std::min(length, iov.iov_len)));
  return true;
}

}  // namespace Sources
