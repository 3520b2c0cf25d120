#include "host/SnmpHost.h"

#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>

#include "kiv/Exception.h"

namespace Host {
namespace {

constexpr const char* kAppName = "fhrp-snmpd";

// net-snmp keeps its engine id and boot counter here (SNMPv3 depends on them
// surviving restarts), so it must be private to us and writable.
Kiv::String8 persistentDir() {
  if (const char* env = std::getenv("SNMP_PERSISTENT_DIR"); env && *env) return env;
  if (geteuid() == 0) return "/var/lib/fhrp-snmp";
  const char* tmp = std::getenv("TMPDIR");
  return Kiv::String8(tmp && *tmp ? tmp : "/tmp") + "/fhrp-snmpd-" + std::to_string(geteuid());
}

void configLine(const Kiv::String8& line) {
  Kiv::String8 copy = line;  // netsnmp_config tokenises its argument in place
  netsnmp_config(copy.data());
}

}  // namespace

SnmpHost::SnmpHost(const Options& options) : options_(options) {}

SnmpHost::~SnmpHost() {
  if (initialised_) snmp_shutdown(kAppName);
}

void SnmpHost::configure() {
  // No MIB text is needed to serve numeric OIDs; loading it only prints warnings.
  setenv("MIBS", "", 0);
  snmp_enable_stderrlog();
  Kiv::String8 dir = persistentDir();
  mkdir(dir.c_str(), 0700);
  netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_PERSISTENT_DIR, dir.c_str());
  // Only what the operator gives us is read: never a system snmpd's files.
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
  if (!options_.configFile.empty()) {
    netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OPTIONALCONFIG,
                          options_.configFile.c_str());
  }
  netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_DONT_LOG_TCPWRAPPERS_CONNECTS,
                         1);
  if (options_.agentx()) {
    netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET,
                          options_.agentxSocket.c_str());
    // Reconnect soon after the master restarts.
    netsnmp_ds_set_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_AGENTX_PING_INTERVAL, 2);
  } else {
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_PORTS,
                          options_.listen.c_str());
    // SMUX would try to listen on tcp/199.
    add_to_init_list(const_cast<char*>("-smux"));
  }
}

void SnmpHost::initAgent() {
  configure();
  init_agent(kAppName);
  initialised_ = true;
}

void SnmpHost::open() {
  if (!options_.agentx()) {
    configLine("rocommunity " + options_.community);
    for (const auto& sink : options_.trapSinks)
      configLine("trap2sink " + sink + " " + options_.community);
  }
  init_snmp(kAppName);
  if (!options_.agentx() && init_master_agent() != 0) {
    throw Kiv::RangeException("cannot listen on " + options_.listen);
  }
}

void SnmpHost::run() {
  running_ = true;
  while (running_) agent_check_and_process(1);
}

}  // namespace Host
