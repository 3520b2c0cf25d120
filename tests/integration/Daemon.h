#pragma once
// fhrp-snmpd under test, with a private state document, persistent folder and loopback port;
// the state documents tests write for it; and what they watch from outside: resident memory,
// bytes read, walk order, log lines.
#include <cstdint>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/integration/SnmpTools.h"

namespace Harness {

// What this build produced and the source tree's files (set by CMake).
std::string pluginPath();
std::string labDocument();  // examples/lab.json
bool sanitizedBuild();

struct RouterDoc {
  std::string state = "backup";  // master | backup | initialize
  int version = 2;
  int priority = 100;
  std::string srcAddr = "0.0.0.0";
  std::vector<std::string> addrs;
  std::vector<std::string> inactiveAddrs;  // listed as false
  double upSince = 0;
};

struct StateDoc {
  std::map<std::string, int> ifIndex;                       // interface -> ifIndex
  std::map<std::string, std::string> ip;                    // interface -> addr/len
  std::map<std::string, std::map<int, RouterDoc>> routers;  // interface -> vrId -> router
  std::string json() const;
};

class FhrpDaemon {
 public:
  // `wrapper` runs the daemon (e.g. setpriv ... --). In the sanitizer build a leak at exit makes
  // the exit status non-zero.
  explicit FhrpDaemon(const std::string& state = labDocument(),
                      std::vector<std::string> wrapper = {});
  FhrpDaemon(const FhrpDaemon&) = delete;
  FhrpDaemon& operator=(const FhrpDaemon&) = delete;

  // In place, as a careless editor would.
  void writeState(const std::string& json) const { dir_.writeFile("state.json", json); }
  // As a publisher should: written aside, then renamed over the document.
  void replaceState(const std::string& json);
  std::filesystem::path statePath() const { return dir_ / "state.json"; }

  // Added to the environment of the next launch (NOTIFY_SOCKET, JOURNAL_STREAM: as systemd).
  void envIs(Env env) { env_ = std::move(env); }
  // --state, --listen on a fresh port, then `extraArgs`; returns once the daemon is ready.
  void start(const std::vector<std::string>& extraArgs = {});
  // Exactly `args`, without waiting.
  Process& launch(const std::vector<std::string>& args);
  // The exit status after SIGTERM.
  int stop() { return process_->stop(Millis(30'000)); }

  Process& process() { return *process_; }
  std::uint16_t port() const { return port_; }
  std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
  const TempDir& dir() const { return dir_; }
  std::string log() const { return process_ ? process_->stderrText() : std::string(); }
  bool waitForLog(const std::string& substring, Millis timeout = Millis(10'000)) {
    return process_->waitForStderrLine(substring, timeout);
  }

 private:
  TempDir dir_{"fhrp-daemon"};
  std::vector<std::string> wrapper_;
  Env env_;
  std::uint16_t port_ = 0;
  std::unique_ptr<Process> process_;
  int edits_ = 0;
};

// Counts the lines of a growing log that contain a text, reading only what was added since the
// last call: a soak reads its log thousands of times.
class LogCounter {
 public:
  LogCounter(std::filesystem::path path, std::string substring)
      : path_(std::move(path)), substring_(std::move(substring)) {}
  std::size_t count();

 private:
  std::filesystem::path path_;
  std::string substring_;
  std::streamoff offset_ = 0;
  std::string partial_;
  std::size_t count_ = 0;
};

// VmRSS in KiB (-1 once the process is gone), and rchar: every byte it read.
long residentKb(pid_t pid);
std::uint64_t bytesRead(pid_t pid);
// How far the resident size may grow once warmed up: allocator caches settle, a leak of a few
// bytes per request does not. Wider under the sanitizers, whose allocator keeps more.
long residentSlackKb();

// Up times are computed when read: two walks agree on everything else.
std::vector<VarBind> masked(std::vector<VarBind> vbs);
// Empty when every OID lies below root and follows the one before; else what is wrong.
std::string orderProblem(const std::vector<VarBind>& vbs, const std::string& root);

}  // namespace Harness
