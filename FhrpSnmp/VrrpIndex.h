// SPDX-License-Identifier: Apache-2.0
#pragma once
// The value keys of the VRRP-MIB model's tables. Field order is SNMP index order,
// so the defaulted comparisons order rows exactly as their OIDs are ordered.
#include <compare>
#include <ostream>

#include "kiv/Types.h"
#include "lirex/IpAddr.h"

namespace FhrpSnmp {

using StrepIter = Kiv::String8::const_iterator;

// One virtual router on one interface: a row of vrrpOperTable / vrrpRouterStatsTable.
struct VrrpIndex {
  VrrpIndex() = default;
  VrrpIndex(S32 ifIndex, U32 vrId) : ifIndex(ifIndex), vrId(vrId) {}
  // Reads one text form starting at pos and leaves pos just behind it.
  VrrpIndex(StrepIter& pos, StrepIter end);

  auto operator<=>(const VrrpIndex&) const = default;

  S32 ifIndex = 0;
  U32 vrId = 0;
};

// One address of a virtual router: a row of vrrpAssoIpAddrTable.
struct VrrpIpIndex {
  VrrpIpIndex() = default;
  VrrpIpIndex(S32 ifIndex, U32 vrId, Lirex::IpAddr ipAddr)
      : ifIndex(ifIndex), vrId(vrId), ipAddr(ipAddr) {}
  VrrpIpIndex(StrepIter& pos, StrepIter end);

  auto operator<=>(const VrrpIpIndex&) const = default;

  S32 ifIndex = 0;
  U32 vrId = 0;
  Lirex::IpAddr ipAddr;
};

Kiv::String8 valueToStrep(const VrrpIndex& v);
Kiv::String8 valueToStrep(const VrrpIpIndex& v);
std::ostream& operator<<(std::ostream& os, const VrrpIndex& v);
std::ostream& operator<<(std::ostream& os, const VrrpIpIndex& v);

// Parses a whole text; anything left over is an error.
template <class T>
T strepToValue(const Kiv::String8& text);
template <>
VrrpIndex strepToValue<VrrpIndex>(const Kiv::String8& text);
template <>
VrrpIpIndex strepToValue<VrrpIpIndex>(const Kiv::String8& text);

}  // namespace FhrpSnmp
