// SPDX-License-Identifier: Apache-2.0
#pragma once
// Setting a varbind to a VRRPv3-MIB value: the platform's encoders for the 32-bit types, and
// what they do not cover (Counter64, TimeStamp, InetAddress octets).
#include "kiv/Types.h"
#include "lirex/InetAddr.h"
#include "platform/Snmp/NetSnmp.h"

namespace Vrrpv3Snmp {

// INTEGER (enumerations, TruthValue as 1 or 2, RowStatus).
void setInteger(netsnmp_variable_list* vb, S32 value);
// Unsigned32, Gauge32, Counter32, TimeTicks: `type` says which.
void setUnsigned(netsnmp_variable_list* vb, u_char type, U32 value);
void setCounter64(netsnmp_variable_list* vb, U64 value);
void setOctets(netsnmp_variable_list* vb, const U8* data, std::size_t size);
// An InetAddress: its 4 or 16 octets.
void setInetAddr(netsnmp_variable_list* vb, const Lirex::InetAddr& addr);
// Seconds of a duration as TimeTicks.
void setSeconds(netsnmp_variable_list* vb, double seconds);
// A TimeStamp: sysUpTime when Loop::EventLoop::now() read `at`, or 0 for 0 (never).
void setTimeStamp(netsnmp_variable_list* vb, double at);

}  // namespace Vrrpv3Snmp
