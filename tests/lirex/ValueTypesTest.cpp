// SPDX-License-Identifier: Apache-2.0
// The network value types: their text forms (typed by operators, parsed by other code), order
// and hashing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kiv/Exception.h"
#include "lirex/EthAddr.h"
#include "lirex/InetAddr.h"
#include "lirex/IntfId.h"
#include "lirex/IpAddrWithMask.h"
#include "lirex/VrrpAuthType.h"

namespace Lirex {
namespace {

using Kiv::RangeException;
using Kiv::String8;
using ::testing::ThrowsMessage;
using Cases = std::initializer_list<std::pair<String8, String8>>;

template <class T>
void expectRoundTrips(std::initializer_list<String8> texts) {
  for (const String8& text : texts) EXPECT_EQ(valueToStrep(strepToValue<T>(text)), text);
}

// Each text is rejected with the message what(text) + its problem.
template <class T, class What>
void expectRejected(What what, Cases cases) {
  for (const auto& c : cases) {
    EXPECT_THAT([&] { strepToValue<T>(c.first); },
                ThrowsMessage<RangeException>(what(c.first) + c.second));
  }
}

// Parses the value after leading white space and checks that parsing stopped right behind it.
template <class T>
T parseAt(const String8& text, char next) {
  auto pos = text.cbegin();
  const T value = strepToValue<T>(pos, text.cend());
  EXPECT_EQ(*pos, next) << text;
  return value;
}

TEST(IpAddrTest, TextFormOrderAndErrors) {
  EXPECT_EQ(IpAddr(10, 1, 2, 254).value(), 0x0a0102feu);  // host order
  expectRoundTrips<IpAddr>({"0.0.0.0", "255.255.255.255", "192.0.2.100"});
  EXPECT_LT(IpAddr(127, 255, 255, 255), IpAddr(128, 0, 0, 0));
  expectRejected<IpAddr>([](const String8& t) { return "bad IPv4 address '" + t + "': "; },
                         {{"1.2.3", "expected 4 octets"},
                          {"256.0.0.1", "octet '256' is out of range 0..255"},
                          {"01.2.3.4", "octet '01' has a leading zero"}});
}

TEST(IpAddrWithMaskTest, TextFormOrderAndLimits) {
  using M = IpAddrWithMask;
  expectRoundTrips<M>({"192.0.2.2/24", "0.0.0.0/0", "255.255.255.255/32"});
  EXPECT_LT(M(IpAddr(9, 0, 0, 0), 32), M(IpAddr(10, 0, 0, 0), 8));
  EXPECT_LT(M(IpAddr(10, 0, 0, 0), 8), M(IpAddr(10, 0, 0, 0), 16));
  expectRejected<M>([](const String8& t) { return "bad IPv4 address with mask '" + t + "': "; },
                    {{"192.0.2.2", "expected '/' and a prefix length"},
                     {"192.0.2.2/33", "prefix length '33' is out of range 0..32"},
                     {"192.0.2.2/24/1", "more than one '/'"}});
}

TEST(InetAddrTest, TextFormFamilyOrderAndErrors) {
  expectRoundTrips<InetAddr>(
      {"192.0.2.1", "0.0.0.0", "2001:db8::1", "fe80::200:5eff:fe00:207", "::", "ff02::12"});
  const InetAddr v6 = strepToValue<InetAddr>("2001:DB8:0:0:0:0:0:1");
  EXPECT_EQ(valueToStrep(v6), "2001:db8::1");
  EXPECT_EQ(v6.size(), 16u);
  EXPECT_EQ(InetAddr(IpAddr(192, 0, 2, 1)).size(), 4u);
  EXPECT_TRUE(strepToValue<InetAddr>("fe80::1").isLinkLocal());
  EXPECT_FALSE(v6.isLinkLocal());
  // Every IPv4 address before every IPv6 one, as their index encodings order.
  EXPECT_LT(InetAddr(IpAddr(255, 255, 255, 255)), InetAddr::zero(AddrFamily::ipv6));
  EXPECT_LT(strepToValue<InetAddr>("2001:db8::1"), strepToValue<InetAddr>("2001:db8::100"));
  EXPECT_NE(InetAddr(), InetAddr::zero(AddrFamily::ipv6));
  expectRejected<InetAddr>([](const String8& t) { return "bad IPv6 address '" + t + "'"; },
                           {{"2001:db8::1::2", ""}, {"2001:db8::g", ""}, {":", ""}});
  EXPECT_THROW(strepToValue<InetAddr>("192.0.2"), RangeException);
  EXPECT_EQ(parseAt<InetAddr>(" fe80::1, x", ','), strepToValue<InetAddr>("fe80::1"));
}

TEST(EthAddrTest, TextFormAndOrder) {
  expectRoundTrips<EthAddr>({"00:00:5e:00:01:05", "00:00:00:00:00:00", "ff:ff:ff:ff:ff:ff"});
  EXPECT_EQ(strepToValue<EthAddr>("00:00:5E:00:01:0A").bytes(),
            (EthAddr::Bytes{0x00, 0x00, 0x5e, 0x00, 0x01, 0x0a}));
  EXPECT_LT(EthAddr({0, 0, 0, 0, 0, 0xff}), EthAddr({0, 0, 0, 0, 1, 0}));
  expectRejected<EthAddr>([](const String8& t) { return "bad Ethernet address '" + t + "': "; },
                          {{"00:00:5e:00:01", "expected 6 groups of 2 hex digits"},
                           {"0:00:5e:00:01:05", "group 1 '0' is not 2 hex digits"},
                           {"00:00:5g:00:01:05", "unexpected character 'g' at column 7"}});
}

TEST(IntfIdTest, QuotedTextFormAndPlainOrder) {
  EXPECT_EQ(valueToStrep(IntfId("Ethernet1")), "'Ethernet1'");
  for (const IntfId& v : {IntfId(), IntfId("it's\\odd")}) {
    EXPECT_EQ(strepToValue<IntfId>(valueToStrep(v)), v) << valueToStrep(v);
  }
  EXPECT_LT(IntfId("Ethernet10"), IntfId("Ethernet2"));
  // Double quotes, since the text itself is meant to be single-quoted.
  expectRejected<IntfId>([](const String8& t) { return "bad interface name \"" + t + "\": "; },
                         {{"Ethernet1", "expected a quoted string, found 'E' at column 0"},
                          {"'Ethernet1", "unterminated quoted string starting at column 0"},
                          {" 'a'", "unexpected white space at column 0"}});
}

TEST(VrrpAuthTypeTest, NamesAreTheEnumeratorsAndNumbersTheWireValues) {
  for (const auto type : {VrrpAuthType::noAuthentication, VrrpAuthType::simpleTextPassword,
                          VrrpAuthType::ipAuthenticationHeader}) {
    EXPECT_TRUE(isValid(type));
    EXPECT_EQ(strepToValue<VrrpAuthType>(valueToStrep(type)), type);
  }
  // A number from elsewhere that is out of range can still be held and shown.
  EXPECT_FALSE(isValid(static_cast<VrrpAuthType>(7)));
  EXPECT_EQ(valueToStrep(static_cast<VrrpAuthType>(7)), "VrrpAuthType(7)");
  // Exact names only: no case folding, no prefixes, no trimming.
  const String8 allowed = "(allowed: noAuthentication, simpleTextPassword, ipAuthenticationHeader)";
  expectRejected<VrrpAuthType>(
      [](const String8& t) { return "unknown VRRP authentication type '" + t + "' "; },
      {{"NoAuthentication", allowed}, {"", allowed}, {"noAuthentication ", allowed}});
}

TEST(ValueTypesTest, IteratorParsersSkipWhiteSpaceAndStopBehindTheValue) {
  EXPECT_EQ(parseAt<IpAddr>("  10.0.0.1, x", ','), IpAddr(10, 0, 0, 1));
  EXPECT_EQ(parseAt<IpAddrWithMask>(" 192.0.2.2/24}", '}'),
            IpAddrWithMask(IpAddr(192, 0, 2, 2), 24));
  EXPECT_EQ(parseAt<EthAddr>("\t00:00:5e:00:01:05, x", ','), EthAddr({0, 0, 0x5e, 0, 1, 5}));
  EXPECT_EQ(parseAt<IntfId>(" 'Ethernet1'), ", ')'), IntfId("Ethernet1"));
  EXPECT_EQ(parseAt<VrrpAuthType>(" simpleTextPassword}", '}'), VrrpAuthType::simpleTextPassword);
  // Digits and dots are taken greedily, so a trailing dot belongs to the address.
  EXPECT_THAT([] { parseAt<IpAddr>("1.2.3.4.)", ')'); },
              ThrowsMessage<RangeException>("bad IPv4 address '1.2.3.4.': expected 4 octets"));
}

}  // namespace
}  // namespace Lirex
