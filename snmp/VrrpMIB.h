// SPDX-License-Identifier: Apache-2.0
#pragma once
// The VRRP-MIB module: vrrpNodeVersion and vrrpNotificationCntl in every context, and
// vrrpOperTable and vrrpAssoIpAddrTable, read from the FhrpSnmp::VrrpMib model, in the
// default context only. Every SET is refused.
//
// The module hands itself to Snmp::initHandlers through a static Snmp::AutoRegistree.
// Linked from a static library, that object survives only if something references
// VrrpMIB.cpp: a host calls Snmp::kivInitVrrpMib() once before Snmp::initHandlers.
#include "kiv/Types.h"

// Registers the module's objects in one context ("" is the default context). The default
// context needs the model at "snmp/vrrp/vrrpMIB" under SnmpUtil's mount root, and the model
// must stay there as long as the agent runs; the process stops when it is missing.
void init_VrrpMIB(Kiv::String8 context);

// Frees the column records kept for the context. The handlers stay registered with the
// agent (their registrations are never recorded), and their tables then refer to freed
// column records: call it only when the agent serves no more table requests, at unload.
void unregister_VrrpMIB(Kiv::String8 context);

namespace Snmp {
// Does nothing but keep the module's registration in a statically linked host.
void kivInitVrrpMib();
}  // namespace Snmp
