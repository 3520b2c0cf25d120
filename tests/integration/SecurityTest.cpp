// The standalone agent as docs/security.md recommends deploying it: one SNMPv3 user with
// authentication and privacy, no community. Only that user, with both its pass phrases, gets
// anything; nothing it gets or the agent stores discloses a secret.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <sstream>

#include "tests/integration/DaemonHealth.h"
#include "tests/integration/FhrpDaemon.h"
#include "tests/integration/Harness.h"

namespace Harness {
namespace {

using namespace std::chrono_literals;

const std::string kVrrp = ".1.3.6.1.2.1.68";
const std::string kNodeVersion = ".1.3.6.1.2.1.68.1.1.0";
const std::string kAuthPass = "auth-pass-phrase-1";
const std::string kPrivPass = "priv-pass-phrase-1";

SnmpOptions v3(const std::string& level, const std::string& user, const std::string& authPass,
               const std::string& privPass) {
  SnmpOptions o;
  o.version = "3";
  o.timeoutSeconds = 1;
  o.retries = 0;
  o.extraArgs = {"-l", level, "-u", user};
  if (level != "noAuthNoPriv")
    o.extraArgs.insert(o.extraArgs.end(), {"-a", "SHA-256", "-A", authPass});
  if (level == "authPriv") o.extraArgs.insert(o.extraArgs.end(), {"-x", "AES", "-X", privPass});
  return o;
}

TEST(SecurityTest, OnlyTheAuthPrivUserGetsAnythingAndNoSecretLeaks) {
  FhrpDaemon daemon;
  daemon.environmentIs(daemonCheckEnvironment());
  // lab.json has a router with the simple-text key "s3cret".
  daemon.writeState(readFile(sourcePath("examples/lab.json")));
  const auto conf = daemon.dir().writeFile(
      "agent.conf", "createUser opsuser SHA-256 \"" + kAuthPass + "\" AES \"" + kPrivPass +
                        "\"\nrouser opsuser authpriv " + kVrrp + "\n");
  daemon.start({"--config", conf.string(), "--no-community"});
  const std::string agent = daemon.address();

  const SnmpOptions good = v3("authPriv", "opsuser", kAuthPass, kPrivPass);
  SnmpOptions walkOptions = good;
  walkOptions.timeoutSeconds = 5;
  SnmpReply walk = snmpwalk(agent, "", kVrrp, walkOptions);
  ASSERT_TRUE(walk.ok()) << walk.describe() << daemon.log();
  EXPECT_EQ(walk.varbinds.size(), 2u + 8u * 14u + 11u) << walk.out;
  EXPECT_EQ(orderProblem(walk.varbinds, kVrrp), "");
  for (const VarBind& vb : walk.varbinds) {
    if (vb.oid.rfind(kVrrp + ".1.3.1.10.", 0) == 0) {
      EXPECT_EQ(vb.octets(), "") << vb;
    }
  }
  EXPECT_EQ(walk.out.find("s3cret"), std::string::npos);

  struct Refused {
    const char* what;
    std::string community;
    SnmpOptions options;
  };
  SnmpOptions v2c;
  v2c.timeoutSeconds = 1;
  v2c.retries = 0;
  SnmpOptions v1 = v2c;
  v1.version = "1";
  const std::vector<Refused> refused = {
      {"authentication without privacy", "", v3("authNoPriv", "opsuser", kAuthPass, "")},
      {"no authentication", "", v3("noAuthNoPriv", "opsuser", "", "")},
      {"a wrong authentication pass phrase", "",
       v3("authPriv", "opsuser", "wrong-pass-phrase", kPrivPass)},
      {"a wrong privacy pass phrase", "",
       v3("authPriv", "opsuser", kAuthPass, "wrong-pass-phrase")},
      {"an unknown user", "", v3("authPriv", "intruder", kAuthPass, kPrivPass)},
      {"the community public over SNMPv2c", "public", v2c},
      {"the community public over SNMPv1", "public", v1},
  };
  for (const Refused& r : refused) {
    SnmpReply reply = snmpget(agent, r.community, {kNodeVersion}, r.options);
    EXPECT_FALSE(reply.ok()) << r.what << ": " << reply.describe();
    for (const VarBind& vb : reply.varbinds) {
      EXPECT_NE(vb.type, "INTEGER") << r.what << " got a value: " << reply.describe();
    }
  }

  // Read-only even for the one user who gets in.
  SnmpReply set = snmpset(agent, "", {{kNodeVersion, 'i', "3"}}, good);
  EXPECT_FALSE(set.ok()) << set.describe();
  SnmpReply after = snmpget(agent, "", {kNodeVersion}, good);
  ASSERT_EQ(after.varbinds.size(), 1u) << after.describe();
  EXPECT_EQ(after.varbinds[0].value, "2");

  EXPECT_EQ(daemon.process()->stop(30s), 0) << daemon.process()->describe();
  for (const std::string& secret : {kAuthPass, kPrivPass, std::string("s3cret")}) {
    EXPECT_EQ(daemon.log().find(secret), std::string::npos) << secret << " in the log";
  }
  // net-snmp keeps the user's localized keys, never the pass phrases, in a file of its own.
  const auto stored = daemon.dir() / "persist" / "fhrp-snmpd.conf";
  struct stat st {};
  ASSERT_EQ(::stat(stored.c_str(), &st), 0) << stored;
  EXPECT_EQ(st.st_mode & 0777, 0600u);
  const std::string text = readFile(stored);
  EXPECT_NE(text.find("usmUser"), std::string::npos);
  EXPECT_EQ(text.find(kAuthPass), std::string::npos);
  EXPECT_EQ(text.find(kPrivPass), std::string::npos);
}

// The engine ID and boot counter, and a user once created, live in the persistent folder and
// outlive restarts: the createUser line, with its pass phrases, can then leave the
// configuration.
TEST(SecurityTest, TheEngineAndItsUserOutliveRestarts) {
  FhrpDaemon daemon;
  daemon.environmentIs(daemonCheckEnvironment());
  daemon.writeState(readFile(sourcePath("examples/lab.json")));
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
  std::string engineId;
  for (int run = 1; run <= 3; ++run) {
    const auto conf = daemon.dir().writeFile("agent.conf", run == 1 ? createUser + rouser : rouser);
    daemon.start({"--config", conf.string(), "--no-community"});
    SnmpReply reply = snmpget(daemon.address(), "", {kNodeVersion},
                              v3("authPriv", "opsuser", kAuthPass, kPrivPass));
    EXPECT_TRUE(reply.ok()) << "run " << run << ": " << reply.describe();
    ASSERT_EQ(daemon.process()->stop(30s), 0) << daemon.process()->describe();
    EXPECT_EQ(storedLine("engineBoots"), std::to_string(run));
    if (run == 1) engineId = storedLine("oldEngineID");
    EXPECT_EQ(storedLine("oldEngineID"), engineId) << "run " << run;
  }
  EXPECT_NE(engineId, "");
}

// A --config that cannot be read would leave out the users and rules it holds: no start.
TEST(SecurityTest, AnUnreadableConfigurationIsABadStart) {
  FhrpDaemon daemon;
  daemon.writeState(readFile(sourcePath("examples/lab.json")));
  const std::string missing = (daemon.dir() / "missing.conf").string();
  Process& p =
      daemon.launch({"--state", daemon.statePath().string(), "--listen",
                     "udp:127.0.0.1:" + std::to_string(freeUdpPort()), "--config", missing});
  EXPECT_EQ(p.waitForExit(20s), 2) << p.describe();
  EXPECT_NE(p.stderrText().find("fhrp-snmpd: cannot read --config " + missing), std::string::npos)
      << p.describe();
  EXPECT_EQ(p.stderrText().find("ready"), std::string::npos);
}

}  // namespace
}  // namespace Harness
