// fhrp-snmpd as the systemd unit runs it, without systemd: a notification socket of our own
// stands in for NOTIFY_SOCKET, and a file that JOURNAL_STREAM names stands in for the journal.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "tests/integration/Daemon.h"

namespace Harness {
namespace {

using namespace std::chrono_literals;

const std::string kNodeVersion = ".1.3.6.1.2.1.68.1.1.0";

// The receiving end of sd_notify: a datagram socket bound to a path in a test folder.
class NotifySocket {
 public:
  explicit NotifySocket(const std::filesystem::path& path) : path_(path) {
    fd_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
      throw std::runtime_error("bind " + path.string() + ": " + std::strerror(errno));
    }
  }
  ~NotifySocket() { ::close(fd_); }
  NotifySocket(const NotifySocket&) = delete;
  NotifySocket& operator=(const NotifySocket&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // The next message, or empty when none comes in time.
  std::string next(Millis timeout) {
    pollfd p{fd_, POLLIN, 0};
    if (::poll(&p, 1, static_cast<int>(timeout.count())) != 1) return "";
    char buf[4096];
    const ssize_t n = ::recv(fd_, buf, sizeof buf, 0);
    return n > 0 ? std::string(buf, static_cast<size_t>(n)) : "";
  }

 private:
  std::filesystem::path path_;
  int fd_ = -1;
};

std::string streamId(const std::filesystem::path& file) {
  struct stat st {};
  if (::stat(file.c_str(), &st) != 0) return "";
  return std::to_string(st.st_dev) + ":" + std::to_string(st.st_ino);
}

TEST(SystemdTest, ReadyIsToldOnceItAnswersAndStoppingOnSigterm) {
  FhrpDaemon daemon;
  NotifySocket notify(daemon.dir() / "notify");
  daemon.envIs({{"NOTIFY_SOCKET", notify.path().string()}});
  daemon.start();

  const std::string ready = notify.next(10'000ms);
  EXPECT_NE(ready.find("READY=1"), std::string::npos) << ready;
  EXPECT_NE(ready.find("STATUS=serving the VRRP-MIB on udp:" + daemon.address()), std::string::npos)
      << ready;
  // systemd takes READY=1 as the word that managers may ask now.
  EXPECT_EQ(getOne(daemon.address(), kNodeVersion).value, "2");
  EXPECT_EQ(notify.next(200ms), "") << "more than one message before stopping";

  EXPECT_EQ(daemon.stop(), 0) << daemon.process().describe();
  EXPECT_EQ(notify.next(5'000ms), "STOPPING=1");
}

TEST(SystemdTest, LinesToTheJournalCarryTheirPriorityOnlyThere) {
  // The Process opens this file for stderr without replacing it: same device and inode.
  FhrpDaemon journal;
  const auto stream = journal.dir().writeFile("fhrp-snmpd.stderr", "");
  journal.envIs({{"JOURNAL_STREAM", streamId(stream)}});
  journal.start();
  EXPECT_NE(journal.log().find("<6>fhrp-snmp: loaded "), std::string::npos) << journal.log();
  journal.writeState("{\"interfaces\": 1}");
  EXPECT_TRUE(journal.waitForLog("<3>fhrp-snmp: rejected ")) << journal.log();

  // A child whose stderr went elsewhere inherits the variable, not the journal: plain lines.
  FhrpDaemon redirected;
  redirected.envIs({{"JOURNAL_STREAM", streamId(stream)}});
  redirected.start();
  EXPECT_NE(redirected.log().find("fhrp-snmp: loaded "), std::string::npos) << redirected.log();
  EXPECT_EQ(redirected.log().find("<6>"), std::string::npos) << redirected.log();
}

}  // namespace
}  // namespace Harness
