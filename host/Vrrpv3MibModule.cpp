// SPDX-License-Identifier: Apache-2.0
#include "host/Vrrpv3MibModule.h"

#include "Vrrpv3/Vrrpv3Sm.h"
#include "platform/Snmp/NetSnmpLoop.h"
#include "platform/Snmp/SnmpUtil.h"
#include "snmpv3/Vrrpv3MIB.h"

namespace Host {

Kiv::Ptr<Kiv::PtrInterface> buildVrrpv3Mib(const Zentra::StateTree& tree) {
  // The same switch as the VRRP-MIB's (--notifications) governs the group.
  auto group = SnmpUtil::getSnmpConfig()->notificationConfigIs("vrrpv3");
  group->notificationIs("vrrpv3NewMaster");
  group->notificationIs("vrrpv3ProtoError");
  auto mib = Kiv::make<Vrrpv3::Vrrpv3Mib>("vrrpv3MIB", tree.vrrpStatistics());
  tree.root()->bind(Vrrpv3Snmp::kModelPath, mib);
  return Kiv::make<Vrrpv3::Vrrpv3Sm>(
      Vrrpv3::Vrrpv3Sm::Inputs{tree.vrrpConfig(), tree.vrrpStatus(), tree.vrrpStatusV6(),
                               tree.allIntfStatus(), tree.ipStatus(), tree.vrrpStatistics()},
      mib, Snmp::eventLoop());
}

void registerVrrpv3Mib() {
  init_Vrrpv3MIB("");
}

}  // namespace Host
