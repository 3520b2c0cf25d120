#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "sources/frr/FrrSnapshot.h"
#include "sources/frr/VrrpdReply.h"

namespace {

using Lirex::AddrFamily;
using Routing::Fhrp::FhrpState;
using Sources::FrrInputs;
using Sources::VrrpdReplyError;
using Sources::VrrpdRouter;

std::string fixture(const std::string& name) {
  std::ifstream in(std::string(FIXTURES_DIR) + "/" + name);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

Lirex::InetAddr inet(const char* text) {
  return Lirex::strepToValue<Lirex::InetAddr>(text);
}

// Captured from FRR 8.4.4 in two namespaces joined by a veth pair (h0 on side a, t0 on side b,
// ifIndex 2 on both): routers 5 (version 2, priority 200 on a, 100 on b), 6 (version 2, 2 s, no
// preemption, shut down on b), 7 (version 3, IPv4), 8 (version 3, IPv6 with two addresses, 0.5 s,
// priority 100 on a, 200 on b) and 9 (version 3, both families, 250 on a). Side a is master of
// all but 8; the kernel's link-local addresses of the IPv6 macvlans were read beside.
FrrInputs inputs(const std::string& side) {
  FrrInputs in;
  in.routers = Sources::parseShowVrrp(fixture("v3-" + side + "-show-vrrp.json"));
  in.configuredPriority = Sources::parseConfiguredPriorities(fixture("v3-" + side + "-yang.json"));
  Lirex::IntfId parent(side == "a" ? "h0" : "t0");
  in.kernel.ifIndex[parent] = 2;
  in.kernel.primary[parent] =
      Lirex::IpAddrWithMask(Lirex::IpAddr(192, 0, 2, side == "a" ? 1 : 2), 24);
  in.kernel.linkLocal[Lirex::IntfId("vrrp8v6")] =
      inet(side == "a" ? "fe80::fb8f:1140:d73c:5cb" : "fe80::2107:c3de:8ae5:b1e");
  in.kernel.linkLocal[Lirex::IntfId("vrrp9v6")] =
      inet(side == "a" ? "fe80::3177:ac75:1d3b:895e" : "fe80::29:29a5:ff68:5181");
  in.refreshMs = 1000;
  return in;
}

TEST(FrrSnapshotTest, CapturedBackupsMapToTheStateDocument) {
  FrrInputs b = inputs("b");
  // What the listener heard from side a, and the errors it counted.
  b.adverts.listening = true;
  for (U32 vrid : {5, 7, 9})
    b.adverts.masters[{2, vrid, AddrFamily::ipv4}] = {inet("192.0.2.1"), 250};
  b.adverts.masters[{2, 9, AddrFamily::ipv6}] = {inet("fe80::3177:ac75:1d3b:895e"), 250};
  b.adverts.errors[{2, 9, AddrFamily::ipv6}] = {1, 2, 3, 4, 5, 6, 7, 8};
  b.adverts.global = {11, 12, 13};
  b.rows[{Lirex::IntfId("t0"), 9, AddrFamily::ipv6}] = {FhrpState::backup, 1763760000.5, 3};
  EXPECT_EQ(Sources::frrSnapshot(b), Zentra::parseStateDocument(R"({
    "interfaces": { "t0": { "ifIndex": 2 } },
    "ip": { "t0": { "activeAddrWithMask": "192.0.2.2/24" } },
    "vrrpConfig": { "t0": {
      "5": { "priority": 100, "advertisementInterval": 100 },
      "6": { "priority": 150, "preempt": false, "adminState": "disabled",
             "advertisementInterval": 200 },
      "7": { "version": 3, "priority": 100, "advertisementInterval": 100, "acceptMode": true },
      "8": { "version": 3, "priority": 200, "advertisementInterval": 50, "acceptMode": true },
      "9": { "version": 3, "priority": 100, "advertisementInterval": 100, "acceptMode": true } } },
    "vrrpStatus": { "t0": {
      "5": { "state": "backup", "priority": 100, "srcAddr": "192.0.2.1",
             "virtualMacAddr": "00:00:5e:00:01:05", "ipAddrs": { "192.0.2.105": true } },
      "6": { "state": "initialize", "priority": 150, "srcAddr": "0.0.0.0",
             "virtualMacAddr": "00:00:5e:00:01:06",
             "ipAddrs": { "192.0.2.106": true, "192.0.2.116": true } },
      "7": { "state": "backup", "priority": 100, "srcAddr": "192.0.2.1",
             "virtualMacAddr": "00:00:5e:00:01:07", "ipAddrs": { "192.0.2.107": true },
             "statistics": { "advertisementsRcvd": 7, "masterPriority": 250 } },
      "9": { "state": "backup", "priority": 100, "srcAddr": "192.0.2.1",
             "virtualMacAddr": "00:00:5e:00:01:09", "ipAddrs": { "192.0.2.109": true },
             "statistics": { "advertisementsRcvd": 7, "masterPriority": 250 } } } },
    "vrrpStatusV6": { "t0": {
      "8": { "state": "master", "priority": 200, "srcAddr": "fe80::2107:c3de:8ae5:b1e",
             "primaryAddr": "fe80::2107:c3de:8ae5:b1e", "virtualMacAddr": "00:00:5e:00:02:08",
             "ipAddrs": { "2001:db8:8::1": true, "2001:db8:8::2": true },
             "statistics": { "advertisementsRcvd": 1 } },
      "9": { "state": "backup", "priority": 100, "srcAddr": "fe80::3177:ac75:1d3b:895e",
             "primaryAddr": "fe80::29:29a5:ff68:5181", "virtualMacAddr": "00:00:5e:00:02:09",
             "ipAddrs": { "2001:db8:9::1": true }, "upSince": 1763760000.5,
             "statistics": { "advertisementsRcvd": 6, "advIntervalErrors": 1, "ipTtlErrors": 2,
                             "versionErrors": 3, "checksumErrors": 4, "priZeroPktsRcvd": 5,
                             "invalidTypePktsRcvd": 6, "addressListErrors": 7,
                             "packetLengthErrors": 8, "priZeroPktsSent": 3,
                             "masterPriority": 250 } } } },
    "vrrpStatistics": { "checksumErrors": 11, "versionErrors": 12, "vrIdErrors": 13,
                        "refreshRate": 1000 }
  })"));
}

TEST(FrrSnapshotTest, MastersReportThemselvesInTheirFamilyAndConfiguredPriorityWins) {
  FrrInputs a = inputs("a");
  a.configuredPriority.erase({Lirex::IntfId("h0"), 6});  // not read yet: the effective one
  a.configuredPriority[{Lirex::IntfId("h0"), 5}] = 90;   // an owner runs at 255 regardless
  Zentra::StateDocument doc = Sources::frrSnapshot(a);
  const auto& config = doc.vrrpConfig.at(Lirex::IntfId("h0"));
  const auto& v4 = doc.vrrpStatus.at(Lirex::IntfId("h0"));
  const auto& v6 = doc.vrrpStatusV6.at(Lirex::IntfId("h0"));
  EXPECT_EQ(config.at(5).priority, 90u);
  EXPECT_EQ(v4.at(5).priority, 200u);
  EXPECT_EQ(config.at(6).priority, 150u);
  // The idle instance of each router stays out: 8 has no IPv4 row, 5, 6 and 7 no IPv6 one.
  EXPECT_EQ(v4.size(), 4u);
  EXPECT_EQ(v6.size(), 2u);
  for (U32 vrid : {5, 6, 7, 9}) {
    EXPECT_EQ(v4.at(vrid).state, FhrpState::master);
    EXPECT_EQ(v4.at(vrid).srcAddr, Lirex::IpAddr(192, 0, 2, 1));
  }
  EXPECT_EQ(v6.at(9).srcAddr, inet("fe80::3177:ac75:1d3b:895e"));
  // A backup that hears no master (no listener): :: for the master, its own address still known.
  EXPECT_EQ(v6.at(8).srcAddr, Lirex::InetAddr::zero(AddrFamily::ipv6));
  EXPECT_EQ(v6.at(8).primaryAddr, inet("fe80::fb8f:1140:d73c:5cb"));
  EXPECT_EQ(v6.at(8).statistics.advertisementsRcvd, 15u);
  a.kernel = {};  // the parent not (yet) known to the kernel: its routers wait for it
  doc = Sources::frrSnapshot(a);
  EXPECT_TRUE(doc.interfaces.empty());
  EXPECT_EQ(doc.vrrpStatusV6.at(Lirex::IntfId("h0")).at(8).primaryAddr,
            Lirex::InetAddr::zero(AddrFamily::ipv6));
}

TEST(FrrSnapshotTest, EachRowKeepsItsUpTimeAndCountsItsShutdownsFromMaster) {
  std::map<Sources::RowKey, Sources::RowHistory> rows;
  VrrpdRouter r;
  r.parent = Lirex::IntfId("eth0");
  r.vrid = 5;
  r.version = 3;
  r.v4.addresses = r.v6.addresses = {inet("192.0.2.5")};
  const Sources::RowKey v4{r.parent, 5, AddrFamily::ipv4}, v6{r.parent, 5, AddrFamily::ipv6};
  struct Step {
    FhrpState v4, v6;
    double now;
    bool fromVrrpd;
    double up4, up6;  // 0: not up
    U64 sent4;
  };
  for (const Step& s : {Step{FhrpState::initialize, FhrpState::backup, 5, true, 0, 5, 0},
                        Step{FhrpState::backup, FhrpState::master, 10, true, 10, 5, 0},
                        Step{FhrpState::master, FhrpState::master, 20, true, 10, 5, 0},
                        Step{FhrpState::initialize, FhrpState::backup, 30, true, 0, 5, 1},
                        Step{FhrpState::master, FhrpState::backup, 40, true, 40, 5, 1},
                        // vrrpd gone: the source's own initialize is no shutdown.
                        Step{FhrpState::initialize, FhrpState::initialize, 50, false, 0, 0, 1},
                        Step{FhrpState::master, FhrpState::backup, 60, true, 60, 60, 1}}) {
    r.v4.state = s.v4;
    r.v6.state = s.v6;
    Sources::trackRows(rows, {r}, s.now, s.fromVrrpd);
    EXPECT_EQ(rows.at(v4).upSince, s.up4) << s.now;
    EXPECT_EQ(rows.at(v6).upSince, s.up6) << s.now;
    EXPECT_EQ(rows.at(v4).priZeroPktsSent, s.sent4) << s.now;
    EXPECT_EQ(rows.at(v6).priZeroPktsSent, 0u) << s.now;
  }
  r.v6.addresses.clear();  // no longer shown: forgotten
  Sources::trackRows(rows, {r}, 70);
  EXPECT_EQ(rows.count(v6), 0u);
  EXPECT_EQ(rows.at(v4).priZeroPktsSent, 1u);
}

TEST(FrrSnapshotTest, ReaderNamesWhatIsWrongAndSkipsWhatItDoesNotNeed) {
  EXPECT_TRUE(Sources::parseShowVrrp("[\n]\n").empty());
  EXPECT_TRUE(Sources::parseConfiguredPriorities("{\n}\n").empty());
  std::string router = fixture("v3-a-show-vrrp.json");
  struct Case {
    std::string from, to, error;
  };
  for (const Case& c :
       {Case{"\"status\":\"Master\"", "\"status\":\"Leader\"",
             "vrrpd's answer: v4.status: unknown state \"Leader\""},
        Case{"\"vmac\":\"00:00:5e:00:01:05\"", "\"vmac\":\"00:00\"", "vrrpd's answer: v4.vmac: "},
        Case{"\"2001:db8:8::1\"", "\"192.0.2.8\"",
             "vrrpd's answer: v6.addresses: \"192.0.2.8\" is not an IPv6 address"},
        Case{"\"adverRx\":0", "\"adverRx\":-1", "vrrpd's answer: v4.stats.adverRx: "},
        Case{"\"vrid\":5", "\"vrid\":-5", "vrrpd's answer: vrid: "},
        Case{"\"v6\":", "\"v7\":", "vrrpd's answer: v6: "}, Case{"[", "{", "vrrpd's answer: "}}) {
    std::string text = router;
    text.replace(text.find(c.from), c.from.size(), c.to);
    try {
      Sources::parseShowVrrp(text);
      ADD_FAILURE() << c.to << " must be refused";
    } catch (const VrrpdReplyError& e) {
      EXPECT_EQ(e.message().substr(0, c.error.size()), c.error);
    }
  }
}

}  // namespace
