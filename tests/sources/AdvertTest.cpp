// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "platform/Loop/FakeEventLoop.h"
#include "sources/adverts/AdvertListener.h"

namespace {

using Lirex::AddrFamily;
using Lirex::InetAddr;
using Lirex::IpAddr;
using Sources::Advert;
using Sources::AdvertFault;
using Sources::AdvertKey;

std::string bytes(const char* hex) {
  std::string out;
  for (const char* p = hex; *p; p += 2)
    out.push_back(static_cast<char>(std::stoi(std::string(p, 2), nullptr, 16)));
  return out;
}

InetAddr v6(const char* text) {
  return Lirex::strepToValue<InetAddr>(text);
}

// Captured from vrrpd: 192.0.2.1 advertising router 6 at priority 150 every 2 s, two addresses;
// version 2, then version 3 (200 centiseconds).
const std::string kCaptured = bytes(
    "45c0002ce59b4000ff70f2f1c0000201e0000012210696020002c415c000026ac00002740000000000000000");
const std::string kCapturedV3 =
    bytes("45c00024ee884000ff70ea0cc0000201e00000123106960200c810bbc000026ac0000274");
// Its macvlan's link-local advertising router 7 (IPv6) at priority 120 every 100 centiseconds,
// 2001:db8:7::1 and ::2; the header as the kernel received it.
const std::string kCapturedV6 = bytes(
    "6c0ed6e5002870fffe8000000000000059e83e831d70e036ff02000000000000000000000000001231077802006466"
    "ce20010db800070000000000000000000120010db8000700000000000000000002");
const InetAddr kLinkLocal = v6("fe80::59e8:3e83:1d70:e036");

// The VRRP checksum made right again after a change to the packet, sent to the group.
std::string sealed(std::string p) {
  Advert a;
  Sources::readAdvert(p, a);  // the source, whatever the checksum
  const std::size_t at = a.source.isV6() ? 40 : 20;
  const U16 sum = Sources::vrrpChecksum(
      a.source, a.source.isV6() ? Sources::kVrrpGroupV6 : InetAddr(Sources::kVrrpGroup),
      std::string_view(p).substr(at));
  p[at + 6] = static_cast<char>(sum >> 8);
  p[at + 7] = static_cast<char>(sum);
  return p;
}

std::string patched(std::size_t at, const std::string& value, bool seal = true,
                    const std::string& packet = kCaptured) {
  std::string p = packet;
  p.replace(at, value.size(), value);
  return seal ? sealed(p) : p;
}

TEST(AdvertTest, EachReceiveRuleDropsWhatBreaksIt) {
  Advert a;
  ASSERT_EQ(Sources::readAdvert(kCaptured, a), AdvertFault::none);
  EXPECT_EQ(
      a,
      (Advert{
          IpAddr(192, 0, 2, 1), 2, 6, 150, 200, {IpAddr(192, 0, 2, 106), IpAddr(192, 0, 2, 116)}}));
  ASSERT_EQ(Sources::readAdvert(kCapturedV6, a), AdvertFault::none);
  EXPECT_EQ(a, (Advert{kLinkLocal, 3, 7, 120, 100, {v6("2001:db8:7::1"), v6("2001:db8:7::2")}}));
  using F = AdvertFault;
  struct Case {
    std::size_t at;
    const char* hex;  // written there, the checksum made right again
    AdvertFault fault;
  };
  for (const Case& c :
       {Case{0, "55", F::notIp}, Case{3, "ff", F::ipLength}, Case{8, "fe", F::ttl},
        Case{9, "11", F::notVrrp}, Case{16, "c0000201", F::notToGroup}, Case{20, "11", F::version},
        Case{20, "22", F::type}, Case{21, "00", F::vrid}, Case{23, "03", F::addressCount},
        Case{23, "00", F::addressCount}, Case{24, "01", F::authType},
        Case{25, "00", F::interval}}) {
    EXPECT_EQ(Sources::readAdvert(patched(c.at, bytes(c.hex)), a), c.fault) << c.at;
  }
  EXPECT_EQ(Sources::readAdvert(patched(27, "\x16", false), a), F::checksum);
  EXPECT_EQ(Sources::readAdvert(kCaptured.substr(0, 19), a), F::truncated);
  // Without its authentication data.
  EXPECT_EQ(Sources::readAdvert(sealed(patched(3, "\x24", false).substr(0, 36)), a),
            F::addressCount);
}

TEST(AdvertTest, MasterIsTheElectionWinnerUntilItResignsOrFallsSilent) {
  Sources::Speakers s;
  const IpAddr a(192, 0, 2, 2), b(192, 0, 2, 3);
  const AdvertKey key{7, 6, AddrFamily::ipv4};
  auto heard = [&](IpAddr from, U32 priority, double at) {
    return s.heard(key, Advert{from, 2, 6, priority, 100, {}}, at);
  };
  auto master = [&] { return s.masters().count(key) ? s.masters().at(key).address : InetAddr(); };
  EXPECT_TRUE(heard(a, 100, 0));
  EXPECT_FALSE(heard(b, 50, 0));
  EXPECT_TRUE(heard(b, 100, 0));  // a tie: the higher address wins
  EXPECT_FALSE(heard(a, 100, 0));
  EXPECT_FALSE(heard(a, 0, 0));  // not the master's resignation
  EXPECT_EQ(master(), b);
  EXPECT_TRUE(heard(b, 0, 0));
  EXPECT_EQ(master(), InetAddr());

  // Silent for 3 intervals and the skew of priority 156, (256 - 156) / 256 s.
  EXPECT_TRUE(heard(a, 156, 10));
  EXPECT_FALSE(s.expire(13.39));
  EXPECT_TRUE(heard(b, 1, 13.4));  // a silent master yields even to a lower priority
  EXPECT_EQ(master(), b);
  // Version 3 skews by a share of its own interval: 3 * 0.5 s + 0.5 s * 128 / 256.
  EXPECT_EQ(Sources::Speakers::masterDownSeconds(Advert{a, 3, 6, 128, 50, {}}), 1.75);
}

Sources::AdvertListener::Parents parents() {
  Sources::AdvertListener::Parent p{Lirex::IpAddrWithMask(IpAddr(192, 0, 2, 9), 24), {}};
  p.routers[{6, AddrFamily::ipv4}] = {3, 200, {IpAddr(192, 0, 2, 116), IpAddr(192, 0, 2, 106)}};
  // Advertised without its link-local address.
  p.routers[{7, AddrFamily::ipv6}] = {
      3, 100, {v6("2001:db8:7::2"), v6("fe80::1"), v6("2001:db8:7::1")}};
  Sources::AdvertListener::Parent ipv4Only{Lirex::IpAddrWithMask(IpAddr(10, 0, 0, 1), 24), {}};
  ipv4Only.routers[{7, AddrFamily::ipv4}] = {2, 100, {IpAddr(10, 0, 0, 100)}};
  return {{7, p}, {8, ipv4Only}};
}

TEST(AdvertTest, ListenerTellsChangesAtMostEveryGapAndOnlyFromTheLink) {
  Loop::FakeEventLoop loop;
  int told = 0;
  Sources::AdvertListener listener(loop, [&] { ++told; });
  listener.interfacesAre(parents());
  auto masters = [&] { return listener.view().masters; };
  EXPECT_EQ(listener.received(9, kCapturedV3), AdvertFault::otherInterface);
  EXPECT_EQ(listener.received(8, kCapturedV6), AdvertFault::otherInterface);  // no IPv6 router
  EXPECT_EQ(listener.received(7, kCapturedV3), AdvertFault::none);
  EXPECT_EQ(told, 1);  // at once
  EXPECT_EQ(listener.received(7, kCapturedV6), AdvertFault::none);
  for (char p = 121; p < 127; ++p) listener.received(7, patched(42, {p}, true, kCapturedV6));
  for (int i = 0; i < 10; ++i) listener.received(7, patched(7, "\x40", true, kCapturedV6));
  EXPECT_EQ(told, 1);
  loop.advance(Sources::AdvertListener::kChangeGap);
  EXPECT_EQ(told, 2);  // all of them in one
  EXPECT_EQ(masters(), (std::map<AdvertKey, Sources::HeardMaster>{
                           {{7, 6, AddrFamily::ipv4}, {IpAddr(192, 0, 2, 1), 150}},
                           {{7, 7, AddrFamily::ipv6}, {kLinkLocal, 126}}}));

  // Each forgotten after its master-down interval: router 7 after 3 * 1 s and the skew of
  // priority 126 (3.51 s), router 6 after 3 * 2 s and that of priority 150 (6.83 s).
  loop.advance(3.2);
  EXPECT_EQ(masters().size(), 2u);
  loop.advance(0.2);
  EXPECT_EQ(masters().size(), 1u);
  loop.advance(3.2);
  EXPECT_TRUE(masters().empty());
  EXPECT_EQ(told, 4);

  // A parent renumbered: a master heard on the old subnet is gone at once; so is a router's,
  // whose counts stay.
  listener.received(7, kCapturedV3);
  listener.received(7, kCapturedV6);
  auto renumbered = parents();
  renumbered[7].subnet = Lirex::IpAddrWithMask(IpAddr(10, 0, 0, 1), 24);
  renumbered[7].routers.erase({7, AddrFamily::ipv6});
  listener.interfacesAre(renumbered);
  EXPECT_TRUE(masters().empty());
  EXPECT_EQ(listener.view().errors.at({7, 7, AddrFamily::ipv6}).ipTtlErrors, 10u);
}

TEST(AdvertTest, Version3RejectionsCountOnceWhereTheMibKeepsThem) {
  Loop::FakeEventLoop loop;
  Sources::AdvertListener listener(loop, [] {});
  listener.interfacesAre(parents());
  using F = AdvertFault;
  using R = Sources::RouterErrors;
  using G = Sources::GlobalErrors;
  const AdvertKey r6{7, 6, AddrFamily::ipv4}, r7{7, 7, AddrFamily::ipv6};
  struct Case {
    std::string packet;
    AdvertFault fault;
    U64 G::*global = nullptr;
    const AdvertKey* key = nullptr;  // the router counted for, if any
    U64 R::*counter = nullptr;
  };
  // As the integration test injects them (bench/advert_flood.py) but to router 6: TTL 64, and
  // router 99.
  const std::string ttl64 =
      bytes("450000200000000040700000c0000202e0000012310dc8010064a18cc000026e");
  const std::string v3 = kCapturedV3, ip6 = kCapturedV6;
  for (const Case& c : {
           Case{patched(21, "\x06", true, ttl64), F::ttl, nullptr, &r6, &R::ipTtlErrors},
           Case{bytes("4500002000000000ff700000c0000202e00000123163c8010064a136c000026e"),
                F::unknownRouter, &G::vrIdErrors},
           Case{patched(7, "\x40", true, ip6), F::ttl, nullptr, &r7, &R::ipTtlErrors},
           Case{patched(41, "c", true, ip6), F::unknownRouter, &G::vrIdErrors},
           Case{patched(7, "\x40", true, patched(41, "c", true, ip6)), F::ttl, &G::vrIdErrors},
           Case{patched(41, "c", false, ip6), F::checksum, &G::checksumErrors},
           Case{kCaptured, F::otherVersion, &G::versionErrors, &r6, &R::versionErrors},
           Case{patched(40, "!", true, ip6), F::version, &G::versionErrors, &r7, &R::versionErrors},
           // The pseudo-header's source.
           Case{patched(15, "\x07", false, v3), F::checksum, &G::checksumErrors, &r6,
                &R::checksumErrors},
           Case{patched(20, "2", true, v3), F::type, nullptr, &r6, &R::invalidTypePktsRcvd},
           Case{patched(43, "\x01", true, ip6), F::addressCount, nullptr, &r7,
                &R::packetLengthErrors},
           Case{patched(3, "\x1a", false, v3).substr(0, 26), F::shortMessage, nullptr, &r6,
                &R::packetLengthErrors},
           Case{patched(24, bytes("0064"), true, v3), F::none, nullptr, &r6, &R::advIntervalErrors},
           Case{patched(24, bytes("f000"), true, v3), F::interval, nullptr, &r6,
                &R::advIntervalErrors},
           Case{patched(24, bytes("f0"), true, v3), F::none},  // reserved
           Case{patched(63, "\x03", true, ip6), F::none, nullptr, &r7, &R::addressListErrors},
           Case{patched(22, bytes("00"), true, v3), F::none, nullptr, &r6, &R::priZeroPktsRcvd},
           // What is no advertisement to the link's group, or from no router of the link.
           Case{patched(8, bytes("2001"), true, ip6), F::notLinkLocal},
           Case{patched(24, bytes("ff01"), true, ip6), F::notToGroup},
       }) {
    Sources::AdvertView want = listener.view();
    if (c.key) ++(want.errors[*c.key].*c.counter);
    if (c.global) ++(want.global.*c.global);
    EXPECT_EQ(listener.received(7, c.packet), c.fault) << Sources::faultText(c.fault);
    EXPECT_EQ(listener.view().errors, want.errors) << Sources::faultText(c.fault);
    EXPECT_EQ(listener.view().global, want.global) << Sources::faultText(c.fault);
  }
}

TEST(AdvertTest, SocketWritesTheIpv6HeaderBackAndRestsBetweenBatches) {
  Loop::FakeEventLoop loop;
  std::vector<std::pair<U32, std::string>> got;
  const std::string loopback = bytes("00000000000000000000000000000001");
  // Only this test's packets, whatever else the host hears.
  Sources::AdvertSocket socket(loop, AddrFamily::ipv6, [&](U32 i, std::string_view p) {
    if (p.substr(8, 16) == loopback) got.emplace_back(i, p);
  });
  if (socket.open() == EPERM) GTEST_SKIP() << "needs CAP_NET_RAW";
  const int out = ::socket(AF_INET6, SOCK_RAW, Sources::kVrrpProtocol);
  const int hops = 64;
  setsockopt(out, IPPROTO_IPV6, IPV6_UNICAST_HOPS, &hops, sizeof(hops));
  sockaddr_in6 to{AF_INET6, 0, 0, in6addr_loopback, 0};
  const std::string message = kCapturedV6.substr(40);
  auto send = [&] {
    sendto(out, message.data(), message.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof(to));
  };
  send();
  ASSERT_TRUE(loop.pollOnce(1));
  ASSERT_EQ(got.size(), 1u);
  EXPECT_EQ(got[0], std::pair(1u, bytes("6000000000287040") + loopback + loopback + message));
  // Unwatched while it rests: what came meanwhile is read at its end.
  send();
  EXPECT_FALSE(loop.pollOnce(0.1));
  loop.advance(Sources::AdvertSocket::kRestSeconds);
  EXPECT_EQ(got.size(), 2u);
  ::close(out);
}

}  // namespace
