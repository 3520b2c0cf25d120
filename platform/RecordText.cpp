// SPDX-License-Identifier: Apache-2.0
#include "platform/Fhrp/FhrpTypes.h"
#include "platform/Interface/IntfStatus.h"

namespace Routing::Fhrp {
std::ostream& operator<<(std::ostream& os, FhrpState s) {
  switch (s) {
    case FhrpState::master:
      return os << "master";
    case FhrpState::backup:
      return os << "backup";
    case FhrpState::initialize:
      return os << "initialize";
  }
  return os << "FhrpState(" << static_cast<int>(s) << ")";
}
}  // namespace Routing::Fhrp

namespace Interface {
std::ostream& operator<<(std::ostream& os, IntfEnabledState s) {
  switch (s) {
    case IntfEnabledState::unknownEnabledState:
      return os << "unknownEnabledState";
    case IntfEnabledState::enabled:
      return os << "enabled";
    case IntfEnabledState::disabled:
      return os << "disabled";
  }
  return os << "IntfEnabledState(" << static_cast<int>(s) << ")";
}
}  // namespace Interface
