// SPDX-License-Identifier: Apache-2.0
#pragma once
// The subagent's link to its AgentX master, told as an operator needs it: waiting for the
// master (once per reason, in the system's words), registered (the first time: the daemon is
// ready; later: again, after the master restarted), or refused (with the master's reason in
// words). Each is also the agent's status line (platform/Status.h), which systemd shows.
//
// What net-snmp tells through public callbacks: a session to the master opened
// (SNMPD_CALLBACK_INDEX_START, right before it registers the MIB again) and lost
// (SNMPD_CALLBACK_INDEX_STOP). Why it cannot connect it only logs, and retries on its own:
// while there is no session, the link opens the same transport itself to learn the reason, and
// net-snmp's own warning is switched off. The master's answer to a registration net-snmp 5.9.3
// passes to no callback and keeps in no state: it only logs a refusal, at LOG_ERR, as
// "registering pdu failed: CODE!" (agentx/client.c). That one line is the only log text read.
#include <functional>
#include <optional>

#include "kiv/Types.h"
#include "platform/Loop/EventLoop.h"

namespace Host {

class AgentxLink {
 public:
  // `onReady` runs once, when the MIB is first registered with the master. Construct before
  // init_snmp, which connects.
  AgentxLink(Kiv::String8 socket, std::function<void()> onReady);
  ~AgentxLink();
  AgentxLink(const AgentxLink&) = delete;
  AgentxLink& operator=(const AgentxLink&) = delete;

  // Looks at the link: after init_snmp, then after each turn of the agent's loop (a session's
  // registrations are sent and answered within the turn that opens it). Before the first
  // registration, a refused one raises Kiv::RangeException (a start that cannot serve).
  void check();

 private:
  static int opened(int, int, void*, void* link);
  static int lost(int, int, void*, void* link);
  static int logged(int, int, void* message, void* link);
  void probe();

  Kiv::String8 socket_;
  std::function<void()> onReady_;
  bool connected_ = false;
  unsigned long sessions_ = 0;  // sessions opened so far
  unsigned long seen_ = 0;      // of which check() has told
  long refused_ = 0;            // the master's error for this session's registration, 0 if none
  std::optional<Loop::EventLoop::TimerId> probing_;
  Kiv::String8 waitingFor_;  // the reason last told, while the master is away
  bool ready_ = false;
};

}  // namespace Host
