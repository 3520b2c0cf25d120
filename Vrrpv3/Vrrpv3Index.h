// SPDX-License-Identifier: Apache-2.0
#pragma once
// The value keys of the VRRPv3-MIB model's tables. Field order is SNMP index order and every
// field orders as its sub-identifiers do (an InetAddr by family, which fixes the length
// sub-identifier, then by octets), so the defaulted comparisons order rows exactly as their OIDs.
#include <compare>
#include <ostream>

#include "kiv/Types.h"
#include "lirex/InetAddr.h"

namespace Vrrpv3 {

// One virtual router of one address family on one interface: a row of vrrpv3OperationsTable
// and of vrrpv3StatisticsTable (which AUGMENTS it).
struct OperIndex {
  U32 ifIndex = 0;
  U32 vrId = 0;
  Lirex::AddrFamily family = Lirex::AddrFamily::ipv4;
  auto operator<=>(const OperIndex&) const = default;
};

// One address of such a router: a row of vrrpv3AssociatedIpAddrTable.
struct AddrIndex {
  U32 ifIndex = 0;
  U32 vrId = 0;
  Lirex::AddrFamily family = Lirex::AddrFamily::ipv4;
  Lirex::InetAddr addr;
  OperIndex oper() const { return {ifIndex, vrId, family}; }
  auto operator<=>(const AddrIndex&) const = default;
};

// "ifIndex 2, vrId 7, ipv6" and "ifIndex 2, vrId 7, ipv6, 2001:db8::1", for traces.
std::ostream& operator<<(std::ostream& os, const OperIndex& index);
std::ostream& operator<<(std::ostream& os, const AddrIndex& index);

}  // namespace Vrrpv3
