// Faults around a running fhrp-snmpd: its state document broken in every way a file can be, its
// notification sinks deaf. It must go on serving the last good state, promptly, and take the
// next good one.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <iostream>
#include <random>

#include "tests/integration/Daemon.h"

namespace Harness {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

const std::string kVrrp = ".1.3.6.1.2.1.68";

// Ethernet1..4 with routers 1..routers each; the masters are the even ids when `evenMasters`,
// the odd ones otherwise.
StateDoc routersDoc(int routers, bool evenMasters = true) {
  StateDoc d;
  for (int i = 1; i <= 4; ++i) {
    const std::string name = "Ethernet" + std::to_string(i), net = "10.0." + std::to_string(i);
    d.ifIndex[name] = i;
    d.ip[name] = net + ".2/24";
    for (int vrId = 1; vrId <= routers; ++vrId) {
      const bool master = (vrId % 2 == 0) == evenMasters;
      d.routers[name][vrId] = {master ? "master" : "backup",
                               2,
                               100,
                               net + (master ? ".2" : ".3"),
                               {"10." + std::to_string(i) + "." + std::to_string(vrId) + ".1"},
                               {},
                               1763760000};
    }
  }
  return d;
}

// Root reads any file: the daemon then runs without the capabilities that let it, when setpriv
// (util-linux) can drop them. Empty `unreadable` when the fault cannot be made.
std::vector<std::string> withoutReadOverride(const TempDir& dir, bool& unreadable) {
  unreadable = ::geteuid() != 0;
  if (unreadable) return {};
  const std::vector<std::string> wrapper = {"setpriv",
                                            "--bounding-set",
                                            "-dac_override,-dac_read_search",
                                            "--inh-caps",
                                            "-dac_override,-dac_read_search",
                                            "--"};
  const fs::path probe = dir.writeFile("probe", "x");
  fs::permissions(probe, fs::perms::none);
  std::vector<std::string> cat = wrapper;
  cat.insert(cat.end(), {"cat", probe.string()});
  try {
    unreadable = runCommand(cat, 10s).exitCode > 0;
  } catch (const std::exception&) {
  }
  return unreadable ? wrapper : std::vector<std::string>{};
}

TEST(FaultTest, ABrokenDocumentOfAnyKindLeavesTheLastGoodStateServed) {
  TempDir scratch;
  bool unreadable = false;
  const std::vector<std::string> wrapper = withoutReadOverride(scratch, unreadable);
  const StateDoc good = routersDoc(3);
  FhrpDaemon daemon(good.json(), wrapper);
  daemon.start();
  const pid_t pid = daemon.process().pid();
  auto servedNow = [&] { return masked(snmp("snmpwalk", daemon.address(), {kVrrp}).varbinds); };
  const std::vector<VarBind> served = servedNow();
  ASSERT_EQ(served.size(), 2u + 4 * 3 * 14 + 4 * 3);
  LogCounter rejected(daemon.process().stderrPath(), "; still serving the last good state");
  const fs::path state = daemon.statePath();
  const std::string text = good.json();
  std::mt19937 rng(7);
  std::string garbage(4096, '\x01');
  for (std::size_t i = 1; i < garbage.size(); ++i) garbage[i] = static_cast<char>(rng() & 0xff);
  const std::uint64_t readBefore = bytesRead(pid);

  const std::vector<std::pair<std::function<void()>, std::string>> faults = {
      {[&] { fs::remove(state); }, state.string() + " does not exist"},
      {[&] { daemon.writeState(""); }, "found end of document"},  // a writer truncating first
      {[&] { daemon.writeState(text.substr(0, text.size() / 2)); },
       "rejected " + state.string() + ": line "},
      {[&] { daemon.replaceState(garbage); }, "line 1, column 1"},
      {[&] { daemon.writeState("{\"interfaces\": {\"Ethernet1\": {\"ifIndex\": 0}}}"); },
       "$.interfaces.Ethernet1.ifIndex"},
      {[&] {
         daemon.writeState("{\"vrrpStatus\": {\"Ethernet1\": {\"5\": {\"state\": \"mastr\"}}}}");
       },
       "$.vrrpStatus.Ethernet1[\"5\"].state"},
      {[&] { fs::remove(state), fs::create_directory(state); }, "is a directory"},
      // A FIFO whose writer never comes: opening it must not block the agent.
      {[&] { fs::remove(state), ::mkfifo(state.c_str(), 0600); }, "is not a regular file"},
      // Refused from its size, unread: a 64 GiB sparse file would take minutes and all memory.
      {[&] {
         std::ofstream(daemon.dir() / "huge").put('{');
         fs::resize_file(daemon.dir() / "huge", std::uintmax_t{64} << 30);
         fs::rename(daemon.dir() / "huge", state);
       },
       "68719476736 bytes, larger than the limit of 16777216"},
      {[&] { daemon.writeState(std::string(16 * 1024 * 1024 + 1, ' ')); },
       "16777217 bytes, larger than the limit"}};
  std::size_t seen = 0;
  for (const auto& [fault, reason] : faults) {
    fault();
    ASSERT_TRUE(waitUntil([&] { return rejected.count() > seen; }, 10s)) << daemon.log();
    seen = rejected.count();
    ASSERT_TRUE(daemon.waitForLog(reason, 5s)) << "no rejection for " << reason << daemon.log();
    EXPECT_EQ(servedNow(), served) << reason;
  }
  EXPECT_LT(bytesRead(pid) - readBefore, 20u << 20) << "the oversized documents were read";

  // The next good document arrives unreadable (mode 000), as from a writer with a bad umask;
  // fixing the mode is a change of the document: no rewrite or SIGHUP needed.
  StateDoc next = good;
  next.routers["Ethernet2"].erase(3);
  const fs::path aside = daemon.dir().writeFile("next.json", next.json());
  if (unreadable) fs::permissions(aside, fs::perms::none);
  fs::rename(aside, state);
  if (unreadable) {
    ASSERT_TRUE(daemon.waitForLog("permission denied", 10s)) << daemon.log();
    EXPECT_EQ(servedNow(), served);
    fs::permissions(state, fs::perms::owner_read | fs::perms::owner_write);
  }
  ASSERT_TRUE(daemon.waitForLog("fhrp-snmpd: applied", 10s)) << daemon.log();
  EXPECT_EQ(servedNow().size(), served.size() - 15);
  EXPECT_EQ(daemon.stop(), 0) << daemon.process().describe();
  if (!unreadable) GTEST_SKIP() << "running as root, and setpriv could not drop CAP_DAC_OVERRIDE";
}

TEST(FaultTest, SinksThatDoNotListenOrNeverReadStallNothing) {
  // A TCP sink whose connection is never accepted nor read, a UDP port nobody listens on, and a
  // live UDP sink the test counts.
  const Socket deaf(SOCK_STREAM), live(SOCK_DGRAM);
  const int small = 4096, big = 8 << 20;
  ::setsockopt(deaf.fd(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
  ::setsockopt(live.fd(), SOL_SOCKET, SO_RCVBUF, &big, sizeof big);
  ASSERT_EQ(::listen(deaf.fd(), 4), 0);
  std::size_t notifications = 0;
  auto liveCount = [&] {
    char buffer[2048];
    while (::recv(live.fd(), buffer, sizeof buffer, MSG_DONTWAIT) >= 0) ++notifications;
    return notifications;
  };
  const std::string even = routersDoc(250, true).json(), odd = routersDoc(250, false).json();
  FhrpDaemon daemon(even);
  // The notifications carry the community: a long one fills the deaf sink's buffers sooner.
  const std::string community(250, 'c');
  daemon.start({"--community", community, "--trap-sink",
                "tcp:127.0.0.1:" + std::to_string(deaf.port()), "--trap-sink",
                "127.0.0.1:" + std::to_string(freeUdpPort()), "--trap-sink",
                "127.0.0.1:" + std::to_string(live.port())});
  LogCounter applied(daemon.process().stderrPath(), "fhrp-snmpd: applied");
  LogCounter dropped(daemon.process().stderrPath(), "send_trap: Failure in sendto");

  // Every document fails over half of the 1000 routers: 500 notifications to each sink. Go on
  // until notifications to the deaf sink are dropped (its buffers are full), then five more.
  int documents = 0, afterFull = 0;
  double slowest = 0;
  for (; documents < 400 && afterFull < 5; ++documents) {
    const std::size_t before = applied.count(), trapsBefore = liveCount();
    daemon.replaceState(documents % 2 ? even : odd);
    ASSERT_TRUE(waitUntil([&] { return applied.count() > before; }, 20s))
        << "document " << documents << " not applied: the agent is stuck\n"
        << daemon.process().describe();
    const auto asked = std::chrono::steady_clock::now();
    const CommandResult r =
        snmp("snmpget", daemon.address(), {kVrrp + ".1.1.0"}, {"-v2c", "-c", community, "-r0"});
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - asked;
    ASSERT_TRUE(r.ok()) << "no answer after document " << documents << "\n" << r.describe();
    slowest = std::max(slowest, took.count());
    EXPECT_TRUE(waitUntil([&] { return liveCount() > trapsBefore; }, 10s))
        << "no notification reached the live sink after document " << documents;
    if (dropped.count() > 0) ++afterFull;
  }
  ASSERT_EQ(afterFull, 5) << "the deaf sink never filled after " << documents << " documents";
  std::cout << "[ reliab  ] " << documents << " failover documents, " << liveCount()
            << " notifications at the live sink, " << dropped.count()
            << " dropped towards the deaf one; slowest answer " << slowest << " s\n";
  EXPECT_EQ(daemon.stop(), 0) << daemon.process().describe();
}

}  // namespace
}  // namespace Harness
