// SPDX-License-Identifier: Apache-2.0
#include "sources/kernel/Rtnetlink.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "kiv/Exception.h"

namespace Sources {
namespace {

// Room for the largest datagram the kernel sends: a dump fills up to 32 KiB at a time.
constexpr std::size_t kDatagramBytes = 32768;

Kiv::RangeException netlinkError(const char* what) {
  return Kiv::RangeException(Kiv::String8("rtnetlink: ") + what + ": " + std::strerror(errno));
}

mnl_socket* open(unsigned groups) {
  mnl_socket* s = mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC);
  if (!s) throw netlinkError("socket");
  if (mnl_socket_bind(s, groups, MNL_SOCKET_AUTOPID) < 0) {
    mnl_socket_close(s);
    throw netlinkError("bind");
  }
  return s;
}

int wantedBufferBytes(const Rtnetlink::Log& log) {
  const char* text = std::getenv("FHRP_NETLINK_RCVBUF");
  if (!text) return kReceiveBufferBytes;
  char* end = nullptr;
  errno = 0;
  long bytes = std::strtol(text, &end, 10);
  if (errno == 0 && end != text && *end == '\0' && bytes > 0 && bytes <= 1 << 30) {
    return static_cast<int>(bytes);
  }
  log(true, Kiv::String8("FHRP_NETLINK_RCVBUF: '") + text + "' is not a number of bytes; using " +
                std::to_string(kReceiveBufferBytes));
  return kReceiveBufferBytes;
}

class KernelRtnetlink : public Rtnetlink {
 public:
  explicit KernelRtnetlink(const Log& log) {
    // Subscribed before any dump, so that no change falls between the two.
    events_ = open(RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR);
    try {
      requests_ = open(0);
    } catch (...) {
      mnl_socket_close(events_);
      throw;
    }
    // A failover of hundreds of routers flips as many macvlans at once: room for their events.
    // Past net.core.rmem_max only CAP_NET_ADMIN gets it (SO_RCVBUFFORCE).
    int fd = eventFd();
    int wanted = wantedBufferBytes(log);
    if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &wanted, sizeof(wanted)) != 0) {
      setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &wanted, sizeof(wanted));
    }
    int got = 0;
    socklen_t length = sizeof(got);
    getsockopt(fd, SOL_SOCKET, SO_RCVBUF, &got, &length);
    if (got < wanted) {
      log(true, "rtnetlink: the kernel gave a receive buffer of " + std::to_string(got) +
                    " bytes, not " + std::to_string(wanted) +
                    ": a mass failover may overflow it and cost a full re-read of the "
                    "interfaces (CAP_NET_ADMIN or a larger net.core.rmem_max raises it)");
    }
  }
  ~KernelRtnetlink() override {
    mnl_socket_close(events_);
    mnl_socket_close(requests_);
  }

  int eventFd() const override { return mnl_socket_get_fd(events_); }

  ssize_t nextEvents(char* buffer, std::size_t size) override {
    ssize_t n = recv(eventFd(), buffer, size, MSG_DONTWAIT);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return 0;
    return n;
  }

  void dump(U16 type, const Each& each) override {
    alignas(nlmsghdr) char buffer[kDatagramBytes];
    // What an interrupted dump left unread would be taken for this one's answer.
    while (recv(mnl_socket_get_fd(requests_), buffer, sizeof(buffer), MSG_DONTWAIT) > 0) {
    }
    nlmsghdr* request = mnl_nlmsg_put_header(buffer);
    request->nlmsg_type = type;
    request->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request->nlmsg_seq = ++sequence_;
    auto* family = static_cast<rtgenmsg*>(mnl_nlmsg_put_extra_header(request, sizeof(rtgenmsg)));
    family->rtgen_family = AF_UNSPEC;
    if (mnl_socket_sendto(requests_, request, request->nlmsg_len) < 0) throw netlinkError("send");
    unsigned portid = mnl_socket_get_portid(requests_);
    auto callback = [](const nlmsghdr* message, void* data) {
      (*static_cast<const Each*>(data))(message);
      return MNL_CB_OK;
    };
    for (;;) {
      // The kernel answers a dump at once; waiting for it here keeps the dump in one piece.
      ssize_t n = recv(mnl_socket_get_fd(requests_), buffer, sizeof(buffer), 0);
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) throw netlinkError("dump");
      int r = mnl_cb_run(buffer, static_cast<size_t>(n), sequence_, portid, callback,
                         const_cast<Each*>(&each));
      if (r == MNL_CB_STOP) return;
      if (r < 0 && errno == EINTR) {
        throw Kiv::RangeException("rtnetlink: the dump was interrupted by a change");
      }
      if (r < 0) throw netlinkError("dump");
    }
  }

 private:
  mnl_socket* events_ = nullptr;
  mnl_socket* requests_ = nullptr;
  unsigned sequence_ = 0;
};

}  // namespace

std::unique_ptr<Rtnetlink> openRtnetlink(const Rtnetlink::Log& log) {
  return std::make_unique<KernelRtnetlink>(log);
}

}  // namespace Sources
