// SPDX-License-Identifier: Apache-2.0
#include "host/Options.h"

#include <getopt.h>

#include <algorithm>
#include <string_view>

#include "kiv/Exception.h"
#include "kiv/Trace.h"

namespace Host {

namespace {

enum Id : int {
  kVersion = 256,
  kState,
  kFrr,
  kFrrVty,
  kListen,
  kAgentx,
  kCommunity,
  kNoCommunity,
  kTrapSink,
  kNotifications,
  kConfig,
  kTrace,
};

constexpr option kOptions[] = {
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, kVersion},
    {"state", required_argument, nullptr, kState},
    {"frr", no_argument, nullptr, kFrr},
    {"frr-vty", required_argument, nullptr, kFrrVty},
    {"listen", required_argument, nullptr, kListen},
    {"agentx", required_argument, nullptr, kAgentx},
    {"community", required_argument, nullptr, kCommunity},
    {"no-community", no_argument, nullptr, kNoCommunity},
    {"trap-sink", required_argument, nullptr, kTrapSink},
    {"notifications", required_argument, nullptr, kNotifications},
    {"config", required_argument, nullptr, kConfig},
    {"trace", required_argument, nullptr, kTrace},
    {nullptr, 0, nullptr, 0},
};

// An option's long name, for messages.
Kiv::String8 name(int id) {
  for (const option& o : kOptions) {
    if (o.name && o.val == id) return "--" + Kiv::String8(o.name);
  }
  return "-" + Kiv::String8(1, static_cast<char>(id));
}

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
  // "+": the first argument that is not an option ends the options, so argv is never permuted
  // (it is the caller's, and const); ":": a missing value is told apart from an unknown option.
  // getopt_long prints nothing itself: the start fails with one line of ours.
  optind = 0;
  opterr = 0;
  auto* args = const_cast<char* const*>(argv);
  for (int id; (id = getopt_long(argc, args, "+:h", kOptions, nullptr)) != -1;) {
    const Kiv::String8 value = optarg ? optarg : "";
    auto nonEmpty = [&] {
      if (value.empty())
        throw Kiv::RangeException("option " + name(id) + " needs a non-empty value");
      return value;
    };
    switch (id) {
      case ':':
        throw Kiv::RangeException("option " + name(optopt) + " needs a value");
      case '?': {
        const Kiv::String8 arg = argv[optind - 1];
        const bool isLong = arg.rfind("--", 0) == 0;
        // getopt_long names a known long option that was given a value it does not take
        // (--frr=yes); an unknown one it does not.
        if (isLong && optopt != 0)
          throw Kiv::RangeException("option " + name(optopt) + " takes no value");
        throw Kiv::RangeException("unknown argument '" +
                                  (isLong ? arg.substr(0, arg.find('=')) : name(optopt)) + "'");
      }
      case 'h':
        o.help = true;
        break;
      case kVersion:
        o.version = true;
        break;
      case kState:
        o.stateFile = nonEmpty();
        break;
      case kFrr:
        frr = true;
        break;
      case kFrrVty:
        frrVty = nonEmpty();
        break;
      case kListen:
        o.listen = nonEmpty();
        listenGiven = true;
        break;
      case kAgentx:
        o.agentxSocket = nonEmpty();
        break;
      case kCommunity:
        o.community = nonEmpty();
        communityGiven = true;
        break;
      case kNoCommunity:
        o.serveCommunity = false;
        noCommunityGiven = true;
        break;
      case kTrapSink:
        o.trapSinks.push_back(nonEmpty());
        break;
      case kNotifications:
        if (value != "on" && value != "off") {
          throw Kiv::RangeException("--notifications takes on or off, not '" + value + "'");
        }
        o.notifications = value == "on";
        break;
      case kConfig:
        o.configFile = nonEmpty();
        break;
      case kTrace:
        o.trace = value;
        break;
    }
  }
  if (optind < argc)
    throw Kiv::RangeException("unknown argument '" + Kiv::String8(argv[optind]) + "'");
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
