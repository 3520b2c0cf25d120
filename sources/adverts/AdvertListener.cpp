// SPDX-License-Identifier: Apache-2.0
#include "sources/adverts/AdvertListener.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

#include "kiv/Exception.h"
#include "kiv/Trace.h"

namespace Sources {
namespace {

using Lirex::AddrFamily;
using Lirex::InetAddr;

const Kiv::TraceHandle& trace() {
  static const Kiv::TraceHandle& handle = Kiv::traceHandle("Sources");
  return handle;
}

bool inSubnet(Lirex::IpAddr address, const Lirex::IpAddrWithMask& subnet) {
  const U32 mask = subnet.maskLen() ? ~U32{0} << (32 - subnet.maskLen()) : 0;
  return (address.value() & mask) == (subnet.addr().value() & mask);
}

// A router's addresses as its advertisements are compared by: each once, in order, link-local
// ones left out (RFC 5798 lists the router's link-local first; vrrpd lists none).
void comparable(std::vector<InetAddr>& addresses) {
  std::erase_if(addresses, [](const InetAddr& a) { return a.isLinkLocal(); });
  std::sort(addresses.begin(), addresses.end());
  addresses.erase(std::unique(addresses.begin(), addresses.end()), addresses.end());
}

// Version 2 advertises whole seconds, at least one, as vrrpd rounds its interval down to them.
bool sameInterval(const AdvertListener::Router& router, const Advert& advert) {
  if (advert.version == kVrrpVersion2) {
    return advert.intervalCentiseconds == 100 * std::max<U32>(router.intervalCentiseconds / 100, 1);
  }
  return advert.intervalCentiseconds == router.intervalCentiseconds;
}

}  // namespace

AdvertListener::AdvertListener(Loop::EventLoop& loop, std::function<void()> onChange)
    : loop_(loop),
      onChange_(std::move(onChange)),
      socket_(loop, AddrFamily::ipv4, [this](U32 i, std::string_view p) { received(i, p); }),
      socket6_(loop, AddrFamily::ipv6, [this](U32 i, std::string_view p) { received(i, p); }),
      memberships_(kVrrpGroup),
      memberships6_(kVrrpGroupV6) {}

AdvertListener::~AdvertListener() {
  if (tell_) loop_.timerDel(*tell_);
  if (expiry_) loop_.timerDel(*expiry_);
}

void AdvertListener::start() {
  if (const int error = socket_.open()) {
    throw Kiv::RangeException(Kiv::String8("raw socket: ") + std::strerror(error));
  }
  // A kernel without IPv6 has no IPv6 routers to hear.
  if (const int error = socket6_.open(); error && error != EAFNOSUPPORT) {
    socket_.close();
    throw Kiv::RangeException(Kiv::String8("IPv6 raw socket: ") + std::strerror(error));
  }
  joinParents();
}

void AdvertListener::joinParents() {
  std::set<U32> v4, v6;
  for (const auto& [index, family] : listened_)
    (family == AddrFamily::ipv4 ? v4 : v6).insert(index);
  memberships_.wantedAre(v4);
  if (socket6_.isOpen()) memberships6_.wantedAre(v6);
}

void AdvertListener::interfacesAre(const Parents& parents) {
  Parents given = parents;
  for (auto& [index, parent] : given) {
    for (auto& [key, router] : parent.routers) comparable(router.addresses);
  }
  if (given == parents_) return;
  parents_ = std::move(given);
  listened_.clear();
  for (const auto& [index, parent] : parents_) {
    for (const auto& [key, router] : parent.routers) listened_.insert({index, key.second});
  }
  speakers_.forget([this](const AdvertKey& key, const HeardMaster& master) {
    auto parent = parents_.find(key.ifIndex);
    return parent != parents_.end() && parent->second.routers.count({key.vrid, key.family}) &&
           acceptsSource(parent->second, master.address);
  });
  if (socket_.isOpen()) joinParents();
}

bool AdvertListener::acceptsSource(const Parent& parent, const InetAddr& source) const {
  // TTL 255 shows that no router forwarded it, not who sent it: a source outside the link's
  // subnet is no router of this link; an IPv6 router sends from its link-local address.
  if (source.isV6()) return source.isLinkLocal();
  return parent.subnet && inSubnet(source.v4(), *parent.subnet);
}

AdvertFault AdvertListener::received(U32 ifIndex, std::string_view packet) {
  // A family is heard on a parent where a router of it runs, as it is joined there: what others'
  // joins let in besides is not counted against routers the listener was not told of.
  const bool v6 = !packet.empty() && static_cast<U8>(packet[0]) >> 4 == 6;
  auto parent = parents_.find(ifIndex);
  AdvertFault fault = listened_.count({ifIndex, v6 ? AddrFamily::ipv6 : AddrFamily::ipv4})
                          ? readAdvert(packet, advert_)
                          : AdvertFault::otherInterface;
  // Only from the TTL rule on does the packet name a router; what breaks an earlier rule is no
  // advertisement to this link's group and counts nowhere.
  if (fault != AdvertFault::otherInterface &&
      (fault == AdvertFault::none || fault >= AdvertFault::ttl)) {
    const Advert& a = advert_;
    const AdvertKey key{ifIndex, a.vrid, a.source.family()};
    auto found = parent->second.routers.find({a.vrid, a.source.family()});
    const Router* router = found == parent->second.routers.end() ? nullptr : &found->second;
    fault = judged(parent->second, router, fault);
    if (counted(key, router, fault)) changed();
    if (fault == AdvertFault::none) {
      heard(key);
      return fault;
    }
  }
  KIV_TRACE(trace(), 3, "dropped on ifIndex " << ifIndex << ": " << faultText(fault));
  return fault;
}

void AdvertListener::heard(const AdvertKey& key) {
  const Advert& a = advert_;
  const double now = loop_.now();
  if (speakers_.heard(key, a, now)) {
    KIV_TRACE(trace(), 2,
              "ifIndex " << key.ifIndex << " router " << a.vrid << " " << key.family << ": master "
                         << (a.priority ? Lirex::valueToStrep(a.source) : "none"));
    changed();
  }
  if (a.priority) expireAt(now + Speakers::masterDownSeconds(a));
}

AdvertFault AdvertListener::judged(const Parent& parent, const Router* router,
                                   AdvertFault fault) const {
  if (fault != AdvertFault::none) return fault;
  const Advert& a = advert_;
  if (!acceptsSource(parent, a.source)) {
    return a.source.isV4() ? AdvertFault::foreignSource : AdvertFault::notLinkLocal;
  }
  if (!router) return AdvertFault::unknownRouter;
  if (router->version != a.version) return AdvertFault::otherVersion;
  return AdvertFault::none;
}

bool AdvertListener::counted(const AdvertKey& key, const Router* router, AdvertFault fault) {
  // A router's error; for a vrid no router has, a VRID error. An entry only once something
  // counts in it: a router with none reads 0 all the same.
  auto count = [&](U64 RouterErrors::*counter) {
    if (router) {
      ++(errors_[key].*counter);
    } else {
      ++global_.vrIdErrors;
    }
    return true;
  };
  switch (fault) {
    case AdvertFault::none: {
      // Neither rule drops the advertisement: a version 3 backup takes the master's interval,
      // and RFC 5798 only asks that wrong addresses be told.
      bool any = false;
      if (!sameInterval(*router, advert_)) {
        any = count(&RouterErrors::advIntervalErrors);
      } else {
        heardAddresses_ = advert_.addresses;
        comparable(heardAddresses_);
        if (heardAddresses_ != router->addresses) any = count(&RouterErrors::addressListErrors);
      }
      if (advert_.priority == 0) any = count(&RouterErrors::priZeroPktsRcvd);
      return any;
    }
    case AdvertFault::version:
    case AdvertFault::otherVersion:
      ++global_.versionErrors;
      if (router) ++errors_[key].versionErrors;
      return true;
    case AdvertFault::checksum:
      ++global_.checksumErrors;
      if (router) ++errors_[key].checksumErrors;
      return true;
    case AdvertFault::ttl:
      return count(&RouterErrors::ipTtlErrors);
    case AdvertFault::shortMessage:
    case AdvertFault::addressCount:
      return count(&RouterErrors::packetLengthErrors);
    case AdvertFault::type:
      return count(&RouterErrors::invalidTypePktsRcvd);
    case AdvertFault::interval:
      return count(&RouterErrors::advIntervalErrors);
    case AdvertFault::vrid:
    case AdvertFault::unknownRouter:
      ++global_.vrIdErrors;
      return true;
    case AdvertFault::authType:
      // The VRRPv3-MIB has no authentication counter: only an unknown vrid is told.
      if (router) return false;
      ++global_.vrIdErrors;
      return true;
    default:
      return false;  // no router of this link, or nothing that names one
  }
}

void AdvertListener::changed() {
  // The first change goes at once, later ones at most every kChangeGap: a flood of adverts
  // that move masters or counters costs a few snapshots a second, not one per packet.
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
  view.listening = socket_.isOpen();
  view.masters = speakers_.masters();
  view.errors = errors_;
  view.global = global_;
  return view;
}

}  // namespace Sources
