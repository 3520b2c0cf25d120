#include "sources/adverts/AdvertListener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "kiv/Exception.h"
#include "sources/adverts/Advert.h"

namespace Sources {
namespace {

constexpr int kProtocol = 112;
constexpr const char* kGroup = "224.0.0.18";

bool membership(int fd, int option, U32 ifIndex) {
  ip_mreqn request{};
  inet_pton(AF_INET, kGroup, &request.imr_multiaddr);
  request.imr_ifindex = static_cast<int>(ifIndex);
  return setsockopt(fd, IPPROTO_IP, option, &request, sizeof(request)) == 0 || errno == EADDRINUSE;
}

}  // namespace

AdvertListener::AdvertListener(Loop::EventLoop& loop, std::function<void()> onChange)
    : loop_(loop), onChange_(std::move(onChange)) {}

AdvertListener::~AdvertListener() {
  if (fd_ < 0) return;
  loop_.readFdDel(fd_);
  ::close(fd_);
}

void AdvertListener::start() {
  int fd = ::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, kProtocol);
  if (fd < 0) throw Kiv::RangeException(Kiv::String8("raw socket: ") + std::strerror(errno));
  int on = 1;
  setsockopt(fd, IPPROTO_IP, IP_PKTINFO, &on, sizeof(on));
  // Only the groups this socket joined, not every group some other socket on the host joined.
  int off = 0;
  setsockopt(fd, IPPROTO_IP, IP_MULTICAST_ALL, &off, sizeof(off));
  fd_ = fd;
  loop_.readFdIs(fd_, "advertisement listener", [this] { read(); });
}

void AdvertListener::interfacesAre(const std::set<U32>& ifIndexes) {
  if (fd_ < 0 || ifIndexes == joined_) return;
  bool forgot = false;
  for (U32 index : joined_) {
    if (ifIndexes.count(index)) continue;
    membership(fd_, IP_DROP_MEMBERSHIP, index);
    forgot |= std::erase_if(masters_, [&](const auto& m) { return m.first.first == index; }) > 0;
  }
  joined_.clear();
  for (U32 index : ifIndexes) {
    if (membership(fd_, IP_ADD_MEMBERSHIP, index)) joined_.insert(index);
  }
  if (forgot) onChange_();
}

void AdvertListener::read() {
  bool changed = false;
  for (;;) {
    char packet[2048];
    char control[CMSG_SPACE(sizeof(in_pktinfo))];
    iovec iov{packet, sizeof(packet)};
    msghdr message{};
    message.msg_iov = &iov;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    ssize_t n = recvmsg(fd_, &message, 0);
    if (n <= 0) break;
    U32 ifIndex = 0;
    for (cmsghdr* c = CMSG_FIRSTHDR(&message); c; c = CMSG_NXTHDR(&message, c)) {
      if (c->cmsg_level == IPPROTO_IP && c->cmsg_type == IP_PKTINFO) {
        in_pktinfo info;
        std::memcpy(&info, CMSG_DATA(c), sizeof(info));
        ifIndex = static_cast<U32>(info.ipi_ifindex);
      }
    }
    if (!joined_.count(ifIndex)) continue;
    auto advert = parseAdvert(std::string_view(packet, static_cast<std::size_t>(n)));
    if (!advert) continue;
    Key key{ifIndex, advert->vrid};
    if (advert->priority == 0) {
      // The master resigns: until the next one speaks, there is none.
      changed |= masters_.erase(key) > 0;
      continue;
    }
    auto [it, inserted] = masters_.try_emplace(key, advert->source);
    if (!inserted && it->second != advert->source) {
      it->second = advert->source;
      changed = true;
    }
    changed |= inserted;
  }
  if (changed) onChange_();
}

}  // namespace Sources
