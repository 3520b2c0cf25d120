// fhrp-snmpd as operators run it: a real process on loopback, its state document
// edited while it runs, queried with net-snmp's own tools, its traps caught by snmptrapd.
#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/integration/FhrpDaemon.h"
#include "tests/integration/Harness.h"
#include "tests/integration/StateDoc.h"

namespace Harness {
namespace {

using namespace std::chrono_literals;

const std::string kOperEntry = ".1.3.6.1.2.1.68.1.3.1";
const std::string kOperTable = ".1.3.6.1.2.1.68.1.3";
const std::string kAssoTable = ".1.3.6.1.2.1.68.1.4";
const std::string kSnmpTrapOid = ".1.3.6.1.6.3.1.1.4.1.0";
const std::string kNewMaster = ".1.3.6.1.2.1.68.0.1";

std::string col(int column, long ifIndex, int vrId) {
  return kOperEntry + "." + std::to_string(column) + "." + std::to_string(ifIndex) + "." +
         std::to_string(vrId);
}

// The single value of one GET, or the exception type ("noSuchInstance").
VarBind get1(const std::string& agent, const std::string& oid) {
  SnmpReply r = snmpget(agent, "public", {oid});
  EXPECT_EQ(r.varbinds.size(), 1u) << r.describe();
  return r.varbinds.empty() ? VarBind{} : r.varbinds[0];
}

// Up times are computed when read: two walks agree on everything else.
std::vector<VarBind> stable(std::vector<VarBind> vbs) {
  for (auto& vb : vbs) {
    if (vb.type == "Timeticks") vb.value = "(ticks)";
  }
  return vbs;
}

void expectStrictlyIncreasing(const std::vector<VarBind>& vbs, const std::string& root) {
  auto parts = [](const std::string& oid) {
    std::vector<unsigned long> v;
    for (size_t pos = 1; pos < oid.size();) {
      size_t dot = oid.find('.', pos);
      if (dot == std::string::npos) dot = oid.size();
      v.push_back(std::stoul(oid.substr(pos, dot - pos)));
      pos = dot + 1;
    }
    return v;
  };
  for (size_t i = 0; i < vbs.size(); ++i) {
    EXPECT_EQ(vbs[i].oid.rfind(root + ".", 0), 0u) << vbs[i];
    if (i) {
      EXPECT_LT(parts(vbs[i - 1].oid), parts(vbs[i].oid)) << vbs[i];
    }
  }
}

TEST(DaemonTest, ServesTheLabExample) {
  FhrpDaemon daemon;
  daemon.writeState(readFile(sourcePath("examples/lab.json")));
  daemon.start();
  const std::string agent = daemon.address();

  SnmpReply walk = snmpwalk(agent, "public", kOperTable);
  ASSERT_TRUE(walk.ok()) << walk.describe();
  // Eight version-2 routers, fourteen served columns; the version-3 router is absent.
  EXPECT_EQ(walk.varbinds.size(), 8u * 14u) << walk.out;
  expectStrictlyIncreasing(walk.varbinds, kOperTable);
  EXPECT_EQ(walk.varbinds.front().oid, col(2, 1, 1));
  for (const auto& vb : walk.varbinds) {
    EXPECT_NE(vb.oid.substr(vb.oid.size() - 4), ".1.4") << "version-3 router served: " << vb;
  }

  auto value = [&](int c, long ifIndex, int vrId) {
    for (const auto& vb : walk.varbinds) {
      if (vb.oid == col(c, ifIndex, vrId)) return vb;
    }
    ADD_FAILURE() << "no " << col(c, ifIndex, vrId);
    return VarBind{};
  };
  EXPECT_EQ(value(2, 1, 1).octets(), std::string("\x00\x00\x5e\x00\x01\x01", 6));
  EXPECT_EQ(value(3, 1, 1).value, "3");  // master
  EXPECT_EQ(value(3, 1, 2).value, "2");  // backup
  EXPECT_EQ(value(3, 1, 3).value, "1");  // initialize
  EXPECT_EQ(value(4, 1, 1).value, "1");  // admin up
  EXPECT_EQ(value(5, 1, 1).value, "200");
  EXPECT_EQ(value(6, 1, 1).value, "2");
  EXPECT_EQ(value(7, 1, 1), (VarBind{col(7, 1, 1), "IpAddress", "192.0.2.2", ""}));  // own address
  EXPECT_EQ(value(7, 1, 2).value, "192.0.2.3");  // backup: the master's source address
  EXPECT_EQ(value(7, 1, 3).value, "0.0.0.0");
  EXPECT_EQ(value(8, 2, 11).value, "0.0.0.0");
  EXPECT_EQ(value(9, 2, 11).value, "2");     // simpleTextPassword
  EXPECT_EQ(value(10, 2, 11).octets(), "");  // the key is never disclosed
  EXPECT_EQ(value(11, 1, 1).value, "1");
  EXPECT_EQ(value(12, 1, 1).value, "1");
  EXPECT_EQ(value(13, 1, 1).type, "Timeticks");
  EXPECT_GT(std::stoul(value(13, 1, 1).value), 0u);
  EXPECT_EQ(value(13, 1, 3).value, "0");
  EXPECT_EQ(value(14, 100100, 100).value, "1");
  EXPECT_EQ(value(15, 100100, 101).value, "1");

  SnmpReply asso = snmpwalk(agent, "public", kAssoTable);
  ASSERT_TRUE(asso.ok()) << asso.describe();
  EXPECT_EQ(asso.varbinds.size(), 11u) << asso.out;
  expectStrictlyIncreasing(asso.varbinds, kAssoTable);
  EXPECT_EQ(asso.varbinds.front(),
            (VarBind{kAssoTable + ".1.2.1.1.192.0.2.1", "INTEGER", "1", ""}));

  SnmpOptions bulk;
  bulk.extraArgs = {"-Cr7"};
  EXPECT_EQ(stable(snmpbulkwalk(agent, "public", kOperTable, bulk).varbinds),
            stable(walk.varbinds));
  EXPECT_EQ(snmpbulkwalk(agent, "public", kAssoTable, bulk).varbinds, asso.varbinds);

  SnmpReply scalars = snmpget(agent, "public", {".1.3.6.1.2.1.68.1.1.0", ".1.3.6.1.2.1.68.1.2.0"});
  ASSERT_EQ(scalars.varbinds.size(), 2u) << scalars.describe();
  EXPECT_EQ(scalars.varbinds[0].value, "2");
  EXPECT_EQ(scalars.varbinds[1].value, "1");
  EXPECT_EQ(get1(agent, col(1, 1, 1)).type, "noSuchObject");
  EXPECT_EQ(get1(agent, col(16, 1, 1)).type, "noSuchObject");
  EXPECT_EQ(get1(agent, col(3, 1, 4)).type, "noSuchInstance");
}

TEST(DaemonTest, RefusesEverySetEvenWithAWriteCommunity) {
  FhrpDaemon daemon;
  daemon.writeState(readFile(sourcePath("examples/lab.json")));
  auto conf = daemon.dir().writeFile("agent.conf", "rwcommunity private 127.0.0.1\n");
  daemon.start({"--config", conf.string()});
  for (const SetValue& set : std::vector<SetValue>{{".1.3.6.1.2.1.68.1.1.0", 'i', "3"},
                                                   {".1.3.6.1.2.1.68.1.2.0", 'i', "2"},
                                                   {col(5, 1, 1), 'i', "10"},
                                                   {col(3, 1, 1), 'i', "2"},
                                                   {col(10, 2, 11), 's', "guess"},
                                                   {kAssoTable + ".1.2.1.1.192.0.2.1", 'i', "6"}}) {
    SnmpReply r = snmpset(daemon.address(), "private", {set});
    EXPECT_FALSE(r.ok()) << r.describe();
    EXPECT_NE(r.err.find("notWritable"), std::string::npos) << r.describe();
  }
  EXPECT_EQ(get1(daemon.address(), col(5, 1, 1)).value, "200");
  EXPECT_EQ(get1(daemon.address(), col(3, 1, 1)).value, "3");
}

// One interface, ifIndex 7, own address 10.0.0.2; vr 12 backup, vr 13 master.
StateDoc smallDoc() {
  StateDoc d;
  d.ifIndex["Ethernet7"] = 7;
  d.ip["Ethernet7"] = "10.0.0.2/24";
  RouterDoc backup;
  backup.srcAddr = "10.0.0.3";
  backup.addrs = {"10.0.0.1"};
  d.routers["Ethernet7"][12] = backup;
  RouterDoc master;
  master.state = "master";
  master.addrs = {"10.0.0.100"};
  master.upSince = 1763760000;
  d.routers["Ethernet7"][13] = master;
  return d;
}

std::optional<Trap> waitForNewMaster(SnmpTrapReceiver& receiver, int vrId,
                                     Millis timeout = 15'000ms) {
  const std::string oid = col(7, 7, vrId);
  return receiver.waitForTrap(
      [&](const Trap& t) { return t.trapOid() == kNewMaster && t.find(oid); }, timeout);
}

TEST(DaemonTest, FollowsTheStateDocumentAndSendsNewMasterTraps) {
  SnmpTrapReceiver receiver;
  receiver.start();
  FhrpDaemon daemon;
  StateDoc doc = smallDoc();
  daemon.writeState(doc.json());
  daemon.start({"--trap-sink", receiver.address()});
  const std::string agent = daemon.address();

  // A router that is master when the agent starts is announced once it knows its address.
  auto startup = waitForNewMaster(receiver, 13);
  ASSERT_TRUE(startup) << receiver.log() << daemon.log();

  // Failover: the backup takes over; exactly the two variables, in order, after sysUpTime.
  doc.routers["Ethernet7"][12].state = "master";
  daemon.replaceState(doc.json());
  auto trap = waitForNewMaster(receiver, 12);
  ASSERT_TRUE(trap) << receiver.log() << daemon.log();
  ASSERT_EQ(trap->varbinds.size(), 3u) << trap->text;
  EXPECT_EQ(trap->varbinds[0].oid, ".1.3.6.1.2.1.1.3.0");
  EXPECT_EQ(trap->varbinds[1], (VarBind{kSnmpTrapOid, "OID", kNewMaster, ""}));
  EXPECT_EQ(trap->varbinds[2], (VarBind{col(7, 7, 12), "IpAddress", "10.0.0.2", ""}));
  EXPECT_EQ(get1(agent, col(3, 7, 12)).value, "3");
  EXPECT_EQ(get1(agent, col(7, 7, 12)).value, "10.0.0.2");

  // A router added, then removed.
  doc.routers["Ethernet7"][14].addrs = {"10.0.0.140"};
  daemon.replaceState(doc.json());
  ASSERT_TRUE(waitUntil([&] { return get1(agent, col(3, 7, 14)).value == "2"; }, 10s))
      << daemon.log();
  doc.routers["Ethernet7"].erase(14);
  daemon.replaceState(doc.json());
  ASSERT_TRUE(waitUntil([&] { return get1(agent, col(3, 7, 14)).type == "noSuchInstance"; }, 10s));
  EXPECT_EQ(get1(agent, kAssoTable + ".1.2.7.14.10.0.0.140").type, "noSuchInstance");

  // The interface loses its address: masters report no master address until it returns.
  doc.ip.erase("Ethernet7");
  daemon.replaceState(doc.json());
  ASSERT_TRUE(waitUntil([&] { return get1(agent, col(7, 7, 13)).value == "0.0.0.0"; }, 10s));
  doc.ip["Ethernet7"] = "10.0.0.5/24";
  daemon.replaceState(doc.json());
  ASSERT_TRUE(waitUntil([&] { return get1(agent, col(7, 7, 13)).value == "10.0.0.5"; }, 10s));

  // Version 2 -> 3 removes the router's rows; back to 2 restores them and announces it again.
  doc.routers["Ethernet7"][13].version = 3;
  daemon.replaceState(doc.json());
  ASSERT_TRUE(waitUntil([&] { return get1(agent, col(3, 7, 13)).type == "noSuchInstance"; }, 10s));
  EXPECT_EQ(get1(agent, kAssoTable + ".1.2.7.13.10.0.0.100").type, "noSuchInstance");
  doc.routers["Ethernet7"][13].version = 2;
  daemon.replaceState(doc.json());
  auto again = waitForNewMaster(receiver, 13);
  ASSERT_TRUE(again) << receiver.log() << daemon.log();
  EXPECT_EQ(again->find(col(7, 7, 13))->value, "10.0.0.5");
  EXPECT_EQ(get1(agent, kAssoTable + ".1.2.7.13.10.0.0.100").value, "1");
}

TEST(DaemonTest, ABrokenDocumentLeavesTheServedValuesUnchanged) {
  FhrpDaemon daemon;
  daemon.writeState(readFile(sourcePath("examples/lab.json")));
  daemon.start();
  SnmpReply before = snmpwalk(daemon.address(), "public", ".1.3.6.1.2.1.68");
  ASSERT_TRUE(before.ok()) << before.describe();

  const std::vector<std::string> broken = {
      "{\"interfaces\": {\"Ethernet1\": {\"ifIndex\": 1}",  // cut short
      "not json at all",
      "{\"interfaces\": {\"Ethernet1\": {\"ifIndex\": 0}}}",  // invalid ifIndex
      "{\"vrrpStatus\": {\"Ethernet1\": {\"5\": {\"state\": \"mastr\"}}}}"};
  size_t rejected = 0;
  for (const auto& text : broken) {
    daemon.writeState(text);  // in place, as a careless editor would
    ASSERT_TRUE(waitUntil([&] { return daemon.countLog("rejected") > rejected; }, 10s))
        << daemon.log();
    rejected = daemon.countLog("rejected");
    EXPECT_EQ(stable(snmpwalk(daemon.address(), "public", ".1.3.6.1.2.1.68").varbinds),
              stable(before.varbinds));
  }
  EXPECT_NE(daemon.log().find(daemon.statePath().string()), std::string::npos);
  EXPECT_NE(daemon.log().find("$.vrrpStatus.Ethernet1[\"5\"].state"), std::string::npos)
      << daemon.log();
  ASSERT_TRUE(daemon.process()->running());
}

TEST(DaemonTest, NotificationsOffSendsNothing) {
  SnmpTrapReceiver receiver;
  receiver.start();
  FhrpDaemon daemon;
  StateDoc doc = smallDoc();
  daemon.writeState(doc.json());
  daemon.start({"--trap-sink", receiver.address(), "--notifications", "off"});
  doc.routers["Ethernet7"][12].state = "master";
  daemon.replaceState(doc.json());
  ASSERT_TRUE(waitUntil([&] { return get1(daemon.address(), col(3, 7, 12)).value == "3"; }, 10s));
  EXPECT_FALSE(waitForNewMaster(receiver, 12, 1500ms)) << receiver.log();
  EXPECT_FALSE(waitForNewMaster(receiver, 13, 100ms)) << receiver.log();
}

TEST(DaemonTest, BadStartsExitWithStatusTwoAndOneLine) {
  {
    FhrpDaemon daemon;
    daemon.writeState("{\"interfaces\": []}");
    Process& p = daemon.launch({"--state", daemon.statePath().string(), "--listen",
                                "udp:127.0.0.1:" + std::to_string(freeUdpPort())});
    EXPECT_EQ(p.waitForExit(20s), 2) << p.describe();
    EXPECT_NE(p.stderrText().find("fhrp-snmpd: " + daemon.statePath().string()), std::string::npos)
        << p.describe();
    EXPECT_EQ(p.stderrText().find("ready"), std::string::npos);
  }
  {
    FhrpDaemon daemon;
    Process& p = daemon.launch({"--state", (daemon.dir() / "missing.json").string()});
    EXPECT_EQ(p.waitForExit(20s), 2) << p.describe();
  }
  {
    FhrpDaemon daemon;
    Process& p = daemon.launch({"--bogus"});
    EXPECT_EQ(p.waitForExit(20s), 2) << p.describe();
    EXPECT_NE(p.stderrText().find("unknown argument '--bogus'"), std::string::npos);
  }
  {
    // A busy port: another socket holds it.
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
    socklen_t len = sizeof a;
    getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
    FhrpDaemon daemon;
    daemon.writeState(smallDoc().json());
    Process& p = daemon.launch({"--state", daemon.statePath().string(), "--listen",
                                "udp:127.0.0.1:" + std::to_string(ntohs(a.sin_port))});
    EXPECT_EQ(p.waitForExit(20s), 2) << p.describe();
    EXPECT_NE(p.stderrText().find("cannot listen on"), std::string::npos) << p.describe();
    close(fd);
  }
}

TEST(DaemonTest, ServesThroughStockSnmpdAsAgentxSubagent) {
  StockSnmpd snmpd;
  snmpd.masterAgentx();
  snmpd.start();
  FhrpDaemon daemon;
  daemon.writeState(readFile(sourcePath("examples/lab.json")));
  Process& p =
      daemon.launch({"--state", daemon.statePath().string(), "--agentx", snmpd.agentxSocket()});
  ASSERT_TRUE(p.waitForStderrLine("ready on " + snmpd.agentxSocket(), 30s)) << p.describe();
  SnmpReply walk;
  ASSERT_TRUE(waitUntil(
      [&] {
        walk = snmpwalk(snmpd.address(), "public", kOperTable);
        return walk.varbinds.size() == 8u * 14u;
      },
      30s))
      << walk.describe() << snmpd.log() << p.describe();
  expectStrictlyIncreasing(walk.varbinds, kOperTable);
  EXPECT_EQ(snmpwalk(snmpd.address(), "public", kAssoTable).varbinds.size(), 11u);
}

TEST(DaemonTest, ServesInsideStockSnmpdAsPlugin) {
#ifdef FHRP_SANITIZED_BUILD
  GTEST_SKIP() << "a sanitizer-instrumented plug-in cannot load into an uninstrumented snmpd";
#endif
  TempDir dir("fhrp-plugin");
  auto state = dir.writeFile("state.json", readFile(sourcePath("examples/lab.json")));
  StockSnmpd snmpd;
  snmpd.dlmod("fhrpsnmp", fhrpPluginPath()).configLine("fhrpStateFile " + state.string());
  snmpd.start();
  SnmpReply walk = snmpwalk(snmpd.address(), "public", kOperTable);
  EXPECT_EQ(walk.varbinds.size(), 8u * 14u) << walk.describe() << snmpd.log();
  expectStrictlyIncreasing(walk.varbinds, kOperTable);
  EXPECT_EQ(get1(snmpd.address(), ".1.3.6.1.2.1.68.1.1.0").value, "2");
}

}  // namespace
}  // namespace Harness
