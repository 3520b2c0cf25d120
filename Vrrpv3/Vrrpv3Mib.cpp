// SPDX-License-Identifier: Apache-2.0
#include "Vrrpv3/Vrrpv3Mib.h"

#include <sstream>

#include "kiv/Exception.h"

namespace Vrrpv3 {

Vrrpv3Mib::Vrrpv3Mib(Kiv::Name name, GlobalStatisticsPtr globalStatistics)
    : Entity(std::move(name)),
      globalStatistics_(globalStatistics ? std::move(globalStatistics)
                                         : Kiv::make<const Routing::Fhrp::VrrpGlobalStatistics>()) {
}

Kiv::Ptr<OperationsEntry> Vrrpv3Mib::operationsTableIs(const OperIndex& index,
                                                       const ConfigPtr& config,
                                                       const StatusV4Ptr& v4,
                                                       const StatusV6Ptr& v6) {
  if (Kiv::Ptr<OperationsEntry> row = operationsTable_->find(index)) {
    // A row is never re-pointed: a caller with other records has the wrong idea of it.
    if (row->config() == config && row->statusV4() == v4 && row->statusV6() == v6) return row;
    std::ostringstream os;
    os << "a VRRPv3 row for " << index << " exists for other records";
    throw Kiv::NameInUseException(os.str());
  }
  ++changeCount_;
  return operationsTable_->set(index, Kiv::make<OperationsEntry>(index, config, v4, v6));
}

Kiv::Ptr<OperationsEntry> Vrrpv3Mib::operationsTableDel(const OperIndex& index) {
  Kiv::Ptr<OperationsEntry> row = operationsTable_->erase(index);
  if (row) ++changeCount_;
  return row;
}

Kiv::Ptr<AssociatedIpAddrEntry> Vrrpv3Mib::associatedIpAddrTableIs(const AddrIndex& index) {
  if (Kiv::Ptr<AssociatedIpAddrEntry> row = associatedIpAddrTable_->find(index)) return row;
  ++changeCount_;
  return associatedIpAddrTable_->set(index, Kiv::make<AssociatedIpAddrEntry>(index));
}

Kiv::Ptr<AssociatedIpAddrEntry> Vrrpv3Mib::associatedIpAddrTableDel(const AddrIndex& index) {
  Kiv::Ptr<AssociatedIpAddrEntry> row = associatedIpAddrTable_->erase(index);
  if (row) ++changeCount_;
  return row;
}

}  // namespace Vrrpv3
