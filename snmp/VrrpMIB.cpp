// SPDX-License-Identifier: Apache-2.0
// The module's entry: init_VrrpMIB per context, the per-context bookkeeping, and the static
// registration through which the agent finds the module.
#include "snmp/VrrpMIB.h"

#include <cstdlib>
#include <list>
#include <map>

#include "platform/Snmp/HandlerRegistration.h"
#include "platform/Snmp/NetSnmp.h"
#include "snmp/SnmpTrace.h"
#include "snmp/VrrpMIBInternal.h"

namespace {

using Snmp::snmpTrace;

// Registrations to release per context. Nothing adds to it: the module's handlers are
// meant to stay with the agent once registered, so unregistering releases none.
std::map<Kiv::String8, std::list<netsnmp_handler_registration*>>& registrations() {
  static std::map<Kiv::String8, std::list<netsnmp_handler_registration*>> map;
  return map;
}

// The valid-column records of the table registrations, per context.
std::map<Kiv::String8, std::list<netsnmp_column_info*>>& columnRecords() {
  static std::map<Kiv::String8, std::list<netsnmp_column_info*>> map;
  return map;
}

class VrrpMIB_HandlerRegistration : public Snmp::HandlerRegistration {
 public:
  void initHandler(Kiv::String8 context) override { init_VrrpMIB(context); }
};

VrrpMIB_HandlerRegistration handlerRegistration;
Snmp::AutoRegistree autoRegistree(&handlerRegistration);

}  // namespace

void Snmp::kivInitVrrpMib() {}

void init_VrrpMIB(Kiv::String8 context) {
  // DEBUGMSGTL writes the "trace" line (function, file, line) itself before the message.
  DEBUGMSGTL(("VrrpMIB", "Initializing in context \"%s\"\n", context.c_str()));
  VrrpMIBImpl::registerScalars(context);
  initialize_table_vrrpOperTable(context);
  initialize_table_vrrpAssoIpAddrTable(context);
}

void unregister_VrrpMIB(Kiv::String8 context) {
  KIV_TRACE(snmpTrace(), 2, "Unregistering VrrpMIB in context \"" << context << "\"");
  auto& regs = registrations();
  const std::list<netsnmp_handler_registration*> toRelease = regs[context];
  for (netsnmp_handler_registration* reg : toRelease) netsnmp_unregister_handler(reg);
  regs.erase(context);

  auto& records = columnRecords();
  for (netsnmp_column_info* record : records[context]) std::free(record);
  records.erase(context);
}

namespace VrrpMIBImpl {

netsnmp_column_info* columnRecordNew(const Kiv::String8& context,
                                     std::span<const unsigned int> columns) {
  auto* record = static_cast<netsnmp_column_info*>(std::calloc(1, sizeof(netsnmp_column_info)));
  record->isRange = 0;
  record->list_count = static_cast<char>(columns.size());
  // net-snmp only reads the list.
  record->details.list = const_cast<unsigned int*>(columns.data());
  record->next = nullptr;
  columnRecords()[context].push_back(record);
  return record;
}

size_t columnRecordCount(const Kiv::String8& context) {
  auto it = columnRecords().find(context);
  return it == columnRecords().end() ? 0 : it->second.size();
}

}  // namespace VrrpMIBImpl
