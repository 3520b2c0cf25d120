// SPDX-License-Identifier: Apache-2.0
#include "FhrpSnmp/VrrpMib.h"

#include "kiv/Exception.h"

namespace FhrpSnmp {
namespace {

// A row is never re-pointed at other records: a caller that brings different
// ones for an existing key has the wrong idea of what the row is.
void requireSame(const char* attribute, const void* given, const void* current) {
  if (given == current) return;
  throw Kiv::NameInUseException(
      Kiv::String8("Reinstantiating the pointer interface where constructor parameter attribute ") +
      attribute + " has a different value of " + Kiv::ptrToStrep(given) +
      " than the current value of " + Kiv::ptrToStrep(current) + " not allowed");
}

template <class V>
Kiv::Ptr<V> validPtr(const Kiv::Ptr<V>& row) {
  if (!row) throw Kiv::RangeException("null ValidPtr");
  return row;
}

// The find-or-create step shared by the three tables; `check` vets an existing row.
template <class K, class V, class Create, class Check, class Notify>
Kiv::Ptr<V> findOrCreate(Kiv::OrderedMap<K, V>& table, const K& key, U64& changes, Create create,
                         Check check, Notify notify) {
  if (Kiv::Ptr<V> row = table.find(key)) {
    check(*row);
    ++changes;
    return row;
  }
  Kiv::Ptr<V> row = create();
  ++changes;
  notify(key);
  return validPtr(row);
}

template <class K, class V, class Notify>
Kiv::Ptr<V> deleteRow(Kiv::OrderedMap<K, V>& table, const K& key, U64& changes, Notify notify) {
  Kiv::Ptr<V> row = table.erase(key);
  if (!row) return nullptr;
  ++changes;
  notify(key);
  return row;
}

}  // namespace

Kiv::Ptr<VrrpMib> vrrpMibFactory(Kiv::Name name) {
  return Kiv::make<VrrpMib>(std::move(name));
}

// --- operTable

Kiv::Ptr<OperEntry> VrrpMib::newOperTable(const VrrpIndex& index, const ConfigPtr& config,
                                          const StatusPtr& status) {
  return operTable_->set(index, Kiv::make<OperEntry>(index, config, status));
}

Kiv::Ptr<OperEntry> VrrpMib::operTableIs(const VrrpIndex& index, const ConfigPtr& config,
                                         const StatusPtr& status) {
  return findOrCreate(
      *operTable_, index, changeCount_, [&] { return newOperTable(index, config, status); },
      [&](const OperEntry& row) {
        requireSame("_config", config.ptr(), row.config().ptr());
        requireSame("_status", status.ptr(), row.status().ptr());
      },
      [this](const VrrpIndex& k) { operTableNotify(k); });
}

Kiv::Ptr<OperEntry> VrrpMib::operTableDel(const VrrpIndex& index) {
  return deleteRow(*operTable_, index, changeCount_,
                   [this](const VrrpIndex& k) { operTableNotify(k); });
}

Kiv::Ptr<OperEntry> VrrpMib::operTableDel(const OperTable::Iterator& it) {
  return it.atEnd() ? nullptr : operTableDel(VrrpIndex(it.key()));
}

void VrrpMib::operTableDelAll() {
  while (!operTable_->empty()) operTableDel(operTable_->begin());
}

void VrrpMib::operTableNotify(const VrrpIndex& index) {
  notify<NotifieeConst>(operTableId, [&index](NotifieeConst* n) { n->onOperTable(index); });
}

// --- assoIpAddrTable

Kiv::Ptr<AssoIpAddrEntry> VrrpMib::newAssoIpAddrTable(const VrrpIpIndex& index) {
  return assoIpAddrTable_->set(index, Kiv::make<AssoIpAddrEntry>(index));
}

Kiv::Ptr<AssoIpAddrEntry> VrrpMib::assoIpAddrTableIs(const VrrpIpIndex& index) {
  return findOrCreate(
      *assoIpAddrTable_, index, changeCount_, [&] { return newAssoIpAddrTable(index); },
      [](const AssoIpAddrEntry&) {}, [this](const VrrpIpIndex& k) { assoIpAddrTableNotify(k); });
}

Kiv::Ptr<AssoIpAddrEntry> VrrpMib::assoIpAddrTableDel(const VrrpIpIndex& index) {
  return deleteRow(*assoIpAddrTable_, index, changeCount_,
                   [this](const VrrpIpIndex& k) { assoIpAddrTableNotify(k); });
}

Kiv::Ptr<AssoIpAddrEntry> VrrpMib::assoIpAddrTableDel(const AssoIpAddrTable::Iterator& it) {
  return it.atEnd() ? nullptr : assoIpAddrTableDel(VrrpIpIndex(it.key()));
}

void VrrpMib::assoIpAddrTableDelAll() {
  while (!assoIpAddrTable_->empty()) assoIpAddrTableDel(assoIpAddrTable_->begin());
}

void VrrpMib::assoIpAddrTableNotify(const VrrpIpIndex& index) {
  notify<NotifieeConst>(assoIpAddrTableId,
                        [&index](NotifieeConst* n) { n->onAssoIpAddrTable(index); });
}

// --- routerStatsTable

Kiv::Ptr<RouterStatsEntry> VrrpMib::newRouterStatsTable(const VrrpIndex& index,
                                                        const StatusPtr& status) {
  return routerStatsTable_->set(index, Kiv::make<RouterStatsEntry>(index, status));
}

Kiv::Ptr<RouterStatsEntry> VrrpMib::routerStatsTableIs(const VrrpIndex& index,
                                                       const StatusPtr& status) {
  return findOrCreate(
      *routerStatsTable_, index, changeCount_, [&] { return newRouterStatsTable(index, status); },
      [&](const RouterStatsEntry& row) {
        requireSame("_status", status.ptr(), row.status().ptr());
      },
      [this](const VrrpIndex& k) { routerStatsTableNotify(k); });
}

Kiv::Ptr<RouterStatsEntry> VrrpMib::routerStatsTableDel(const VrrpIndex& index) {
  return deleteRow(*routerStatsTable_, index, changeCount_,
                   [this](const VrrpIndex& k) { routerStatsTableNotify(k); });
}

Kiv::Ptr<RouterStatsEntry> VrrpMib::routerStatsTableDel(const RouterStatsTable::Iterator& it) {
  return it.atEnd() ? nullptr : routerStatsTableDel(VrrpIndex(it.key()));
}

void VrrpMib::routerStatsTableDelAll() {
  while (!routerStatsTable_->empty()) routerStatsTableDel(routerStatsTable_->begin());
}

void VrrpMib::routerStatsTableNotify(const VrrpIndex& index) {
  notify<NotifieeConst>(routerStatsTableId,
                        [&index](NotifieeConst* n) { n->onRouterStatsTable(index); });
}

}  // namespace FhrpSnmp
