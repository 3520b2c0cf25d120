#include "tests/integration/StockSnmpd.h"

#include <stdexcept>
#include <utility>

#include "tests/integration/Ports.h"
#include "tests/integration/SnmpCommands.h"

namespace Harness {
namespace {

constexpr int kPortAttempts = 5;
const std::string kSysDescr = ".1.3.6.1.2.1.1.1.0";

}  // namespace

StockSnmpd::StockSnmpd(std::string probeCommunity) : probeCommunity_(std::move(probeCommunity)) {
  rocommunity(probeCommunity_);
  std::filesystem::create_directories(dir_ / "persist");
}

StockSnmpd::~StockSnmpd() {
  stop();
}

StockSnmpd& StockSnmpd::configLine(const std::string& line) {
  config_.push_back(line);
  return *this;
}

StockSnmpd& StockSnmpd::rocommunity(const std::string& community, const std::string& source) {
  return configLine("rocommunity " + community + " " + source);
}

StockSnmpd& StockSnmpd::rwcommunity(const std::string& community, const std::string& source) {
  return configLine("rwcommunity " + community + " " + source);
}

StockSnmpd& StockSnmpd::masterAgentx() {
  agentxSocket_ = (dir_ / "agentx.sock").string();
  configLine("master agentx");
  return configLine("agentxsocket unix:" + agentxSocket_);
}

StockSnmpd& StockSnmpd::dlmod(const std::string& module, const std::string& sharedObject) {
  return configLine("dlmod " + module + " " + sharedObject);
}

StockSnmpd& StockSnmpd::trap2sink(const std::string& address, const std::string& community) {
  return configLine("trap2sink " + address + " " + community);
}

std::string StockSnmpd::address() const {
  return "127.0.0.1:" + std::to_string(port_);
}

std::string StockSnmpd::log() const {
  return process_ ? process_->stdoutText() + process_->stderrText() : std::string();
}

void StockSnmpd::start(Millis timeout) {
  if (process_) throw std::runtime_error("snmpd already started");
  std::string conf;
  for (const auto& line : config_) conf += line + "\n";
  std::string confPath = dir_.writeFile("snmpd.conf", conf).string();
  Env env = snmpEnvironment();
  env.emplace_back("SNMP_PERSISTENT_DIR", (dir_ / "persist").string());
  SnmpOptions probe;
  probe.timeoutSeconds = 1;
  probe.retries = 0;
  for (int attempt = 1;; ++attempt) {
    port_ = freeUdpPort();
    std::string name = "snmpd-" + std::to_string(attempt);
    // The address appears only here: Debian's snmpd does not log the port it bound.
    process_ = std::make_unique<Process>(
        std::vector<std::string>{"snmpd", "-f", "-Lo", "-C", "-c", confPath, "-I",
                                 "-smux,mteTrigger,mteTriggerConf", "udp:" + address()},
        dir_.path(), name, env);
    bool answered = waitUntil(
        [&] {
          if (!process_->running()) return true;
          SnmpReply reply = snmpget(address(), probeCommunity_, {kSysDescr}, probe);
          return reply.ok() && reply.varbinds.size() == 1 && reply.varbinds[0].type == "STRING";
        },
        timeout, Millis(50));
    if (answered && process_->running()) return;
    bool portTaken = log().find("Error opening specified endpoint") != std::string::npos;
    std::string failure = "snmpd did not answer on " + address() + " (community " +
                          probeCommunity_ + "):\n" + process_->describe() + "--- snmpd.conf ---\n" +
                          conf;
    process_.reset();
    // Someone may have bound the port between our check and snmpd's bind.
    if (!portTaken || attempt == kPortAttempts) throw std::runtime_error(failure);
  }
}

void StockSnmpd::stop() {
  process_.reset();
}

}  // namespace Harness
