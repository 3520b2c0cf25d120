#include "sources/adverts/AdvertListener.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

#include "kiv/Exception.h"
#include "kiv/Trace.h"

namespace Sources {
namespace {

const Kiv::TraceHandle& trace() {
  static const Kiv::TraceHandle& handle = Kiv::traceHandle("Sources");
  return handle;
}

bool inSubnet(Lirex::IpAddr address, const Lirex::IpAddrWithMask& subnet) {
  const U32 mask = subnet.maskLen() ? ~U32{0} << (32 - subnet.maskLen()) : 0;
  return (address.value() & mask) == (subnet.addr().value() & mask);
}

// Big enough for the largest advertisement (255 addresses) after a full IPv4 header.
constexpr std::size_t kPacketSize = 60 + kVrrpFixedSize + 4 * 255 + kVrrpAuthDataSize;

}  // namespace

AdvertListener::AdvertListener(Loop::EventLoop& loop, std::function<void()> onChange)
    : loop_(loop), onChange_(std::move(onChange)), memberships_(kVrrpGroup) {}

AdvertListener::~AdvertListener() {
  if (tell_) loop_.timerDel(*tell_);
  if (expiry_) loop_.timerDel(*expiry_);
  if (fd_ < 0) return;
  loop_.readFdDel(fd_);
  ::close(fd_);
}

void AdvertListener::start() {
  int fd = ::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, kVrrpProtocol);
  if (fd < 0) throw Kiv::RangeException(Kiv::String8("raw socket: ") + std::strerror(errno));
  // The interface each packet arrived on. IP_MULTICAST_ALL stays on: the memberships are held
  // by other sockets.
  int on = 1;
  setsockopt(fd, IPPROTO_IP, IP_PKTINFO, &on, sizeof(on));
  fd_ = fd;
  loop_.readFdIs(fd_, "advertisement listener", [this] { read(); });
  joinParents();
}

void AdvertListener::joinParents() {
  std::set<U32> indexes;
  for (const auto& [index, subnet] : parents_) indexes.insert(index);
  memberships_.wantedAre(indexes);
}

void AdvertListener::interfacesAre(const Parents& parents) {
  if (parents == parents_) return;
  for (const auto& [index, subnet] : parents_) {
    auto now = parents.find(index);
    speakers_.forget(index, [&](Lirex::IpAddr source) {
      return now != parents.end() && inSubnet(source, now->second);
    });
  }
  parents_ = parents;
  if (fd_ >= 0) joinParents();
}

AdvertFault AdvertListener::received(U32 ifIndex, std::string_view packet) {
  auto parent = parents_.find(ifIndex);
  Advert advert;
  AdvertFault fault =
      parent == parents_.end() ? AdvertFault::otherInterface : readAdvert(packet, advert);
  // TTL 255 shows that no router forwarded it, not who sent it: a source outside the link's
  // subnet is no router of this link.
  if (fault == AdvertFault::none && !inSubnet(advert.source, parent->second)) {
    fault = AdvertFault::foreignSource;
  }
  if (fault != AdvertFault::none) {
    KIV_TRACE(trace(), 3, "dropped on ifIndex " << ifIndex << ": " << faultText(fault));
    return fault;
  }
  const double now = loop_.now();
  if (speakers_.heard({ifIndex, advert.vrid}, advert, now)) {
    KIV_TRACE(trace(), 2,
              "ifIndex " << ifIndex << " router " << advert.vrid << ": master "
                         << (advert.priority ? Lirex::valueToStrep(advert.source) : "none"));
    changed();
  }
  if (advert.priority) expireAt(now + Speakers::masterDownSeconds(advert));
  return AdvertFault::none;
}

void AdvertListener::read() {
  // A bounded batch: under a flood the loop gets back to SNMP requests between two.
  for (std::size_t i = 0; i < kReadsPerTurn; ++i) {
    char packet[kPacketSize];
    char control[CMSG_SPACE(sizeof(in_pktinfo))];
    iovec iov{packet, sizeof(packet)};
    msghdr message{};
    message.msg_iov = &iov;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    ssize_t n = recvmsg(fd_, &message, 0);
    if (n < 0) return;  // drained (EAGAIN), or nothing the next turn would not see again
    U32 ifIndex = 0;
    for (cmsghdr* c = CMSG_FIRSTHDR(&message); c; c = CMSG_NXTHDR(&message, c)) {
      if (c->cmsg_level == IPPROTO_IP && c->cmsg_type == IP_PKTINFO) {
        in_pktinfo info;
        std::memcpy(&info, CMSG_DATA(c), sizeof(info));
        ifIndex = static_cast<U32>(info.ipi_ifindex);
      }
    }
    // A datagram cut to the buffer fails the length rule.
    received(ifIndex, std::string_view(packet, static_cast<std::size_t>(n)));
  }
}

void AdvertListener::changed() {
  // The first change goes at once, later ones at most every kChangeGap: a flood of adverts
  // that move masters costs a few snapshots a second, not one per packet.
  if (tell_) return;
  const double now = loop_.now();
  if (!lastTold_ || now - *lastTold_ >= kChangeGap) {
    lastTold_ = now;
    return onChange_();
  }
  tell_ = loop_.timerIs(*lastTold_ + kChangeGap - now, false, "advert change", [this] {
    tell_.reset();
    lastTold_ = loop_.now();
    onChange_();
  });
}

void AdvertListener::expireAt(double due) {
  if (expiry_ && expiryDue_ <= due) return;
  if (expiry_) loop_.timerDel(*expiry_);
  expiryDue_ = due;
  expiry_ = loop_.timerIs(std::max(due - loop_.now(), 0.001), false, "advert expiry", [this] {
    expiry_.reset();
    if (speakers_.expire(loop_.now())) changed();
    if (auto next = speakers_.nextExpiry()) expireAt(*next);
  });
}

AdvertView AdvertListener::view() const {
  AdvertView view;
  view.listening = fd_ >= 0;
  for (const auto& [key, source] : speakers_.masters()) {
    view.masters[{key.first, key.second, Lirex::AddrFamily::ipv4}] =
        HeardMaster{source, speakers_.priority(key)};
  }
  return view;
}

}  // namespace Sources
