#pragma once
// net-snmp's snmptrapd as a notification sink on a private loopback port.
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/integration/Process.h"
#include "tests/integration/TempDir.h"
#include "tests/integration/VarBind.h"

namespace Harness {

struct Trap {
  std::string transport;          // "UDP: [127.0.0.1]:40854->[127.0.0.1]:16162"
  std::string security;           // "TRAP2, SNMP v2c, community public"
  std::vector<VarBind> varbinds;  // as sent; v2c starts with sysUpTime.0 and snmpTrapOID.0
  std::string text;               // the record as logged, separators included

  std::string trapOid() const;    // value of snmpTrapOID.0; empty when absent
  std::string community() const;  // from `security`; empty for SNMPv3
  const VarBind* find(const std::string& oid) const;
};

class SnmpTrapReceiver {
 public:
  SnmpTrapReceiver();
  ~SnmpTrapReceiver();
  SnmpTrapReceiver(const SnmpTrapReceiver&) = delete;
  SnmpTrapReceiver& operator=(const SnmpTrapReceiver&) = delete;

  // Starts `snmptrapd -f -C -c conf -Lf log -n -On -F ... udp:127.0.0.1:PORT` with
  // `disableAuthorization yes` (every community and version is logged) and returns once it
  // listens. Throws std::runtime_error with snmptrapd's output when it does not come up.
  void start(Millis timeout = Millis(30'000));
  void stop();

  std::uint16_t port() const { return port_; }
  // "127.0.0.1:PORT": what trap2sink, snmptrap and the daemon's --trap-sink take.
  std::string address() const;

  // Everything received so far, in arrival order.
  std::vector<Trap> traps();
  // The earliest trap that no earlier wait returned and that satisfies `match`.
  std::optional<Trap> waitForTrap(const std::function<bool(const Trap&)>& match,
                                  Millis timeout = Millis(30'000));
  // ... whose logged record contains `containing` (beware: ".1.2.1" also matches ".1.2.10").
  std::optional<Trap> waitForTrap(const std::string& containing, Millis timeout = Millis(30'000));
  // ... whose snmpTrapOID.0 is exactly `trapOid`.
  std::optional<Trap> waitForTrapOid(const std::string& trapOid, Millis timeout = Millis(30'000));

  std::string log() const;
  const TempDir& dir() const { return dir_; }

 private:
  void readNewRecords();

  TempDir dir_{"fhrp-snmptrapd"};
  std::uint16_t port_ = 0;
  std::filesystem::path logPath_;
  std::unique_ptr<Process> process_;
  std::vector<Trap> traps_;
  std::vector<bool> returned_;
  std::size_t parsedUpTo_ = 0;
};

// One logged record: transport, security and bindings, separated by the unit separator.
Trap parseTrapRecord(const std::string& record);

}  // namespace Harness
