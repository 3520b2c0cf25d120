// SPDX-License-Identifier: Apache-2.0
#include "snmp/VrrpMIBIndexes.h"

#include "kiv/Exception.h"
#include "platform/Snmp/Conversions.h"
#include "snmp/SnmpConversions.h"
#include "snmp/SnmpTrace.h"

namespace VrrpMIBImpl {
namespace {

using Snmp::snmpTrace;

struct Component {
  const char* name;
  u_char type;
};
constexpr Component kComponents[] = {{.name = "ifIndex", .type = ASN_INTEGER},
                                     {.name = "vrrpOperVrId", .type = ASN_INTEGER},
                                     {.name = "vrrpAssoIpAddr", .type = ASN_IPADDRESS}};

// Decodes component i into values and traces the accepted value.
void accept(int i, const netsnmp_variable_list* v, HintValues& values) {
  switch (i) {
    case 0:
      values.ifIndex = AsnIntegerToS32(v);
      KIV_TRACE(snmpTrace(), 2,
                "hint component ifIndex is '" << static_cast<U32>(values.ifIndex) << "'");
      break;
    case 1:
      values.vrId = AsnIntegerToS32(v);
      KIV_TRACE(snmpTrace(), 2,
                "hint component vrrpOperVrId is '" << static_cast<U32>(values.vrId) << "'");
      break;
    default:
      values.ipAddr = AsnIpAddressToLirexIpAddr(v);
      KIV_TRACE(snmpTrace(), 2, "hint component vrrpAssoIpAddr is '" << values.ipAddr << "'");
      break;
  }
}

void setBinding(netsnmp_variable_list* v, u_char type, const unsigned char* buf, S32 len) {
  if (v && len >= 0) snmp_set_var_typed_value(v, type, buf, static_cast<size_t>(len));
}

}  // namespace

int parseHint(const char* table, const netsnmp_variable_list* indexes, int needed,
              HintValues& values) {
  int accepted = 0;
  const netsnmp_variable_list* v = indexes;
  for (int i = 0; i < needed && v; ++i, v = v->next_variable) {
    const Component& c = kComponents[i];
    if (v->type != c.type) {
      KIV_TRACE(snmpTrace(), 0,
                "hint for " << c.name << " has incorrect type! Expecting "
                            << static_cast<int>(c.type) << " but got "
                            << static_cast<int>(v->type));
      // Only a bad leading ifIndex lets the later parts still be read (and traced).
      if (i > 0) break;
      continue;
    }
    try {
      accept(i, v, values);
      ++accepted;
    } catch (const Kiv::RangeException& e) {
      KIV_TRACE(snmpTrace(), 0,
                "hint for index " << c.name << " of " << table << " is out of range! " << e.what());
    }
  }
  return accepted;
}

netsnmp_variable_list* writeVrrpIndex(const char* helper, S32 ifIndex, U32 vrId,
                                      netsnmp_variable_list* indexes) {
  unsigned char buf[1024];
  KIV_TRACE(snmpTrace(), 2, helper << " - iterator has another value: ifIndex=" << ifIndex);
  setBinding(indexes, ASN_INTEGER, buf, S32ToAsnInteger(ifIndex, buf, sizeof(buf)));
  netsnmp_variable_list* vrIdBinding = indexes ? indexes->next_variable : nullptr;
  KIV_TRACE(snmpTrace(), 2, helper << " - iterator has another value: vrId=" << vrId);
  setBinding(vrIdBinding, ASN_INTEGER, buf, U32ToAsnUnsigned(vrId, buf, sizeof(buf)));
  return vrIdBinding;
}

}  // namespace VrrpMIBImpl
