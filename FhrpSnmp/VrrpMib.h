// SPDX-License-Identifier: Apache-2.0
#pragma once
// The in-memory VRRP-MIB: three ordered tables that the mirroring machines fill
// and the SNMP handlers walk in index order.
#include "FhrpSnmp/VrrpMibRows.h"
#include "kiv/Entity.h"
#include "kiv/Notifier.h"
#include "kiv/OrderedMap.h"

namespace FhrpSnmp {

using OperTable = Kiv::OrderedMap<VrrpIndex, OperEntry>;
using AssoIpAddrTable = Kiv::OrderedMap<VrrpIpIndex, AssoIpAddrEntry>;
using RouterStatsTable = Kiv::OrderedMap<VrrpIndex, RouterStatsEntry>;

class VrrpMib : public Kiv::Entity {
 public:
  enum AttributeIds : Kiv::AttributeId { operTableId = 1, assoIpAddrTableId, routerStatsTableId };

  // Observers of the model's tables, told once per row key created or deleted.
  class NotifieeConst : public Kiv::Notifiee<VrrpMib> {
   public:
    NotifieeConst() = default;
    explicit NotifieeConst(const Kiv::Ptr<const VrrpMib>& m) : Kiv::Notifiee<VrrpMib>(m) {}
    virtual void onOperTable(const VrrpIndex&) {}
    virtual void onOperTablekivImmediate() {}
    virtual void onOperTable() {}
    virtual void onAssoIpAddrTable(const VrrpIpIndex&) {}
    virtual void onAssoIpAddrTablekivImmediate() {}
    virtual void onAssoIpAddrTable() {}
    virtual void onRouterStatsTable(const VrrpIndex&) {}
    virtual void onRouterStatsTablekivImmediate() {}
    virtual void onRouterStatsTable() {}
  };

  explicit VrrpMib(Kiv::Name name) : Entity(std::move(name)) {}
  Kiv::String8 typeName() const override { return "FhrpSnmp::VrrpMib"; }

  // Incremented by every ...Is call and every row deletion.
  U64 changeCount() const { return changeCount_; }

  // operTable
  Kiv::Ptr<OperEntry> operTable(const VrrpIndex& index) const { return operTable_->find(index); }
  Kiv::Ptr<OperEntry> newOperTable(const VrrpIndex& index, const ConfigPtr& config,
                                   const StatusPtr& status);
  Kiv::Ptr<OperEntry> operTableIs(const VrrpIndex& index, const ConfigPtr& config,
                                  const StatusPtr& status);
  Kiv::Ptr<OperEntry> operTableDel(const VrrpIndex& index);
  Kiv::Ptr<OperEntry> operTableDel(const OperTable::Iterator& it);
  void operTableDelAll();
  void operTableNotify(const VrrpIndex& index);
  OperTable::Iterator operTableIter() const { return operTable_->begin(); }
  const Kiv::Ptr<OperTable>& operTableCollection() const { return operTable_; }

  // assoIpAddrTable
  Kiv::Ptr<AssoIpAddrEntry> assoIpAddrTable(const VrrpIpIndex& index) const {
    return assoIpAddrTable_->find(index);
  }
  Kiv::Ptr<AssoIpAddrEntry> newAssoIpAddrTable(const VrrpIpIndex& index);
  Kiv::Ptr<AssoIpAddrEntry> assoIpAddrTableIs(const VrrpIpIndex& index);
  Kiv::Ptr<AssoIpAddrEntry> assoIpAddrTableDel(const VrrpIpIndex& index);
  Kiv::Ptr<AssoIpAddrEntry> assoIpAddrTableDel(const AssoIpAddrTable::Iterator& it);
  void assoIpAddrTableDelAll();
  void assoIpAddrTableNotify(const VrrpIpIndex& index);
  AssoIpAddrTable::Iterator assoIpAddrTableIter() const { return assoIpAddrTable_->begin(); }
  const Kiv::Ptr<AssoIpAddrTable>& assoIpAddrTableCollection() const { return assoIpAddrTable_; }

  // routerStatsTable
  Kiv::Ptr<RouterStatsEntry> routerStatsTable(const VrrpIndex& index) const {
    return routerStatsTable_->find(index);
  }
  Kiv::Ptr<RouterStatsEntry> newRouterStatsTable(const VrrpIndex& index, const StatusPtr& status);
  Kiv::Ptr<RouterStatsEntry> routerStatsTableIs(const VrrpIndex& index, const StatusPtr& status);
  Kiv::Ptr<RouterStatsEntry> routerStatsTableDel(const VrrpIndex& index);
  Kiv::Ptr<RouterStatsEntry> routerStatsTableDel(const RouterStatsTable::Iterator& it);
  void routerStatsTableDelAll();
  void routerStatsTableNotify(const VrrpIndex& index);
  RouterStatsTable::Iterator routerStatsTableIter() const { return routerStatsTable_->begin(); }
  const Kiv::Ptr<RouterStatsTable>& routerStatsTableCollection() const { return routerStatsTable_; }

 private:
  Kiv::Ptr<OperTable> operTable_ = Kiv::make<OperTable>();
  Kiv::Ptr<AssoIpAddrTable> assoIpAddrTable_ = Kiv::make<AssoIpAddrTable>();
  Kiv::Ptr<RouterStatsTable> routerStatsTable_ = Kiv::make<RouterStatsTable>();
  U64 changeCount_ = 0;
};

Kiv::Ptr<VrrpMib> vrrpMibFactory(Kiv::Name name);

}  // namespace FhrpSnmp
