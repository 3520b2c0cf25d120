// SPDX-License-Identifier: Apache-2.0
#pragma once
// The instance parts of the VRRPv3-MIB's tables as sub-identifiers, and back.
//
//   operations and statistics rows:  ifIndex . vrId . type
//   associated-address rows:         ifIndex . vrId . type . length . octet ...
//
// type is InetAddressType ipv4(1) or ipv6(2) and length its address's octet count, 4 or 16: the
// address is an InetAddress index without IMPLIED, so its length comes first. net-snmp's own
// index parser truncates sub-identifiers over 255 into octets and takes a length that does not
// match the type; this codec takes neither: an index is valid only when every sub-identifier is
// in its range (ifIndex 1..2^31-1, vrId 1..255, type 1..2, the type's length, octets 0..255) and
// nothing follows.
//
// Valid indexes order as the model's keys order (Vrrpv3Index.h), so a GETNEXT from any
// sub-identifiers at all, hostile ones included, is one bound in the model's ordered table: the
// first row whose index would sort after them.
#include <cstddef>
#include <optional>

#include "Vrrpv3/Vrrpv3Index.h"
#include "platform/Snmp/NetSnmp.h"

namespace Vrrpv3Snmp {

// The most sub-identifiers an index has: the associated-address table's for IPv6.
constexpr std::size_t kMaxIndexLength = 4 + 16;

std::size_t encode(const Vrrpv3::OperIndex& index, oid* out);
std::size_t encode(const Vrrpv3::AddrIndex& index, oid* out);

// The index these exact sub-identifiers name, or nothing when they name none.
template <class Key>
std::optional<Key> decode(const oid* subids, std::size_t count);

// Where a GETNEXT from `subids` continues: the first row whose key is at or after `key`
// (inclusive), or after it (not inclusive).
template <class Key>
struct Bound {
  Key key;
  bool inclusive = true;
};
template <class Key>
Bound<Key> seek(const oid* subids, std::size_t count);

}  // namespace Vrrpv3Snmp
