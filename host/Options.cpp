#include "host/Options.h"

#include <algorithm>
#include <string_view>

#include "kiv/Exception.h"
#include "kiv/Trace.h"

namespace Host {

namespace {

// The handles the product traces with; a spec naming another one would enable nothing.
constexpr std::string_view kTraceHandles[] = {"*", "Snmp", "FhrpSnmpEntry", "Zentra", "Sources"};

void checkTraceHandles(const Kiv::String8& spec) {
  Kiv::traceSpecIs(spec);  // a malformed spec raises here
  for (std::size_t pos = 0; pos < spec.size();) {
    std::size_t comma = std::min(spec.find(',', pos), spec.size());
    const std::string_view item = std::string_view(spec).substr(pos, comma - pos);
    const std::string_view name = item.substr(0, item.find('/'));
    pos = comma + 1;
    if (std::find(std::begin(kTraceHandles), std::end(kTraceHandles), name) ==
        std::end(kTraceHandles)) {
      throw Kiv::RangeException("--trace: unknown handle '" + Kiv::String8(name) +
                                "' (known: Snmp, FhrpSnmpEntry, Zentra, Sources, *)");
    }
  }
}

}  // namespace

const char* usage() {
  return R"(usage: fhrp-snmpd (--state FILE | --frr [--frr-vty DIR])
                  [--listen ADDR | --agentx SOCKET] [options]

Serves the VRRP-MIB (RFC 2787), following a state document or FRR's vrrpd and the
kernel, as its own SNMP agent or as an AgentX subagent of the machine's snmpd.

  --state FILE          the state document to serve and follow
  --frr                 follow FRR's vrrpd (its vty socket), the kernel's interfaces and
                        addresses, and the VRRP advertisements on the wire instead
  --frr-vty DIR         where vrrpd's vty socket vrrpd.vty is (default /var/run/frr)
  --listen ADDR         where the agent answers, in net-snmp's transport syntax, e.g.
                        udp:127.0.0.1:1161 or udp:0.0.0.0:161,tcp:161
                        (default udp:127.0.0.1:1161)
  --agentx SOCKET       be an AgentX subagent of the master at SOCKET (e.g.
                        /var/agentx/master or tcp:localhost:705) instead of an agent
                        of its own; the master answers the managers
  --community NAME      read-only SNMPv1/v2c community, also the community of the
                        notifications (default public)
  --no-community        answer no community: SNMPv3 users from --config only
  --trap-sink ADDR      send SNMPv2c notifications to ADDR, e.g. 127.0.0.1:162 or
                        tcp:HOST:PORT (repeatable; default none)
  --notifications on|off  whether notifications are sent: vrrpTrapNewMaster, vrrpv3NewMaster,
                        vrrpv3ProtoError (default on)
  --config FILE         net-snmp agent configuration lines (createUser, rouser,
                        rocommunity, trap2sink, sysContact, sysName, sysLocation, ...);
                        a line net-snmp rejects stops the start (default none)
  --trace SPEC          trace handles and levels on stderr, e.g. Snmp/0-2,Zentra;
                        handles Snmp, FhrpSnmpEntry, Zentra, Sources, *
                        (default none)
  --help                this text
  --version             the version

--community, --no-community and --trap-sink belong to an agent of its own: under
--agentx the master's communities and sinks apply.

Environment:
  FHRP_TRACE            a trace SPEC, as --trace (the option wins)
  SNMP_PERSISTENT_DIR   where net-snmp keeps the engine id, boot counter and SNMPv3
                        users (default /var/lib/fhrp-snmp as root,
                        $TMPDIR/fhrp-snmpd-UID otherwise)

SIGHUP re-reads the state document (asks vrrpd again under --frr); SIGTERM and SIGINT end the agent (status 0).
A failed start exits with status 2 and one line saying why.
)";
}

Options parseOptions(int argc, const char* const* argv) {
  Options o;
  bool listenGiven = false;
  bool communityGiven = false;
  bool noCommunityGiven = false;
  bool frr = false;
  Kiv::String8 frrVty;
  for (int i = 1; i < argc; ++i) {
    Kiv::String8 arg = argv[i];
    Kiv::String8 value;
    bool inlineValue = false;
    if (auto eq = arg.find('='); arg.rfind("--", 0) == 0 && eq != Kiv::String8::npos) {
      value = arg.substr(eq + 1);
      arg = arg.substr(0, eq);
      inlineValue = true;
    }
    auto next = [&]() -> Kiv::String8 {
      if (inlineValue) return value;
      if (i + 1 >= argc) throw Kiv::RangeException("option " + arg + " needs a value");
      return argv[++i];
    };
    auto nonEmpty = [&](Kiv::String8 v) {
      if (v.empty()) throw Kiv::RangeException("option " + arg + " needs a non-empty value");
      return v;
    };
    if (arg == "--help" || arg == "-h") {
      o.help = true;
    } else if (arg == "--version") {
      o.version = true;
    } else if (arg == "--state") {
      o.stateFile = nonEmpty(next());
    } else if (arg == "--frr") {
      frr = true;
    } else if (arg == "--frr-vty") {
      frrVty = nonEmpty(next());
    } else if (arg == "--listen") {
      o.listen = nonEmpty(next());
      listenGiven = true;
    } else if (arg == "--agentx") {
      o.agentxSocket = nonEmpty(next());
    } else if (arg == "--community") {
      o.community = nonEmpty(next());
      communityGiven = true;
    } else if (arg == "--no-community") {
      o.serveCommunity = false;
      noCommunityGiven = true;
    } else if (arg == "--trap-sink") {
      o.trapSinks.push_back(nonEmpty(next()));
    } else if (arg == "--notifications") {
      Kiv::String8 v = next();
      if (v != "on" && v != "off") {
        throw Kiv::RangeException("--notifications takes on or off, not '" + v + "'");
      }
      o.notifications = v == "on";
    } else if (arg == "--config") {
      o.configFile = nonEmpty(next());
    } else if (arg == "--trace") {
      o.trace = next();
    } else {
      throw Kiv::RangeException("unknown argument '" + arg + "'");
    }
  }
  if (o.help || o.version) return o;
  if (frr && !o.stateFile.empty())
    throw Kiv::RangeException("--state and --frr exclude each other");
  if (!frrVty.empty() && !frr) throw Kiv::RangeException("--frr-vty needs --frr");
  if (frr) o.frrVtyDirectory = frrVty.empty() ? kDefaultFrrVtyDirectory : frrVty;
  if (o.stateFile.empty() && !frr) throw Kiv::RangeException("--state FILE or --frr is required");
  if (listenGiven && o.agentx()) {
    throw Kiv::RangeException("--listen and --agentx exclude each other");
  }
  if (communityGiven && !o.serveCommunity) {
    throw Kiv::RangeException("--community and --no-community exclude each other");
  }
  if (o.agentx()) {
    // Silently ignored, they would leave the operator believing in a community or a sink.
    const char* agentOnly = communityGiven         ? "--community"
                            : noCommunityGiven     ? "--no-community"
                            : !o.trapSinks.empty() ? "--trap-sink"
                                                   : nullptr;
    if (agentOnly) {
      throw Kiv::RangeException(Kiv::String8(agentOnly) +
                                " does not apply under --agentx: the master's communities and "
                                "sinks do");
    }
  }
  if (!o.trace.empty()) checkTraceHandles(o.trace);
  return o;
}

}  // namespace Host
