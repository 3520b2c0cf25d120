// SPDX-License-Identifier: Apache-2.0
#pragma once
// fhrp-snmpd's command line.
#include <vector>

#include "kiv/Types.h"
#include "sources/frr/VtyAdvice.h"

namespace Host {

// Where FRR's daemons keep their vty sockets unless --frr-vty says otherwise.
constexpr const char* kDefaultFrrVtyDirectory = Sources::kFrrVtyDirectory;
// The read-only community unless --community says otherwise: the one every manager tries.
constexpr const char* kDefaultCommunity = "public";

struct Options {
  Kiv::String8 stateFile;
  Kiv::String8 frrVtyDirectory;  // non-empty (--frr): follow vrrpd and the kernel instead
  Kiv::String8 listen = "udp:127.0.0.1:1161";
  Kiv::String8 agentxSocket;                   // non-empty: run as an AgentX subagent
  Kiv::String8 community = kDefaultCommunity;  // also the community of --trap-sink notifications
  bool serveCommunity = true;  // false (--no-community): SNMPv3 users from --config only
  std::vector<Kiv::String8> trapSinks;
  bool notifications = true;
  Kiv::String8 configFile;
  Kiv::String8 trace;
  bool help = false;
  bool version = false;

  bool agentx() const { return !agentxSocket.empty(); }
};

// Parses argv; a usage error raises Kiv::RangeException with a one-line message. A --trace spec
// is checked and takes effect here.
Options parseOptions(int argc, const char* const* argv);
const char* usage();

}  // namespace Host
