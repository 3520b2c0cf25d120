// SPDX-License-Identifier: Apache-2.0
#pragma once
// One handler for each of the VRRPv3-MIB's tables, registered on the table's OID (it gets every
// request under it) and answering from one of the model's ordered tables. Every answer is one
// lookup or one bound in that table, O(log N) whatever the request names: an index naming no
// row, a partial or hostile one, or a column the table does not have.
//
// The handler is registered read-only: net-snmp refuses every SET with notWritable itself, and
// turns GETBULK into GETNEXT rounds before the handler sees them.
#include <span>

#include "Vrrpv3/Vrrpv3Mib.h"
#include "kiv/OrderedMap.h"
#include "platform/Snmp/NetSnmp.h"
#include "snmpv3/Vrrpv3IndexCodec.h"
#include "snmpv3/Vrrpv3Trace.h"

namespace Vrrpv3Snmp {

template <class Row>
struct Column {
  oid number;
  void (*set)(const Row& row, const Vrrpv3::Vrrpv3Mib& mib, netsnmp_variable_list* vb);
};

// Traits: Key, Row, Table (an OrderedMap), kName, kColumns (ascending), and
// static const Table& table(const Vrrpv3::Vrrpv3Mib&). The registration's my_reg_void is the model.
template <class Traits>
class TableHandler {
  using Key = typename Traits::Key;
  using Row = typename Traits::Row;
  using Iterator = typename Traits::Table::Iterator;

 public:
  static int handle(netsnmp_mib_handler*, netsnmp_handler_registration* reg,
                    netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
    const auto& mib = *static_cast<const Vrrpv3::Vrrpv3Mib*>(reg->my_reg_void);
    const auto& table = Traits::table(mib);
    const std::span<const oid> root(reg->rootoid, reg->rootoid_len);
    for (netsnmp_request_info* r = requests; r; r = r->next) {
      if (r->processed) continue;
      netsnmp_variable_list* vb = r->requestvb;
      if (reqinfo->mode == MODE_GET) {
        get(mib, table, root, vb, true);
      } else if (reqinfo->mode == MODE_GETNEXT) {
        // An AgentX master may ask for the instance itself first.
        if (!(r->inclusive && get(mib, table, root, vb, false))) next(mib, table, root, vb);
      }
    }
    return SNMP_ERR_NOERROR;
  }

 private:
  static const Column<Row>* column(oid number) {
    for (const Column<Row>& c : Traits::kColumns) {
      if (c.number == number) return &c;
    }
    return nullptr;
  }

  // Answers the instance vb names; false when it names none (with noSuchObject or
  // noSuchInstance in vb when `report`).
  static bool get(const Vrrpv3::Vrrpv3Mib& mib, const typename Traits::Table& table,
                  std::span<const oid> root, netsnmp_variable_list* vb, bool report) {
    const std::size_t prefix = root.size() + 2;  // the table, the entry, the column
    const bool inTable = vb->name_length >= prefix &&
                         std::equal(root.begin(), root.end(), vb->name) &&
                         vb->name[root.size()] == 1;
    const Column<Row>* c = inTable ? column(vb->name[root.size() + 1]) : nullptr;
    if (!c) {
      if (report) snmp_set_var_typed_value(vb, SNMP_NOSUCHOBJECT, nullptr, 0);
      return false;
    }
    const auto key = decode<Key>(vb->name + prefix, vb->name_length - prefix);
    const Kiv::Ptr<Row> row = key ? table.find(*key) : nullptr;
    KIV_TRACE(trace(), 2, Traits::kName << " GET column " << c->number << (row ? "" : ": no row"));
    if (!row) {
      if (report) snmp_set_var_typed_value(vb, SNMP_NOSUCHINSTANCE, nullptr, 0);
      return false;
    }
    c->set(*row, mib, vb);
    return true;
  }

  // Answers the first instance after the one vb names; leaves vb alone when the table has none,
  // so that the agent goes on to the next registration.
  static void next(const Vrrpv3::Vrrpv3Mib& mib, const typename Traits::Table& table,
                   std::span<const oid> root, netsnmp_variable_list* vb) {
    const std::size_t have = vb->name_length;
    const oid* name = vb->name;
    const int order = snmp_oid_compare(name, std::min(have, root.size()), root.data(), root.size());
    // Before the table, at it, or at its entry: the first column from its first row.
    std::size_t columnAt = 0;
    const oid* rest = nullptr;
    std::size_t restLength = 0;
    if (order > 0) return;
    if (order == 0 && have > root.size()) {
      if (name[root.size()] > 1) return;
      if (name[root.size()] == 1 && have > root.size() + 1) {
        const oid wanted = name[root.size() + 1];
        while (columnAt < std::size(Traits::kColumns) &&
               Traits::kColumns[columnAt].number < wanted) {
          ++columnAt;
        }
        if (columnAt < std::size(Traits::kColumns) && Traits::kColumns[columnAt].number == wanted) {
          rest = name + root.size() + 2;
          restLength = have - root.size() - 2;
        }
      }
    }
    for (; columnAt < std::size(Traits::kColumns); ++columnAt, rest = nullptr) {
      Iterator it = table.begin();
      if (rest) {
        const Bound<Key> bound = seek<Key>(rest, restLength);
        it = bound.inclusive ? table.lowerBound(bound.key) : table.upperBound(bound.key);
      }
      if (it.atEnd()) continue;
      answer(mib, root, Traits::kColumns[columnAt], it, vb);
      return;
    }
  }

  static void answer(const Vrrpv3::Vrrpv3Mib& mib, std::span<const oid> root, const Column<Row>& c,
                     const Iterator& it, netsnmp_variable_list* vb) {
    oid name[MAX_OID_LEN];
    std::copy(root.begin(), root.end(), name);
    std::size_t len = root.size();
    name[len++] = 1;
    name[len++] = c.number;
    len += encode(it.key(), name + len);
    KIV_TRACE(trace(), 2, Traits::kName << " GETNEXT column " << c.number << ", " << it.key());
    snmp_set_var_objid(vb, name, len);
    c.set(*it.value(), mib, vb);
  }
};

}  // namespace Vrrpv3Snmp
