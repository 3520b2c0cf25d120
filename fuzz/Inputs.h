// SPDX-License-Identifier: Apache-2.0
#pragma once
// What each fuzz target does with one input. The libFuzzer drivers (fuzz_<target>.cpp) and the
// regression test that replays saved inputs (tests/fuzz_regressions) call these same
// functions, so an input that once crashed a target is replayed exactly as it was found.
//
// Expected rejections (a parse error, an SNMP error response) are swallowed. Anything else is a
// defect: an unexpected exception escapes, a broken oracle stops the process through
// KIV_ASSERT, and memory faults and leaks are left to the sanitizers.
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace FhrpFuzz {

// The text forms of the VRRP-MIB keys: every parser sees the input, and a value that parses
// must print to a text that parses back to the same value.
void keys(std::string_view input);

// The state-document reader; a document it accepts is published into a state tree watched by
// the mirroring machines. Input with a 0x00 byte holds two documents, published one after the
// other, so that the second one is applied as a difference to the first.
void stateDocument(std::string_view input);

// One whole SNMP message, as it would arrive on the agent's socket, handled by net-snmp's
// agent with the VRRP-MIB module registered over a model with rows.
void snmpRequest(std::string_view input);

// The bytes vrrpd's vty socket sends, split into two reads where the first byte says: framed,
// read as `show vrrp json` and as the YANG configuration, mapped onto a snapshot with every
// parent interface known and published into a mirrored state, where each VRRPv2 router that
// vrrpd reported must have its row.
void vrrpdReply(std::string_view input);

// Packets as the advertisement listener's socket reads them, on three parent interfaces and one
// not listened to, with a clock that moves between them: each record is a control byte (bits
// 0-1 the interface, bit 2 "make the VRRP checksum right", bits 3-7 eighths of a second to wait
// first), a two-byte length and the packet. A master stays inside its parent's subnet, every
// master falls silent in the end, and changes are told at most once per gap.
void advert(std::string_view input);

// Datagrams from rtnetlink, each after its length in two bytes (little-endian), read into the
// kernel's view of the interfaces; each interface it names then serves a router published into
// a mirrored state, where it must have its row.
void netlink(std::string_view input);

inline std::string_view asText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

}  // namespace FhrpFuzz
