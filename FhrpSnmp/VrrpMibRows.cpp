// SPDX-License-Identifier: Apache-2.0
#include "FhrpSnmp/VrrpMibRows.h"

#include "kiv/Clock.h"

namespace FhrpSnmp {

double OperEntry::totalVrUpTime() const {
  if (!status_) return 0.0;
  const double upSince = status_->upSince();
  if (upSince == 0.0) return 0.0;
  return Kiv::now() - upSince;
}

}  // namespace FhrpSnmp
