#include <gtest/gtest.h>

#include "platform/Loop/FakeEventLoop.h"
#include "sources/adverts/AdvertListener.h"

namespace {

using Lirex::IpAddr;
using Sources::Advert;
using Sources::AdvertFault;

std::string bytes(const char* hex) {
  std::string out;
  for (const char* p = hex; *p; p += 2)
    out.push_back(static_cast<char>(std::stoi(std::string(p, 2), nullptr, 16)));
  return out;
}

// Captured from vrrpd: 192.0.2.1 advertising router 6 at priority 150 every 2 s, two addresses.
const std::string kCaptured = bytes(
    "45c0002ce59b4000ff70f2f1c0000201e0000012210696020002c415c000026ac00002740000000000000000");

// The VRRP checksum made right again after a change to the message.
std::string sealed(std::string packet) {
  packet[26] = packet[27] = 0;
  U16 sum = Sources::internetChecksum(std::string_view(packet).substr(20));
  packet[26] = static_cast<char>(sum >> 8);
  packet[27] = static_cast<char>(sum);
  return packet;
}

std::string patched(std::size_t at, const std::string& value, bool seal = true) {
  std::string p = kCaptured;
  p.replace(at, value.size(), value);
  return seal ? sealed(p) : p;
}

std::string advert(IpAddr source, U8 priority, U8 vrid = 6) {
  std::string p = patched(21, {static_cast<char>(vrid), static_cast<char>(priority)});
  for (std::size_t i = 0; i < 4; ++i) p[12 + i] = static_cast<char>(source.octet(i));
  return p;
}

TEST(AdvertTest, EachReceiveRuleDropsWhatBreaksIt) {
  Advert a;
  ASSERT_EQ(Sources::readAdvert(kCaptured, a), AdvertFault::none);
  EXPECT_EQ(
      a,
      (Advert{IpAddr(192, 0, 2, 1), 6, 150, 2, {IpAddr(192, 0, 2, 106), IpAddr(192, 0, 2, 116)}}));
  using F = AdvertFault;
  struct Case {
    std::size_t at;
    const char* hex;  // written there, the checksum made right again
    AdvertFault fault;
  };
  for (const Case& c :
       {Case{0, "65", F::notIpv4}, Case{3, "ff", F::ipLength}, Case{8, "fe", F::ttl},
        Case{9, "11", F::notVrrp}, Case{16, "c0000201", F::notToGroup}, Case{20, "31", F::version},
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
  auto heard = [&](IpAddr from, U32 priority, double at) {
    return s.heard({7, 6}, Advert{from, 6, priority, 1, {}}, at);
  };
  auto master = [&] { return s.masters().count({7, 6}) ? s.masters().at({7, 6}) : IpAddr(); };
  EXPECT_TRUE(heard(a, 100, 0));
  EXPECT_FALSE(heard(b, 50, 0));
  EXPECT_TRUE(heard(b, 100, 0));  // a tie: the higher address wins
  EXPECT_FALSE(heard(a, 100, 0));
  EXPECT_FALSE(heard(a, 0, 0));  // not the master's resignation
  EXPECT_EQ(master(), b);
  EXPECT_TRUE(heard(b, 0, 0));
  EXPECT_EQ(master(), IpAddr());

  // Silent for 3 intervals and the skew of priority 156, (256 - 156) / 256 s.
  EXPECT_TRUE(heard(a, 156, 10));
  EXPECT_FALSE(s.expire(13.39));
  EXPECT_TRUE(heard(b, 1, 13.4));  // a silent master yields even to a lower priority
  EXPECT_EQ(master(), b);
}

TEST(AdvertTest, ListenerTellsChangesAtMostEveryGapAndOnlyFromTheParentsSubnet) {
  Loop::FakeEventLoop loop;
  int told = 0;
  Sources::AdvertListener listener(loop, [&] { ++told; });
  listener.interfacesAre({{7, Lirex::IpAddrWithMask(IpAddr(192, 0, 2, 9), 24)}});
  EXPECT_EQ(listener.received(7, advert(IpAddr(198, 51, 100, 1), 200)), AdvertFault::foreignSource);
  EXPECT_EQ(listener.received(8, kCaptured), AdvertFault::otherInterface);
  EXPECT_EQ(listener.received(7, kCaptured), AdvertFault::none);
  EXPECT_EQ(told, 1);  // at once
  for (U8 p = 151; p < 161; ++p) listener.received(7, advert(IpAddr(192, 0, 2, p), p));
  listener.received(7, advert(IpAddr(192, 0, 2, 2), 200, 7));
  EXPECT_EQ(told, 1);
  loop.advance(Sources::AdvertListener::kChangeGap);
  EXPECT_EQ(told, 2);  // all of them in one
  EXPECT_EQ(listener.masters(),
            (std::map<Sources::AdvertListener::Key, IpAddr>{{{7, 6}, IpAddr(192, 0, 2, 160)},
                                                            {{7, 7}, IpAddr(192, 0, 2, 2)}}));

  // Each forgotten after its master-down interval (3 * 2 s and the skew of its priority), the
  // second 0.16 s after the first: it waits for its turn.
  loop.advance(5.9);
  EXPECT_EQ(listener.masters().size(), 2u);
  loop.advance(0.6);
  EXPECT_TRUE(listener.masters().empty());
  EXPECT_EQ(told, 4);

  // A parent renumbered: a master heard on the old subnet is gone at once.
  listener.received(7, kCaptured);
  listener.interfacesAre({{7, Lirex::IpAddrWithMask(IpAddr(10, 0, 0, 1), 24)}});
  EXPECT_TRUE(listener.masters().empty());
}

}  // namespace
