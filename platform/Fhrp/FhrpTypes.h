// SPDX-License-Identifier: Apache-2.0
#pragma once
#include <ostream>

#include "kiv/Types.h"

namespace Routing::Fhrp {

// A VRRP virtual-router identifier (1..255 on the wire; the type does not restrict it).
using VrId = U32;

// The protocol state of a virtual router.
enum class FhrpState : int { master = 0, backup = 1, initialize = 2 };
std::ostream& operator<<(std::ostream& os, FhrpState s);

}  // namespace Routing::Fhrp
