// SPDX-License-Identifier: Apache-2.0
#pragma once
// The input records of the mirroring machines, built and changed through their
// own setters, a model to fill, and a capture of the machines' trace lines.
#include <gtest/gtest.h>

#include "FhrpSnmp/VrrpMibSm.h"
#include "kiv/Trace.h"
#include "tests/FhrpSnmp/FakeTrapNewMaster.h"

namespace Mirror {

using Lirex::IntfId;
using Lirex::IpAddr;
using Routing::Fhrp::FhrpState;
using Routing::Fhrp::VirtualRouterStatusV4;
using Routing::Fhrp::VrrpVirtualRouterConfig;

struct World : ::testing::Test {
  Kiv::Ptr<Routing::Fhrp::Config> fhrpConfig = Kiv::make<Routing::Fhrp::Config>();
  Kiv::Ptr<Routing::Fhrp::VrrpConfig> vrrpConfig = Kiv::make<Routing::Fhrp::VrrpConfig>();
  Kiv::Ptr<Routing::Fhrp::StatusV4> vrrpStatus = Kiv::make<Routing::Fhrp::StatusV4>();
  Kiv::Ptr<Interface::AllIntfStatusDir> intfs = Kiv::make<Interface::AllIntfStatusDir>();
  Kiv::Ptr<Ip::Status> ip = Kiv::make<Ip::Status>();
  Kiv::Ptr<FhrpSnmp::VrrpMib> mib = FhrpSnmp::vrrpMibFactory("vrrpMIB");
  Kiv::TraceCapture trace{"FhrpSnmpEntry"};

  const IntfId eth1{"Ethernet1"};
  const IntfId eth2{"Ethernet2"};

  World() {
    fhrpConfig->vrrpConfigIs(vrrpConfig);
    FakeTrap::calls().clear();
    FakeTrap::hook() = nullptr;
  }
  ~World() override { FakeTrap::hook() = nullptr; }

  void intf(const IntfId& id, U32 ifIndex) {
    auto r = Kiv::make<Interface::IntfStatus>(id);
    r->ifIndexIs(ifIndex);
    intfs->intfStatusIs(id, r);
  }
  void ipAddr(const IntfId& id, IpAddr addr) {
    auto r = Kiv::make<Ip::IpIntfStatus>(id);
    r->activeAddrWithMaskIs(Lirex::IpAddrWithMask(addr, 24));
    ip->ipIntfStatusIs(id, r);
  }
  Kiv::Ptr<Routing::Fhrp::VrrpIntfConfig> intfConfig(const IntfId& id) {
    if (auto r = vrrpConfig->vrrpIntfConfig(id)) return r;
    auto r = Kiv::make<Routing::Fhrp::VrrpIntfConfig>(id);
    vrrpConfig->vrrpIntfConfigIs(id, r);
    return r;
  }
  Kiv::Ptr<Routing::Fhrp::VirtualRouterIntfStatusV4> intfStatusV4(const IntfId& id) {
    if (auto r = vrrpStatus->vrIntfStatus(id)) return r;
    auto r = Kiv::make<Routing::Fhrp::VirtualRouterIntfStatusV4>(id);
    vrrpStatus->vrIntfStatusIs(id, r);
    return r;
  }
  Kiv::Ptr<VrrpVirtualRouterConfig> vrConfig(const IntfId& id, U32 vrId) {
    auto r = Kiv::make<VrrpVirtualRouterConfig>(vrId);
    intfConfig(id)->virtualRouterConfigIs(vrId, r);
    return r;
  }
  Kiv::Ptr<VirtualRouterStatusV4> vrStatus(const IntfId& id, U32 vrId, FhrpState state,
                                           std::initializer_list<IpAddr> addrs = {}) {
    auto r = Kiv::make<VirtualRouterStatusV4>(vrId);
    r->stateIs(state);
    for (IpAddr a : addrs) r->ipAddrsIs(a, true);
    intfStatusV4(id)->vrStatusIs(vrId, r);
    return r;
  }

  Kiv::Ptr<FhrpSnmp::OperEntry> oper(S32 ifIndex, U32 vrId) const {
    return mib->operTable(FhrpSnmp::VrrpIndex(ifIndex, vrId));
  }
  size_t rows() const {
    return mib->operTableCollection()->size() + mib->routerStatsTableCollection()->size() +
           mib->assoIpAddrTableCollection()->size();
  }
};

}  // namespace Mirror
