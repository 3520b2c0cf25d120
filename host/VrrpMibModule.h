#pragma once
// Registers the VRRP-MIB module with the agent: in the default context (tables and
// scalars) and in every extra context (scalars only).
#include <vector>

#include "kiv/Types.h"

namespace Host {

void registerVrrpMib(const std::vector<Kiv::String8>& extraContexts);

}  // namespace Host
