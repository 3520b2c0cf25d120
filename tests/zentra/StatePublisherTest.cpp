// SPDX-License-Identifier: Apache-2.0
#include "zentra/StatePublisher.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace Zentra {
namespace {

using Lirex::IntfId;
using Routing::Fhrp::FhrpState;
using Routing::Fhrp::VrId;  // the attribute lists name it unqualified

template <class K>
std::string keyText(const K& key) {
  std::ostringstream os;
  os << key;
  return os.str();
}

// A reactor that logs every notification of its record as "<where><attribute>", declared from
// the record's own attribute list so that no callback can be forgotten.
#define SPY_ATTR(T, n, N, init) \
  void on##N() override {       \
    note(#n);                   \
  }
#define SPY_COLL(K, V, n, N)           \
  void on##N(const K& key) override {  \
    note(#n "[" + keyText(key) + "]"); \
  }                                    \
  void on##N() override {              \
    note(#n "(all)");                  \
  }
#define SPY(Name, Record, ATTRS)                                                            \
  class Name : public Record::NotifieeConst {                                               \
   public:                                                                                  \
    Name(const Kiv::Ptr<const Record>& r, std::string where, std::vector<std::string>* log) \
        : NotifieeConst(r), where_(std::move(where)), log_(log) {}                          \
    ATTRS(SPY_ATTR, SPY_COLL)                                                               \
   private:                                                                                 \
    void note(const std::string& what) { log_->push_back(where_ + what); }                  \
    std::string where_;                                                                     \
    std::vector<std::string>* log_;                                                         \
  };

SPY(IntfDirSpy, Interface::AllIntfStatusDir, INTERFACE_ALL_INTF_STATUS_DIR_ATTRS)
SPY(IntfSpy, Interface::IntfStatus, INTERFACE_INTF_STATUS_ATTRS)
SPY(IpSpy, Ip::Status, IP_STATUS_ATTRS)
SPY(IpIntfSpy, Ip::IpIntfStatus, IP_IP_INTF_STATUS_ATTRS)
SPY(FhrpConfigSpy, Routing::Fhrp::Config, FHRP_CONFIG_ATTRS)
SPY(VrrpConfigSpy, Routing::Fhrp::VrrpConfig, FHRP_VRRP_CONFIG_ATTRS)
SPY(IntfConfigSpy, Routing::Fhrp::VrrpIntfConfig, FHRP_VRRP_INTF_CONFIG_ATTRS)
SPY(VrConfigSpy, Routing::Fhrp::VrrpVirtualRouterConfig, FHRP_VRRP_VIRTUAL_ROUTER_CONFIG_ATTRS)
SPY(StatusSpy, Routing::Fhrp::StatusV4, FHRP_STATUS_V4_ATTRS)
SPY(IntfStatusSpy, Routing::Fhrp::VirtualRouterIntfStatusV4,
    FHRP_VIRTUAL_ROUTER_INTF_STATUS_V4_ATTRS)
SPY(VrStatusSpy, Routing::Fhrp::VirtualRouterStatusV4, FHRP_VIRTUAL_ROUTER_STATUS_V4_ATTRS)
SPY(StatusV6Spy, Routing::Fhrp::StatusV6, FHRP_STATUS_V6_ATTRS)
SPY(VrStatusV6Spy, Routing::Fhrp::VirtualRouterStatusV6, FHRP_VIRTUAL_ROUTER_STATUS_V6_ATTRS)
SPY(GlobalSpy, Routing::Fhrp::VrrpGlobalStatistics, FHRP_VRRP_GLOBAL_STATISTICS_ATTRS)

const char* const kBase = R"({
  "interfaces": { "Ethernet1": { "ifIndex": 1 } },
  "ip": { "Ethernet1": { "activeAddrWithMask": "192.0.2.2/24" } },
  "vrrpConfig": { "Ethernet1": { "5": { "priority": 200 }, "6": {} } },
  "vrrpStatus": { "Ethernet1": {
    "5": { "state": "master", "priority": 200, "srcAddr": "192.0.2.2",
           "virtualMacAddr": "00:00:5e:00:01:05",
           "ipAddrs": { "192.0.2.1": true, "192.0.2.11": true }, "upSince": 1763760000 },
    "6": { "state": "backup", "priority": 100, "srcAddr": "192.0.2.3",
           "virtualMacAddr": "00:00:5e:00:01:06", "ipAddrs": { "192.0.2.6": true } } } }
})";
const IntfId kEth1("Ethernet1");

struct StatePublisherTest : ::testing::Test {
  StateTree tree;
  StatePublisher publisher{tree};
  StateDocument doc = parseStateDocument(kBase);
  std::vector<std::string> log;
  std::vector<Kiv::Ptr<Kiv::NotifieeBase>> spies;

