// SPDX-License-Identifier: Apache-2.0
#include "platform/Snmp/AgentxMaster.h"

#include "platform/Snmp/NetSnmp.h"

#include <net-snmp/agent/agent_callbacks.h>

namespace Snmp::AgentxMaster {
namespace {

netsnmp_session* master = nullptr;

int started(int, int, void* session, void*) {
  master = static_cast<netsnmp_session*>(session);
  return 0;
}

int stopped(int, int, void*, void*) {
  master = nullptr;
  return 0;
}

}  // namespace

void follow() {
  static const bool registered = [] {
    snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START, started, nullptr);
    snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_STOP, stopped, nullptr);
    // The subagent closes its session at shutdown without INDEX_STOP.
    snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_SHUTDOWN, stopped, nullptr);
    return true;
  }();
  (void)registered;
}

size_t room() {
  if (!master) return 0;
  const netsnmp_trap_stats* stats = master->trap_stats;  // allocated by the first send
  if (!stats) return kWindow;
  const u_long answered =
      stats->ack_count + stats->timeouts + stats->sec_err_count + stats->sent_fail_count;
  const u_long unanswered = stats->sent_count > answered ? stats->sent_count - answered : 0;
  return unanswered >= kWindow ? 0 : kWindow - unanswered;
}

}  // namespace Snmp::AgentxMaster
