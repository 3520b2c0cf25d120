// SPDX-License-Identifier: Apache-2.0
#include "snmpv3/Vrrpv3Values.h"

#include <algorithm>
#include <cmath>

#include "platform/Snmp/Conversions.h"
#include "platform/Snmp/NetSnmpLoop.h"

namespace Vrrpv3Snmp {

void setInteger(netsnmp_variable_list* vb, S32 value) {
  unsigned char buf[sizeof(int)];
  const S32 len = S32ToAsnInteger(value, buf, sizeof buf);
  snmp_set_var_typed_value(vb, ASN_INTEGER, buf, static_cast<size_t>(len));
}

void setUnsigned(netsnmp_variable_list* vb, u_char type, U32 value) {
  unsigned char buf[sizeof(int)];
  const S32 len = U32ToAsnUnsigned(value, buf, sizeof buf);
  snmp_set_var_typed_value(vb, type, buf, static_cast<size_t>(len));
}

void setCounter64(netsnmp_variable_list* vb, U64 value) {
  counter64 c{};
  c.high = static_cast<u_long>(value >> 32);
  c.low = static_cast<u_long>(value & 0xffffffffu);
  snmp_set_var_typed_value(vb, ASN_COUNTER64, &c, sizeof c);
}

void setOctets(netsnmp_variable_list* vb, const U8* data, std::size_t size) {
  snmp_set_var_typed_value(vb, ASN_OCTET_STR, data, size);
}

void setInetAddr(netsnmp_variable_list* vb, const Lirex::InetAddr& addr) {
  setOctets(vb, addr.bytes().data(), addr.size());
}

void setSeconds(netsnmp_variable_list* vb, double seconds) {
  unsigned char buf[sizeof(int)];
  const S32 len = SecondsToTimeTicks(seconds, buf, sizeof buf);
  snmp_set_var_typed_value(vb, ASN_TIMETICKS, buf, static_cast<size_t>(std::max(len, 0)));
}

void setTimeStamp(netsnmp_variable_list* vb, double at) {
  U32 ticks = 0;
  if (at != 0) {
    // The agent's sysUpTime, less the time since then on the same monotonic clock.
    const double ago = std::max(0.0, Snmp::eventLoop().now() - at) * 100;
    const double uptime = static_cast<double>(netsnmp_get_agent_uptime());
    ticks = static_cast<U32>(std::max(0.0, std::floor(uptime - ago)));
  }
  setUnsigned(vb, ASN_TIMETICKS, ticks);
}

}  // namespace Vrrpv3Snmp
