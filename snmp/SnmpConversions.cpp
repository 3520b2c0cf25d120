#include "snmp/SnmpConversions.h"

#include "kiv/Assert.h"
#include "platform/Snmp/Conversions.h"

S32 FhrpStateToAsnVrrpStatus(const Routing::Fhrp::FhrpState& state, unsigned char* buf,
                             S32 capacity) {
  S32 status = 0;
  switch (static_cast<int>(state)) {
    case 0:
      status = 3;
      break;
    case 1:
      status = 2;
      break;
    case 2:
      status = 1;
      break;
    default:
      KIV_ASSERT(false, "bad value for FhrpState");
  }
  return S32ToAsnInteger(status, buf, capacity);
}

S32 VrrpAuthTypeToAsnAuthType(const Lirex::VrrpAuthType& type, unsigned char* buf, S32 capacity) {
  S32 authType = 0;
  switch (static_cast<int>(type)) {
    case 0:
      authType = 1;
      break;
    case 1:
      authType = 2;
      break;
    case 2:
      authType = 3;
      break;
    default:
      KIV_ASSERT(false, "bad value for VrrpAuthType");
  }
  return S32ToAsnInteger(authType, buf, capacity);
}

S32 IntfEnabledStateToAsnAdminStatus(Interface::IntfEnabledState state, unsigned char* buf,
                                     S32 capacity) {
  const S32 up = 1, down = 2;
  return S32ToAsnInteger(state == Interface::IntfEnabledState::enabled ? up : down, buf, capacity);
}

Lirex::IpAddr AsnIpAddressToLirexIpAddr(const netsnmp_variable_list* v) {
  return Lirex::IpAddr(AsnIpAddressToU32(v));
}
