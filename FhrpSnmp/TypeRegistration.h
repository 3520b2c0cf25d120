// SPDX-License-Identifier: Apache-2.0
#pragma once
// Registers this folder's types with the framework's type registry, so that the
// host can create and wire them by name. Each call may run any number of times.
namespace FhrpSnmp {

// "FhrpSnmp::VrrpMib", made by vrrpMibFactory.
void kivInitFhrpSnmp();
// "FhrpSnmp::Agent", made by agentFactory, with the attributes "vrrpMib" (the model)
// and "vrrpMibSm" (set from the list fhrpConfig, vrrpStatus, allIntfStatus, ipStatus,
// vrrpMib; read back as the machine; set to nothing to drop the machine).
void kivInitFhrpSnmpAgent();
// "FhrpSnmp::VrrpMibSm" (not an entity: known by name, made only by the agent).
void kivInitFhrpSnmpEntry();

}  // namespace FhrpSnmp
