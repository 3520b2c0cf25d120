#pragma once
// Our own fhrp-snmpd, started on a private loopback port with a private state document
// and persistent directory, for tests that query it with net-snmp's tools.
#include <memory>
#include <string>
#include <vector>

#include "tests/integration/Process.h"
#include "tests/integration/TempDir.h"

namespace Harness {

// Paths of what this build produced (set by CMake).
std::string fhrpSnmpdPath();
std::string fhrpPluginPath();
std::string sourcePath(const std::string& relative);

class FhrpDaemon {
 public:
  FhrpDaemon();
  ~FhrpDaemon();
  FhrpDaemon(const FhrpDaemon&) = delete;
  FhrpDaemon& operator=(const FhrpDaemon&) = delete;

  // Writes the state document that start() will use (and that edits replace).
  void writeState(const std::string& json);
  // Replaces the document the way a publisher should: write aside, then rename.
  void replaceState(const std::string& json);
  const std::filesystem::path& statePath() const { return statePath_; }

  // Starts `fhrp-snmpd --state FILE --listen udp:127.0.0.1:PORT ...extra` and waits for the
  // ready line. Throws std::runtime_error with the daemon's output when it does not come.
  void start(const std::vector<std::string>& extraArgs = {});
  // Starts without waiting, for tests of failed starts.
  Process& launch(const std::vector<std::string>& args);
  void stop();

  std::string address() const;
  std::uint16_t port() const { return port_; }
  Process* process() { return process_.get(); }
  const TempDir& dir() const { return dir_; }
  std::string log() const;
  // Waits for a stderr line of the daemon (e.g. "applied", "rejected").
  bool waitForLog(const std::string& substring, Millis timeout = Millis(10'000));
  // Counts stderr lines containing substring.
  size_t countLog(const std::string& substring) const;

 private:
  TempDir dir_{"fhrp-daemon"};
  std::filesystem::path statePath_;
  std::uint16_t port_ = 0;
  std::unique_ptr<Process> process_;
  int edits_ = 0;
};

}  // namespace Harness
