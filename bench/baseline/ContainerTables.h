// SPDX-License-Identifier: Apache-2.0
#pragma once
// vrrpOperTable and vrrpAssoIpAddrTable served through net-snmp's own container-backed table
// helper (table_container over its default sorted container): the library's speed for a
// table of this shape, which our module is measured against.
#include <vector>

#include "bench/baseline/StateRows.h"
#include "platform/Snmp/NetSnmp.h"

namespace Baseline {

class ContainerTables {
 public:
  explicit ContainerTables(StateRows rows);
  ContainerTables(const ContainerTables&) = delete;
  ContainerTables& operator=(const ContainerTables&) = delete;

  // After init_agent. The rows must outlive the agent (snmp_shutdown).
  void registerTables();

  // A container entry: net-snmp compares entries through the leading netsnmp_index.
  template <class Row, size_t IndexLen>
  struct Entry {
    netsnmp_index index;
    oid oids[IndexLen];
    const Row* row;
  };
  using OperEntry = Entry<OperRow, 2>;
  using AssoEntry = Entry<AssoRow, 6>;

 private:
  StateRows rows_;
  std::vector<OperEntry> operEntries_;
  std::vector<AssoEntry> assoEntries_;
};

}  // namespace Baseline