  template <class S, class R>
  void spy(const Kiv::Ptr<R>& record, const std::string& where) {
    spies.push_back(Kiv::make<S>(record, where, &log));
  }
  // Puts a spy on every record the tree holds now.
  void spyOnAll() {
    spy<IntfDirSpy>(tree.allIntfStatus(), "interfaces.");
    for (const auto& [id, r] : tree.allIntfStatus()->intfStatus())
      spy<IntfSpy>(r, "interfaces[" + id.name() + "].");
    spy<IpSpy>(tree.ipStatus(), "ip.");
    for (const auto& [id, r] : tree.ipStatus()->ipIntfStatus())
      spy<IpIntfSpy>(r, "ip[" + id.name() + "].");
    spy<FhrpConfigSpy>(tree.fhrpConfig(), "fhrpConfig.");
    spy<VrrpConfigSpy>(tree.vrrpConfig(), "vrrpConfig.");
    for (const auto& [id, intf] : tree.vrrpConfig()->vrrpIntfConfig()) {
      spy<IntfConfigSpy>(intf, "vrrpConfig[" + id.name() + "].");
      for (const auto& [vrId, vr] : intf->virtualRouterConfig())
        spy<VrConfigSpy>(vr, "vrrpConfig[" + id.name() + "][" + std::to_string(vrId) + "].");
    }
    spy<StatusSpy>(tree.vrrpStatus(), "vrrpStatus.");
    for (const auto& [id, intf] : tree.vrrpStatus()->vrIntfStatus()) {
      spy<IntfStatusSpy>(intf, "vrrpStatus[" + id.name() + "].");
      for (const auto& [vrId, vr] : intf->vrStatus())
        spy<VrStatusSpy>(vr, "vrrpStatus[" + id.name() + "][" + std::to_string(vrId) + "].");
    }
  }
};

using Log = std::vector<std::string>;

// Records arrive layer by layer and leave in reverse; a document already in place notifies
// nobody.
TEST_F(StatePublisherTest, RecordsComeLayerByLayerAndGoInReverse) {
  spyOnAll();
  EXPECT_EQ(publisher.apply(doc), (PublishSummary{8, 0, 0}));
  const Log added{"interfaces.intfStatus[Ethernet1]", "ip.ipIntfStatus[Ethernet1]",
                  "vrrpConfig.vrrpIntfConfig[Ethernet1]", "vrrpStatus.vrIntfStatus[Ethernet1]"};
  EXPECT_EQ(log, added);
  log.clear();
  spies.clear();
  spyOnAll();
  EXPECT_EQ(publisher.apply(doc), (PublishSummary{}));
  EXPECT_EQ(log, Log{});
  EXPECT_EQ(publisher.apply(StateDocument{}), (PublishSummary{0, 8, 0}));
  EXPECT_EQ(log, Log(added.rbegin(), added.rend()));
}

// A failover sets the router's state last, after its other attributes; records that stay are
// updated in place (the spies on them hear it) and only for what changed, and no other router
// hears of it.
TEST_F(StatePublisherTest, ChangesFireOnlyTheChangedAttributesInPlace) {
  publisher.apply(doc);
  spyOnAll();
  doc.vrrpConfig[kEth1][5].preempt = false;
  doc.vrrpConfig[kEth1][5].authKey = "k";
  auto& status = doc.vrrpStatus[kEth1][6];
  status.state = FhrpState::master;
  status.priority = 250;
  status.upSince = 1763760100.5;
  status.virtualMacAddr = Lirex::strepToValue<Lirex::EthAddr>("02:00:00:00:00:06");
  EXPECT_EQ(publisher.apply(doc), (PublishSummary{0, 0, 6}));
  EXPECT_EQ(log,
            (Log{"vrrpConfig[Ethernet1][5].preempt", "vrrpConfig[Ethernet1][5].authKey",
                 "vrrpStatus[Ethernet1][6].priority", "vrrpStatus[Ethernet1][6].virtualMacAddr",
                 "vrrpStatus[Ethernet1][6].upSince", "vrrpStatus[Ethernet1][6].state"}));
}

// The IPv6 status comes after the IPv4 status and goes before it; its counters change in place
// before its state; an interface that changes its ifIndex has its IPv6 status withdrawn too.
TEST_F(StatePublisherTest, Version3StatusAndStatistics) {
  publisher.apply(doc);
  spy<StatusV6Spy>(tree.vrrpStatusV6(), "v6.");
  spy<GlobalSpy>(tree.vrrpStatistics(), "global.");
  auto& v6 = doc.vrrpStatusV6[kEth1][5];
  v6.primaryAddr = Lirex::strepToValue<Lirex::InetAddr>("fe80::1");
  v6.ipAddrs[Lirex::strepToValue<Lirex::InetAddr>("2001:db8::1")] = true;
  doc.vrrpStatistics.vrIdErrors = 4;
  EXPECT_EQ(publisher.apply(doc), (PublishSummary{2, 0, 1}));
  const auto record = tree.vrrpStatusV6()->vrIntfStatus(kEth1)->vrStatus(5);
  EXPECT_EQ(record->primaryAddr(), v6.primaryAddr);
  EXPECT_EQ(record->ipAddrs().size(), 1u);
  spy<VrStatusV6Spy>(record, "v6[5].");
  v6.statistics.ipTtlErrors = 2;
  v6.state = FhrpState::master;
  EXPECT_EQ(publisher.apply(doc), (PublishSummary{0, 0, 2}));
  doc.interfaces[kEth1] = 9;
  publisher.apply(doc);
  EXPECT_EQ(log, (Log{"v6.vrIntfStatus[Ethernet1]", "global.vrIdErrors", "v6[5].ipTtlErrors",
                      "v6[5].state", "v6.vrIntfStatus[Ethernet1]", "v6.vrIntfStatus[Ethernet1]"}));
  EXPECT_EQ(publisher.apply(StateDocument{}), (PublishSummary{0, 10, 1}));
}

}  // namespace
}  // namespace Zentra
