// SPDX-License-Identifier: Apache-2.0
#pragma once
// The VRRPv3-MIB beside the VRRP-MIB: its model and mirroring over the service's state tree, and
// its module's registration with the agent.
#include "kiv/Ptr.h"
#include "zentra/StateTree.h"

namespace Host {

// Registers the vrrpv3 notifications, binds the model where the module looks for it and starts
// mirroring the tree into it; the result keeps the mirroring alive.
Kiv::Ptr<Kiv::PtrInterface> buildVrrpv3Mib(const Zentra::StateTree& tree);

// Registers the module in the default context; after buildVrrpv3Mib.
void registerVrrpv3Mib();

}  // namespace Host
