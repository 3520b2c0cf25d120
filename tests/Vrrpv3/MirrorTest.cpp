// SPDX-License-Identifier: Apache-2.0
// The VRRPv3 mirroring fed through the one publisher, as the daemon feeds it: which routers get
// rows, what the rows say, and which notifications go out.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Vrrpv3/Vrrpv3Sm.h"
#include "platform/Loop/FakeEventLoop.h"
#include "snmpv3/Vrrpv3Notifications.h"
#include "zentra/StatePublisher.h"

namespace {
std::vector<std::string> sent;
}  // namespace

void Snmp::vrrpv3NewMasterNotify(U32 ifIndex, U32 vrId, Lirex::AddrFamily family,
                                 const Lirex::InetAddr& master, int reason) {
  sent.push_back("newMaster " + std::to_string(ifIndex) + "." + std::to_string(vrId) + "." +
                 std::to_string(static_cast<int>(family)) + " " + Lirex::valueToStrep(master) +
                 " " + std::to_string(reason));
}
void Snmp::vrrpv3ProtoErrorNotify(U32 ifIndex, U32 vrId, Lirex::AddrFamily family, int reason) {
  sent.push_back("protoError " + std::to_string(ifIndex) + "." + std::to_string(vrId) + "." +
                 std::to_string(static_cast<int>(family)) + " " + std::to_string(reason));
}

namespace Vrrpv3 {
namespace {

using Lirex::AddrFamily;
using Lirex::InetAddr;
using Lirex::IntfId;
using Routing::Fhrp::FhrpState;
using Zentra::StateDocument;

const IntfId kEth1("eth1");
const IntfId kEth2("eth2");
const OperIndex kV4{2, 6, AddrFamily::ipv4};
const OperIndex kV6{2, 6, AddrFamily::ipv6};

InetAddr addr(const char* text) {
  return Lirex::strepToValue<InetAddr>(text);
}

struct MirrorTest : ::testing::Test {
  MirrorTest() {
    sent.clear();
    doc = Zentra::parseStateDocument(R"({
      "interfaces": {"eth1": {"ifIndex": 2}, "eth2": {"ifIndex": 3}},
      "ip": {"eth1": {"activeAddrWithMask": "192.0.2.2/24"}},
      "vrrpConfig": {"eth1": {"5": {"version": 2}, "6": {"version": 3, "priority": 150}},
                     "eth2": {"7": {"version": 3}}},
      "vrrpStatus": {"eth1": {
        "5": {"state": "master", "priority": 100, "srcAddr": "192.0.2.2",
              "virtualMacAddr": "00:00:5e:00:01:05", "ipAddrs": {"192.0.2.1": true}},
        "6": {"state": "backup", "priority": 150, "srcAddr": "192.0.2.3",
              "virtualMacAddr": "00:00:5e:00:01:06", "ipAddrs": {"192.0.2.106": true}}}},
      "vrrpStatusV6": {"eth1": {
        "5": {"state": "backup", "priority": 100, "srcAddr": "::",
              "virtualMacAddr": "00:00:5e:00:02:05", "ipAddrs": {}},
        "6": {"state": "backup", "priority": 150, "srcAddr": "fe80::3", "primaryAddr": "fe80::2",
              "virtualMacAddr": "00:00:5e:00:02:06",
              "ipAddrs": {"2001:db8::1": true, "2001:db8::2": false}}}}
    })");
    publisher.apply(doc);
    sm = Kiv::make<Vrrpv3Sm>(
        Vrrpv3Sm::Inputs{tree.vrrpConfig(), tree.vrrpStatus(), tree.vrrpStatusV6(),
                         tree.allIntfStatus(), tree.ipStatus(), tree.vrrpStatistics()},
        mib, loop);
  }
  StateDocument::VirtualRouterStatus& v4() { return doc.vrrpStatus[kEth1][6]; }
  StateDocument::VirtualRouterStatusV6& v6() { return doc.vrrpStatusV6[kEth1][6]; }
  Kiv::Ptr<OperationsEntry> row(const OperIndex& i) const { return mib->operationsTable(i); }
  std::vector<OperIndex> rows() const {
    std::vector<OperIndex> keys;
    for (const auto& [key, r] : mib->operationsTableCollection()->members()) keys.push_back(key);
    return keys;
  }

