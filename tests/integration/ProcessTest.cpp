// Process ownership, waits and the small helpers: what keeps a failing test from leaving
// strays behind or hanging.
#include <signal.h>
#include <sys/socket.h>
#include <netinet/in.h>
#include <arpa/inet.h>
#include <unistd.h>

#include <cerrno>
#include <set>

#include <gtest/gtest.h>

#include "tests/integration/Ports.h"
#include "tests/integration/Process.h"
#include "tests/integration/SnmpCommands.h"
#include "tests/integration/TempDir.h"
#include "tests/integration/Tools.h"

namespace Harness {
namespace {

using namespace std::chrono_literals;

bool pidExists(pid_t pid) {
  return ::kill(pid, 0) == 0 || errno != ESRCH;
}

TEST(ProcessTest, ReportsExitCodesAndSignals) {
  TempDir dir;
  Process exits({"sh", "-c", "echo out; echo err >&2; exit 3"}, dir.path(), "exits");
  EXPECT_EQ(exits.waitForExit(30s), 3);
  EXPECT_EQ(exits.stdoutText(), "out\n");
  EXPECT_EQ(exits.stderrText(), "err\n");
  EXPECT_FALSE(exits.signal(SIGTERM)) << "a reaped PID must never be signalled";

  Process killed({"sleep", "1000"}, dir.path(), "killed");
  EXPECT_TRUE(killed.signal(SIGKILL));
  EXPECT_EQ(killed.waitForExit(30s), 128 + SIGKILL);
}

TEST(ProcessTest, EnvironmentAdditionsOverrideInheritedAndEarlierValues) {
  TempDir dir;
  ::setenv("FHRP_HARNESS_PROBE", "inherited", 1);
  Process p({"sh", "-c", "echo \"$FHRP_HARNESS_PROBE\""}, dir.path(), "env",
            {{"FHRP_HARNESS_PROBE", "first"}, {"FHRP_HARNESS_PROBE", "last"}});
  ::unsetenv("FHRP_HARNESS_PROBE");
  ASSERT_EQ(p.waitForExit(30s), 0);
  EXPECT_EQ(p.stdoutText(), "last\n");
}

TEST(ProcessTest, UnstartableProgramThrowsWithItsName) {
  TempDir dir;
  auto notExecutable = dir.writeFile("plain.txt", "x");
  EXPECT_THROW(Process({notExecutable.string()}, dir.path(), "bad"), std::runtime_error);
  try {
    Process p({"fhrp-no-such-program"}, dir.path(), "missing");
    FAIL() << "expected an exception";
  } catch (const std::runtime_error& e) {
    EXPECT_NE(std::string(e.what()).find("fhrp-no-such-program"), std::string::npos) << e.what();
  }
}

TEST(ProcessTest, StopEscalatesToSigkillAndDestructorReaps) {
  TempDir dir;
  pid_t pid;
  {
    // exec keeps the ignored SIGTERM, so only SIGKILL ends it.
    Process stubborn({"sh", "-c", "trap '' TERM; echo armed >&2; exec sleep 1000"}, dir.path(),
                     "stubborn");
    pid = stubborn.pid();
    ASSERT_TRUE(stubborn.waitForStderrLine("armed", 30s)) << stubborn.describe();
    EXPECT_EQ(stubborn.stop(200ms), 128 + SIGKILL);
  }
  EXPECT_FALSE(pidExists(pid));
  {
    Process sleeper({"sleep", "1000"}, dir.path(), "sleeper");
    pid = sleeper.pid();
  }
  EXPECT_FALSE(pidExists(pid)) << "destructor must stop and reap";
}

TEST(ProcessTest, LineWaitGivesUpWhenTheProcessEnds) {
  TempDir dir;
  Process quick({"sh", "-c", "echo started >&2"}, dir.path(), "quick");
  auto before = std::chrono::steady_clock::now();
  EXPECT_FALSE(quick.waitForStderrLine("never printed", 60s));
  EXPECT_LT(std::chrono::steady_clock::now() - before, 30s);
  EXPECT_TRUE(quick.waitForStderrLine("started", 1s));
}

TEST(ProcessTest, RunCommandKillsOnTimeoutAndSetsTheSnmpEnvironment) {
  CommandResult slow = runCommand({"sleep", "1000"}, 300ms);
  EXPECT_TRUE(slow.timedOut);
  EXPECT_EQ(slow.exitCode, -1);

  CommandResult env =
      runCommand({"sh", "-c", "echo \"[$MIBS] $MIBDIRS\"; test -d \"$SNMP_PERSISTENT_DIR\""});
  EXPECT_EQ(env.exitCode, 0) << env.describe();
  EXPECT_EQ(env.out, "[] /nonexistent\n");
}

TEST(ProcessTest, FreePortsAreDistinctAndBindable) {
  std::set<std::uint16_t> seen;
  for (int i = 0; i < 20; ++i) {
    std::uint16_t port = i % 2 ? freeUdpPort() : freeTcpPort();
    EXPECT_TRUE(seen.insert(port).second) << "port handed out twice: " << port;
    int fd = ::socket(AF_INET, i % 2 ? SOCK_DGRAM : SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0) << port;
    ::close(fd);
  }
}

TEST(ProcessTest, TempDirIsRemovedWithItsContents) {
  std::filesystem::path path;
  {
    TempDir dir;
    path = dir.path();
    dir.writeFile("a/b/c.txt", "deep");
    EXPECT_EQ(readFile(dir / "a/b/c.txt"), "deep");
  }
  if (!std::getenv("FHRP_KEEP_TMP")) {
    EXPECT_FALSE(std::filesystem::exists(path));
  }
}

TEST(ProcessTest, MissingToolNamesItsPackage) {
  try {
    toolPath("snmp-no-such-tool");
    FAIL() << "expected an exception";
  } catch (const std::runtime_error& e) {
    EXPECT_NE(std::string(e.what()).find("make deps"), std::string::npos) << e.what();
  }
}

}  // namespace
}  // namespace Harness
