// SPDX-License-Identifier: Apache-2.0
#include "snmpv3/Vrrpv3Notifications.h"

#include <algorithm>
#include <iterator>

#include "kiv/Assert.h"
#include "platform/Snmp/SnmpUtil.h"
#include "platform/Snmp/TrapManager.h"
#include "snmpv3/Vrrpv3IndexCodec.h"
#include "snmpv3/Vrrpv3Oids.h"
#include "snmpv3/Vrrpv3Trace.h"
#include "snmpv3/Vrrpv3Values.h"

namespace Snmp {
namespace {

constexpr const char* kGroup = "vrrpv3";

// Whether the agent's configuration lets `name` go out now. The host registers the group and
// its notifications before any machine runs; without them the deployment is broken.
bool allowed(const char* name) {
  Kiv::Ptr<Snmp::Config> config = SnmpUtil::getSnmpConfig();
  KIV_ASSERT(
      config->notificationConfig(kGroup) && config->notificationConfig(kGroup)->notification(name),
      Kiv::String8("the host registers ") + kGroup + "/" + name + " before mirroring");
  const NotificationStatus status = config->notificationStatus(kGroup, name);
  if (!status.send) {
    KIV_TRACE(Vrrpv3Snmp::trace(), 4, name << " not sent: " << status.reason);
  }
  return status.send;
}

// The list every notification starts with: snmpTrapOID.0 = the notification.
template <std::size_t N>
netsnmp_variable_list* start(const oid (&notification)[N]) {
  netsnmp_variable_list* vars = nullptr;
  snmp_varlist_add_variable(&vars, Vrrpv3Snmp::Oids::kSnmpTrapOid,
                            OID_LENGTH(Vrrpv3Snmp::Oids::kSnmpTrapOid), ASN_OBJECT_ID,
                            reinterpret_cast<const u_char*>(notification), sizeof notification);
  return vars;
}

// A column's instance for the row, as a new variable at the end of vars.
template <std::size_t N>
netsnmp_variable_list* add(netsnmp_variable_list*& vars, const oid (&table)[N], oid column,
                           U32 ifIndex, U32 vrId, Lirex::AddrFamily family) {
  oid name[N + 2 + Vrrpv3Snmp::kMaxIndexLength];
  std::copy(std::begin(table), std::end(table), name);
  std::size_t len = N;
  name[len++] = 1;
  name[len++] = column;
  len += Vrrpv3Snmp::encode(Vrrpv3::OperIndex{ifIndex, vrId, family}, name + len);
  return snmp_varlist_add_variable(&vars, name, len, ASN_NULL, nullptr, 0);
}

}  // namespace

void vrrpv3NewMasterNotify(U32 ifIndex, U32 vrId, Lirex::AddrFamily family,
                           const Lirex::InetAddr& masterIpAddr, int reason) {
  if (!allowed("vrrpv3NewMaster")) return;
  using namespace Vrrpv3Snmp;
  netsnmp_variable_list* vars = start(Oids::kNewMaster);
  setInetAddr(add(vars, Oids::kOperationsTable, Oids::kMasterIpAddrColumn, ifIndex, vrId, family),
              masterIpAddr);
  setInteger(add(vars, Oids::kStatisticsTable, Oids::kNewMasterReasonColumn, ifIndex, vrId, family),
             reason);
  KIV_TRACE(trace(), 4, "Adding vrrpv3NewMaster notification to trap queue");
  TrapManager::instance().enqueueTrap(vars);
}

void vrrpv3ProtoErrorNotify(U32 ifIndex, U32 vrId, Lirex::AddrFamily family, int reason) {
  if (!allowed("vrrpv3ProtoError")) return;
  using namespace Vrrpv3Snmp;
  netsnmp_variable_list* vars = start(Oids::kProtoError);
  setInteger(add(vars, Oids::kStatisticsTable, Oids::kProtoErrReasonColumn, ifIndex, vrId, family),
             reason);
  KIV_TRACE(trace(), 4, "Adding vrrpv3ProtoError notification to trap queue");
  TrapManager::instance().enqueueTrap(vars);
}

}  // namespace Snmp
