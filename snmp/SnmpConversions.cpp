// SPDX-License-Identifier: Apache-2.0
#include "snmp/SnmpConversions.h"

#include <iterator>

#include "kiv/Assert.h"
#include "platform/Snmp/Conversions.h"

S32 FhrpStateToAsnVrrpStatus(const Routing::Fhrp::FhrpState& state, unsigned char* buf,
                             S32 capacity) {
  // By state: master, backup, initialize; the MIB numbers them the other way round.
  constexpr S32 kVrrpOperState[] = {3, 2, 1};
  const int i = static_cast<int>(state);
  KIV_ASSERT(i >= 0 && i < static_cast<int>(std::size(kVrrpOperState)), "bad value for FhrpState");
  return S32ToAsnInteger(kVrrpOperState[i], buf, capacity);
}

S32 VrrpAuthTypeToAsnAuthType(const Lirex::VrrpAuthType& type, unsigned char* buf, S32 capacity) {
  // The wire numbers the types from 0, the MIB from 1.
  const int i = static_cast<int>(type);
  KIV_ASSERT(i >= 0 && i <= 2, "bad value for VrrpAuthType");
  return S32ToAsnInteger(i + 1, buf, capacity);
}

S32 IntfEnabledStateToAsnAdminStatus(Interface::IntfEnabledState state, unsigned char* buf,
                                     S32 capacity) {
  const S32 up = 1, down = 2;
  return S32ToAsnInteger(state == Interface::IntfEnabledState::enabled ? up : down, buf, capacity);
}

Lirex::IpAddr AsnIpAddressToLirexIpAddr(const netsnmp_variable_list* v) {
  return Lirex::IpAddr(AsnIpAddressToU32(v));
}
