// SPDX-License-Identifier: Apache-2.0
#include "snmp/VrrpTrapNewMaster.h"

#include <algorithm>
#include <iterator>

#include "kiv/Assert.h"
#include "platform/Snmp/Conversions.h"
#include "platform/Snmp/NetSnmp.h"
#include "platform/Snmp/Oid.h"
#include "platform/Snmp/SnmpUtil.h"
#include "platform/Snmp/TrapManager.h"
#include "snmp/SnmpTrace.h"
#include "snmp/VrrpMibOids.h"

namespace Snmp {
namespace {

// Room for any instance suffix AppendToOid may be asked to add.
constexpr size_t kMaxInstanceOidLen = 512;

}  // namespace

int vrrpTrapNewMasterNotify(Lirex::IpAddr masterIpAddr, U32 ifIndex, U32 vrId) {
  Kiv::Ptr<Snmp::Config> snmpConfig = SnmpUtil::getSnmpConfig();
  // The plug-in that configures SNMP registers the group and the notification; without them
  // the deployment is broken, not the router. (The conditions are part of the messages.)
  // clang-format off
  KIV_ASSERT(snmpConfig->notificationConfig( "vrrp" ),
             "You need to register vrrp traps from your ZentraPlugin");
  KIV_ASSERT(snmpConfig->notificationConfig( "vrrp" )->notification( "vrrpTrapNewMaster" ),
             "You need to register vrrpTrapNewMaster traps from your ZentraPlugin");
  // clang-format on

  NotificationStatus status = snmpConfig->notificationStatus("vrrp", "vrrpTrapNewMaster");
  if (!status.send) {
    KIV_TRACE(
        snmpTrace(), 4,
        "vrrpTrapNewMaster notification not sent. notificationStatus returned " << status.reason);
    return 0;
  }

  netsnmp_variable_list* vars = nullptr;
  snmp_varlist_add_variable(&vars, snmpTrapOid, OID_LENGTH(snmpTrapOid), ASN_OBJECT_ID,
                            reinterpret_cast<const u_char*>(vrrpTrapNewMasterOid),
                            sizeof(vrrpTrapNewMasterOid));

  oid instance[kMaxInstanceOidLen];
  size_t len = OID_LENGTH(vrrpOperMasterIpAddrOid);
  std::copy(std::begin(vrrpOperMasterIpAddrOid), std::end(vrrpOperMasterIpAddrOid), instance);
  len = AppendToOid(instance, len, kMaxInstanceOidLen, ifIndex);
  len = AppendToOid(instance, len, kMaxInstanceOidLen, vrId);
  unsigned char buf[1024];
  const S32 addrLen = LirexIpAddrToAsnOctetString(masterIpAddr, buf, sizeof(buf));
  snmp_varlist_add_variable(&vars, instance, len, ASN_IPADDRESS, buf, addrLen);

  KIV_TRACE(snmpTrace(), 4, "Adding vrrpTrapNewMaster notification to trap queue");
  TrapManager::instance().enqueueTrap(vars);
  return 0;
}

}  // namespace Snmp
