#include "sources/kernel/KernelLinks.h"

#include <arpa/inet.h>
#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "kiv/Exception.h"

namespace Sources {
namespace {

// Room for the largest message the kernel sends in one datagram.
constexpr std::size_t kBufferBytes = 32768;

// libmnl's mnl_attr_for_each, without its C-only void* conversion.
template <typename Each>
void eachAttribute(const nlmsghdr* message, std::size_t offset, Each each) {
  auto* attr = static_cast<const nlattr*>(mnl_nlmsg_get_payload_offset(message, offset));
  const char* tail = static_cast<const char*>(mnl_nlmsg_get_payload_tail(message));
  while (mnl_attr_ok(attr, static_cast<int>(tail - reinterpret_cast<const char*>(attr)))) {
    each(attr);
    attr = mnl_attr_next(attr);
  }
}

Kiv::RangeException netlinkError(const char* what) {
  return Kiv::RangeException(Kiv::String8("rtnetlink: ") + what + ": " + std::strerror(errno));
}

bool isVrrpMac(const Lirex::EthAddr& mac) {
  const auto& b = mac.bytes();
  return b[0] == 0x00 && b[1] == 0x00 && b[2] == 0x5e && b[3] == 0x00 && b[4] == 0x01;
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

}  // namespace

KernelLinks::KernelLinks(Loop::EventLoop& loop, OnChange onChange)
    : loop_(loop), onChange_(std::move(onChange)) {}

KernelLinks::~KernelLinks() {
  if (events_) {
    loop_.readFdDel(mnl_socket_get_fd(events_));
    mnl_socket_close(events_);
  }
  if (requests_) mnl_socket_close(requests_);
}

void KernelLinks::start() {
  // Subscribed before the dump, so that no change falls between the two.
  events_ = open(RTMGRP_LINK | RTMGRP_IPV4_IFADDR);
  requests_ = open(0);
  int fd = mnl_socket_get_fd(events_);
  // A failover of hundreds of routers flips as many macvlans at once: room for their events.
  int bytes = 4 * 1024 * 1024;
  if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof(bytes)) != 0) {
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof(bytes));
  }
  resync();
  loop_.readFdIs(fd, "rtnetlink reader", [this] { readEvents(); });
}

void KernelLinks::resync() {
  links_.clear();
  addresses_.clear();
  dump(RTM_GETLINK);
  dump(RTM_GETADDR);
}

void KernelLinks::dump(int type) {
  char buffer[kBufferBytes];
  nlmsghdr* request = mnl_nlmsg_put_header(buffer);
  request->nlmsg_type = static_cast<U16>(type);
  request->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  request->nlmsg_seq = ++sequence_;
  auto* family = static_cast<rtgenmsg*>(mnl_nlmsg_put_extra_header(request, sizeof(rtgenmsg)));
  family->rtgen_family = type == RTM_GETADDR ? AF_INET : AF_UNSPEC;
  if (mnl_socket_sendto(requests_, request, request->nlmsg_len) < 0) throw netlinkError("send");
  unsigned portid = mnl_socket_get_portid(requests_);
  for (;;) {
    ssize_t n = mnl_socket_recvfrom(requests_, buffer, sizeof(buffer));
    if (n < 0) throw netlinkError("dump");
    int r = mnl_cb_run(buffer, static_cast<size_t>(n), sequence_, portid, callback, this);
    if (r == MNL_CB_STOP) return;
    if (r < 0) throw netlinkError("dump");
  }
}

void KernelLinks::readEvents() {
  char buffer[kBufferBytes];
  vrrpLinks_.clear();
  bool changed = false;
  bool lost = false;
  int fd = mnl_socket_get_fd(events_);
  for (;;) {
    ssize_t n = recv(fd, buffer, sizeof(buffer), MSG_DONTWAIT);
    if (n < 0 && errno == ENOBUFS) {
      // Events were lost: only a full dump tells what the kernel holds now.
      try {
        resync();
      } catch (const Kiv::RangeException&) {
        // The last view stays; the next event or ENOBUFS tries again.
      }
      lost = true;
      changed = true;
      continue;
    }
    if (n <= 0) break;
    mnl_cb_run(buffer, static_cast<size_t>(n), 0, 0, callback, this);
    changed = true;
  }
  if (changed) onChange_(vrrpLinks_, lost);
}

