// Faults around a running fhrp-snmpd: its state document broken in every way a file can be,
// its AgentX master restarted, its notification sinks deaf or stuck. It must go on serving the
// last good state, promptly, and pick up the next good one.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iostream>
#include <random>
#include <sstream>

#include "tests/integration/DaemonHealth.h"
#include "tests/integration/FhrpDaemon.h"
#include "tests/integration/Harness.h"
#include "tests/integration/StateDoc.h"

namespace Harness {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

const std::string kVrrp = ".1.3.6.1.2.1.68";
const std::string kOperTable = ".1.3.6.1.2.1.68.1.3";

// Ethernet1..4 with routers 1..routers each; the masters are the even ids when `evenMasters`,
// the odd ones otherwise.
StateDoc routersDoc(int routers, bool evenMasters = true) {
  StateDoc d;
  for (int i = 1; i <= 4; ++i) {
    const std::string name = "Ethernet" + std::to_string(i);
    d.ifIndex[name] = i;
    d.ip[name] = "10.0." + std::to_string(i) + ".2/24";
    for (int vrId = 1; vrId <= routers; ++vrId) {
      RouterDoc r;
      const bool master = (vrId % 2 == 0) == evenMasters;
      r.state = master ? "master" : "backup";
      r.srcAddr = master ? "10.0." + std::to_string(i) + ".2" : "10.0." + std::to_string(i) + ".3";
      r.addrs = {"10." + std::to_string(i) + "." + std::to_string(vrId) + ".1"};
      r.upSince = 1763760000;
      d.routers[name][vrId] = r;
    }
  }
  return d;
}

std::vector<VarBind> servedWalk(const FhrpDaemon& daemon) {
  SnmpReply walk = snmpwalk(daemon.address(), "public", kVrrp);
  EXPECT_TRUE(walk.ok()) << walk.describe();
  return masked(walk.varbinds);
}

// Waits for the daemon to log one more rejection, whose line must contain `reason`.
void expectRejected(FhrpDaemon& daemon, LogCounter& rejected, std::size_t& seen,
                    const std::string& reason) {
  ASSERT_TRUE(waitUntil([&] { return rejected.count() > seen; }, 10s)) << daemon.log();
  seen = rejected.count();
  ASSERT_TRUE(daemon.waitForLog(reason, 5s)) << "no rejection for " << reason << "\n"
                                             << daemon.log();
}

TEST(FaultTest, ABrokenDocumentOfAnyKindLeavesTheLastGoodStateServed) {
  FhrpDaemon daemon;
  daemon.environmentIs(daemonCheckEnvironment());
  const StateDoc good = routersDoc(3);
  daemon.writeState(good.json());
  daemon.start();
  const pid_t pid = daemon.process()->pid();
  const std::vector<VarBind> served = servedWalk(daemon);
  ASSERT_EQ(served.size(), 2u + 4 * 3 * 14 + 4 * 3);
  LogCounter rejected(daemon.process()->stderrPath(), "fhrp-snmp: rejected");
  std::size_t seen = 0;
  const fs::path state = daemon.statePath();
  const std::string text = good.json();

  fs::remove(state);
  ASSERT_NO_FATAL_FAILURE(expectRejected(daemon, rejected, seen, "no such file"));
  EXPECT_EQ(servedWalk(daemon), served);

  daemon.writeState("");  // created empty, as a writer that truncates first
  ASSERT_NO_FATAL_FAILURE(expectRejected(daemon, rejected, seen, "found end of document"));
  EXPECT_EQ(servedWalk(daemon), served);

  daemon.writeState(text.substr(0, text.size() / 2));  // cut short in place
  ASSERT_NO_FATAL_FAILURE(
      expectRejected(daemon, rejected, seen, "fhrp-snmp: rejected " + state.string() + ": line "));
  EXPECT_EQ(servedWalk(daemon), served);

  std::mt19937 rng(7);
  std::string garbage(4096, '\0');
  for (char& c : garbage) c = static_cast<char>(rng() & 0xff);
  garbage[0] = '\x01';
  daemon.replaceState(garbage);
  ASSERT_NO_FATAL_FAILURE(expectRejected(daemon, rejected, seen, "line 1, column 1"));
  EXPECT_EQ(servedWalk(daemon), served);

  fs::remove(state);
  fs::create_directory(state);
  ASSERT_NO_FATAL_FAILURE(expectRejected(daemon, rejected, seen, "is a directory"));
  EXPECT_EQ(servedWalk(daemon), served);
  fs::remove(state);

  // A FIFO whose writer never comes: opening it must not block the agent.
  ASSERT_EQ(::mkfifo(state.c_str(), 0600), 0);
  ASSERT_NO_FATAL_FAILURE(expectRejected(daemon, rejected, seen, "is not a regular file"));
  EXPECT_EQ(servedWalk(daemon), served);

  // Over the limit: refused from its size, without reading it (a 64 GiB sparse file would
  // take minutes and all memory).
  const std::uint64_t readBefore = bytesRead(pid);
  const fs::path huge = daemon.dir() / "huge.json";
  std::ofstream(huge).put('{');
  fs::resize_file(huge, std::uintmax_t{64} << 30);
  fs::rename(huge, state);
  ASSERT_NO_FATAL_FAILURE(expectRejected(daemon, rejected, seen,
                                         "68719476736 bytes, larger than the limit of 16777216"));
  daemon.writeState(std::string(16 * 1024 * 1024 + 1, ' '));
  ASSERT_NO_FATAL_FAILURE(
      expectRejected(daemon, rejected, seen, "16777217 bytes, larger than the limit"));
  EXPECT_LT(bytesRead(pid) - readBefore, 1u << 20) << "the oversized documents were read";
  EXPECT_EQ(servedWalk(daemon), served);

  // And the next good document is taken as ever.
  StateDoc next = good;
  next.routers["Ethernet2"].erase(3);
  daemon.replaceState(next.json());
  ASSERT_TRUE(daemon.waitForLog("fhrp-snmp: applied", 10s)) << daemon.log();
  EXPECT_EQ(servedWalk(daemon).size(), served.size() - 15);
  EXPECT_EQ(daemon.process()->stop(30s), 0) << daemon.process()->describe();
}

// Root reads any file: the daemon then runs without the capabilities that let it.
std::vector<std::string> withoutReadOverride(const TempDir& dir, std::string& skipReason) {
  if (::geteuid() != 0) return {};
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
    CommandResult r = runCommand(cat, 10s);
    if (r.exitCode != 0) return wrapper;
    skipReason = "running as root, and setpriv could not drop CAP_DAC_OVERRIDE: " + r.describe();
  } catch (const std::exception& e) {
    skipReason = std::string("running as root without setpriv (util-linux): ") + e.what();
  }
  return {};
}