  Zentra::StateTree tree;
  Zentra::StatePublisher publisher{tree};
  StateDocument doc;
  Loop::FakeEventLoop loop;
  Kiv::Ptr<Vrrpv3Mib> mib = Kiv::make<Vrrpv3Mib>("vrrpv3MIB", tree.vrrpStatistics());
  Kiv::Ptr<Vrrpv3Sm> sm;
};

// A dual-stack version 3 router has a row per family; the version 2 router (even with an IPv6
// status) and a router without status have none; rows come and go with version and ifIndex.
TEST_F(MirrorTest, RowsPerVersion3RouterAndFamily) {
  EXPECT_EQ(rows(), (std::vector<OperIndex>{kV4, kV6}));
  EXPECT_EQ(mib->associatedIpAddrTableCollection()->size(), 2u);
  EXPECT_TRUE(mib->associatedIpAddrTable({2, 6, AddrFamily::ipv6, addr("2001:db8::1")}));
  EXPECT_EQ(row(kV4)->masterIpAddr(), addr("192.0.2.3"));
  EXPECT_EQ(row(kV4)->primaryIpAddr(), addr("192.0.2.2"));
  EXPECT_EQ(row(kV6)->masterIpAddr(), addr("fe80::3"));
  EXPECT_EQ(row(kV6)->primaryIpAddr(), addr("fe80::2"));
  EXPECT_FALSE(row(kV4)->acceptMode());
  EXPECT_EQ(row(kV4)->discontinuityAt(), 0.0);  // there when the agent started

  doc.vrrpConfig[kEth1][5].version = 3;
  doc.vrrpConfig[kEth1][6].version = 2;
  doc.interfaces[kEth1] = 9;
  publisher.apply(doc);
  EXPECT_EQ(rows(), (std::vector<OperIndex>{{9, 5, AddrFamily::ipv4}, {9, 5, AddrFamily::ipv6}}));
  EXPECT_EQ(mib->associatedIpAddrTableCollection()->size(), 1u);
  EXPECT_EQ(row({9, 5, AddrFamily::ipv4})->discontinuityAt(), loop.now());
  publisher.apply(StateDocument{});
  EXPECT_EQ(mib->operationsTableCollection()->size(), 0u);
  EXPECT_EQ(mib->associatedIpAddrTableCollection()->size(), 0u);
  EXPECT_EQ(sent, std::vector<std::string>{});
}

// Entries into master count and notify with their reason; a shutdown reads notInService.
TEST_F(MirrorTest, TransitionsReasonsAndShutdown) {
  v4().state = FhrpState::master;  // the master it heard stopped: masterNoResponse
  v6().statistics.masterPriority = 100;
  v6().state = FhrpState::master;  // it heard a lower priority and preempts
  publisher.apply(doc);
  EXPECT_EQ(row(kV4)->newMasterReason(), NewMasterReason::masterNoResponse);
  EXPECT_EQ(row(kV6)->newMasterReason(), NewMasterReason::preempted);
  EXPECT_EQ(row(kV4)->masterIpAddr(), addr("192.0.2.2"));
  EXPECT_EQ(row(kV6)->masterIpAddr(), addr("fe80::2"));
  v4().state = FhrpState::initialize;
  doc.vrrpConfig[kEth1][6].adminState = Interface::IntfEnabledState::disabled;
  publisher.apply(doc);
  EXPECT_EQ(row(kV4)->newMasterReason(), NewMasterReason::notMaster);
  EXPECT_EQ(row(kV4)->masterIpAddr(), InetAddr());
  EXPECT_FALSE(row(kV4)->active());
  v4().state = FhrpState::master;
  publisher.apply(doc);
  EXPECT_EQ(row(kV4)->newMasterReason(), NewMasterReason::priority);
  EXPECT_EQ(row(kV4)->masterTransitions(), 2u);
  EXPECT_EQ(row(kV6)->masterTransitions(), 1u);
  EXPECT_EQ(sent,
            (std::vector<std::string>{"newMaster 2.6.1 192.0.2.2 3", "newMaster 2.6.2 fe80::2 2",
                                      "newMaster 2.6.1 192.0.2.2 1"}));
}

// Error counts set the reason and notify once a minute per reason; a count that goes down is a
// discontinuity, also of the router-wide counters.
TEST_F(MirrorTest, ProtocolErrorsAndDiscontinuities) {
  for (U64 count = 1; count <= 3; ++count) {
    v6().statistics.ipTtlErrors = count;
    publisher.apply(doc);
    loop.advance(30);  // sent at 0 and 60 s, not at 30
  }
  v6().statistics.checksumErrors = 1;
  publisher.apply(doc);
  EXPECT_EQ(row(kV6)->protoErrReason(), ProtoErrReason::checksumError);
  EXPECT_EQ(sent, (std::vector<std::string>{"protoError 2.6.2 1", "protoError 2.6.2 1",
                                            "protoError 2.6.2 3"}));
  v6().statistics.ipTtlErrors = 0;
  publisher.apply(doc);
  EXPECT_EQ(row(kV6)->discontinuityAt(), loop.now());
  EXPECT_EQ(row(kV4)->discontinuityAt(), 0.0);
  doc.vrrpStatistics.vrIdErrors = 5;
  publisher.apply(doc);
  EXPECT_EQ(mib->globalDiscontinuityAt(), 0.0);
  loop.advance(1);
  doc.vrrpStatistics.vrIdErrors = 1;
  publisher.apply(doc);
  EXPECT_EQ(mib->globalDiscontinuityAt(), loop.now());
}

}  // namespace
}  // namespace Vrrpv3
