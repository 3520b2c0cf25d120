#include "tests/integration/Process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <sstream>
#include <stdexcept>

#include "tests/integration/TempDir.h"
#include "tests/integration/Tools.h"

extern char** environ;

namespace Harness {
namespace {

std::vector<std::string> mergedEnvironment(const Env& additions) {
  // Later additions win, so a caller can override a shared default such as a persistent dir.
  std::map<std::string, std::string> chosen;
  for (const auto& [name, value] : additions) chosen[name] = value;
  std::vector<std::string> entries;
  for (char** entry = environ; *entry; ++entry) {
    std::string text = *entry;
    if (!chosen.count(text.substr(0, text.find('=')))) entries.push_back(std::move(text));
  }
  for (const auto& [name, value] : chosen) entries.push_back(name + "=" + value);
  return entries;
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
  std::vector<char*> result;
  for (auto& s : strings) result.push_back(s.data());
  result.push_back(nullptr);
  return result;
}

// Closes on every path out of the constructor, the throwing ones included.
struct Fd {
  int fd = -1;
  Fd() = default;
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  ~Fd() { reset(); }
  void reset() {
    if (fd >= 0) ::close(fd);
    fd = -1;
  }
};

void openOrThrow(Fd& target, const std::filesystem::path& path, int flags) {
  target.fd = ::open(path.c_str(), flags | O_CLOEXEC, 0644);
  if (target.fd < 0) {
    throw std::runtime_error("open " + path.string() + ": " + std::strerror(errno));
  }
}

int decodeStatus(int raw) {
  if (WIFEXITED(raw)) return WEXITSTATUS(raw);
  if (WIFSIGNALED(raw)) return 128 + WTERMSIG(raw);
  return -1;
}

// Between fork and exec: async-signal-safe calls only.
[[noreturn]] void execChild(pid_t parent, int in, int out, int err, int errorPipe, const char* path,
                            char* const* argv, char* const* envp) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(127);
  // A test process started without stdin (or stdout) got our descriptor in that slot: dup2
  // onto itself would keep close-on-exec set.
  int wanted[3] = {in, out, err};
  for (int target = 0; target < 3; ++target) {
    if (wanted[target] == target) {
      ::fcntl(target, F_SETFD, 0);
    } else {
      ::dup2(wanted[target], target);
    }
  }
  // Ignored signals stay ignored across exec; servers must see SIGTERM and SIGPIPE as usual.
  struct sigaction dfl {};
  dfl.sa_handler = SIG_DFL;
  for (int sig = 1; sig < NSIG; ++sig) ::sigaction(sig, &dfl, nullptr);
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  ::execve(path, argv, envp);
  int error = errno;
  [[maybe_unused]] auto written = ::write(errorPipe, &error, sizeof error);
  ::_exit(127);
}

}  // namespace

Process::Process(const std::vector<std::string>& argv, const std::filesystem::path& dir,
                 const std::string& name, const Env& env)
    : argv_(argv), stdoutPath_(dir / (name + ".stdout")), stderrPath_(dir / (name + ".stderr")) {
  if (argv_.empty()) throw std::runtime_error("Process: empty argv");
  std::string path = toolPath(argv_[0]);
  std::vector<std::string> args = argv_;
  std::vector<std::string> envStrings = mergedEnvironment(env);
  std::vector<char*> argvPtrs = pointers(args);
  std::vector<char*> envPtrs = pointers(envStrings);

  Fd in, out, err, errorRead, errorWrite;
  openOrThrow(in, "/dev/null", O_RDONLY);
  openOrThrow(out, stdoutPath_, O_WRONLY | O_CREAT | O_TRUNC);
  openOrThrow(err, stderrPath_, O_WRONLY | O_CREAT | O_TRUNC);
  int errorPipe[2];
  if (::pipe2(errorPipe, O_CLOEXEC) != 0) {
    throw std::runtime_error(std::string("pipe2: ") + std::strerror(errno));
  }
  errorRead.fd = errorPipe[0];
  errorWrite.fd = errorPipe[1];
  pid_t parent = ::getpid();
  pid_ = ::fork();
  if (pid_ == 0) {
    execChild(parent, in.fd, out.fd, err.fd, errorWrite.fd, path.c_str(), argvPtrs.data(),
              envPtrs.data());
  }
  if (pid_ < 0) throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
  // Only the child may hold the write end, so that exec closes the last one.
  errorWrite.reset();
  int execError = 0;
  ssize_t got;
  do {
    got = ::read(errorRead.fd, &execError, sizeof execError);
  } while (got < 0 && errno == EINTR);
  if (got > 0) {
    int raw = 0;
    ::waitpid(pid_, &raw, 0);
    status_ = decodeStatus(raw);
    throw std::runtime_error("cannot execute " + path + ": " + std::strerror(execError));
  }
}

Process::~Process() {
  stop();
}

std::string Process::stdoutText() const {
  return readFile(stdoutPath_);
}
std::string Process::stderrText() const {
  return readFile(stderrPath_);
}

std::optional<int> Process::exitStatus() {
  if (status_) return status_;
  int raw = 0;
  pid_t got;
  do {
    got = ::waitpid(pid_, &raw, WNOHANG);
  } while (got < 0 && errno == EINTR);
  if (got == pid_) status_ = decodeStatus(raw);
  return status_;
}

bool Process::running() {
  return !exitStatus().has_value();
}

bool Process::signal(int sig) {
  if (exitStatus()) return false;
  return ::kill(pid_, sig) == 0;
}

std::optional<int> Process::waitForExit(Millis timeout) {
  waitUntil([this] { return exitStatus().has_value(); }, timeout, Millis(10));
  return status_;
}

int Process::stop(Millis grace) {
  if (exitStatus()) return *status_;
  ::kill(pid_, SIGTERM);
  if (waitForExit(grace)) return *status_;
  ::kill(pid_, SIGKILL);
  int raw = 0;
  while (::waitpid(pid_, &raw, 0) < 0 && errno == EINTR) {
  }
  status_ = decodeStatus(raw);
  return *status_;
}

bool Process::waitForLine(const std::filesystem::path& path, const std::string& substring,
                          Millis timeout) {
  auto found = [&] { return readFile(path).find(substring) != std::string::npos; };
  // Whatever a process wrote before it ended is in the file once it is reaped.
  waitUntil([&] { return !running() || found(); }, timeout);
  return found();
}

bool Process::waitForStdoutLine(const std::string& substring, Millis timeout) {
  return waitForLine(stdoutPath_, substring, timeout);
}

bool Process::waitForStderrLine(const std::string& substring, Millis timeout) {
  return waitForLine(stderrPath_, substring, timeout);
}

std::string Process::describe() {
  std::ostringstream text;
  for (const auto& arg : argv_) text << arg << ' ';
  text << "(pid " << pid_ << ", ";
  if (auto status = exitStatus()) {
    text << "exit status " << *status << ")";
  } else {
    text << "running)";
  }
  text << "\n--- stdout ---\n" << stdoutText() << "\n--- stderr ---\n" << stderrText() << '\n';
  return text.str();
}

}  // namespace Harness
