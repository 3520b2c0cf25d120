// SPDX-License-Identifier: Apache-2.0
#pragma once
// Registers the VRRP-MIB module with the agent, in the default context.
namespace Host {

void registerVrrpMib();

}  // namespace Host
