#pragma once
// Debian's own snmpd, unprivileged, on a private loopback port and with a private
// configuration: the master agent for AgentX and plug-in tests. A system snmpd is never used.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/integration/Process.h"
#include "tests/integration/TempDir.h"

namespace Harness {

class StockSnmpd {
 public:
  // The configuration starts with `rocommunity <probeCommunity> 127.0.0.1`; start() uses that
  // community to see whether the agent answers.
  explicit StockSnmpd(std::string probeCommunity = "public");
  ~StockSnmpd();
  StockSnmpd(const StockSnmpd&) = delete;
  StockSnmpd& operator=(const StockSnmpd&) = delete;

  // snmpd.conf lines; they take effect at the next start().
  StockSnmpd& configLine(const std::string& line);
  StockSnmpd& rocommunity(const std::string& community, const std::string& source = "127.0.0.1");
  StockSnmpd& rwcommunity(const std::string& community, const std::string& source = "127.0.0.1");
  // `master agentx` with its socket in the private folder (see agentxSocket()).
  StockSnmpd& masterAgentx();
  StockSnmpd& dlmod(const std::string& module, const std::string& sharedObject);
  // address: "127.0.0.1:PORT", e.g. SnmpTrapReceiver::address().
  StockSnmpd& trap2sink(const std::string& address, const std::string& community = "public");

  // MIBS= SNMP_PERSISTENT_DIR=dir snmpd -f -Lo -C -c conf -I -smux,mteTrigger,mteTriggerConf
  // udp:127.0.0.1:PORT, then polls sysDescr.0 until the agent answers. Throws
  // std::runtime_error with snmpd's output when it does not.
  void start(Millis timeout = Millis(60'000));
  void stop();

  std::uint16_t port() const { return port_; }
  // "127.0.0.1:PORT", for the tools.
  std::string address() const;
  // Path of the AgentX socket for a subagent; empty unless masterAgentx() was called.
  const std::string& agentxSocket() const { return agentxSocket_; }
  std::string log() const;  // snmpd logs to stdout (-Lo)
  Process* process() { return process_.get(); }
  const TempDir& dir() const { return dir_; }

 private:
  TempDir dir_{"fhrp-snmpd"};
  std::string probeCommunity_;
  std::vector<std::string> config_;
  std::string agentxSocket_;
  std::uint16_t port_ = 0;
  std::unique_ptr<Process> process_;
};

}  // namespace Harness