TEST(FaultTest, AnUnreadableDocumentIsRejectedUntilAChmodMakesItReadable) {
  FhrpDaemon daemon;
  std::string skipReason;
  const std::vector<std::string> wrapper = withoutReadOverride(daemon.dir(), skipReason);
  if (!skipReason.empty()) GTEST_SKIP() << skipReason;
  daemon.wrapperIs(wrapper);
  daemon.environmentIs(daemonCheckEnvironment());
  daemon.writeState(routersDoc(2).json());
  daemon.start();
  const std::vector<VarBind> served = servedWalk(daemon);

  // The next document arrives unreadable (mode 000), as from a writer with a bad umask.
  const fs::path aside = daemon.dir().writeFile("next.json", routersDoc(3).json());
  fs::permissions(aside, fs::perms::none);
  fs::rename(aside, daemon.statePath());
  ASSERT_TRUE(daemon.waitForLog("permission denied", 10s)) << daemon.log();
  EXPECT_EQ(servedWalk(daemon), served);

  // Fixing the mode is a change of the document: no rewrite or SIGHUP needed.
  fs::permissions(daemon.statePath(), fs::perms::owner_read | fs::perms::owner_write);
  ASSERT_TRUE(daemon.waitForLog("fhrp-snmp: applied", 10s)) << daemon.log();
  EXPECT_EQ(servedWalk(daemon).size(), 2u + 4 * 3 * 14 + 4 * 3);
  EXPECT_EQ(daemon.process()->stop(30s), 0) << daemon.process()->describe();
}

