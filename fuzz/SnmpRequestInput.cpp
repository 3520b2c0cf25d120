// SPDX-License-Identifier: Apache-2.0
#include "fuzz/Inputs.h"
#include "fuzz/MemoryTransport.h"
#include "fuzz/MirroredState.h"
#include "fuzz/SnmpReplyCheck.h"
#include "kiv/Assert.h"
#include "platform/Snmp/HandlerRegistration.h"
#include "platform/Snmp/SnmpUtil.h"
#include "snmp/VrrpMIB.h"
#include "snmpv3/Vrrpv3MIB.h"
#include "tests/support/InProcessAgent.h"
#include "zentra/StateDocument.h"

namespace FhrpFuzz {
namespace {

// Rows for every table and every kind of value: each router state, both admin states, an
// authentication key, several addresses per router, and the extreme ifIndex and vrId.
constexpr std::string_view kDocument = R"({
  "interfaces": {
    "Ethernet1": {"ifIndex": 1}, "Ethernet2": {"ifIndex": 2},
    "Vlan4094": {"ifIndex": 2147483647}
  },
  "ip": {
    "Ethernet1": {"activeAddrWithMask": "192.0.2.2/24"},
    "Ethernet2": {"activeAddrWithMask": "198.51.100.3/24"},
    "Vlan4094": {"activeAddrWithMask": "203.0.113.2/25"}
  },
  "vrrpConfig": {
    "Ethernet1": {"1": {"priority": 200}, "2": {}, "255": {"preempt": false}},
    "Ethernet2": {"10": {"adminState": "disabled", "authType": "simpleTextPassword",
                         "authKey": "secret", "advertisementInterval": 25500},
                  "20": {"version": 3, "acceptMode": true}},
    "Vlan4094": {"1": {"priority": 255}}
  },
  "vrrpStatus": {
    "Ethernet1": {
      "1": {"state": "master", "priority": 200, "srcAddr": "192.0.2.2",
            "virtualMacAddr": "00:00:5e:00:01:01",
            "ipAddrs": {"192.0.2.1": true, "192.0.2.100": true, "192.0.2.101": false},
            "upSince": 1763760000.25},
      "2": {"state": "backup", "priority": 100, "srcAddr": "192.0.2.3",
            "virtualMacAddr": "00:00:5e:00:01:02", "ipAddrs": {"192.0.2.51": true}},
      "255": {"state": "initialize", "priority": 100, "srcAddr": "0.0.0.0",
              "virtualMacAddr": "00:00:5e:00:01:ff", "ipAddrs": {"192.0.2.255": true}}
    },
    "Ethernet2": {
      "10": {"state": "backup", "priority": 100, "srcAddr": "198.51.100.1",
             "virtualMacAddr": "00:00:5e:00:01:0a", "ipAddrs": {"198.51.100.1": true}}
    },
    "Vlan4094": {
      "1": {"state": "master", "priority": 255, "srcAddr": "203.0.113.2",
            "virtualMacAddr": "00:00:5e:00:01:01",
            "ipAddrs": {"203.0.113.1": true, "203.0.113.126": true, "255.255.255.255": true},
            "upSince": 1}
    }
  },
  "vrrpStatusV6": {
    "Ethernet2": {
      "20": {"state": "backup", "priority": 100, "srcAddr": "fe80::1", "primaryAddr": "fe80::2",
             "virtualMacAddr": "00:00:5e:00:02:14",
             "ipAddrs": {"2001:db8::1": true, "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff": true},
             "statistics": {"advertisementsRcvd": 18446744073709551615}}
    }
  },
  "vrrpStatistics": {"vrIdErrors": 7, "refreshRate": 1000}
})";

// The agent with the module registered over a mirrored model, and the agent's listening
// address, as fhrp-snmpd serves them; built once per process.
struct Served {
  Served() {
    state.publisher.apply(Zentra::parseStateDocument(kDocument), "fuzz");
    state.tree.root()->bind("snmp/vrrp/vrrpMIB", state.mib);
    SnmpUtil::mountRootIs(state.tree.root());
    Snmp::kivInitVrrpMib();
    Snmp::initHandlers("");
    // The VRRPv3-MIB beside it, as the host registers it.
    state.tree.root()->bind(Vrrpv3Snmp::kModelPath, state.v3mib);
    init_Vrrpv3MIB("");

    // Write access, so that a SET reaches the module and is refused there, not by access
    // control: whatever the message, nothing may change.
    char community[] = "rwcommunity public 127.0.0.1";
    netsnmp_config(community);
    netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID,
                           NETSNMP_DS_AGENT_DONT_LOG_TCPWRAPPERS_CONNECTS, 1);
    // net-snmp reports every malformed message it drops; for fuzzed input that is nearly
    // every message. Setup problems above stay visible.
    snmp_disable_log();
    netsnmp_register_loghandler(NETSNMP_LOGHANDLER_STDERR, LOG_CRIT);

    model = state.modelText();
    changes = state.mib->changeCount();
    // A module that is not registered, or a model without its rows, would leave the fuzzer
    // exercising nothing but net-snmp: every address row must be served.
    const auto served = agent.walk({1, 3, 6, 1, 2, 1, 68, 1, 4});
    KIV_ASSERT(state.mib->assoIpAddrTableCollection()->size() == 8 && served.varBinds.size() == 8,
               "the agent does not serve the model's rows:\n" + model);
    v3changes = state.v3mib->changeCount();
    KIV_ASSERT(agent.walk({1, 3, 6, 1, 2, 1, 207, 1, 1, 2}).varBinds.size() == 2,
               "the agent does not serve the VRRPv3-MIB's rows");
  }

  // Before anything that registers with the agent.
  FhrpTest::InProcessAgent& agent = FhrpTest::InProcessAgent::instance();
  MirroredState state;
  U64 v3changes = 0;
  Kiv::String8 model;
  U64 changes = 0;
  MemoryTransport transport;
};

Served& served() {
  static Served s;
  return s;
}

}  // namespace

void snmpRequest(std::string_view input) {
  Served& s = served();
  for (const std::string& reply : s.transport.deliver(input)) checkReply(input, reply);
  KIV_ASSERT(s.state.mib->changeCount() == s.changes && s.state.modelText() == s.model,
             "a request changed the model:\n" + s.state.modelText());
  KIV_ASSERT(s.state.v3mib->changeCount() == s.v3changes, "a request changed the VRRPv3-MIB model");
}

}  // namespace FhrpFuzz
