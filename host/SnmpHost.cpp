// SPDX-License-Identifier: Apache-2.0
#include "host/SnmpHost.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <net-snmp/library/large_fd_set.h>

#include "host/ConfigLines.h"
#include "host/DaemonLog.h"
#include "host/PersistentStore.h"
#include "kiv/Exception.h"
#include "platform/Log.h"
#include "platform/Snmp/AgentxMaster.h"
#include "platform/Snmp/TrapManager.h"

// net-snmp's own modules for the SNMPv2-MIB system group and the SNMP engine group
// (libnetsnmpmibs; their headers are not installed).
extern "C" {
void init_system_mib();
void init_sysORTable();
void init_snmpEngine();
}

namespace Host {
namespace {

constexpr const char* kAppName = "fhrp-snmpd";

// How opening an address went: the errno (0 when it opened) and the reason in the system's
// words, and whether only this machine reaches it.
struct Opening {
  int error = 0;
  Kiv::String8 why;
  bool local = false;
};

// A socket bound to a loopback or Unix address: no other machine sends to it.
bool localOnly(int fd) {
  sockaddr_storage address{};
  socklen_t len = sizeof address;
  if (fd < 0 || getsockname(fd, reinterpret_cast<sockaddr*>(&address), &len) != 0) return false;
  switch (address.ss_family) {
    case AF_UNIX:
      return true;
    case AF_INET:
      return (ntohl(reinterpret_cast<const sockaddr_in&>(address).sin_addr.s_addr) >> 24) == 127;
    case AF_INET6: {
      const in6_addr& a = reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
      return IN6_IS_ADDR_LOOPBACK(&a) || (IN6_IS_ADDR_V4MAPPED(&a) && a.s6_addr[12] == 127);
    }
    default:
      return false;
  }
}

Opening tryOpen(bool server, const char* application, const Kiv::String8& address) {
  errno = 0;
  netsnmp_transport* t = server ? netsnmp_transport_open_server(application, address.c_str())
                                : netsnmp_transport_open_client(application, address.c_str());
  const int error = errno;
  if (!t) return {error, error ? std::strerror(error) : "unknown host or bad address", false};
  const bool local = localOnly(t->sock);
  if (t->f_close) t->f_close(t);
  netsnmp_transport_free(t);
  return {0, "", local};
}

void configLine(const Kiv::String8& line) {
  Kiv::String8 copy = line;  // netsnmp_config tokenises its argument in place
  netsnmp_config(copy.data());
}

// net-snmp writes a notification sink over a stream transport (trap2sink tcp:HOST:PORT)
// with blocking sends. A receiver that accepts the connection but stops reading would, once
// the socket buffers fill, stall the one thread that also answers every request; losing its
// notifications is the lesser harm. Right after configuration the agent's only connected
// stream sockets are such sinks: its listening sockets are not even open yet.
void nonBlockingStreamSinks() {
  netsnmp_large_fd_set fds;
  netsnmp_large_fd_set_init(&fds, FD_SETSIZE);
  int numfds = 0;
  int block = 1;
  timeval timeout{};
  snmp_select_info2(&numfds, &fds, &timeout, &block);
  for (int fd = 0; fd < numfds; ++fd) {
    if (!NETSNMP_LARGE_FD_ISSET(fd, &fds)) continue;
    int value = 0;
    socklen_t len = sizeof value;
    if (getsockopt(fd, SOL_SOCKET, SO_TYPE, &value, &len) != 0 || value != SOCK_STREAM) continue;
    len = sizeof value;
    if (getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &value, &len) != 0 || value) continue;
    const int flags = fcntl(fd, F_GETFL);
    if (flags >= 0) fcntl(fd, F_SETFL, flags | O_NONBLOCK);
  }
  netsnmp_large_fd_set_cleanup(&fds);
}

// net-snmp fills in the agent address of an SNMPv1 trap for every notification it sends, v2c
// ones included, by asking the kernel for every interface address (SIOCGIFCONF) unless
// v1trapaddress names one: on a router with hundreds of VRRP macvlans that is a millisecond per
// notification, in the middle of a failover. The address it would find is taken once here.
void fixV1TrapAddress() {
  if (netsnmp_ds_get_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_TRAP_ADDR)) return;
  const in_addr_t address = get_myaddr();
  char text[INET_ADDRSTRLEN];
  if (address == 0 || !inet_ntop(AF_INET, &address, text, sizeof text)) return;
  netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_TRAP_ADDR, text);
}

}  // namespace

Kiv::String8 whyNotOpened(bool server, const char* application, const Kiv::String8& address) {
  return tryOpen(server, application, address).why;
}

SnmpHost::SnmpHost(const Options& options) : options_(options) {}