TEST(FaultTest, TheSubagentServesAgainSoonAfterItsMasterRestarts) {
  StockSnmpd snmpd;
  snmpd.masterAgentx();
  snmpd.start();
  FhrpDaemon daemon;
  daemon.environmentIs(daemonCheckEnvironment());
  daemon.writeState(readFile(sourcePath("examples/lab.json")));
  Process& p =
      daemon.launch({"--state", daemon.statePath().string(), "--agentx", snmpd.agentxSocket()});
  ASSERT_TRUE(p.waitForStderrLine("ready on", 30s)) << p.describe();
  SnmpReply walk;
  ASSERT_TRUE(waitUntil(
      [&] {
        walk = snmpwalk(snmpd.address(), "public", kOperTable);
        return walk.varbinds.size() == 8u * 14u;
      },
      30s))
      << walk.describe() << p.describe();
  const std::vector<VarBind> served = masked(walk.varbinds);

  for (int restart = 1; restart <= 2; ++restart) {
    snmpd.stop();
    const auto down = std::chrono::steady_clock::now();
    snmpd.start();  // same AgentX socket, another UDP port
    const bool back = waitUntil(
        [&] { return masked(snmpwalk(snmpd.address(), "public", kOperTable).varbinds) == served; },
        30s, 200ms);
    const auto seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - down).count();
    ASSERT_TRUE(back) << "not served again through the restarted master\n"
                      << snmpd.log() << p.describe();
    // The daemon pings its master every 2 s and reconnects at that pace.
    EXPECT_LT(seconds, 10.0) << "restart " << restart;
    std::cout << "[ reliab  ] served again " << seconds << " s after master restart " << restart
              << "\n";
  }
  EXPECT_TRUE(p.running());
  EXPECT_EQ(p.stop(30s), 0) << p.describe();
}

// A TCP listener that accepts and never reads, with a small receive buffer.
class DeafTcpSink {
 public:
  DeafTcpSink() {
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int small = 4096;
    ::setsockopt(listener_, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    if (::bind(listener_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 ||
        ::listen(listener_, 4) != 0 ||
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&a), &len) != 0) {
      throw std::runtime_error("cannot listen for the TCP sink");
    }
    port_ = ntohs(a.sin_port);
  }
  ~DeafTcpSink() {
    if (conn_ >= 0) ::close(conn_);
    ::close(listener_);
  }
  std::uint16_t port() const { return port_; }
  bool accept(Millis timeout) {
    pollfd p{listener_, POLLIN, 0};
    if (::poll(&p, 1, static_cast<int>(timeout.count())) != 1) return false;
    sockaddr_in peer{};
    socklen_t len = sizeof peer;
    conn_ = ::accept4(listener_, reinterpret_cast<sockaddr*>(&peer), &len, SOCK_CLOEXEC);
    peerPort_ = ntohs(peer.sin_port);
    return conn_ >= 0;
  }
  // Bytes the daemon has queued towards us and we have not read (tx_queue of its socket).
  long queued() const {
    std::ifstream in("/proc/net/tcp");
    char local[32], remote[32];
    std::snprintf(local, sizeof local, "0100007F:%04X", peerPort_);
    std::snprintf(remote, sizeof remote, "0100007F:%04X", port_);
    for (std::string line; std::getline(in, line);) {
      std::istringstream fields(line);
      std::string sl, from, to, st, queues;
      fields >> sl >> from >> to >> st >> queues;
      if (from == local && to == remote)
        return std::stol(queues.substr(0, queues.find(':')), nullptr, 16);
    }
    return -1;
  }

