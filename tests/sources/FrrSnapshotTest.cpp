// SPDX-License-Identifier: Apache-2.0
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

// Side b backs up what side a is master of (5, 7 and 9 on both families), hears it with the
// errors in the listener's view, and is master of 8; side a's snapshot without a listener, with
// 5's configured priority read differently and 6's not yet read.
TEST(FrrSnapshotTest, CapturedRoutersMapToTheStateDocument) {
  FrrInputs b = inputs("b");
  b.adverts.listening = true;
  for (U32 vrid : {5, 7, 9})
    b.adverts.masters[{2, vrid, AddrFamily::ipv4}] = {inet("192.0.2.1"), 250};
  b.adverts.masters[{2, 9, AddrFamily::ipv6}] = {inet("fe80::3177:ac75:1d3b:895e"), 250};
  b.adverts.errors[{2, 9, AddrFamily::ipv6}] = {1, 2, 3, 4, 5, 6, 7, 8};
  b.adverts.global = {11, 12, 13};
  b.rows[{Lirex::IntfId("t0"), 9, AddrFamily::ipv6}] = {FhrpState::backup, 1763760000.5, 3};
  EXPECT_EQ(Sources::frrSnapshot(b), Zentra::parseStateDocument(fixture("v3-b-state.json")));

  FrrInputs a = inputs("a");
  a.configuredPriority.erase({Lirex::IntfId("h0"), 6});
  a.configuredPriority[{Lirex::IntfId("h0"), 5}] = 90;  // an owner runs at 255 regardless
  EXPECT_EQ(Sources::frrSnapshot(a), Zentra::parseStateDocument(fixture("v3-a-state.json")));
  a.kernel = {};  // the parent not (yet) known to the kernel: its routers wait for it
  Zentra::StateDocument doc = Sources::frrSnapshot(a);
  EXPECT_TRUE(doc.interfaces.empty());
  EXPECT_TRUE(doc.vrrpStatusV6.at(Lirex::IntfId("h0")).at(8).primaryAddr.isZero());
}

// Router 5 on eth0, in both families.
VrrpdRouter router(U32 version) {
  VrrpdRouter r;
  r.parent = Lirex::IntfId("eth0");
  r.vrid = 5;
  r.version = version;
  r.v4.addresses = r.v6.addresses = {inet("192.0.2.5")};
  return r;
}

TEST(FrrSnapshotTest, EachRowKeepsItsUpTimeAndCountsItsShutdownsFromMaster) {
  using enum FhrpState;
  std::map<Sources::RowKey, Sources::RowHistory> rows;
  VrrpdRouter r = router(3);
  const Sources::RowKey v4{r.parent, 5, AddrFamily::ipv4}, v6{r.parent, 5, AddrFamily::ipv6};
  struct Step {
    FhrpState v4, v6;
    double now;
    bool fromVrrpd;
    double up4, up6;  // 0: not up
    U64 sent4;
  };
  for (const Step& s :
       {Step{initialize, backup, 5, true, 0, 5, 0}, Step{master, master, 10, true, 10, 5, 0},
        Step{initialize, backup, 30, true, 0, 5, 1},
        // vrrpd gone: the source's own initialize is no shutdown.
        Step{initialize, initialize, 50, false, 0, 0, 1},
        Step{master, backup, 60, true, 60, 60, 1}}) {
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
}

TEST(FrrSnapshotTest, AnEntryIntoMasterFromInitializeGoesThroughTheBackupItSkipped) {
  VrrpdRouter r = router(2);
  r.v4.state = FhrpState::master;
  r.v4.effectivePriority = 100;
  const std::map<Sources::RowKey, Sources::RowHistory> initialize{{{r.parent, 5}, {}}};
  auto between = Sources::withSkippedBackups(initialize, {r});
  ASSERT_TRUE(between);
  EXPECT_EQ(between->at(0).v4.state, FhrpState::backup);
  EXPECT_FALSE(Sources::withSkippedBackups({}, {r}));  // first seen master: as it is
  r.v4.effectivePriority = 255;                        // the owner goes straight to master
  EXPECT_FALSE(Sources::withSkippedBackups(initialize, {r}));
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
