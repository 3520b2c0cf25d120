// SPDX-License-Identifier: Apache-2.0
#include "FhrpSnmp/Agent.h"
#include "FhrpSnmp/TypeRegistration.h"
#include "kiv/Directory.h"
#include "kiv/TypeRegistry.h"
#include "tests/FhrpSnmp/MirrorWorld.h"

namespace Mirror {
namespace {

using FhrpSnmp::Agent;
using FhrpSnmp::VrrpMibEntrySmId;
using PtrList = std::vector<Kiv::Ptr<Kiv::PtrInterface>>;

const IpAddr kOwn(192, 0, 2, 2);

// The agent as the host makes it: by type name, wired through its attributes.
struct AgentTest : World {
  Kiv::Ptr<Agent> agent;

  AgentTest() {
    FhrpSnmp::kivInitFhrpSnmp();
    FhrpSnmp::kivInitFhrpSnmpAgent();
    FhrpSnmp::kivInitFhrpSnmpEntry();
    FhrpSnmp::kivInitFhrpSnmpAgent();  // load hooks may run twice
    agent = Kiv::ptrCast<Agent>(Kiv::newEntity("FhrpSnmp::Agent", "fhrpSnmp"));
    intf(eth1, 1);
    vrConfig(eth1, 5);
    vrStatus(eth1, 5, FhrpState::master, {IpAddr(192, 0, 2, 1)});
    ipAddr(eth1, kOwn);
  }
  PtrList inputs(Kiv::Ptr<Ip::Status> ipStatus = nullptr) {
    return {fhrpConfig, vrrpStatus, intfs, ipStatus ? ipStatus : ip, mib};
  }
  Kiv::Ptr<FhrpSnmp::VrrpMibSm> wire(const PtrList& list) {
    Kiv::attributeIs(*agent, "vrrpMibSm", list);
    return Kiv::ptrCast<FhrpSnmp::VrrpMibSm>(
        std::get<Kiv::Ptr<Kiv::PtrInterface>>(Kiv::attribute(*agent, "vrrpMibSm")));
  }
};

TEST_F(AgentTest, SameInputsKeepTheMachineOtherInputsRebuildItAndLeaveRows) {
  auto sm = wire(inputs());
  EXPECT_EQ(wire(inputs()), sm);
  EXPECT_EQ(trace.count("Creating VrrpMibEntrySm"), 1u);

  auto otherIp = Kiv::make<Ip::Status>();
  auto rebuilt = wire(inputs(otherIp));
  EXPECT_NE(rebuilt, sm);
  EXPECT_EQ(rows(), 3u);
  EXPECT_EQ(trace.count("Deleting"), 0u);
  sm = nullptr;  // the old machine is gone for good; its rows are not
  EXPECT_EQ(rows(), 3u);
  EXPECT_EQ(rebuilt->vrrpMibEntrySm(VrrpMibEntrySmId(eth1, 5))->physicalIpAddr(), IpAddr());

  auto held = agent->vrrpMibSmDel();
  EXPECT_EQ(held, rebuilt);
  EXPECT_FALSE(held->notificationActive());
  EXPECT_FALSE(agent->vrrpMibSmDel());
  EXPECT_FALSE(agent->vrrpMibSm());
}

// Machines torn down while a record change is still being delivered.
TEST_F(AgentTest, TearingDownInsideADeliveryIsClean) {
  wire(inputs());
  auto status = intfStatusV4(eth1)->vrStatus(5);
  status->stateIs(FhrpState::backup);

  // The notification, sent from inside the machine's state handler, drops the
  // whole agent; the handler's remaining steps must not touch freed machines.
  FakeTrap::hook() = [&] { agent = nullptr; };
  status->stateIs(FhrpState::master);
  EXPECT_FALSE(agent);
  FakeTrap::hook() = nullptr;
  EXPECT_EQ(rows(), 3u);
  EXPECT_EQ(status->notifieeCount(), 0u);

  // Likewise while the discovery machine is still scanning a new interface whose
  // status arrives with two master routers at once.
  agent = FhrpSnmp::agentFactory("again");
  wire(inputs());
  intf(eth2, 2);
  ipAddr(eth2, IpAddr(198, 51, 100, 2));
  vrConfig(eth2, 5);
  vrConfig(eth2, 6);
  auto intf2 = Kiv::make<Routing::Fhrp::VirtualRouterIntfStatusV4>(eth2);
  for (U32 vrId : {5u, 6u}) {
    auto vr = Kiv::make<VirtualRouterStatusV4>(vrId);
    vr->stateIs(FhrpState::master);
    intf2->vrStatusIs(vrId, vr);
  }
  FakeTrap::hook() = [&] { agent = nullptr; };
  vrrpStatus->vrIntfStatusIs(eth2, intf2);
  EXPECT_FALSE(agent);
  EXPECT_EQ(intf2->notifieeCount(), 0u);
  EXPECT_EQ(vrrpStatus->notifieeCount(), 0u);
}

TEST_F(AgentTest, RetiringTheRouterInsideItsOwnHandlerIsClean) {
  auto sm = wire(inputs());
  auto status = intfStatusV4(eth1)->vrStatus(5);
  status->stateIs(FhrpState::backup);
  // The handler's notification removes the router's configuration: its machine is
  // retired while its reactor is still running.
  FakeTrap::hook() = [&] {
    FakeTrap::hook() = nullptr;
    intfConfig(eth1)->virtualRouterConfigDel(5);
  };
  status->stateIs(FhrpState::master);
  EXPECT_TRUE(sm->vrrpMibEntrySm().empty());
  EXPECT_EQ(rows(), 0u);
  EXPECT_EQ(status->notifieeCount(), 0u);
}

}  // namespace
}  // namespace Mirror
