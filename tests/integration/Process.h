#pragma once
// Scratch folders, loopback ports and child processes for tests that drive real programs:
// whatever a test starts is stopped and reaped by PID, whatever it writes stays in its folder.
#include <sys/socket.h>
#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Harness {

using Millis = std::chrono::milliseconds;
// Environment additions; a name given again replaces the earlier or inherited value.
using Env = std::vector<std::pair<std::string, std::string>>;

// Polls: on a loaded 2-core CI machine any fixed sleep is either too short or wasteful.
bool waitUntil(const std::function<bool()>& condition, Millis timeout,
               Millis interval = Millis(20));

std::string readFile(const std::filesystem::path& path);  // empty when missing

// mkdtemp under $TMPDIR or /tmp; removed with its content unless FHRP_KEEP_TMP is set.
class TempDir {
 public:
  explicit TempDir(const std::string& prefix = "fhrp-test");
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
  std::filesystem::path writeFile(const std::string& name, const std::string& content) const;

 private:
  std::filesystem::path path_;
};

// A socket bound to 127.0.0.1:port (0: the kernel picks); fd() is -1 when the port is taken.
class Socket {
 public:
  explicit Socket(int type, std::uint16_t port = 0);
  ~Socket();
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  int fd() const { return fd_; }
  std::uint16_t port() const { return port_; }

 private:
  int fd_ = -1;
  std::uint16_t port_ = 0;
};

// A UDP port of 127.0.0.1 that is free now and never handed out twice in a process. Taken from
// 20000-32767, below Linux's ephemeral range, so that no client's source port takes it meanwhile.
std::uint16_t freeUdpPort();

// PATH plus /usr/sbin and /sbin, which a non-root PATH often lacks although snmpd lives there.
std::string toolPath(const std::string& name);

class Process {
 public:
  // argv[0] through toolPath; stdin /dev/null, stdout and stderr to <dir>/<name>.stdout and
  // .stderr. The child gets SIGKILL should the test process die first.
  Process(const std::vector<std::string>& argv, const std::filesystem::path& dir,
          const std::string& name, const Env& env = {});
  ~Process() { stop(); }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  pid_t pid() const { return pid_; }
  const std::filesystem::path& stderrPath() const { return stderr_; }
  std::string stdoutText() const { return readFile(stdout_); }
  std::string stderrText() const { return readFile(stderr_); }

  bool running() { return !exitStatus(); }
  // The exit code, or 128 + the signal that ended it; nothing while it runs.
  std::optional<int> exitStatus();
  std::optional<int> waitForExit(Millis timeout);
  // SIGTERM, up to `grace` for it to end, then SIGKILL. Returns the exit status.
  int stop(Millis grace = Millis(5000));
  // Gives up early when the process ends.
  bool waitForStderrLine(const std::string& substring, Millis timeout);
  std::string describe();  // command line, status and both outputs, for failure messages

 private:
  std::vector<std::string> argv_;
  std::filesystem::path stdout_, stderr_;
  pid_t pid_ = -1;
  std::optional<int> status_;
};

}  // namespace Harness
