// SPDX-License-Identifier: Apache-2.0
#pragma once
// The VRRP-MIB's numbers for the FHRP and interface enumerations, and the address
// decoder for GETNEXT hints. The encoders keep the platform's contract
// (platform/Snmp/Conversions.h): bytes written into buf, or a negative number on failure.
#include "kiv/Types.h"
#include "lirex/IpAddr.h"
#include "lirex/VrrpAuthType.h"
#include "platform/Fhrp/FhrpTypes.h"
#include "platform/Interface/IntfStatus.h"
#include "platform/Snmp/NetSnmp.h"

// vrrpOperState: initialize(1), backup(2), master(3). An unknown state stops the process.
S32 FhrpStateToAsnVrrpStatus(const Routing::Fhrp::FhrpState& state, unsigned char* buf,
                             S32 capacity);

// vrrpOperAuthType: noAuthentication(1), simpleTextPassword(2), ipAuthenticationHeader(3).
// An unknown type stops the process.
S32 VrrpAuthTypeToAsnAuthType(const Lirex::VrrpAuthType& type, unsigned char* buf, S32 capacity);

// vrrpOperAdminState: up(1) when enabled, down(2) for every other state, the unknown state
// of a missing record included.
S32 IntfEnabledStateToAsnAdminStatus(Interface::IntfEnabledState state, unsigned char* buf,
                                     S32 capacity);

// The address in an IpAddress binding. Raises Kiv::RangeException unless it holds four octets.
Lirex::IpAddr AsnIpAddressToLirexIpAddr(const netsnmp_variable_list* v);
