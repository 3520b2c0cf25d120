// SPDX-License-Identifier: Apache-2.0
#pragma once
// The in-memory VRRPv3-MIB: two ordered tables that the mirroring fills and the SNMP module
// walks in index order (vrrpv3StatisticsTable AUGMENTS vrrpv3OperationsTable and is served from
// the same rows), and the router-wide statistics.
#include "Vrrpv3/Vrrpv3Rows.h"
#include "kiv/Entity.h"
#include "kiv/OrderedMap.h"
#include "platform/Fhrp/VrrpStatistics.h"

namespace Vrrpv3 {

using OperationsTable = Kiv::OrderedMap<OperIndex, OperationsEntry>;
using AssociatedIpAddrTable = Kiv::OrderedMap<AddrIndex, AssociatedIpAddrEntry>;
using GlobalStatisticsPtr = Kiv::Ptr<const Routing::Fhrp::VrrpGlobalStatistics>;

class Vrrpv3Mib : public Kiv::Entity {
 public:
  explicit Vrrpv3Mib(Kiv::Name name, GlobalStatisticsPtr globalStatistics);
  Kiv::String8 typeName() const override { return "Vrrpv3::Vrrpv3Mib"; }

  // Incremented by every row created or deleted.
  U64 changeCount() const { return changeCount_; }

  Kiv::Ptr<OperationsEntry> operationsTable(const OperIndex& index) const {
    return operationsTable_->find(index);
  }
  // A row already held under the index is kept when it reads the same records; one for other
  // records raises Kiv::NameInUseException.
  Kiv::Ptr<OperationsEntry> operationsTableIs(const OperIndex& index, const ConfigPtr& config,
                                              const StatusV4Ptr& v4, const StatusV6Ptr& v6);
  Kiv::Ptr<OperationsEntry> operationsTableDel(const OperIndex& index);
  const Kiv::Ptr<OperationsTable>& operationsTableCollection() const { return operationsTable_; }

  Kiv::Ptr<AssociatedIpAddrEntry> associatedIpAddrTable(const AddrIndex& index) const {
    return associatedIpAddrTable_->find(index);
  }
  Kiv::Ptr<AssociatedIpAddrEntry> associatedIpAddrTableIs(const AddrIndex& index);
  Kiv::Ptr<AssociatedIpAddrEntry> associatedIpAddrTableDel(const AddrIndex& index);
  const Kiv::Ptr<AssociatedIpAddrTable>& associatedIpAddrTableCollection() const {
    return associatedIpAddrTable_;
  }

  // Never null: the global counters read 0 until a source publishes them.
  const GlobalStatisticsPtr& globalStatistics() const { return globalStatistics_; }
  // Loop::EventLoop::now() seconds of the last discontinuity of the global counters; 0: none.
  double globalDiscontinuityAt() const { return globalDiscontinuityAt_; }
  void globalDiscontinuityAtIs(double at) { globalDiscontinuityAt_ = at; }

 private:
  Kiv::Ptr<OperationsTable> operationsTable_ = Kiv::make<OperationsTable>();
  Kiv::Ptr<AssociatedIpAddrTable> associatedIpAddrTable_ = Kiv::make<AssociatedIpAddrTable>();
  GlobalStatisticsPtr globalStatistics_;
  double globalDiscontinuityAt_ = 0;
  U64 changeCount_ = 0;
};

}  // namespace Vrrpv3
