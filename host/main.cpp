// fhrp-snmpd: serves the VRRP-MIB from a state document, as a standalone SNMP
// agent or as an AgentX subagent of the machine's snmpd.
#include <cstdio>
#include <exception>
#include <memory>

#include "host/Options.h"
#include "host/Signals.h"
#include "host/Service.h"
#include "host/SnmpHost.h"
#include "host/VrrpMibModule.h"
#include "kiv/Exception.h"
#include "kiv/Trace.h"

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
    if (!options.trace.empty()) Kiv::traceSpecIs(options.trace);
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
    // The document is read before any port is opened: a bad one never yields a
    // half-started agent.
    auto service = options.frrVtyDirectory.empty()
                       ? std::make_unique<Host::Service>(options.stateFile, options.notifications)
                       : Host::Service::following(options.frrVtyDirectory, options.notifications);
    Host::SnmpHost snmp(options);
    snmp.initAgent();
    service->start();
    Host::registerVrrpMib(options.contexts);
    snmp.open();
    service->watch();
    Host::installSignalHandlers([&snmp] { snmp.stop(); }, [&service] { service->reload(); });
    std::fprintf(stderr, "fhrp-snmpd: ready on %s\n",
                 (options.agentx() ? options.agentxSocket : options.listen).c_str());
    std::fflush(stderr);
    snmp.run();
    return 0;
  } catch (const Kiv::Exception& e) {
    return fail(e.message());
  } catch (const std::exception& e) {
    return fail(e.what());
  }
}
