#include "tests/integration/Process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace Harness {

bool waitUntil(const std::function<bool()>& condition, Millis timeout, Millis interval) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (std::chrono::steady_clock::now() < deadline) {
    if (condition()) return true;
    std::this_thread::sleep_for(interval);
  }
  return condition();
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

TempDir::TempDir(const std::string& prefix) {
  const char* base = std::getenv("TMPDIR");
  std::string templ = std::string(base && *base ? base : "/tmp") + "/" + prefix + ".XXXXXX";
  if (!::mkdtemp(templ.data())) throw std::runtime_error("mkdtemp " + templ);
  path_ = templ;
}

TempDir::~TempDir() {
  if (std::getenv("FHRP_KEEP_TMP")) {
    std::fprintf(stderr, "FHRP_KEEP_TMP: keeping %s\n", path_.c_str());
    return;
  }
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TempDir::writeFile(const std::string& name,
                                         const std::string& content) const {
  const std::filesystem::path file = path_ / name;
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << content;
  out.close();
  if (!out) throw std::runtime_error("cannot write " + file.string());
  return file;
}

Socket::Socket(int type, std::uint16_t port) {
  fd_ = ::socket(AF_INET, type | SOCK_CLOEXEC, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(port);
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof addr;
  auto* any = reinterpret_cast<sockaddr*>(&addr);
  if (fd_ >= 0 && ::bind(fd_, any, sizeof addr) == 0 && ::getsockname(fd_, any, &len) == 0) {
    port_ = ntohs(addr.sin_port);
  } else if (fd_ >= 0) {
    ::close(fd_);
    fd_ = -1;
  }
}

Socket::~Socket() {
  if (fd_ >= 0) ::close(fd_);
}

std::uint16_t freeUdpPort() {
  static std::mutex mutex;
  static std::set<std::uint16_t> handedOut;
  static std::mt19937 random{std::random_device{}()};
  std::lock_guard lock(mutex);
  for (int attempt = 0; attempt < 1000; ++attempt) {
    const auto port = static_cast<std::uint16_t>(20000 + random() % 12768);
    if (handedOut.insert(port).second && Socket(SOCK_DGRAM, port).fd() >= 0) return port;
  }
  throw std::runtime_error("no free loopback port");
}

std::string toolPath(const std::string& name) {
  if (name.find('/') != std::string::npos) return name;
  const char* path = std::getenv("PATH");
  std::istringstream dirs(std::string(path ? path : "/usr/bin:/bin") + ":/usr/sbin:/sbin");
  for (std::string dir; std::getline(dirs, dir, ':');) {
    if (!dir.empty() && ::access((dir + "/" + name).c_str(), X_OK) == 0) return dir + "/" + name;
  }
  throw std::runtime_error("required program '" + name +
                           "' not found in PATH, /usr/sbin or /sbin (`make deps` installs it)");
}

namespace {

std::vector<char*> pointers(std::vector<std::string>& strings) {
  std::vector<char*> result;
  for (auto& s : strings) result.push_back(s.data());
  result.push_back(nullptr);
  return result;
}

int decodeStatus(int raw) {
  return WIFEXITED(raw) ? WEXITSTATUS(raw) : WIFSIGNALED(raw) ? 128 + WTERMSIG(raw) : -1;
}

}  // namespace

Process::Process(const std::vector<std::string>& argv, const std::filesystem::path& dir,
                 const std::string& name, const Env& env)
    : argv_(argv), stdout_(dir / (name + ".stdout")), stderr_(dir / (name + ".stderr")) {
  // Everything the child needs is prepared here: after fork only async-signal-safe calls.
  const std::string path = toolPath(argv.at(0));
  std::map<std::string, std::string> chosen;
  for (const auto& [key, value] : env) chosen[key] = value;
  std::vector<std::string> envStrings, args = argv;
  for (char** entry = environ; *entry; ++entry) {
    const std::string text = *entry;
    if (!chosen.count(text.substr(0, text.find('=')))) envStrings.push_back(text);
  }
  for (const auto& [key, value] : chosen) envStrings.push_back(key + "=" + value);
  std::vector<char*> argPtrs = pointers(args), envPtrs = pointers(envStrings);
  const char* files[3] = {"/dev/null", stdout_.c_str(), stderr_.c_str()};
  const pid_t parent = ::getpid();
  pid_ = ::fork();
  if (pid_ < 0) throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
  if (pid_ > 0) return;
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(127);
  for (int target = 0; target < 3; ++target) {
    const int fd = ::open(files[target], target ? O_WRONLY | O_CREAT | O_TRUNC : O_RDONLY, 0644);
    if (fd < 0) ::_exit(126);
    if (fd != target) {
      ::dup2(fd, target);
      ::close(fd);
    }
  }
  // Ignored signals stay ignored across exec; servers must see SIGTERM as usual.
  struct sigaction dfl {};
  dfl.sa_handler = SIG_DFL;
  for (int sig = 1; sig < NSIG; ++sig) ::sigaction(sig, &dfl, nullptr);
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  ::execve(path.c_str(), argPtrs.data(), envPtrs.data());
  ::_exit(127);
}

std::optional<int> Process::exitStatus() {
  int raw = 0;
  if (!status_ && ::waitpid(pid_, &raw, WNOHANG) == pid_) status_ = decodeStatus(raw);
  return status_;
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

bool Process::waitForStderrLine(const std::string& substring, Millis timeout) {
  auto found = [&] { return stderrText().find(substring) != std::string::npos; };
  // Whatever a process wrote before it ended is in the file once it is reaped.
  waitUntil([&] { return !running() || found(); }, timeout);
  return found();
}

std::string Process::describe() {
  std::ostringstream text;
  for (const auto& arg : argv_) text << arg << ' ';
  const auto status = exitStatus();
  text << "(pid " << pid_ << ", " << (status ? "exit status " + std::to_string(*status) : "running")
       << ")\n--- stdout ---\n"
       << stdoutText() << "\n--- stderr ---\n"
       << stderrText() << '\n';
  return text.str();
}

}  // namespace Harness
