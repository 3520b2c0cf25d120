// SPDX-License-Identifier: Apache-2.0
#pragma once
// net-snmp's headers in the one order that compiles cleanly as C++ with our warnings.
// Include this instead of the net-snmp headers themselves.
//
// net-snmp declares a deprecated global `typedef struct counter64 U64` that clashes with
// kiv/Types.h; NETSNMP_REMOVE_U64 drops it. The platform target also exports the define,
// for files that include net-snmp's headers directly.
#ifndef NETSNMP_REMOVE_U64
#define NETSNMP_REMOVE_U64 1
#endif
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
