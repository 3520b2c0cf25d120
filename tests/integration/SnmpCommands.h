#pragma once
// net-snmp's command-line tools as the manager side of integration tests.
//
// Every tool runs with MIBS= and MIBDIRS=/nonexistent (no MIB file is ever read: Debian ships
// none of the IETF ones, and whatever a machine happens to have must not change the output),
// SNMPCONFPATH at an empty private folder (/etc/snmp/snmp.conf and ~/.snmp stay out) and
// SNMP_PERSISTENT_DIR in a private folder (never /var/lib/snmp).
//
// Output options: -On (numeric OIDs, the only kind that exists without MIBs) and -Oe (numeric
// enums, should a MIB ever be loaded). Not -Ob: it only changes how symbolic indexes print, so
// it is redundant with -On. Not -Ot: it drops the "Timeticks:" type word; the parser extracts the
// tick count instead. Not -Ox: text stays readable; VarBind::octets() gives the bytes of either
// form, and a test that needs hex throughout passes "-Ox" in SnmpOptions::extraArgs.
#include <chrono>
#include <string>
#include <vector>

#include "tests/integration/Process.h"
#include "tests/integration/VarBind.h"

namespace Harness {

// `out` and `err`, not stdout/stderr: those are macros of <cstdio>.
struct CommandResult {
  std::string command;  // argv joined by blanks, for messages
  int exitCode = -1;    // 128 + signal when a signal ended it; -1 when it timed out
  bool timedOut = false;
  std::string out;
  std::string err;

  // The command and its outputs, for assertion messages.
  std::string describe() const;
};

// Runs argv (argv[0] resolved through toolPath) to completion with the SNMP environment above
// plus `env`; killed by PID after `timeout`.
CommandResult runCommand(const std::vector<std::string>& argv, Millis timeout = Millis(120'000),
                         const Env& env = {});

// The environment additions described above (shared by every server the harness starts).
const Env& snmpEnvironment();

struct SnmpOptions {
  std::string version = "2c";  // "1", "2c" or "3" (give -u/-l/... in extraArgs)
  // Per request: -t and -r. A slow answer on a loaded machine is retried, not failed.
  double timeoutSeconds = 2;
  int retries = 2;
  std::vector<std::string> extraArgs;  // e.g. "-Cr10" for snmpbulkwalk, "-n ctx" for a context
};

struct SnmpReply : CommandResult {
  std::vector<VarBind> varbinds;  // parsed from `out`
  bool ok() const { return exitCode == 0 && !timedOut; }
};

// `agent` is anything the tools accept: "udp:127.0.0.1:1161", "127.0.0.1:1161".
SnmpReply snmpget(const std::string& agent, const std::string& community,
                  const std::vector<std::string>& oids, const SnmpOptions& options = {});
SnmpReply snmpgetnext(const std::string& agent, const std::string& community,
                      const std::vector<std::string>& oids, const SnmpOptions& options = {});
SnmpReply snmpwalk(const std::string& agent, const std::string& community, const std::string& root,
                   const SnmpOptions& options = {});
SnmpReply snmpbulkwalk(const std::string& agent, const std::string& community,
                       const std::string& root, const SnmpOptions& options = {});

struct SetValue {
  std::string oid;
  char type;  // snmpset's letters: i u t a o s x d b U I F D
  std::string value;
};
SnmpReply snmpset(const std::string& agent, const std::string& community,
                  const std::vector<SetValue>& values, const SnmpOptions& options = {});

}  // namespace Harness
