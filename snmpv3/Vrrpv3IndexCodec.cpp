// SPDX-License-Identifier: Apache-2.0
#include "snmpv3/Vrrpv3IndexCodec.h"

#include <array>

namespace Vrrpv3Snmp {
namespace {

using Lirex::AddrFamily;
using Lirex::InetAddr;
using Vrrpv3::AddrIndex;
using Vrrpv3::OperIndex;

constexpr U32 kMaxIfIndex = 0x7fffffff;

// An index as its sub-identifiers, each within its position's range.
struct Digits {
  std::array<U32, kMaxIndexLength> d{};
  std::size_t n = 0;
  void push(U32 v) { d[n++] = v; }
};

struct Range {
  U32 lo, hi;
};

std::size_t addrLength(U32 type) {
  return type == static_cast<U32>(AddrFamily::ipv4) ? 4 : 16;
}

// The positions of each table's index: how many a complete index has, and the range of one
// position given the positions before it (only the address's length depends on them).
template <class Key>
struct Shape;

template <>
struct Shape<OperIndex> {
  static std::size_t length(const Digits&) { return 3; }
  static Range range(std::size_t i, const Digits&) {
    constexpr Range kRanges[] = {{1, kMaxIfIndex}, {1, 255}, {1, 2}};
    return kRanges[i];
  }
  static OperIndex key(const Digits& g) {
    return {g.d[0], g.d[1], static_cast<AddrFamily>(g.d[2])};
  }
  static Digits digits(const OperIndex& k) {
    Digits g;
    g.push(k.ifIndex);
    g.push(k.vrId);
    g.push(static_cast<U32>(k.family));
    return g;
  }
};

template <>
struct Shape<AddrIndex> {
  static std::size_t length(const Digits& g) { return g.n < 3 ? 4 : 4 + addrLength(g.d[2]); }
  static Range range(std::size_t i, const Digits& g) {
    if (i < 3) return Shape<OperIndex>::range(i, g);
    if (i == 3) {
      const U32 length = static_cast<U32>(addrLength(g.d[2]));
      return {length, length};
    }
    return {0, 255};
  }
  static AddrIndex key(const Digits& g) {
    const auto family = static_cast<AddrFamily>(g.d[2]);
    InetAddr::Bytes bytes{};
    for (std::size_t i = 0; i < addrLength(g.d[2]); ++i) bytes[i] = static_cast<U8>(g.d[4 + i]);
    InetAddr addr = InetAddr::ipv6(bytes);
    if (family == AddrFamily::ipv4) addr = Lirex::IpAddr(bytes[0], bytes[1], bytes[2], bytes[3]);
    return {g.d[0], g.d[1], family, addr};
  }
  static Digits digits(const AddrIndex& k) {
    Digits g = Shape<OperIndex>::digits(k.oper());
    g.push(static_cast<U32>(k.addr.size()));
    for (std::size_t i = 0; i < k.addr.size(); ++i) g.push(k.addr.bytes()[i]);
    return g;
  }
};

// The digits completed with every later position at its lowest (or highest) value.
template <class Key>
Key complete(Digits g, bool highest) {
  while (g.n < Shape<Key>::length(g)) {
    const Range r = Shape<Key>::range(g.n, g);
    g.push(highest ? r.hi : r.lo);
  }
  return Shape<Key>::key(g);
}

template <class Key>
std::size_t write(const Key& key, oid* out) {
  const Digits g = Shape<Key>::digits(key);
  for (std::size_t i = 0; i < g.n; ++i) out[i] = g.d[i];
  return g.n;
}

}  // namespace

std::size_t encode(const OperIndex& index, oid* out) {
  return write(index, out);
}

std::size_t encode(const AddrIndex& index, oid* out) {
  return write(index, out);
}

template <class Key>
std::optional<Key> decode(const oid* subids, std::size_t count) {
  Digits g;
  while (g.n < Shape<Key>::length(g)) {
    if (g.n == count) return std::nullopt;
    const Range r = Shape<Key>::range(g.n, g);
    const oid v = subids[g.n];
    if (v < r.lo || v > r.hi) return std::nullopt;
    g.push(static_cast<U32>(v));
  }
  if (g.n != count) return std::nullopt;
  return Shape<Key>::key(g);
}

template <class Key>
Bound<Key> seek(const oid* subids, std::size_t count) {
  Digits g;
  while (g.n < Shape<Key>::length(g)) {
    // Sub-identifiers that stop early come before every index they begin.
    if (g.n == count) return {complete<Key>(g, false), true};
    const Range r = Shape<Key>::range(g.n, g);
    const oid v = subids[g.n];
    if (v < r.lo) {
      g.push(r.lo);
      return {complete<Key>(g, false), true};
    }
    if (v > r.hi) {
      // Past every index that begins as these do: continue after the last of them.
      if (g.n == 0) return {complete<Key>(g, true), false};
      g.push(r.hi);
      return {complete<Key>(g, true), false};
    }
    g.push(static_cast<U32>(v));
  }
  // A whole index, and perhaps more: the rows after it.
  return {Shape<Key>::key(g), false};
}

template std::optional<OperIndex> decode<OperIndex>(const oid*, std::size_t);
template std::optional<AddrIndex> decode<AddrIndex>(const oid*, std::size_t);
template Bound<OperIndex> seek<OperIndex>(const oid*, std::size_t);
template Bound<AddrIndex> seek<AddrIndex>(const oid*, std::size_t);

}  // namespace Vrrpv3Snmp
