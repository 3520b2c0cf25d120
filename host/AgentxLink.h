#pragma once
// The subagent's link to its AgentX master, told as an operator needs it. net-snmp retries a
// master that is not there (yet) on its own but says so with an empty reason on every try, and
// registers the MIB when the link comes up, reporting a refusal only as a number. This reads
// those events from net-snmp's log (DaemonLog's filter) and the link's state after each turn of
// the loop, and says once: waiting for the master (with the system's reason), registered
// (the first time: the daemon is ready), or refused (with the master's reason in words).
#include <functional>

#include "kiv/Types.h"

namespace Host {

class AgentxLink {
 public:
  // `onReady` runs once, when the MIB is first registered with the master.
  AgentxLink(Kiv::String8 socket, std::function<void()> onReady);
  ~AgentxLink();
  AgentxLink(const AgentxLink&) = delete;
  AgentxLink& operator=(const AgentxLink&) = delete;

  // Looks at the link; call after each turn of the agent's loop. Before the first
  // registration, a refused one raises Kiv::RangeException (a start that cannot serve).
  void check();

 private:
  bool line(int priority, const Kiv::String8& text, int error);

  Kiv::String8 socket_;
  std::function<void()> onReady_;
  Kiv::String8 waitingFor_;  // the reason last told, while the master is away
  long refused_ = 0;         // the master's error for the last registration, 0 if none
  bool registered_ = false;
  bool ready_ = false;
};

}  // namespace Host