int KernelLinks::callback(const nlmsghdr* message, void* data) {
  static_cast<KernelLinks*>(data)->handle(message);
  return MNL_CB_OK;
}

void KernelLinks::noteVrrpLink(const Link& link) {
  if (!isVrrpMac(link.mac)) return;
  auto parent = links_.find(link.parent);
  if (parent == links_.end()) return;
  vrrpLinks_.insert({Lirex::IntfId(parent->second.name), link.mac.bytes()[5]});
}

void KernelLinks::handle(const nlmsghdr* message) {
  U16 type = message->nlmsg_type;
  if (type == RTM_NEWLINK || type == RTM_DELLINK) {
    if (message->nlmsg_len < mnl_nlmsg_size(sizeof(ifinfomsg))) return;
    const auto* info = static_cast<const ifinfomsg*>(mnl_nlmsg_get_payload(message));
    U32 index = static_cast<U32>(info->ifi_index);
    Link link;
    eachAttribute(message, sizeof(ifinfomsg), [&](const nlattr* attr) {
      if (mnl_attr_get_type(attr) == IFLA_IFNAME && mnl_attr_validate(attr, MNL_TYPE_STRING) >= 0) {
        link.name = mnl_attr_get_str(attr);
      } else if (mnl_attr_get_type(attr) == IFLA_ADDRESS && mnl_attr_get_payload_len(attr) == 6) {
        Lirex::EthAddr::Bytes bytes;
        std::memcpy(bytes.data(), mnl_attr_get_payload(attr), 6);
        link.mac = Lirex::EthAddr(bytes);
      } else if (mnl_attr_get_type(attr) == IFLA_LINK && mnl_attr_get_payload_len(attr) == 4) {
        link.parent = mnl_attr_get_u32(attr);
      }
    });
    if (type == RTM_DELLINK) {
      if (auto it = links_.find(index); it != links_.end()) noteVrrpLink(it->second);
      links_.erase(index);
      addresses_.erase(index);
      return;
    }
    if (link.name.empty()) return;
    noteVrrpLink(link);
    links_[index] = std::move(link);
    return;
  }
  if (type == RTM_NEWADDR || type == RTM_DELADDR) {
    if (message->nlmsg_len < mnl_nlmsg_size(sizeof(ifaddrmsg))) return;
    const auto* info = static_cast<const ifaddrmsg*>(mnl_nlmsg_get_payload(message));
    if (info->ifa_family != AF_INET || info->ifa_prefixlen > 32) return;
    U32 local = 0;
    bool found = false;
    eachAttribute(message, sizeof(ifaddrmsg), [&](const nlattr* attr) {
      U16 t = mnl_attr_get_type(attr);
      // IFA_LOCAL is the interface's own address; IFA_ADDRESS differs from it on a
      // point-to-point link only, where it is the peer's.
      if ((t == IFA_LOCAL || (t == IFA_ADDRESS && !found)) && mnl_attr_get_payload_len(attr) == 4) {
        std::memcpy(&local, mnl_attr_get_payload(attr), 4);
        found = true;
      }
    });
    if (!found) return;
    Address a{Lirex::IpAddrWithMask(Lirex::IpAddr(ntohl(local)), info->ifa_prefixlen),
              (info->ifa_flags & IFA_F_SECONDARY) != 0};
    auto& list = addresses_[static_cast<U32>(info->ifa_index)];
    auto it =
        std::find_if(list.begin(), list.end(), [&](const Address& b) { return b.addr == a.addr; });
    if (type == RTM_DELADDR) {
      if (it != list.end()) list.erase(it);
    } else if (it != list.end()) {
      *it = a;
    } else {
      list.push_back(a);
    }
  }
}

KernelView KernelLinks::view() const {
  KernelView v;
  for (const auto& [index, link] : links_) {
    Lirex::IntfId name(link.name);
    v.ifIndex[name] = index;
    auto it = addresses_.find(index);
    if (it == addresses_.end()) continue;
    for (const Address& a : it->second) {
      if (a.secondary) continue;
      v.primary[name] = a.addr;
      break;
    }
  }
  return v;
}

}  // namespace Sources
