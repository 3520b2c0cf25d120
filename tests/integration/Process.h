#pragma once
// A child process owned by a test: started from an argv, always reaped, never outliving it.
#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/integration/Wait.h"

namespace Harness {

// Environment additions; a name given here replaces the inherited value.
using Env = std::vector<std::pair<std::string, std::string>>;

class Process {
 public:
  // Starts argv (argv[0] resolved through toolPath) with the current environment plus `env`.
  // stdin is /dev/null; stdout and stderr go to <dir>/<name>.stdout and <dir>/<name>.stderr.
  // The child gets SIGKILL if the test process dies first, so a crashing test leaves nothing
  // behind. Throws std::runtime_error when the program cannot be executed.
  Process(const std::vector<std::string>& argv, const std::filesystem::path& dir,
          const std::string& name, const Env& env = {});
  // stop(): the process is gone and reaped when the destructor returns.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  pid_t pid() const { return pid_; }
  const std::filesystem::path& stdoutPath() const { return stdoutPath_; }
  const std::filesystem::path& stderrPath() const { return stderrPath_; }
  std::string stdoutText() const;
  std::string stderrText() const;

  bool running();
  // Sends `sig` to this PID; false (and nothing sent) once the process has been reaped.
  bool signal(int sig);
  // Without waiting: nothing while running, else the exit code, or 128 + signal number when a
  // signal ended it (the shell's convention).
  std::optional<int> exitStatus();
  std::optional<int> waitForExit(Millis timeout);
  // SIGTERM, up to `grace` for it to end, then SIGKILL. Returns the exit status.
  int stop(Millis grace = Millis(5000));

  // Wait until a line of the output contains `substring`; give up early when the process ends.
  bool waitForStdoutLine(const std::string& substring, Millis timeout);
  bool waitForStderrLine(const std::string& substring, Millis timeout);

  // Command line, PID, status and both outputs: for failure messages.
  std::string describe();

 private:
  bool waitForLine(const std::filesystem::path& path, const std::string& substring, Millis timeout);

  std::vector<std::string> argv_;
  std::filesystem::path stdoutPath_;
  std::filesystem::path stderrPath_;
  pid_t pid_ = -1;
  std::optional<int> status_;
};

}  // namespace Harness
