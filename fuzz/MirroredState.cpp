#include "fuzz/MirroredState.h"

#include <sstream>

#include "kiv/Assert.h"
#include "platform/Snmp/Config.h"
#include "platform/Snmp/NetSnmp.h"
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
}

MirroredState::~MirroredState() {
  agent = nullptr;
  // Whatever the machines queued goes out as the event loop sends it, or at once if the
  // alarm is not due yet, so that no input leaves notifications behind for the next one.
  run_alarms();
  Snmp::TrapManager::instance().flush();
}

std::size_t MirroredState::rows() const {
  return mib->operTableCollection()->size() + mib->assoIpAddrTableCollection()->size() +
         mib->routerStatsTableCollection()->size();
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
  return os.str();
}

}  // namespace FhrpFuzz
