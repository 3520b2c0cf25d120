// SPDX-License-Identifier: Apache-2.0
#pragma once
// A net-snmp master agent inside the test process, for module tests that must go through
// net-snmp's real request processing (registrations, helpers, VACM).
//
// Requests are real PDUs sent with snmp_synch_response through an internal-query session
// (net-snmp's callback transport): synchronous, on the test's thread, no network. Each
// request carries its varbinds in the order given, so multi-varbind GET and GETNEXT are
// exercised as a manager would send them.
//
// The agent listens on no port, reads no configuration from the machine (configuration,
// persistent and MIB directories are a private temporary directory, MIBS is empty), runs
// alarms from its event loop only (no SIGALRM), and grants the internal user read-write
// access to everything in every context, so that a SET reaches the handlers and what is
// refused is refused by the registration, not by access control.
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace FhrpTest {

using Oid = std::vector<oid>;

struct VarBind {
  Oid name;
  u_char type = ASN_NULL;
  long integer = 0;                 // INTEGER, Unsigned32, Gauge32, Counter32, TimeTicks
  std::vector<u_char> octets = {};  // OCTET STRING, IpAddress, Opaque
};

struct Response {
  long errorStatus = SNMP_ERR_NOERROR;
  long errorIndex = 0;
  std::vector<VarBind> varBinds;
};

std::string toString(const Oid& name);  // ".1.3.6.1"

class InProcessAgent {
 public:
  // Initialises net-snmp's agent in this process on first use.
  static InProcessAgent& instance();

  Response get(const std::vector<Oid>& names);
  Response getNext(const std::vector<Oid>& names);

  // The varbinds under root, by GETNEXT requests, as a manager's walk collects them: up to the
  // first name outside root or endOfMibView. A request that fails ends the walk with its error
  // status and index.
  Response walk(const Oid& root);

  // One non-blocking pass of the agent's event loop (agent_check_and_process(0)): runs
  // due alarms.
  void runEventLoopOnce();

 private:
  InProcessAgent();
  ~InProcessAgent();
  InProcessAgent(const InProcessAgent&) = delete;
  InProcessAgent& operator=(const InProcessAgent&) = delete;

  Response request(int command, const std::vector<Oid>& names);

  std::string directory_;
  netsnmp_session* session_ = nullptr;
};

}  // namespace FhrpTest
