#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "sources/frr/FrrSnapshot.h"
#include "sources/frr/VrrpdReply.h"

namespace {

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

// Captured from FRR 8.4.4 in two namespaces joined by a veth pair: side a (192.0.2.1) is master
// of routers 5 (priority 200, 1 s), 6 (150, 2 s, no preemption) and 7 (version 3); side b
// (192.0.2.2) backs up 5 and 7 at priority 100 and has 6 shut down.
FrrInputs inputs(const std::string& side) {
  FrrInputs in;
  in.routers = Sources::parseShowVrrp(fixture(side + "-show-vrrp.json"));
  in.configuredPriority = Sources::parseConfiguredPriorities(fixture(side + "-yang.json"));
  Lirex::IntfId parent("cap-" + side + "0");
  in.kernel.ifIndex[parent] = 2;
  in.kernel.primary[parent] =
      Lirex::IpAddrWithMask(Lirex::IpAddr(192, 0, 2, side == "a" ? 1 : 2), 24);
  return in;
}

TEST(FrrSnapshotTest, CapturedRoutersMapToTheStateDocument) {
  FrrInputs b = inputs("b");
  b.adverts.masters[{2, 5, Lirex::AddrFamily::ipv4}] = {Lirex::IpAddr(192, 0, 2, 1), 200};
  b.upSince[{Lirex::IntfId("cap-b0"), 5}] = 1763760000.5;
  EXPECT_EQ(Sources::frrSnapshot(b), Zentra::parseStateDocument(R"({
    "interfaces": { "cap-b0": { "ifIndex": 2 } },
    "ip": { "cap-b0": { "activeAddrWithMask": "192.0.2.2/24" } },
    "vrrpConfig": { "cap-b0": {
      "5": { "priority": 100, "advertisementInterval": 100 },
      "6": { "priority": 150, "preempt": false, "adminState": "disabled",
             "advertisementInterval": 200 },
      "7": { "version": 3, "priority": 100, "advertisementInterval": 100 } } },
    "vrrpStatus": { "cap-b0": {
      "5": { "state": "backup", "priority": 100, "srcAddr": "192.0.2.1",
             "virtualMacAddr": "00:00:5e:00:01:05", "ipAddrs": { "192.0.2.105": true },
             "upSince": 1763760000.5 },
      "6": { "state": "initialize", "priority": 150, "srcAddr": "0.0.0.0",
             "virtualMacAddr": "00:00:5e:00:01:06",
             "ipAddrs": { "192.0.2.106": true, "192.0.2.116": true } },
      "7": { "state": "backup", "priority": 100, "srcAddr": "0.0.0.0",
             "virtualMacAddr": "00:00:5e:00:01:07", "ipAddrs": { "192.0.2.107": true } } } }
  })"));
}

TEST(FrrSnapshotTest, MasterReportsItselfAndConfiguredPriorityWins) {
  FrrInputs a = inputs("a");
  a.configuredPriority.erase({Lirex::IntfId("cap-a0"), 6});  // not read yet: the effective one
  a.configuredPriority[{Lirex::IntfId("cap-a0"), 5}] = 90;   // an owner runs at 255 regardless
  Zentra::StateDocument doc = Sources::frrSnapshot(a);
  const auto& config = doc.vrrpConfig.at(Lirex::IntfId("cap-a0"));
  const auto& status = doc.vrrpStatus.at(Lirex::IntfId("cap-a0"));
  EXPECT_EQ(config.at(5).priority, 90u);
  EXPECT_EQ(status.at(5).priority, 200u);
  EXPECT_EQ(config.at(6).priority, 150u);
  for (U32 vrid : {5, 6, 7}) {
    EXPECT_EQ(status.at(vrid).state, FhrpState::master);
    EXPECT_EQ(status.at(vrid).srcAddr, Lirex::IpAddr(192, 0, 2, 1));
  }
  a.kernel = {};  // the parent not (yet) known to the kernel: its routers wait for it
  doc = Sources::frrSnapshot(a);
  EXPECT_TRUE(doc.interfaces.empty());
  EXPECT_EQ(doc.vrrpStatus.size(), 1u);
}

TEST(FrrSnapshotTest, UpSinceIsWhenFirstSeenOutOfInitialize) {
  std::map<Sources::RouterKey, double> upSince;
  VrrpdRouter r;
  r.parent = Lirex::IntfId("eth0");
  r.vrid = 5;
  struct Step {
    FhrpState state;
    double now;
    double expected;  // 0: not up
  };
  for (const Step& s : {Step{FhrpState::initialize, 5, 0}, Step{FhrpState::backup, 10, 10},
                        Step{FhrpState::master, 20, 10}, Step{FhrpState::initialize, 30, 0},
                        Step{FhrpState::master, 40, 40}}) {
    r.state = s.state;
    Sources::trackUpSince(upSince, {r}, s.now);
    EXPECT_EQ(upSince.count({r.parent, 5}) ? upSince.at({r.parent, 5}) : 0.0, s.expected) << s.now;
  }
  Sources::trackUpSince(upSince, {}, 50);
  EXPECT_TRUE(upSince.empty());
}

TEST(FrrSnapshotTest, ReaderNamesWhatIsWrongAndSkipsWhatItDoesNotNeed) {
  EXPECT_TRUE(Sources::parseShowVrrp("[\n]\n").empty());
  EXPECT_TRUE(Sources::parseConfiguredPriorities("{\n}\n").empty());
  std::string router = fixture("a-show-vrrp.json");
  struct Case {
    std::string from, to, error;
  };
  for (const Case& c :
       {Case{"\"status\":\"Master\"", "\"status\":\"Leader\"",
             "vrrpd's answer: status: unknown state \"Leader\""},
        Case{"\"vmac\":\"00:00:5e:00:01:05\"", "\"vmac\":\"00:00\"", "vrrpd's answer: vmac: "},
        Case{"\"vrid\":5", "\"vrid\":-5", "vrrpd's answer: vrid: "},
        Case{"\"v4\":", "\"v5\":", "vrrpd's answer: v4: "}, Case{"[", "{", "vrrpd's answer: "}}) {
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
