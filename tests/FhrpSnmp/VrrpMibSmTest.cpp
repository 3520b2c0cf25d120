#include "FhrpSnmp/VrrpMibSmReactors.h"
#include "tests/FhrpSnmp/MirrorWorld.h"

#include <functional>

namespace Mirror {
namespace {

using FhrpSnmp::VrrpMibEntrySmId;

const IpAddr kOwn1(192, 0, 2, 2), kOwn1b(192, 0, 2, 4), kVip(192, 0, 2, 1);

struct VrrpMibSmTest : World {
  VrrpMibSmTest() {
    intf(eth1, 1);
    intf(eth2, 2);
  }
  // Ethernet1 with routers 5 (master) and 6 (backup), Ethernet2 with router 5.
  void threeRouters() {
    vrConfig(eth1, 5);
    vrConfig(eth1, 6);
    vrConfig(eth2, 5);
    vrStatus(eth1, 5, FhrpState::master, {kVip});
    vrStatus(eth1, 6, FhrpState::backup);
    vrStatus(eth2, 5, FhrpState::backup);
  }
};

TEST_F(VrrpMibSmTest, CreatesAMachineOnlyWhenConfigStatusAndInterfaceExist) {
  auto sm = machine();
  vrConfig(eth1, 5);
  EXPECT_TRUE(sm->vrrpMibEntrySm().empty());
  vrStatus(eth1, 5, FhrpState::backup);
  EXPECT_EQ(trace.count("Creating VrrpMibEntrySm, intfId=Ethernet1 vrId=5"), 1u);
  EXPECT_TRUE(trace.contains("createMibEntrySm( Ethernet1, 5 )"));
  EXPECT_TRUE(oper(1, 5));

  // A second create for an existing key is a no-op.
  trace.clear();
  sm->createMibEntrySm(eth1, 5);
  EXPECT_FALSE(trace.contains("Creating"));

  // No interface status: nothing, and its later arrival alone creates nothing.
  const IntfId eth3("Ethernet3");
  vrConfig(eth3, 7);
  vrStatus(eth3, 7, FhrpState::backup);
  EXPECT_FALSE(sm->vrrpMibEntrySm(VrrpMibEntrySmId(eth3, 7)));
  intf(eth3, 3);
  EXPECT_FALSE(sm->vrrpMibEntrySm(VrrpMibEntrySmId(eth3, 7)));
  vrStatus(eth3, 7, FhrpState::master);  // the next event of the router does
  EXPECT_TRUE(sm->vrrpMibEntrySm(VrrpMibEntrySmId(eth3, 7)));
}

TEST_F(VrrpMibSmTest, PushesThePhysicalAddressAndItsLoss) {
  threeRouters();
  auto sm = machine();
  auto e15 = sm->vrrpMibEntrySm(VrrpMibEntrySmId(eth1, 5));
  auto e16 = sm->vrrpMibEntrySm(VrrpMibEntrySmId(eth1, 6));
  EXPECT_FALSE(e15->sentMasterTrap());

  auto ipIntf = ipAddr(eth1, kOwn1);
  EXPECT_TRUE(trace.contains("Changing physical address of Ethernet1 to 192.0.2.2"));
  EXPECT_EQ(e16->physicalIpAddr(), kOwn1);
  EXPECT_EQ(FakeTrap::calls(), (std::vector<FakeTrap::Call>{{kOwn1, 1, 5}}));

  ipIntf->activeAddrWithMaskIs(Lirex::IpAddrWithMask(kOwn1b, 24));
  EXPECT_EQ(oper(1, 5)->masterIpAddr(), kOwn1b);
  EXPECT_EQ(FakeTrap::calls().size(), 1u);
  EXPECT_TRUE(
      trace.contains("void FhrpSnmp::VrrpMibSm::KivIpIntfStatus::handleActiveAddrWithMask()"));

  trace.clear();
  ip->ipIntfStatusDel(eth1);
  EXPECT_EQ(e15->physicalIpAddr(), IpAddr());
  EXPECT_EQ(e16->physicalIpAddr(), IpAddr());
  EXPECT_EQ(oper(1, 5)->masterIpAddr(), IpAddr());
  EXPECT_FALSE(trace.contains("Changing physical address"));
  EXPECT_EQ(sm->vrrpMibEntrySm().size(), 3u);  // losing the address deletes nothing

  ipAddr(eth1, kOwn1);
  EXPECT_TRUE(trace.contains("Changing physical address of Ethernet1 to 192.0.2.2"));
  EXPECT_EQ(e15->physicalIpAddr(), kOwn1);
  EXPECT_EQ(sm->vrrpMibEntrySm(VrrpMibEntrySmId(eth2, 5))->physicalIpAddr(), IpAddr());
}

TEST_F(VrrpMibSmTest, RefusesNullRecords) {
  auto sm = machine();
  const std::pair<std::function<void()>, const char*> cases[] = {
      {[&] { sm->ipIntfStatusIs(nullptr); }, "ipIntfStatus"},
      {[&] { sm->vrIntfConfigIs(nullptr); }, "vrIntfConfig"},
      {[&] { sm->vrIntfStatusIs(nullptr); }, "vrIntfStatus"}};
  for (const auto& [call, name] : cases) {
    EXPECT_EQ(rangeError(call), "null _" + std::string(name) +
                                    " parameter to mutator for FhrpSnmp::VrrpMibSm::" + name +
                                    " not allowed\"");
  }
}

}  // namespace
}  // namespace Mirror
