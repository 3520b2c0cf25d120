#pragma once
// Free loopback ports for the servers a test starts.
#include <cstdint>

namespace Harness {

// A port on 127.0.0.1 that could just be bound for UDP (TCP), then released again. Candidates
// come from 20000-32767, below Linux's ephemeral range: a port the kernel hands out for
// "port 0" can meanwhile become the source port of some client (our snmpget, say), while these
// are never given out implicitly. Random starting points keep parallel test processes apart; a
// port is never returned twice within one process. Falls back to what the kernel picks for
// port 0 when the range looks exhausted.
std::uint16_t freeUdpPort();
std::uint16_t freeTcpPort();

}  // namespace Harness
