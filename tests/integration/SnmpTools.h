#pragma once
// net-snmp's own programs around the code under test: the command-line tools as the manager
// (their -On output parsed), snmptrapd as notification sink, Debian's snmpd as master agent.
// None of them reads a MIB or the machine's configuration: MIBS= MIBDIRS=/nonexistent, and
// SNMPCONFPATH and SNMP_PERSISTENT_DIR in private folders.
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/integration/Process.h"

namespace Harness {

using Oid = std::vector<std::uint32_t>;
Oid parseOid(const std::string& text);  // ".1.3.6.1" -> {1, 3, 6, 1}
std::string oidText(const Oid& oid);    // ".1.3.6.1"
Oid operator+(Oid oid, const Oid& tail);

struct VarBind {
  std::string oid;    // ".1.3.6.1.2.1.1.1.0"
  std::string type;   // as printed ("INTEGER", "STRING", "Hex-STRING", "IpAddress", "Timeticks",
                      // "OID"), or "noSuchObject", "noSuchInstance", "endOfMibView"
  std::string value;  // STRING unquoted, Timeticks as the tick count, others as printed
  // The octets of a STRING or Hex-STRING: the tools pick the form by printability.
  std::string octets() const;
  bool operator==(const VarBind& other) const = default;
};
std::ostream& operator<<(std::ostream& out, const VarBind& vb);
// One binding per line that starts with ".digits = ".
std::vector<VarBind> parseVarBinds(const std::string& output);

struct CommandResult {
  std::string command;
  int exitCode = -1;  // -1: killed at its timeout
  std::string out, err;
  std::vector<VarBind> varbinds;  // parsed from `out`; a walk's endOfMibView marker dropped
  bool ok() const { return exitCode == 0; }
  std::string describe() const;
};

// argv to completion in the private SNMP environment; killed by PID after `timeout`.
CommandResult runCommand(const std::vector<std::string>& argv, Millis timeout = Millis(120'000));
const Env& snmpEnvironment();

// `tool -On -t 2 -r 2 options... agent operands...`; later options override these defaults.
// For snmpset the operands are OID, type letter, value triples.
CommandResult snmp(const std::string& tool, const std::string& agent,
                   const std::vector<std::string>& operands,
                   const std::vector<std::string>& options = {"-v2c", "-cpublic"});
// The single binding of an SNMPv2c GET with community public (empty when there is none).
VarBind getOne(const std::string& agent, const std::string& oid);

// Debian's snmpd, unprivileged, on a private port with the configuration lines given after
// `rocommunity public 127.0.0.1` and an AgentX socket in its folder (used with "master agentx").
class StockSnmpd {
 public:
  explicit StockSnmpd(std::vector<std::string> config);
  // Returns once sysDescr.0 is answered; throws with snmpd's output when it is not.
  void start();
  void stop() { process_.reset(); }
  std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
  std::string agentxSocket() const { return (dir_ / "agentx.sock").string(); }
  std::string log() const;

 private:
  TempDir dir_{"fhrp-snmpd"};
  std::vector<std::string> config_;
  std::uint16_t port_ = 0;
  std::unique_ptr<Process> process_;
};

struct Trap {
  std::vector<VarBind> varbinds;  // as sent: sysUpTime.0, snmpTrapOID.0, then the objects
  const VarBind* find(const std::string& oid) const;
};

// snmptrapd, logging whatever arrives (every community and version), started by the constructor.
class SnmpTrapReceiver {
 public:
  SnmpTrapReceiver();
  std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
  // The earliest trap that satisfies `match` and that no earlier wait returned.
  std::optional<Trap> waitForTrap(const std::function<bool(const Trap&)>& match, Millis timeout);
  std::string log() const { return readFile(dir_ / "traps.log"); }

 private:
  TempDir dir_{"fhrp-snmptrapd"};
  std::uint16_t port_ = 0;
  std::unique_ptr<Process> process_;
  std::size_t returned_ = 0;  // traps before this one in the log were returned or skipped
};

}  // namespace Harness
