// SPDX-License-Identifier: Apache-2.0
#include "host/AgentxLink.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "host/SnmpHost.h"
#include "host/Systemd.h"
#include "kiv/Exception.h"
#include "platform/Log.h"
#include "platform/Snmp/NetSnmp.h"
#include "platform/Snmp/NetSnmpLoop.h"
#include "platform/Status.h"

#include <net-snmp/agent/agent_callbacks.h>

namespace Host {
namespace {

constexpr std::string_view kRefusal = "registering pdu failed: ";

// The AgentX errors a master answers a registration with.
Kiv::String8 agentxError(long code) {
  switch (code) {
    case 263:
      return "duplicateRegistration (another subagent already serves it)";
    case 264:
      return "unknownRegistration";
    case 266:
      return "parseError";
    case 267:
      return "requestDenied";
    case 268:
      return "processingError";
    default:
      return "error " + std::to_string(code);
  }
}

}  // namespace

AgentxLink::AgentxLink(Kiv::String8 socket, std::function<void()> onReady)
    : socket_(std::move(socket)), onReady_(std::move(onReady)) {
  // The link says why it waits, once per reason, instead of net-snmp's line at every retry.
  netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_NO_CONNECTION_WARNINGS, 1);
  snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START, opened, this);
  snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_STOP, lost, this);
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, logged, this);
  Status::is("agent", "connecting to the AgentX master at " + socket_);
}

AgentxLink::~AgentxLink() {
  if (probing_) Snmp::eventLoop().timerDel(*probing_);
  snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START, opened, this, 1);
  snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_STOP, lost, this, 1);
  snmp_unregister_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, logged, this, 1);
}

int AgentxLink::opened(int, int, void*, void* link) {
  auto* self = static_cast<AgentxLink*>(link);
  self->connected_ = true;
  ++self->sessions_;
  self->refused_ = 0;
  return 0;
}

int AgentxLink::lost(int, int, void*, void* link) {
  static_cast<AgentxLink*>(link)->connected_ = false;
  return 0;
}

int AgentxLink::logged(int, int, void* message, void* link) {
  const char* text = static_cast<const snmp_log_message*>(message)->msg;
  if (text && std::string_view(text).starts_with(kRefusal)) {
    static_cast<AgentxLink*>(link)->refused_ = std::strtol(text + kRefusal.size(), nullptr, 10);
  }
  return 0;
}

void AgentxLink::check() {
  if (!connected_) {
    if (!probing_) {
      // net-snmp tries again every ping interval; the reason is looked at as often.
      const int interval = std::max(
          1, netsnmp_ds_get_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_AGENTX_PING_INTERVAL));
      probing_ =
          Snmp::eventLoop().timerIs(interval, true, "AgentX master probe", [this] { probe(); });
      probe();
    }
    return;
  }
  if (probing_) Snmp::eventLoop().timerDel(*probing_);
  probing_.reset();
  if (seen_ == sessions_) return;
  seen_ = sessions_;
  waitingFor_.clear();
  if (refused_) {
    const Kiv::String8 message = "the AgentX master at " + socket_ +
                                 " refused to register the VRRP-MIB: " + agentxError(refused_);
    if (!ready_) throw Kiv::RangeException(message);
    Log::error(message);
    Status::is("agent", message);
    return;
  }
  if (!ready_) {
    ready_ = true;
    onReady_();
  } else {
    Log::info("registered with the AgentX master at " + socket_ + " again");
    Status::is("agent", Systemd::serving(socket_));
  }
}

void AgentxLink::probe() {
  if (connected_) return;
  // The transport net-snmp connects with, opened and closed at once: a master that accepts it
  // will take net-snmp's next try, and no reason is told.
  const Kiv::String8 reason = whyNotOpened(false, "agentx", socket_);
  if (reason.empty() || reason == waitingFor_) return;
  waitingFor_ = reason;
  const Kiv::String8 waiting = "waiting for the AgentX master at " + socket_ + ": " + reason;
  Log::warning(waiting);
  Status::is("agent", waiting);
}

}  // namespace Host
