// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "fuzz/Inputs.h"
#include "kiv/Assert.h"
#include "platform/Loop/FakeEventLoop.h"
#include "sources/adverts/AdvertListener.h"

namespace FhrpFuzz {
namespace {

using Lirex::AddrFamily;
using Lirex::InetAddr;
using Sources::AdvertFault;
using Sources::AdvertListener;

bool inSubnet(Lirex::IpAddr a, const Lirex::IpAddrWithMask& subnet) {
  const U32 mask = subnet.maskLen() ? ~U32{0} << (32 - subnet.maskLen()) : 0;
  return (a.value() & mask) == (subnet.addr().value() & mask);
}

Lirex::InetAddr addressAt(const std::string& p, std::size_t at, bool v6) {
  InetAddr::Bytes b{};
  for (std::size_t i = 0; i < (v6 ? 16u : 4u); ++i) b[i] = static_cast<U8>(p[at + i]);
  return v6 ? InetAddr::ipv6(b) : InetAddr(Lirex::IpAddr(b[0], b[1], b[2], b[3]));
}

// A forged message's checksum is easy to make right; the fuzzer is asked to only when told.
void seal(std::string& packet) {
  if (packet.empty()) return;
  const bool v6 = static_cast<U8>(packet[0]) >> 4 == 6;
  const std::size_t at = v6 ? Sources::kIpv6HeaderSize : (static_cast<U8>(packet[0]) & 0x0f) * 4u;
  if (packet.size() < std::max(at, Sources::kIpv6HeaderSize) + Sources::kVrrpFixedSize) return;
  const U16 sum =
      Sources::vrrpChecksum(addressAt(packet, v6 ? 8 : 12, v6), addressAt(packet, v6 ? 24 : 16, v6),
                            std::string_view(packet).substr(at));
  packet[at + 6] = static_cast<char>(sum >> 8);
  packet[at + 7] = static_cast<char>(sum);
}

// Parent 1 as the lab captures have it: router 6 version 2 every 2 s, router 7 version 3 over
// both families.
AdvertListener::Parents parents() {
  using Router = AdvertListener::Router;
  const Lirex::IpAddr a106(192, 0, 2, 106), a116(192, 0, 2, 116);
  AdvertListener::Parents p;
  p[1].subnet = Lirex::IpAddrWithMask(Lirex::IpAddr(192, 0, 2, 1), 24);
  p[1].routers[{6, AddrFamily::ipv4}] = Router{2, 200, {a106, a116}};
  p[1].routers[{7, AddrFamily::ipv4}] = Router{3, 200, {a106, a116}};
  p[1].routers[{7, AddrFamily::ipv6}] = Router{3,
                                               100,
                                               {Lirex::strepToValue<InetAddr>("2001:db8:7::1"),
                                                Lirex::strepToValue<InetAddr>("2001:db8:7::2")}};
  p[2].subnet = Lirex::IpAddrWithMask(Lirex::IpAddr(10, 0, 0, 1), 8);
  p[2].routers[{1, AddrFamily::ipv4}] = Router{3, 1, {Lirex::IpAddr(10, 0, 0, 100)}};
  // No IPv4 address: IPv4 advertisements there come from no router of the link.
  p[3].routers[{1, AddrFamily::ipv6}] = Router{3, 4095, {}};
  p[3].routers[{2, AddrFamily::ipv4}] = Router{2, 25500, {}};
  return p;
}

// The errors counted so far, summed: (a router's, not priority 0), its priority 0, global.
struct Sums {
  U64 router = 0, priZero = 0, global = 0;
  bool none() const { return router == 0 && priZero == 0 && global == 0; }
};
Sums sums(const Sources::AdvertView& view) {
  Sums s;
  for (const auto& [key, e] : view.errors) {
    s.router += e.advIntervalErrors + e.ipTtlErrors + e.versionErrors + e.checksumErrors +
                e.invalidTypePktsRcvd + e.addressListErrors + e.packetLengthErrors;
    s.priZero += e.priZeroPktsRcvd;
  }
  s.global = view.global.checksumErrors + view.global.versionErrors + view.global.vrIdErrors;
  return s;
}

}  // namespace

void advert(std::string_view input) {
  Loop::FakeEventLoop loop;
  std::size_t told = 0;
  AdvertListener listener(loop, [&] { ++told; });
  const AdvertListener::Parents listened = parents();
  listener.interfacesAre(listened);
  const double start = loop.now();
  Sums before;
  while (input.size() >= 3) {
    const U8 control = static_cast<U8>(input[0]);
    const std::size_t size = std::min<std::size_t>(
        (static_cast<U8>(input[1]) << 8 | static_cast<U8>(input[2])) & 0x1fff, input.size() - 3);
    std::string packet(input.substr(3, size));
    input.remove_prefix(3 + size);
    loop.advance((control >> 3) / 8.0);
    if (control & 4) seal(packet);
    const U32 ifIndex = control & 3;  // 0: an interface not listened to

    Sources::Advert advert;
    const AdvertFault alone = Sources::readAdvert(packet, advert);
    const AdvertFault fault = listener.received(ifIndex, packet);
    // The listener's verdict is the packet's own, but for the rules of the interface and its
    // routers.
    const bool listenersRule = fault >= AdvertFault::otherInterface;
    KIV_ASSERT(ifIndex != 0 || fault == AdvertFault::otherInterface, Sources::faultText(fault));
    KIV_ASSERT(fault == alone || (listenersRule && (alone == AdvertFault::none ||
                                                    fault == AdvertFault::otherInterface)),
               Sources::faultText(fault));

    // Counters only grow, by one error a packet at most (a router's and the global count of the
    // same error being one), and only for packets that name a router of the link.
    const Sources::AdvertView view = listener.view();
    const Sums after = sums(view);
    KIV_ASSERT(after.router >= before.router && after.priZero >= before.priZero &&
                   after.global >= before.global,
               "a counter went down");
    const Sums grew{after.router - before.router, after.priZero - before.priZero,
                    after.global - before.global};
    KIV_ASSERT(grew.router <= 1 && grew.priZero <= 1 && grew.global <= 1, "a packet counted twice");
    const bool namesRouter =
        fault == AdvertFault::none ||
        (fault >= AdvertFault::ttl && fault != AdvertFault::otherInterface &&
         fault != AdvertFault::foreignSource && fault != AdvertFault::notLinkLocal);
    KIV_ASSERT(grew.none() || namesRouter, "counted what names no router of the link");
    before = after;

    for (const auto& [key, master] : view.masters) {
      auto parent = listened.find(key.ifIndex);
      KIV_ASSERT(parent != listened.end() && parent->second.routers.count({key.vrid, key.family}),
                 "a master of a router not listened to");
      KIV_ASSERT(master.address.family() == key.family && master.priority > 0,
                 "a master of another family, or resigned");
      const auto& subnet = parent->second.subnet;
      KIV_ASSERT(master.address.isV6() ? master.address.isLinkLocal()
                                       : subnet && inSubnet(master.address.v4(), *subnet),
                 "a master that cannot be a router of the link");
    }
  }
  // Changes are told at most once per gap, the first at once; and every master falls silent.
  KIV_ASSERT(told <= 1 + (loop.now() - start) / AdvertListener::kChangeGap + 1e-6,
             std::to_string(told) + " changes told");
  loop.advance(3 * 255 + 1);  // version 2's longest; version 3's is 4 * 40.95 s
  KIV_ASSERT(listener.view().masters.empty(), "a master outlived its master-down interval");
}

}  // namespace FhrpFuzz
