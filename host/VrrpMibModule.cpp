// SPDX-License-Identifier: Apache-2.0
#include "host/VrrpMibModule.h"

#include "platform/Snmp/HandlerRegistration.h"
#include "snmp/VrrpMIB.h"

namespace Host {

void registerVrrpMib() {
  Snmp::kivInitVrrpMib();
  Snmp::initHandlers("");
}

}  // namespace Host
