// SPDX-License-Identifier: Apache-2.0
// The machines fed as the daemon feeds them: documents applied by the publisher, which
// removes a member by its own notification. After any change, the model must be what
// mirroring the new document into an empty tree gives: no row left behind, none missing.
#include <gtest/gtest.h>

#include <functional>
#include <sstream>

#include "FhrpSnmp/Agent.h"
#include "tests/FhrpSnmp/FakeTrapNewMaster.h"
#include "zentra/StatePublisher.h"

namespace {

using Lirex::IntfId;
using Lirex::IpAddr;
using Zentra::StateDocument;

const IntfId kEth1("Ethernet1");
const IntfId kEth2("Ethernet2");

struct Mirrored {
  Zentra::StateTree tree;
  Zentra::StatePublisher publisher{tree};
  Kiv::Ptr<FhrpSnmp::VrrpMib> mib = FhrpSnmp::vrrpMibFactory("vrrpMIB");
  Kiv::Ptr<FhrpSnmp::Agent> agent = FhrpSnmp::agentFactory("agent");

  Mirrored() {
    agent->vrrpMibIs(mib);
    agent->vrrpMibSmIs(tree.fhrpConfig(), tree.vrrpStatus(), tree.allIntfStatus(), tree.ipStatus(),
                       mib);
  }
  std::string model() const {
    std::ostringstream os;
    for (auto it = mib->operTableIter(); !it.atEnd(); ++it) {
      os << "oper " << it.key() << " master " << it.value()->masterIpAddr() << " state "
         << static_cast<int>(it.value()->fhrpState()) << "\n";
    }
    for (auto it = mib->assoIpAddrTableIter(); !it.atEnd(); ++it) os << "asso " << it.key() << "\n";
    for (auto it = mib->routerStatsTableIter(); !it.atEnd(); ++it) {
      os << "stats " << it.key() << "\n";
    }
    return os.str();
  }
};

StateDocument base() {
  return Zentra::parseStateDocument(R"({
    "interfaces": { "Ethernet1": { "ifIndex": 1 }, "Ethernet2": { "ifIndex": 2 } },
    "ip": { "Ethernet1": { "activeAddrWithMask": "192.0.2.2/24" },
            "Ethernet2": { "activeAddrWithMask": "198.51.100.2/24" } },
    "vrrpConfig": { "Ethernet1": { "5": {}, "6": {} }, "Ethernet2": { "7": {} } },
    "vrrpStatus": {
      "Ethernet1": {
        "5": { "state": "master", "priority": 200, "srcAddr": "192.0.2.2",
               "virtualMacAddr": "00:00:5e:00:01:05",
               "ipAddrs": { "192.0.2.1": true, "192.0.2.11": true } },
        "6": { "state": "backup", "priority": 100, "srcAddr": "192.0.2.3",
               "virtualMacAddr": "00:00:5e:00:01:06", "ipAddrs": { "192.0.2.6": true } } },
      "Ethernet2": {
        "7": { "state": "master", "priority": 100, "srcAddr": "0.0.0.0",
               "virtualMacAddr": "00:00:5e:00:01:07", "ipAddrs": { "198.51.100.1": true } } } }
  })");
}

struct Change {
  const char* name;
  std::function<void(StateDocument&)> apply;
};

TEST(PublishedMirror, EveryChangeLeavesTheModelOfTheNewDocument) {
  const Change changes[] = {
      {"an address leaves",
       [](auto& d) { d.vrrpStatus[kEth1][5].ipAddrs.erase(IpAddr(192, 0, 2, 11)); }},
      {"an address turns false",
       [](auto& d) { d.vrrpStatus[kEth1][5].ipAddrs[IpAddr(192, 0, 2, 1)] = false; }},
      {"every address leaves", [](auto& d) { d.vrrpStatus[kEth1][5].ipAddrs.clear(); }},
      {"a router leaves the configuration", [](auto& d) { d.vrrpConfig[kEth1].erase(5); }},
      {"a router leaves the status", [](auto& d) { d.vrrpStatus[kEth1].erase(6); }},
      {"every router of an interface leaves", [](auto& d) { d.vrrpConfig[kEth1].clear(); }},
      {"an interface leaves the configuration", [](auto& d) { d.vrrpConfig.erase(kEth1); }},
      {"an interface leaves the status", [](auto& d) { d.vrrpStatus.erase(kEth2); }},
      {"an interface changes its ifIndex", [](auto& d) { d.interfaces[kEth1] = 11; }},
      {"an interface goes", [](auto& d) { d.interfaces.erase(kEth1); }},
      {"an interface loses its address", [](auto& d) { d.ip.erase(kEth1); }},
      {"every interface loses its address", [](auto& d) { d.ip.clear(); }},
      {"an interface changes its address",
       [](auto& d) {
         d.ip[kEth2] = Lirex::strepToValue<Lirex::IpAddrWithMask>("198.51.100.9/24");
       }},
      {"a router leaves version 2", [](auto& d) { d.vrrpConfig[kEth1][5].version = 3; }},
      {"a master becomes backup",
       [](auto& d) { d.vrrpStatus[kEth2][7].state = Routing::Fhrp::FhrpState::backup; }},
      {"everything goes", [](auto& d) { d = StateDocument(); }},
  };
  for (const Change& change : changes) {
    SCOPED_TRACE(change.name);
    StateDocument changed = base();
    change.apply(changed);
    Mirrored fresh, there, back;
    fresh.publisher.apply(changed);
    there.publisher.apply(base());
    there.publisher.apply(changed);
    EXPECT_EQ(there.model(), fresh.model());
    // And undone: from the changed document back to the base.
    back.publisher.apply(changed);
    back.publisher.apply(base());
    Mirrored original;
    original.publisher.apply(base());
    EXPECT_EQ(back.model(), original.model());
  }
}

}  // namespace
