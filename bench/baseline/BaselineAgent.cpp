// SPDX-License-Identifier: Apache-2.0
// baseline-agent: the benchmarks' yardstick. A standalone net-snmp agent that serves
// vrrpOperTable and vrrpAssoIpAddrTable of a state document through net-snmp's own
// container-backed table helper, with fhrp-snmpd's command line and ready line, so that
// bench/walk.sh can walk both agents the same way, standalone or as AgentX subagents.
//
//   baseline-agent --state FILE [--listen ADDR | --agentx SOCKET] [--community NAME]
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "bench/baseline/ContainerTables.h"
#include "kiv/Exception.h"

namespace {

constexpr const char* kAppName = "baseline-agent";

volatile std::sig_atomic_t stopRequested = 0;

void onStop(int) {
  stopRequested = 1;
}

[[noreturn]] void usage() {
  std::fprintf(stderr,
               "usage: baseline-agent --state FILE [--listen ADDR | --agentx SOCKET] "
               "[--community NAME]\n");
  std::exit(2);
}

void configLine(std::string line) {
  netsnmp_config(line.data());  // tokenises its argument in place
}

}  // namespace

int main(int argc, char** argv) {
  std::string state, listen = "udp:127.0.0.1:1161", community = "public", agentx;
  for (int i = 1; i < argc; ++i) {
    if (i + 1 >= argc) usage();
    if (!std::strcmp(argv[i], "--state"))
      state = argv[++i];
    else if (!std::strcmp(argv[i], "--listen"))
      listen = argv[++i];
    else if (!std::strcmp(argv[i], "--agentx"))
      agentx = argv[++i];
    else if (!std::strcmp(argv[i], "--community"))
      community = argv[++i];
    else
      usage();
  }
  if (state.empty()) usage();

  Baseline::StateRows rows;
  try {
    rows = Baseline::loadStateRows(state.c_str());
  } catch (const Kiv::RangeException& e) {
    std::fprintf(stderr, "%s: %s: %s\n", kAppName, state.c_str(), e.what());
    return 2;
  }
  Baseline::ContainerTables tables(std::move(rows));

  setenv("MIBS", "", 1);
  snmp_enable_stderrlog();
  // Our own scratch directory, never a system agent's: SNMP_PERSISTENT_DIR when given.
  const char* given = std::getenv("SNMP_PERSISTENT_DIR");
  const char* tmp = std::getenv("TMPDIR");
  std::string dir = given && *given ? given
                                    : std::string(tmp && *tmp ? tmp : "/tmp") + "/baseline-agent-" +
                                          std::to_string(geteuid());
  mkdir(dir.c_str(), 0700);
  netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_PERSISTENT_DIR, dir.c_str());
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_DONT_LOG_TCPWRAPPERS_CONNECTS,
                         1);
  if (!agentx.empty()) {
    netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, agentx.c_str());
  } else {
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_PORTS, listen.c_str());
    add_to_init_list(const_cast<char*>("-smux"));
  }
  init_agent(kAppName);
  try {
    tables.registerTables();
  } catch (const Kiv::RangeException& e) {
    std::fprintf(stderr, "%s: %s\n", kAppName, e.what());
    return 2;
  }
  if (agentx.empty()) configLine("rocommunity " + community);
  init_snmp(kAppName);
  if (agentx.empty() && init_master_agent() != 0) {
    std::fprintf(stderr, "%s: cannot listen on %s\n", kAppName, listen.c_str());
    snmp_shutdown(kAppName);
    return 2;
  }

  // Without SA_RESTART, so that a signal ends the wait for the next request.
  struct sigaction sa {};
  sa.sa_handler = onStop;
  sigaction(SIGTERM, &sa, nullptr);
  sigaction(SIGINT, &sa, nullptr);

  std::fprintf(stderr, "%s: ready on %s\n", kAppName, (agentx.empty() ? listen : agentx).c_str());
  while (!stopRequested) agent_check_and_process(1);
  snmp_shutdown(kAppName);
  return 0;
}
