// SPDX-License-Identifier: Apache-2.0
// The VRRPv3-MIB index codec: what it accepts, and where a GETNEXT from anything at all goes.
#include <gtest/gtest.h>

#include <vector>

#include "snmpv3/Vrrpv3IndexCodec.h"

namespace Vrrpv3Snmp {
namespace {

using Lirex::AddrFamily;
using Lirex::InetAddr;
using Vrrpv3::AddrIndex;
using Vrrpv3::OperIndex;
using Subids = std::vector<oid>;

const InetAddr kV4 = Lirex::IpAddr(192, 0, 2, 1);
const InetAddr kV6 = Lirex::strepToValue<InetAddr>("2001:db8::1");

template <class Key>
Subids encoded(const Key& key) {
  Subids s(kMaxIndexLength);
  s.resize(encode(key, s.data()));
  return s;
}

template <class Key>
std::optional<Key> decoded(const Subids& s) {
  return decode<Key>(s.data(), s.size());
}

TEST(IndexCodec, RoundTripsAndRefusesHostileIndexes) {
  const AddrIndex v4{2, 7, AddrFamily::ipv4, kV4};
  const AddrIndex v6{2, 7, AddrFamily::ipv6, kV6};
  EXPECT_EQ(encoded(v4), (Subids{2, 7, 1, 4, 192, 0, 2, 1}));
  EXPECT_EQ(encoded(OperIndex{2147483647, 255, AddrFamily::ipv6}), (Subids{2147483647, 255, 2}));
  for (const AddrIndex& k : {v4, v6}) EXPECT_EQ(decoded<AddrIndex>(encoded(k)), k);
  EXPECT_EQ(decoded<OperIndex>({2, 7, 2}), (OperIndex{2, 7, AddrFamily::ipv6}));
  const Subids hostile[] = {{2, 7, 0, 4, 192, 0, 2, 1},        {2, 7, 3, 4, 192, 0, 2, 1},
                            {2, 7, 4, 4, 192, 0, 2, 1},        {2, 7, 1, 0},
                            {2, 7, 1, 5, 192, 0, 2, 1, 1},     {2, 7, 2, 17},
                            {2, 7, 1, 16, 192, 0, 2, 1},       {2, 7, 1, 4, 192, 0, 2, 300},
                            {2, 7, 1, 4, 192, 0, 2},           {2, 7, 1, 4, 192, 0, 2, 1, 0},
                            {0, 7, 1, 4, 192, 0, 2, 1},        {2, 256, 1, 4, 192, 0, 2, 1},
                            {2147483648, 7, 1, 4, 1, 2, 3, 4}, {}};
  for (const Subids& s : hostile)
    EXPECT_FALSE(decoded<AddrIndex>(s)) << ::testing::PrintToString(s);
  EXPECT_FALSE(decoded<OperIndex>({2, 7, 1, 0}));
  EXPECT_FALSE(decoded<OperIndex>({2, 0, 1}));
}

// A GETNEXT continues at the first valid index that sorts after the sub-identifiers, so the
// keys' order must be the order of their encodings.
TEST(IndexCodec, SeekFindsTheFirstIndexAfterAnything) {
  const std::vector<AddrIndex> keys = {
      {1, 1, AddrFamily::ipv4, InetAddr()},
      {2, 7, AddrFamily::ipv4, kV4},
      {2, 7, AddrFamily::ipv4, Lirex::IpAddr(192, 0, 2, 255)},
      {2, 7, AddrFamily::ipv6, kV6},
      {2, 8, AddrFamily::ipv4, kV4},
      {2147483647, 255, AddrFamily::ipv6, Lirex::strepToValue<InetAddr>("ffff::")}};
  for (std::size_t i = 1; i < keys.size(); ++i) {
    EXPECT_LT(keys[i - 1], keys[i]);
    EXPECT_LT(snmp_oid_compare(encoded(keys[i - 1]).data(), encoded(keys[i - 1]).size(),
                               encoded(keys[i]).data(), encoded(keys[i]).size()),
              0);
  }
  // The first key at or after the bound, as the model's ordered table finds it.
  const auto next = [&](const Subids& s) -> std::optional<AddrIndex> {
    const Bound<AddrIndex> b = seek<AddrIndex>(s.data(), s.size());
    for (const AddrIndex& k : keys) {
      if (b.inclusive ? !(k < b.key) : b.key < k) return k;
    }
    return std::nullopt;
  };
  EXPECT_EQ(next({}), keys[0]);
  EXPECT_EQ(next(encoded(keys[0])), keys[1]);
  EXPECT_EQ(next({2, 7}), keys[1]);
  EXPECT_EQ(next({2, 7, 0, 9}), keys[1]);                  // type 0: the first type
  EXPECT_EQ(next({2, 7, 1, 4, 192, 0, 2, 300}), keys[3]);  // past every 192.0.2.x
  EXPECT_EQ(next({2, 7, 1, 5}), keys[3]);                  // length 5: past every IPv4 address
  EXPECT_EQ(next({2, 7, 1, 3, 255}), keys[1]);             // length 3: before every one
  EXPECT_EQ(next({2, 7, 3}), keys[4]);                     // type 3 and 4: on to the next vrId
  EXPECT_EQ(next({2, 7, 2, 17}), keys[4]);
  EXPECT_EQ(next({2, 7, 2, 16, 32, 1, 13, 184}), keys[3]);  // a partial address
  EXPECT_EQ(next({2, 7, 1, 4, 192, 0, 2, 1, 0}), keys[2]);  // more than an index
  EXPECT_EQ(next({2, 256}), keys[5]);
  EXPECT_EQ(next({2147483648}), std::nullopt);
  EXPECT_EQ(next(encoded(keys[5])), std::nullopt);
}

}  // namespace
}  // namespace Vrrpv3Snmp
