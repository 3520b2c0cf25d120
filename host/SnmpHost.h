#pragma once
// Hosting net-snmp's agent in fhrp-snmpd: a standalone master agent or an AgentX
// subagent, on one event loop that also serves our own file descriptors.
#include <functional>

#include "host/Options.h"

namespace Host {

class SnmpHost {
 public:
  explicit SnmpHost(const Options& options);
  ~SnmpHost();
  SnmpHost(const SnmpHost&) = delete;
  SnmpHost& operator=(const SnmpHost&) = delete;

  // Before registering MIB handlers: library settings and init_agent.
  void initAgent();
  // After registering: reads configuration and opens the listening ports (or the
  // AgentX session). A port that cannot be opened raises Kiv::RangeException.
  void open();
  // Serves requests until stop() is called (from a callback on the loop).
  void run(const std::function<void()>& afterEachTurn);
  void stop() { running_ = false; }
  // The start succeeded: from now on net-snmp keeps its persistent state when it ends.
  void commit() { committed_ = true; }

 private:
  void configure();
  const Options& options_;
  bool running_ = false;
  bool initialised_ = false;
  bool committed_ = false;
};

}  // namespace Host
