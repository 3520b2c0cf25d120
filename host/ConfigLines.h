// SPDX-License-Identifier: Apache-2.0
#pragma once
// net-snmp configuration lines built from fhrp-snmpd's options. net-snmp's reader splits a line
// into words at white space unless a word is quoted, so a value pasted as it is adds words of
// its own: a space in --community would hand rocommunity a source address and a view. Each
// value is quoted the way the reader of its line takes it apart, or refused with one line
// (Kiv::RangeException) when no quoting carries it.
#include "kiv/Types.h"

namespace Host {

// Read-only access with `community` from any source.
Kiv::String8 rocommunityLine(const Kiv::String8& community);
// The community of the notifications sent to the trap2sink lines that name none.
Kiv::String8 trapCommunityLine(const Kiv::String8& community);
// A notification sink at `address`, with the community of trapCommunityLine.
Kiv::String8 trapSinkLine(const Kiv::String8& address);

}  // namespace Host
