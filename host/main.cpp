// SPDX-License-Identifier: Apache-2.0
// fhrp-snmpd: serves the VRRP-MIB from a state document or FRR's vrrpd, as a standalone SNMP
// agent or as an AgentX subagent of the machine's snmpd.
#include <cstdio>
#include <exception>
#include <memory>

#include <systemd/sd-daemon.h>

#include "host/AddressWait.h"
#include "host/AgentxLink.h"
#include "host/Capabilities.h"
#include "host/DaemonLog.h"
#include "host/Options.h"
#include "host/Service.h"
#include "host/Signals.h"
#include "host/SnmpHost.h"
#include "host/Systemd.h"
#include "host/Watchdog.h"
#include "kiv/Exception.h"
#include "platform/Log.h"
#include "platform/Snmp/NetSnmpLoop.h"
#include "sources/file/StateDocumentSource.h"
#include "sources/frr/FrrSource.h"

namespace {

int fail(const Kiv::String8& message) {
  // net-snmp has shut down by now, and dropped its log callbacks with it: the sink takes the log
  // again. What was held back goes: a failed start shows its reason only.
  Host::DaemonLog::install();
  Host::DaemonLog::discard();
  Log::error(message);
  return 2;
}

std::unique_ptr<Sources::Source> newSource(const Host::Options& options,
                                           Zentra::StatePublisher& publisher) {
  if (!options.frrVtyDirectory.empty()) {
    return std::make_unique<Sources::FrrSource>(Snmp::eventLoop(), publisher,
                                                options.frrVtyDirectory);
  }
  // A document that is there but invalid ends the start, where the operator sees it at once; a
  // missing one (a start that races the boot) is waited for.
  return std::make_unique<Sources::StateDocumentSource>(Snmp::eventLoop(), publisher,
                                                        options.stateFile, true);
}

int serve(const Host::Options& options) {
  Host::Systemd::start();
  // The loop feeds the watchdog from its first turn: READY=1 may come while the agent still
  // waits for its master, and a late master must not look like a hung loop.
  Host::startWatchdog();
  if (options.frrVtyDirectory.empty()) Host::dropNetRaw("a state document needs no raw socket");
  Host::Service service([&](Zentra::StatePublisher& p) { return newSource(options, p); },
                        options.notifications);
  Host::SnmpHost snmp(options);
  snmp.initAgent();
  service.registerModules();
  // The source is read before any port is opened: a bad document never yields a half-started
  // agent.
  service.start();
  // The advertisement listener's raw sockets are open, and hear interfaces that come later too.
  if (!options.frrVtyDirectory.empty()) {
    Host::dropNetRaw("the advertisement listener opens raw sockets at start only");
  }
  const Kiv::String8 where = options.agentx() ? options.agentxSocket : options.listen;
  auto ready = [&] {
    snmp.commit();
    Log::info("ready on " + where);
    Host::Systemd::ready(where);
  };
  // Under AgentX the daemon is ready once the master took the registration; the link may come up
  // while the configuration is read, or any time later.
  std::unique_ptr<Host::AgentxLink> agentx;
  if (options.agentx()) agentx = std::make_unique<Host::AgentxLink>(where, ready);
  snmp.open();
  Host::installSignalHandlers(
      [&snmp] {
        sd_notify(0, "STOPPING=1");
        snmp.stop();
      },
      [&] {
        service.refresh();
        snmp.store();
      });
  if (agentx) agentx->check();  // a master that refuses the MIB at once ends the start here
  // A port in use ends the start here; an address not assigned yet is waited for.
  const Kiv::String8 missing = agentx ? "" : snmp.listen();
  // The configuration is read and the ports are open: nothing held back is the start's reason.
  Host::DaemonLog::release();
  std::unique_ptr<Host::AddressWait> addressWait;
  if (!missing.empty()) {
    addressWait = std::make_unique<Host::AddressWait>(
        Snmp::eventLoop(), missing, [&snmp] { return snmp.listen(); }, ready);
  } else if (!agentx) {
    ready();
  }
  snmp.run([&] {
    if (agentx) agentx->check();
    if (addressWait) addressWait->check();
  });
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Host::DaemonLog::install();
  Host::Options options;
  try {
    options = Host::parseOptions(argc, argv);
  } catch (const Kiv::RangeException& e) {
    // One line, as for every other failed start: scripts and logs keep the reason, not the usage.
    return fail(e.message() + " (fhrp-snmpd --help lists the options)");
  }
  if (options.help) {
    std::fputs(Host::usage(), stdout);
    return 0;
  }
  if (options.version) {
    std::printf("fhrp-snmpd %s\n", FHRP_SNMP_VERSION);
    return 0;
  }
  try {
    return serve(options);
  } catch (const Kiv::Exception& e) {
    return fail(e.message());
  } catch (const std::exception& e) {
    return fail(e.what());
  }
}