SnmpHost::~SnmpHost() {
  if (!initialised_) return;
  // net-snmp writes its persistent file from what it holds when it shuts down. A start that
  // failed holds less than the file (nothing at all before the configuration was read): writing
  // it would lose the SNMPv3 users and the engine's boot counter for good.
  if (!committed_)
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
  snmp_shutdown(kAppName);
}

void SnmpHost::configure() {
  // No MIB text is needed to serve numeric OIDs; loading it only prints warnings.
  setenv("MIBS", "", 0);
  DaemonLog::watchConfiguration(options_.configFile);
  const Kiv::String8 dir = persistentDirectory();
  netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_PERSISTENT_DIR, dir.c_str());
  // Only what the operator gives us is read, never a system snmpd's files: the configuration
  // path is a folder of our own that holds none. Turning configuration files off altogether
  // would skip the persistent folder too, and with it the engine ID, the boot counter and the
  // SNMPv3 users. SNMPCONFPATH would replace the path and skip the persistent folder as well.
  unsetenv("SNMPCONFPATH");
  netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_CONFIGURATION_DIR,
                        (dir + "/no-configuration").c_str());
  if (!options_.configFile.empty()) {
    // net-snmp only logs a missing file, and the agent would start without the users and
    // access rules it holds.
    if (::access(options_.configFile.c_str(), R_OK) != 0) {
      throw Kiv::RangeException("cannot read --config " + options_.configFile + ": " +
                                std::strerror(errno));
    }
    netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OPTIONALCONFIG,
                          options_.configFile.c_str());
  }
  netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_DONT_LOG_TCPWRAPPERS_CONNECTS,
                         1);
  if (options_.agentx()) {
    netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET,
                          options_.agentxSocket.c_str());
    // Notifications go to the master only as fast as it answers them (see AgentxMaster.h).
    Snmp::AgentxMaster::follow();
    Snmp::TrapManager::instance().receiverRoomIs(Snmp::AgentxMaster::room);
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
  if (!options_.agentx()) {
    // A manager discovers a device and notices its restarts through these; under AgentX the
    // master serves them. sysContact, sysName and sysLocation lines in --config set them.
    init_system_mib();
    init_sysORTable();
    init_snmpEngine();
  }
  if (options_.agentx()) {
    // Reconnect soon after the master restarts. Set after init_agent, which resets it to
    // net-snmp's 15 seconds; an agentxPingInterval line in --config still overrides it.
    netsnmp_ds_set_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_AGENTX_PING_INTERVAL, 2);
  }
}

void SnmpHost::open() {
  if (!options_.agentx()) {
    if (options_.serveCommunity) configLine(rocommunityLine(options_.community));
    if (!options_.trapSinks.empty()) configLine(trapCommunityLine(options_.community));
    for (const auto& sink : options_.trapSinks) {
      const Kiv::String8 line = trapSinkLine(sink);
      // net-snmp reports a sink it cannot open with no reason and from no file.
      if (Kiv::String8 why = whyNotOpened(false, "snmptrap", sink); !why.empty()) {
        throw Kiv::RangeException("--trap-sink " + sink + ": " + why);
      }
      configLine(line);
    }
  }
  init_snmp(kAppName);
  if (!DaemonLog::startError().empty()) throw Kiv::RangeException(DaemonLog::startError());
  if (!options_.agentx()) nonBlockingStreamSinks();
  fixV1TrapAddress();
}

Kiv::String8 SnmpHost::listen() {
  // Each address once, before the agent opens them all.
  Kiv::String8 missing;
  bool local = true;
  for (std::size_t start = 0; start <= options_.listen.size();) {
    const std::size_t comma = std::min(options_.listen.find(',', start), options_.listen.size());
    const Kiv::String8 address = options_.listen.substr(start, comma - start);
    start = comma + 1;
    const Opening opening = tryOpen(true, "snmp", address);
    if (opening.error == EADDRNOTAVAIL) {
      if (missing.empty()) missing = address;
    } else if (!opening.why.empty()) {
      throw Kiv::RangeException("cannot listen on " + address + ": " + opening.why);
    }
    local = local && opening.local;
  }
  if (!missing.empty()) return missing;
  if (init_master_agent() != 0) throw Kiv::RangeException("cannot listen on " + options_.listen);
  if (!local && options_.serveCommunity && options_.community == kDefaultCommunity) {
    Log::warning("--listen " + options_.listen + " answers the community " + kDefaultCommunity +
                 " from other machines; give --community NAME, or --no-community with SNMPv3 "
                 "users in --config, to change that");
  }
  return "";
}

void SnmpHost::commit() {
  committed_ = true;
  store();
}

void SnmpHost::store() {
  if (committed_) snmp_store(kAppName);
}

void SnmpHost::run(const std::function<void()>& afterEachTurn) {
  running_ = true;
  while (running_) {
    agent_check_and_process(1);
    afterEachTurn();
  }
}

}  // namespace Host
