#include "tests/integration/FhrpDaemon.h"

#include <cstdio>
#include <stdexcept>

#include "tests/integration/Ports.h"

namespace Harness {

std::string fhrpSnmpdPath() {
  return FHRP_SNMPD_PATH;
}
std::string fhrpPluginPath() {
  return FHRP_PLUGIN_PATH;
}
std::string sourcePath(const std::string& relative) {
  return std::string(FHRP_SOURCE_DIR) + "/" + relative;
}

FhrpDaemon::FhrpDaemon() : statePath_(dir_ / "state.json") {}

FhrpDaemon::~FhrpDaemon() {
  stop();
}

void FhrpDaemon::writeState(const std::string& json) {
  dir_.writeFile("state.json", json);
}

void FhrpDaemon::replaceState(const std::string& json) {
  std::string aside = "state.json.tmp" + std::to_string(++edits_);
  dir_.writeFile(aside, json);
  std::filesystem::rename(dir_ / aside, statePath_);
}

Process& FhrpDaemon::launch(const std::vector<std::string>& args) {
  std::vector<std::string> argv = wrapper_;
  argv.push_back(fhrpSnmpdPath());
  argv.insert(argv.end(), args.begin(), args.end());
  Env env{{"SNMP_PERSISTENT_DIR", (dir_ / "persist").string()}, {"MIBS", ""}};
  env.insert(env.end(), env_.begin(), env_.end());
  process_ = std::make_unique<Process>(argv, dir_.path(), "fhrp-snmpd", env);
  return *process_;
}

void FhrpDaemon::start(const std::vector<std::string>& extraArgs) {
  for (int attempt = 0; attempt < 5; ++attempt) {
    port_ = freeUdpPort();
    std::vector<std::string> args{"--state", statePath_.string(), "--listen", "udp:" + address()};
    args.insert(args.end(), extraArgs.begin(), extraArgs.end());
    Process& p = launch(args);
    if (p.waitForStderrLine("fhrp-snmpd: ready on", Millis(30'000))) return;
    // Another process may have taken the port between our probe and the bind.
    if (p.stderrText().find("cannot listen") == std::string::npos) break;
  }
  throw std::runtime_error("fhrp-snmpd did not become ready: " + process_->describe());
}

void FhrpDaemon::stop() {
  if (process_) process_->stop();
}

std::string FhrpDaemon::address() const {
  return "127.0.0.1:" + std::to_string(port_);
}

std::string FhrpDaemon::log() const {
  return process_ ? process_->stderrText() : std::string();
}

bool FhrpDaemon::waitForLog(const std::string& substring, Millis timeout) {
  return process_ && process_->waitForStderrLine(substring, timeout);
}

size_t FhrpDaemon::countLog(const std::string& substring) const {
  std::string text = log();
  size_t n = 0;
  for (size_t pos = text.find(substring); pos != std::string::npos;
       pos = text.find(substring, pos + substring.size())) {
    ++n;
  }
  return n;
}

}  // namespace Harness
