#include "lirex/IpAddr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unordered_set>

#include "kiv/Exception.h"
#include "lirex/IpAddrWithMask.h"

namespace Lirex {
namespace {

using Kiv::RangeException;
using Kiv::String8;
using ::testing::ThrowsMessage;

TEST(IpAddrTest, OctetsAndHostOrder) {
  const IpAddr a(10, 1, 2, 254);
  EXPECT_EQ(a.value(), 0x0a0102feu);
  EXPECT_EQ(a.octets(), (std::array<U8, 4>{10, 1, 2, 254}));
  EXPECT_EQ(a, IpAddr(0x0a0102feu));
  EXPECT_TRUE(IpAddr().isZero());
  EXPECT_FALSE(IpAddr(0, 0, 0, 1).isZero());
}

TEST(IpAddrTest, RoundTrip) {
  for (const String8 text : {"0.0.0.0", "255.255.255.255", "10.0.0.1", "192.0.2.100"}) {
    EXPECT_EQ(valueToStrep(strepToValue<IpAddr>(text)), text);
  }
  EXPECT_EQ(strepToValue<IpAddr>("255.255.255.255").value(), 0xffffffffu);
}

TEST(IpAddrTest, OrderFollowsOctets) {
  EXPECT_LT(IpAddr(9, 255, 255, 255), IpAddr(10, 0, 0, 0));
  EXPECT_LT(IpAddr(1, 2, 3, 4), IpAddr(1, 2, 4, 0));
  EXPECT_LT(IpAddr(127, 255, 255, 255), IpAddr(128, 0, 0, 0));
  const std::unordered_set<IpAddr> set{IpAddr(1, 2, 3, 4), IpAddr(1, 2, 3, 4), IpAddr(4, 3, 2, 1)};
  EXPECT_EQ(set.size(), 2u);
}

TEST(IpAddrTest, RejectsMalformed) {
  const std::pair<String8, String8> cases[] = {
      {"1.2.3", "expected 4 octets"},
      {"1.2.3.4.5", "expected 4 octets"},
      {"", "expected 4 octets"},
      {"1..3.4", "octet 2 is empty"},
      {"1.2.3.", "octet 4 is empty"},
      {"256.0.0.1", "octet '256' is out of range 0..255"},
      {"01.2.3.4", "octet '01' has a leading zero"},
      {"+1.2.3.4", "unexpected character '+' at column 0"},
      {"1.2.3.4x", "unexpected character 'x' at column 7"},
      {" 1.2.3.4", "unexpected character ' ' at column 0"},
      {"1.-2.3.4", "unexpected character '-' at column 2"},
  };
  for (const auto& c : cases) {
    const String8& text = c.first;
    EXPECT_THAT([&] { strepToValue<IpAddr>(text); },
                ThrowsMessage<RangeException>("bad IPv4 address '" + text + "': " + c.second));
  }
}

TEST(IpAddrTest, IteratorParseStopsBehindAddress) {
  const String8 text = "  10.0.0.1, x";
  auto pos = text.cbegin();
  EXPECT_EQ(strepToValue<IpAddr>(pos, text.cend()), IpAddr(10, 0, 0, 1));
  EXPECT_EQ(*pos, ',');

  // Digits and dots are taken greedily, so a trailing dot belongs to the address.
  const String8 dotted = "1.2.3.4.)";
  pos = dotted.cbegin();
  EXPECT_THAT([&] { strepToValue<IpAddr>(pos, dotted.cend()); },
              ThrowsMessage<RangeException>("bad IPv4 address '1.2.3.4.': expected 4 octets"));
}

TEST(IpAddrWithMaskTest, RoundTripAndOrder) {
  for (const String8 text : {"192.0.2.2/24", "0.0.0.0/0", "255.255.255.255/32", "10.0.0.1/8"}) {
    EXPECT_EQ(valueToStrep(strepToValue<IpAddrWithMask>(text)), text);
  }
  const IpAddrWithMask v = strepToValue<IpAddrWithMask>("192.0.2.2/24");
  EXPECT_EQ(v.addr(), IpAddr(192, 0, 2, 2));
  EXPECT_EQ(v.maskLen(), 24u);
  EXPECT_LT(IpAddrWithMask(IpAddr(9, 0, 0, 0), 32), IpAddrWithMask(IpAddr(10, 0, 0, 0), 8));
  EXPECT_LT(IpAddrWithMask(IpAddr(10, 0, 0, 0), 8), IpAddrWithMask(IpAddr(10, 0, 0, 0), 16));
  EXPECT_NE(std::hash<IpAddrWithMask>()(IpAddrWithMask(IpAddr(1, 0, 0, 0), 8)),
            std::hash<IpAddrWithMask>()(IpAddrWithMask(IpAddr(1, 0, 0, 0), 9)));
  EXPECT_THAT([] { IpAddrWithMask(IpAddr(), 33); },
              ThrowsMessage<RangeException>("prefix length 33 is out of range 0..32"));
}

TEST(IpAddrWithMaskTest, RejectsMalformed) {
  const std::pair<String8, String8> cases[] = {
      {"192.0.2.2", "expected '/' and a prefix length"},
      {"192.0.2.2/", "prefix length is empty"},
      {"192.0.2.2/33", "prefix length '33' is out of range 0..32"},
      {"192.0.2.2/08", "prefix length '08' has a leading zero"},
      {"192.0.2.2/2.4", "prefix length '2.4' is not a number"},
      {"192.0.2.2/24/1", "more than one '/'"},
      {"192.0.2/24", "expected 4 octets"},
      {"192.0.2.256/24", "octet '256' is out of range 0..255"},
      {"192.0.2.2/-1", "unexpected character '-' at column 10"},
  };
  for (const auto& c : cases) {
    const String8& text = c.first;
    EXPECT_THAT(
        [&] { strepToValue<IpAddrWithMask>(text); },
        ThrowsMessage<RangeException>("bad IPv4 address with mask '" + text + "': " + c.second));
  }
}

TEST(IpAddrWithMaskTest, IteratorParseStopsBehindValue) {
  const String8 text = " 192.0.2.2/24}";
  auto pos = text.cbegin();
  EXPECT_EQ(strepToValue<IpAddrWithMask>(pos, text.cend()),
            IpAddrWithMask(IpAddr(192, 0, 2, 2), 24));
  EXPECT_EQ(*pos, '}');
}

}  // namespace
}  // namespace Lirex
