// fhrp-snmpd: serves the VRRP-MIB from a state document, as a standalone SNMP
// agent or as an AgentX subagent of the machine's snmpd.
#include <cstdio>
#include <exception>
#include <memory>

#include <systemd/sd-daemon.h>

#include "host/AgentxLink.h"
#include "host/DaemonLog.h"
#include "host/Options.h"
#include "host/Service.h"
#include "host/Signals.h"
#include "host/SnmpHost.h"
#include "host/VrrpMibModule.h"
#include "host/Watchdog.h"
#include "kiv/Exception.h"

namespace {

int fail(const Kiv::String8& message) {
  std::fprintf(stderr, "fhrp-snmpd: %s\n", message.c_str());
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  Host::Options options;
  try {
    options = Host::parseOptions(argc, argv);
  } catch (const Kiv::RangeException& e) {
    // One line, as for every other failed start: scripts and logs keep the reason, not the usage.
    return fail(e.message() + " (fhrp-snmpd --help lists the options)");
  }
  if (options.help) {
    std::fprintf(stdout, "%s", Host::usage());
    return 0;
  }
  if (options.version) {
    std::fprintf(stdout, "fhrp-snmpd %s\n", FHRP_SNMP_VERSION);
    return 0;
  }

  try {
    auto service = options.frrVtyDirectory.empty()
                       ? std::make_unique<Host::Service>(options.stateFile, options.notifications)
                       : Host::Service::following(options.frrVtyDirectory, options.notifications);
    Host::SnmpHost snmp(options);
    snmp.initAgent();
    // The document is read before any port is opened: a bad one never yields a
    // half-started agent.
    service->start();
    Host::registerVrrpMib();
    const Kiv::String8 where = options.agentx() ? options.agentxSocket : options.listen;
    auto ready = [&] {
      snmp.commit();
      Host::DaemonLog::write("ready on " + where);
      // Under systemd (Type=notify) `systemctl start` returns only now; elsewhere a no-op.
      sd_notifyf(0, "READY=1\nSTATUS=serving the VRRP-MIB on %s", where.c_str());
      Host::startWatchdog();
    };
    // Under AgentX the daemon is ready once the master took the registration; the link may
    // come up while the configuration is read, or any time later.
    std::unique_ptr<Host::AgentxLink> agentx;
    if (options.agentx()) agentx = std::make_unique<Host::AgentxLink>(where, ready);
    snmp.open();
    service->watch();
    Host::installSignalHandlers(
        [&snmp] {
          sd_notify(0, "STOPPING=1");
          snmp.stop();
        },
        [&service] { service->reload(); });
    if (agentx) {
      agentx->check();
    } else {
      ready();
    }
    snmp.run([&] {
      if (agentx) agentx->check();
    });
    return 0;
  } catch (const Kiv::Exception& e) {
    return fail(e.message());
  } catch (const std::exception& e) {
    return fail(e.what());
  }
}
