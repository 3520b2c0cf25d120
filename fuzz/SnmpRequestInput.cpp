#include "fuzz/Inputs.h"
#include "fuzz/MemoryTransport.h"
#include "tests/support/InProcessAgent.h"

namespace FhrpFuzz {
namespace {

bool startAgent() {
  FhrpTest::InProcessAgent::instance();
  // Write access, so that a SET reaches the module and is refused there, not by access
  // control: whatever the message, nothing may change.
  char community[] = "rwcommunity public 127.0.0.1";
  netsnmp_config(community);
  netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_DONT_LOG_TCPWRAPPERS_CONNECTS,
                         1);
  return true;
}

// The agent and its listening address, built once per process.
MemoryTransport& transport() {
  [[maybe_unused]] static const bool started = startAgent();
  static MemoryTransport t;
  return t;
}

}  // namespace

void snmpRequest(std::string_view input) {
  transport().deliver(input);
}

}  // namespace FhrpFuzz
