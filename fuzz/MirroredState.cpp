// SPDX-License-Identifier: Apache-2.0
#include "fuzz/MirroredState.h"

#include <sstream>

#include "kiv/Assert.h"
#include "platform/Snmp/Config.h"
#include "platform/Snmp/NetSnmp.h"
#include "platform/Snmp/NetSnmpLoop.h"
#include "platform/Snmp/SnmpUtil.h"
#include "platform/Snmp/TrapManager.h"

namespace FhrpFuzz {
namespace {

std::size_t sent = 0;

}  // namespace

void configureNotifications() {
  static const bool done = [] {
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_ALARM_DONT_USE_SIG, 1);
    auto config = SnmpUtil::getSnmpConfig();
    config->notificationConfigIs("vrrp")->notificationIs("vrrpTrapNewMaster");
    auto v3 = config->notificationConfigIs("vrrpv3");
    v3->notificationIs("vrrpv3NewMaster");
    v3->notificationIs("vrrpv3ProtoError");
    config->notificationsEnabledIs(true);
    Snmp::TrapManager::instance().senderIs([](netsnmp_variable_list*) { ++sent; });
    return true;
  }();
  (void)done;
}

std::size_t notificationsSent() {
  return sent;
}

MirroredState::MirroredState() : mib(FhrpSnmp::vrrpMibFactory("vrrpMIB")) {
  configureNotifications();
  agent = FhrpSnmp::agentFactory("fhrpSnmpAgent");
  agent->vrrpMibIs(mib);
  agent->vrrpMibSmIs(tree.fhrpConfig(), tree.vrrpStatus(), tree.allIntfStatus(), tree.ipStatus(),
                     mib);
  v3mib = Kiv::make<Vrrpv3::Vrrpv3Mib>("vrrpv3MIB", tree.vrrpStatistics());
  v3 = Kiv::make<Vrrpv3::Vrrpv3Sm>(
      Vrrpv3::Vrrpv3Sm::Inputs{tree.vrrpConfig(), tree.vrrpStatus(), tree.vrrpStatusV6(),
                               tree.allIntfStatus(), tree.ipStatus(), tree.vrrpStatistics()},
      v3mib, Snmp::eventLoop());
}

MirroredState::~MirroredState() {
  agent = nullptr;
  v3 = nullptr;
  // Whatever the machines queued goes out as the event loop sends it, or at once if the
  // alarm is not due yet, so that no input leaves notifications behind for the next one.
  run_alarms();
  Snmp::TrapManager::instance().flush();
}

std::size_t MirroredState::rows() const {
  return mib->operTableCollection()->size() + mib->assoIpAddrTableCollection()->size() +
         mib->routerStatsTableCollection()->size() + v3mib->operationsTableCollection()->size() +
         v3mib->associatedIpAddrTableCollection()->size();
}

Kiv::String8 MirroredState::modelText() const {
  std::ostringstream os;
  for (auto it = mib->operTableIter(); !it.atEnd(); ++it) {
    const FhrpSnmp::OperEntry& r = *it.value();
    os << "oper " << r.index() << " mac " << Lirex::valueToStrep(r.virtualMacAddr()) << " state "
       << static_cast<int>(r.fhrpState()) << " admin " << static_cast<int>(r.adminState())
       << " priority " << r.priority() << " addrs " << r.ipAddrCount() << " master "
       << r.masterIpAddr() << " primary " << r.primaryIpAddr() << " auth "
       << static_cast<int>(r.authType()) << " key " << r.authKey() << " interval "
       << r.advertisementInterval_() << " preempt " << r.preempt() << " up "
       << (r.totalVrUpTime() != 0.0) << '\n';
  }
  for (auto it = mib->assoIpAddrTableIter(); !it.atEnd(); ++it) os << "asso " << it.key() << '\n';
  for (auto it = mib->routerStatsTableIter(); !it.atEnd(); ++it) os << "stats " << it.key() << '\n';
  for (auto it = v3mib->operationsTableCollection()->begin(); !it.atEnd(); ++it) {
    const Vrrpv3::OperationsEntry& r = *it.value();
    os << "v3 " << r.index() << " mac " << Lirex::valueToStrep(r.virtualMacAddr()) << " state "
       << static_cast<int>(r.state()) << " priority " << r.priority() << " addrs "
       << r.ipAddrCount() << " master " << r.masterIpAddr() << " primary " << r.primaryIpAddr()
       << " interval " << r.advInterval() << " preempt " << r.preemptMode() << " accept "
       << r.acceptMode() << " active " << r.active() << " up " << (r.upTime() != 0.0) << " adverts "
       << r.rcvdAdvertisements() << " ttl " << r.ipTtlErrors() << '\n';
  }
  for (auto it = v3mib->associatedIpAddrTableCollection()->begin(); !it.atEnd(); ++it) {
    os << "v3 addr " << it.key() << '\n';
  }
  const auto& g = *v3mib->globalStatistics();
  os << "v3 global " << g.checksumErrors() << ' ' << g.versionErrors() << ' ' << g.vrIdErrors()
     << ' ' << g.refreshRate() << '\n';
  return os.str();
}

}  // namespace FhrpFuzz
