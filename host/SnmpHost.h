// SPDX-License-Identifier: Apache-2.0
#pragma once
// Hosting net-snmp's agent in fhrp-snmpd: a standalone master agent or an AgentX
// subagent, on one event loop that also serves our own file descriptors.
#include <functional>

#include "host/Options.h"
#include "kiv/Types.h"

namespace Host {

// Opens `address` as net-snmp would for `application` ("snmp", "snmptrap", "agentx") and closes
// it again: empty when it opened, else why not, in the system's words (net-snmp itself only
// says that it could not).
Kiv::String8 whyNotOpened(bool server, const char* application, const Kiv::String8& address);

class SnmpHost {
 public:
  explicit SnmpHost(const Options& options);
  ~SnmpHost();
  SnmpHost(const SnmpHost&) = delete;
  SnmpHost& operator=(const SnmpHost&) = delete;

  // Before registering MIB handlers: library settings and init_agent.
  void initAgent();
  // After registering: reads configuration (and opens the AgentX session). A value that no
  // configuration line carries, or a line net-snmp rejects, raises Kiv::RangeException.
  void open();
  // A standalone agent, after open(): opens the listening ports. Empty when they are open, else
  // the first address that no interface holds yet, which waiting may mend (see AddressWait.h);
  // any other failure (a port in use) raises Kiv::RangeException.
  Kiv::String8 listen();
  // Serves requests until stop() is called (from a callback on the loop).
  void run(const std::function<void()>& afterEachTurn);
  void stop() { running_ = false; }
  // The start succeeded: net-snmp's persistent state (the engine's boot counter, SNMPv3 users
  // made with createUser) is written now, in case the process is killed later, and again when
  // it ends.
  void commit();
  // Writes that state again (SIGHUP); nothing before commit().
  void store();

 private:
  void configure();
  const Options& options_;
  bool running_ = false;
  bool initialised_ = false;
  bool committed_ = false;
};

}  // namespace Host