 private:
  int listener_ = -1;
  int conn_ = -1;
  std::uint16_t port_ = 0;
  std::uint16_t peerPort_ = 0;
};

// A UDP sink the test reads itself, counting what arrives.
class CountingUdpSink {
 public:
  CountingUdpSink() {
    fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int big = 8 << 20;
    ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &big, sizeof big);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    ::bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a);
    ::getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len);
    port_ = ntohs(a.sin_port);
  }
  ~CountingUdpSink() { ::close(fd_); }
  std::uint16_t port() const { return port_; }
  std::size_t count() {
    char buffer[2048];
    while (::recv(fd_, buffer, sizeof buffer, 0) >= 0) ++count_;
    return count_;
  }

 private:
  int fd_ = -1;
  std::uint16_t port_ = 0;
  std::size_t count_ = 0;
};

TEST(FaultTest, SinksThatDoNotListenOrNeverReadStallNothing) {
  DeafTcpSink deaf;
  CountingUdpSink live;
  const std::uint16_t nobody = freeUdpPort();  // nothing listens there
  FhrpDaemon daemon;
  daemon.environmentIs(daemonCheckEnvironment());
  const std::string even = routersDoc(250, true).json();
  const std::string odd = routersDoc(250, false).json();
  daemon.writeState(even);
  // The notifications carry the community: a long one fills the deaf sink's buffers sooner.
  const std::string community(250, 'c');
  daemon.start({"--community", community, "--trap-sink",
                "tcp:127.0.0.1:" + std::to_string(deaf.port()), "--trap-sink",
                "127.0.0.1:" + std::to_string(nobody), "--trap-sink",
                "127.0.0.1:" + std::to_string(live.port())});
  ASSERT_TRUE(deaf.accept(10s)) << "the daemon did not connect to its TCP sink\n" << daemon.log();
  LogCounter applied(daemon.process()->stderrPath(), "fhrp-snmp: applied");

  // Every document fails over half of the 1000 routers: 500 notifications to each sink. Go on
  // until the deaf sink's queue stops growing (its buffers are full), then five more.
  SnmpOptions quick;
  quick.timeoutSeconds = 2;
  quick.retries = 0;
  long highest = 0;
  int flat = 0, afterFull = 0, documents = 0;
  double slowest = 0;
  for (; documents < 400 && afterFull < 5; ++documents) {
    const std::size_t before = applied.count();
    const std::size_t trapsBefore = live.count();
    daemon.replaceState(documents % 2 ? even : odd);
    ASSERT_TRUE(waitUntil([&] { return applied.count() > before; }, 20s))
        << "document " << documents << " not applied: the agent is stuck\n"
        << daemon.process()->describe();
    const auto asked = std::chrono::steady_clock::now();
    SnmpReply r = snmpget(daemon.address(), community, {".1.3.6.1.2.1.68.1.1.0"}, quick);
    const double took =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - asked).count();
    ASSERT_TRUE(r.ok()) << "no answer after document " << documents << "\n" << r.describe();
    slowest = std::max(slowest, took);
    EXPECT_TRUE(waitUntil([&] { return live.count() > trapsBefore; }, 10s))
        << "no notification reached the live sink after document " << documents;
    const long queued = deaf.queued();
    flat = queued > 0 && queued <= highest ? flat + 1 : 0;
    highest = std::max(highest, queued);
    if (flat >= 2) ++afterFull;
  }
  ASSERT_EQ(afterFull, 5) << "the deaf sink's queue never filled: " << highest << " bytes after "
                          << documents << " documents";
  std::cout << "[ reliab  ] " << documents << " failover documents, " << live.count()
            << " notifications at the live sink, " << highest
            << " bytes stuck towards the deaf one; slowest answer " << slowest << " s\n";
  EXPECT_EQ(daemon.process()->stop(30s), 0) << daemon.process()->describe();
}

}  // namespace
}  // namespace Harness
