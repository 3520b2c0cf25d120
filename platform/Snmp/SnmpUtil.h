// SPDX-License-Identifier: Apache-2.0
#pragma once
// Process-wide things SNMP handlers reach for: the state tree they read records from
// (mounted by the host) and the agent's SNMP configuration.
#include "kiv/Directory.h"
#include "kiv/Entity.h"
#include "kiv/Ptr.h"
#include "platform/Snmp/Config.h"

namespace SnmpUtil {

void mountRootIs(Kiv::Ptr<Kiv::Directory> root);
Kiv::Ptr<Kiv::Directory> mountRoot();

// The entity at a path ("routing/fhrp/status") relative to the mount root; null when
// there is no root or no such path, or the object there is not an entity.
Kiv::Ptr<Kiv::Entity> getEntityRelative(const char* path);

// The agent's SNMP configuration, created on first use.
Kiv::Ptr<Snmp::Config> getSnmpConfig();

}  // namespace SnmpUtil
