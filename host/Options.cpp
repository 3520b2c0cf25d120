#include "host/Options.h"

#include <cstring>

#include "kiv/Exception.h"

namespace Host {

const char* usage() {
  return "usage: fhrp-snmpd (--state FILE | --frr [--frr-vty DIR]) [--listen ADDR | --agentx "
         "SOCKET]\n"
         "                  [--community NAME | --no-community] [--trap-sink ADDR]...\n"
         "                  [--context NAME]...\n"
         "                  [--notifications on|off] [--config FILE] [--trace SPEC]\n";
}

Options parseOptions(int argc, const char* const* argv) {
  Options o;
  bool listenGiven = false;
  bool communityGiven = false;
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
    } else if (arg == "--trap-sink") {
      o.trapSinks.push_back(nonEmpty(next()));
    } else if (arg == "--context") {
      o.contexts.push_back(nonEmpty(next()));
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
  for (const auto& c : o.contexts) {
    if (c.size() > 32) throw Kiv::RangeException("context name longer than 32 characters: " + c);
  }
  return o;
}

}  // namespace Host
