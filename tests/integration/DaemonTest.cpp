// fhrp-snmpd as operators run it: a real process on loopback, its state document edited while it
// runs, queried with net-snmp's own tools, its traps caught by snmptrapd; the module as AgentX
// subagent and as plug-in of Debian's snmpd; the SNMPv3 set-up docs/security.md recommends.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <iostream>
#include <sstream>

#include "tests/integration/Daemon.h"

namespace Harness {
namespace {

using namespace std::chrono_literals;

const std::string kVrrp = ".1.3.6.1.2.1.68";
const std::string kOperTable = kVrrp + ".1.3";
const std::string kAssoTable = kVrrp + ".1.4";
const std::string kNodeVersion = kVrrp + ".1.1.0";
const std::string kNotificationCntl = kVrrp + ".1.2.0";
const std::string kNewMaster = kVrrp + ".0.1";
const std::string kSnmpTrapOid = ".1.3.6.1.6.3.1.1.4.1.0";

std::string col(int column, long ifIndex, int vrId) {
  return kOperTable + ".1." + std::to_string(column) + "." + std::to_string(ifIndex) + "." +
         std::to_string(vrId);
}

// The lab example has eight version-2 routers, fourteen served columns each (the version-3
// router is absent), and eleven associated addresses.
bool servesLab(const std::string& agent) {
  return snmp("snmpwalk", agent, {kOperTable}).varbinds.size() == 8u * 14u &&
         snmp("snmpwalk", agent, {kAssoTable}).varbinds.size() == 11u;
}

TEST(DaemonTest, ServesTheLabExampleAndRefusesEverySet) {
  FhrpDaemon daemon;
  const auto conf = daemon.dir().writeFile("agent.conf", "rwcommunity private 127.0.0.1\n");
  daemon.start({"--config", conf.string()});
  const std::string agent = daemon.address();

  CommandResult walk = snmp("snmpwalk", agent, {kVrrp});
  ASSERT_TRUE(walk.ok()) << walk.describe();
  ASSERT_EQ(walk.varbinds.size(), 2u + 8u * 14u + 11u) << walk.out;
  EXPECT_EQ(orderProblem(walk.varbinds, kVrrp), "");
  auto value = [&](const std::string& oid) {
    auto it = std::find_if(walk.varbinds.begin(), walk.varbinds.end(),
                           [&](const VarBind& vb) { return vb.oid == oid; });
    return it == walk.varbinds.end() ? VarBind{oid, "missing", ""} : *it;
  };
  // States 3 master, 2 backup, 1 initialize; a master's master address is its own, a backup's
  // the master's source address; authType 2 is simpleTextPassword, whose key is never disclosed.
  const std::string firstAddr = kAssoTable + ".1.2.1.1.192.0.2.1";
  for (const auto& [oid, expected] : std::vector<std::pair<std::string, std::string>>{
           {kNodeVersion, "2"},         {kNotificationCntl, "1"},  {col(3, 1, 1), "3"},
           {col(3, 1, 2), "2"},         {col(3, 1, 3), "1"},       {col(4, 1, 1), "1"},
           {col(5, 1, 1), "200"},       {col(6, 1, 1), "2"},       {col(7, 1, 1), "192.0.2.2"},
           {col(7, 1, 2), "192.0.2.3"}, {col(7, 1, 3), "0.0.0.0"}, {col(8, 2, 11), "0.0.0.0"},
           {col(9, 2, 11), "2"},        {col(10, 2, 11), ""},      {col(11, 1, 1), "1"},
           {col(12, 1, 1), "1"},        {col(13, 1, 3), "0"},      {col(14, 100100, 100), "1"},
           {col(15, 100100, 101), "1"}, {firstAddr, "1"}}) {
    EXPECT_EQ(value(oid).octets(), expected) << oid;
  }
  EXPECT_EQ(value(col(2, 1, 1)).octets(), std::string("\x00\x00\x5e\x00\x01\x01", 6));
  EXPECT_EQ(value(col(7, 1, 1)).type, "IpAddress");
  EXPECT_EQ(value(col(13, 1, 1)).type, "Timeticks");
  EXPECT_GT(std::stoul(value(col(13, 1, 1)).value), 0u);
  EXPECT_EQ(walk.out.find("s3cret"), std::string::npos);

  EXPECT_EQ(masked(snmp("snmpbulkwalk", agent, {kVrrp}, {"-v2c", "-cpublic", "-Cr7"}).varbinds),
            masked(walk.varbinds));
  const std::vector<std::string> some = {kNodeVersion, kNotificationCntl, col(7, 1, 1),
                                         col(15, 100100, 101), firstAddr};
  CommandResult get = snmp("snmpget", agent, some);
  ASSERT_EQ(get.varbinds.size(), some.size()) << get.describe();
  for (const VarBind& vb : get.varbinds) EXPECT_EQ(vb, value(vb.oid));
  EXPECT_EQ(getOne(agent, col(1, 1, 1)).type, "noSuchObject");
  EXPECT_EQ(getOne(agent, col(16, 1, 1)).type, "noSuchObject");
  EXPECT_EQ(getOne(agent, col(3, 1, 4)).type, "noSuchInstance");

  // Every column, scalar and SNMP version: HostileTrafficTest.
  for (const std::string& oid : {kNotificationCntl, col(5, 1, 1), firstAddr}) {
    CommandResult r = snmp("snmpset", agent, {oid, "i", "2"}, {"-v2c", "-cprivate"});
    EXPECT_NE(r.err.find("notWritable"), std::string::npos) << r.describe();
  }
  EXPECT_EQ(masked(snmp("snmpwalk", agent, {kVrrp}).varbinds), masked(walk.varbinds));
}

// One interface, ifIndex 7, own address 10.0.0.2; vr 12 backup, vr 13 master.
StateDoc smallDoc() {
  StateDoc d;
  d.ifIndex["Ethernet7"] = 7;
  d.ip["Ethernet7"] = "10.0.0.2/24";
  d.routers["Ethernet7"][12] = {"backup", 2, 100, "10.0.0.3", {"10.0.0.1"}, {}, 0};
  d.routers["Ethernet7"][13] = {"master", 2, 100, "10.0.0.2", {"10.0.0.100"}, {}, 1763760000};
  return d;
}

std::optional<Trap> waitForNewMaster(SnmpTrapReceiver& receiver, int vrId, Millis timeout) {
  const std::string oid = col(7, 7, vrId);
  return receiver.waitForTrap(
      [&](const Trap& t) {
        const VarBind* trapOid = t.find(kSnmpTrapOid);
        return trapOid && trapOid->value == kNewMaster && t.find(oid);
      },
      timeout);
}

TEST(DaemonTest, FollowsTheStateDocumentAndSendsNewMasterTraps) {
  SnmpTrapReceiver receiver;
  StateDoc doc = smallDoc();
  FhrpDaemon daemon(doc.json());
  daemon.start({"--trap-sink", receiver.address()});
  const std::string agent = daemon.address();
  // A router that is master when the agent starts is announced once it knows its address.
  ASSERT_TRUE(waitForNewMaster(receiver, 13, 15s)) << receiver.log() << daemon.log();

  // Failover: the backup takes over; exactly the two variables, in order, after sysUpTime.
  doc.routers["Ethernet7"][12].state = "master";
  daemon.replaceState(doc.json());
  auto trap = waitForNewMaster(receiver, 12, 15s);
  ASSERT_TRUE(trap) << receiver.log() << daemon.log();
  ASSERT_EQ(trap->varbinds.size(), 3u);
  EXPECT_EQ(trap->varbinds[0].oid, ".1.3.6.1.2.1.1.3.0");
  EXPECT_EQ(trap->varbinds[1], (VarBind{kSnmpTrapOid, "OID", kNewMaster}));
  EXPECT_EQ(trap->varbinds[2], (VarBind{col(7, 7, 12), "IpAddress", "10.0.0.2"}));
  EXPECT_EQ(getOne(agent, col(3, 7, 12)).value, "3");

  // A router added, then removed with its address.
  doc.routers["Ethernet7"][14].addrs = {"10.0.0.140"};
  daemon.replaceState(doc.json());
  ASSERT_TRUE(waitUntil([&] { return getOne(agent, col(3, 7, 14)).value == "2"; }, 10s));
  EXPECT_EQ(getOne(agent, kAssoTable + ".1.2.7.14.10.0.0.140").value, "1");
  doc.routers["Ethernet7"].erase(14);
  daemon.replaceState(doc.json());
  ASSERT_TRUE(
      waitUntil([&] { return getOne(agent, col(3, 7, 14)).type == "noSuchInstance"; }, 10s));
  EXPECT_EQ(getOne(agent, kAssoTable + ".1.2.7.14.10.0.0.140").type, "noSuchInstance");

  // The interface loses its address: masters report no master address until it returns.
  doc.ip.erase("Ethernet7");
  daemon.replaceState(doc.json());
  ASSERT_TRUE(waitUntil([&] { return getOne(agent, col(7, 7, 13)).value == "0.0.0.0"; }, 10s));
  doc.ip["Ethernet7"] = "10.0.0.5/24";
  daemon.replaceState(doc.json());
  ASSERT_TRUE(waitUntil([&] { return getOne(agent, col(7, 7, 13)).value == "10.0.0.5"; }, 10s));

  // Version 2 -> 3 removes the router's rows; back to 2 restores them and announces it again.
  doc.routers["Ethernet7"][13].version = 3;
  daemon.replaceState(doc.json());
  ASSERT_TRUE(
      waitUntil([&] { return getOne(agent, col(3, 7, 13)).type == "noSuchInstance"; }, 10s));
  EXPECT_EQ(getOne(agent, kAssoTable + ".1.2.7.13.10.0.0.100").type, "noSuchInstance");
  doc.routers["Ethernet7"][13].version = 2;
  daemon.replaceState(doc.json());
  auto again = waitForNewMaster(receiver, 13, 15s);
  ASSERT_TRUE(again) << receiver.log() << daemon.log();
  EXPECT_EQ(again->find(col(7, 7, 13))->value, "10.0.0.5");
  EXPECT_EQ(getOne(agent, kAssoTable + ".1.2.7.13.10.0.0.100").value, "1");
}

TEST(DaemonTest, NotificationsOffSendsNothing) {
  SnmpTrapReceiver receiver;
  StateDoc doc = smallDoc();
  FhrpDaemon daemon(doc.json());
  daemon.start({"--trap-sink", receiver.address(), "--notifications", "off"});
  doc.routers["Ethernet7"][12].state = "master";
  daemon.replaceState(doc.json());
  ASSERT_TRUE(waitUntil([&] { return getOne(daemon.address(), col(3, 7, 12)).value == "3"; }, 10s));
  EXPECT_FALSE(waitForNewMaster(receiver, 12, 1500ms)) << receiver.log();
  EXPECT_FALSE(waitForNewMaster(receiver, 13, 100ms)) << receiver.log();
}

TEST(DaemonTest, BadStartsExitWithStatusTwoAndOneLine) {
  FhrpDaemon daemon;
  const std::string state = daemon.statePath().string();
  const std::string bad = daemon.dir().writeFile("bad.json", "{\"interfaces\": []}").string();
  const std::string missing = (daemon.dir() / "missing").string();
  const Socket busy(SOCK_DGRAM);
  const std::string listen = "udp:127.0.0.1:" + std::to_string(freeUdpPort());
  const std::vector<std::pair<std::vector<std::string>, std::string>> starts = {
      {{"--state", bad, "--listen", listen}, bad + ": $.interfaces: expected an object"},
      {{"--state", missing}, missing + ": no such file"},
      {{"--state", state, "--bogus"}, "unknown argument '--bogus'"},
      {{"--state", state, "--listen", "udp:127.0.0.1:" + std::to_string(busy.port())},
       "cannot listen on"},
      // Without the users and rules it holds the agent would be open: no start.
      {{"--state", state, "--listen", listen, "--config", missing},
       "cannot read --config " + missing}};
  for (const auto& [args, message] : starts) {
    Process& p = daemon.launch(args);
    EXPECT_EQ(p.waitForExit(20s), 2) << p.describe();
    const std::string err = p.stderrText();
    EXPECT_EQ(err.find("fhrp-snmpd: "), err.rfind("fhrp-snmpd: ")) << p.describe();
    EXPECT_NE(err.find("fhrp-snmpd: " + message), std::string::npos) << p.describe();
  }
}

TEST(DaemonTest, ServesAsAgentxSubagentAlsoAfterItsMasterRestarts) {
  StockSnmpd snmpd({"master agentx"});
  snmpd.start();
  FhrpDaemon daemon;
  Process& p =
      daemon.launch({"--state", daemon.statePath().string(), "--agentx", snmpd.agentxSocket()});
  ASSERT_TRUE(p.waitForStderrLine("ready on " + snmpd.agentxSocket(), 30s)) << p.describe();
  ASSERT_TRUE(waitUntil([&] { return servesLab(snmpd.address()); }, 30s))
      << snmpd.log() << p.describe();
  const auto served = masked(snmp("snmpwalk", snmpd.address(), {kVrrp}).varbinds);
  EXPECT_EQ(orderProblem(served, kVrrp), "");

  for (int restart = 1; restart <= 2; ++restart) {
    snmpd.stop();
    const auto down = std::chrono::steady_clock::now();
    snmpd.start();  // the same AgentX socket, another UDP port
    ASSERT_TRUE(waitUntil(
        [&] { return masked(snmp("snmpwalk", snmpd.address(), {kVrrp}).varbinds) == served; }, 30s,
        200ms))
        << snmpd.log() << p.describe();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - down;
    // The daemon pings its master every 2 s and reconnects at that pace.
    EXPECT_LT(took.count(), 10.0) << "restart " << restart;
    std::cout << "[ reliab  ] served again " << took.count() << " s after master restart "
              << restart << "\n";
  }
  EXPECT_EQ(daemon.stop(), 0) << p.describe();
}

TEST(DaemonTest, ServesInsideStockSnmpdAsPlugin) {
  if (sanitizedBuild()) GTEST_SKIP() << "an instrumented plug-in cannot load into snmpd";
  TempDir dir("fhrp-plugin");
  const auto state = dir.writeFile("state.json", labDocument());
  StockSnmpd snmpd({"dlmod fhrpsnmp " + pluginPath(), "fhrpStateFile " + state.string()});
  snmpd.start();
  EXPECT_TRUE(servesLab(snmpd.address())) << snmpd.log();
  EXPECT_EQ(orderProblem(snmp("snmpwalk", snmpd.address(), {kVrrp}).varbinds, kVrrp), "");
  EXPECT_EQ(getOne(snmpd.address(), kNodeVersion).value, "2");
}

const std::string kAuthPass = "auth-pass-phrase-1";
const std::string kPrivPass = "priv-pass-phrase-1";

std::vector<std::string> v3(const std::string& level, const std::string& user,
                            const std::string& authPass, const std::string& privPass) {
  std::vector<std::string> o = {"-v3", "-t1", "-r0", "-l", level, "-u", user};
  if (level != "noAuthNoPriv") o.insert(o.end(), {"-a", "SHA-256", "-A", authPass});
  if (level == "authPriv") o.insert(o.end(), {"-x", "AES", "-X", privPass});
  return o;
}

// One SNMPv3 user with authentication and privacy, no community. Only that user, with both its
// pass phrases, gets anything; nothing it gets or the agent stores discloses a secret. The engine
// and the user outlive restarts, so the createUser line can leave the configuration.
TEST(SecurityTest, OnlyTheAuthPrivUserGetsAnythingAndNoSecretLeaks) {
  FhrpDaemon daemon;
  const std::string rouser = "rouser opsuser authpriv " + kVrrp + "\n";
  const std::string createUser =
      "createUser opsuser SHA-256 \"" + kAuthPass + "\" AES \"" + kPrivPass + "\"\n";
  const auto stored = daemon.dir() / "persist" / "fhrp-snmpd.conf";
  auto storedLine = [&](const std::string& token) {
    std::istringstream lines(readFile(stored));
    for (std::string line; std::getline(lines, line);) {
      if (line.rfind(token + " ", 0) == 0) return line.substr(token.size() + 1);
    }
    return std::string();
  };
  const auto good = v3("authPriv", "opsuser", kAuthPass, kPrivPass);
  const std::vector<std::pair<const char*, std::vector<std::string>>> refused = {
      {"authentication without privacy", v3("authNoPriv", "opsuser", kAuthPass, "")},
      {"no authentication", v3("noAuthNoPriv", "opsuser", "", "")},
      {"a wrong authentication pass phrase", v3("authPriv", "opsuser", "wrong-pass", kPrivPass)},
      {"a wrong privacy pass phrase", v3("authPriv", "opsuser", kAuthPass, "wrong-pass")},
      {"an unknown user", v3("authPriv", "intruder", kAuthPass, kPrivPass)},
      {"public over SNMPv2c", {"-v2c", "-cpublic", "-t1", "-r0"}},
      {"public over SNMPv1", {"-v1", "-cpublic", "-t1", "-r0"}}};
  std::string engineId;
  for (int run = 1; run <= 2; ++run) {
    const auto conf = daemon.dir().writeFile("agent.conf", run == 1 ? createUser + rouser : rouser);
    daemon.start({"--config", conf.string(), "--no-community"});
    auto walkOptions = good;
    // Under load in the sanitizer build the first walk after a restart once went unanswered for
    // 5 s: retried, as a manager would.
    walkOptions.insert(walkOptions.end(), {"-t3", "-r2"});
    CommandResult walk = snmp("snmpwalk", daemon.address(), {kVrrp}, walkOptions);
    ASSERT_TRUE(walk.ok()) << "run " << run << ": " << walk.describe() << daemon.log();
    EXPECT_EQ(walk.varbinds.size(), 2u + 8u * 14u + 11u) << walk.out;
    EXPECT_EQ(walk.out.find("s3cret"), std::string::npos);
    EXPECT_FALSE(snmp("snmpset", daemon.address(), {kNodeVersion, "i", "3"}, good).ok());
    if (run == 1) {  // once: a restart changes no rule
      for (const auto& [what, options] : refused) {
        CommandResult r = snmp("snmpget", daemon.address(), {kNodeVersion}, options);
        EXPECT_FALSE(r.ok()) << what << ": " << r.describe();
        EXPECT_EQ(r.out.find("INTEGER"), std::string::npos) << what << ": " << r.describe();
      }
    }

    ASSERT_EQ(daemon.stop(), 0) << daemon.process().describe();
    for (const std::string& secret : {kAuthPass, kPrivPass, std::string("s3cret")}) {
      EXPECT_EQ(daemon.log().find(secret), std::string::npos) << secret << " in the log";
      EXPECT_EQ(readFile(stored).find(secret), std::string::npos) << secret << " stored";
    }
    EXPECT_NE(readFile(stored).find("usmUser"), std::string::npos);
    EXPECT_EQ(storedLine("engineBoots"), std::to_string(run));
    if (run == 1) engineId = storedLine("oldEngineID");
    EXPECT_EQ(storedLine("oldEngineID"), engineId);
  }
  EXPECT_NE(engineId, "");
  struct stat st {};
  ASSERT_EQ(::stat(stored.c_str(), &st), 0) << stored;
  EXPECT_EQ(st.st_mode & 0777, 0600u);
}

}  // namespace
}  // namespace Harness
