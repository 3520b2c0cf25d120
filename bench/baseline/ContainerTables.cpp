// SPDX-License-Identifier: Apache-2.0
#include "bench/baseline/ContainerTables.h"

#include <ctime>

#include "kiv/Exception.h"

namespace Baseline {
namespace {

const oid kOperTableOid[] = {1, 3, 6, 1, 2, 1, 68, 1, 3};
const oid kAssoIpAddrTableOid[] = {1, 3, 6, 1, 2, 1, 68, 1, 4};

double now() {
  timespec ts;
  clock_gettime(CLOCK_REALTIME, &ts);
  return static_cast<double>(ts.tv_sec) + ts.tv_nsec / 1e9;
}

void setInteger(netsnmp_variable_list* var, long value) {
  snmp_set_var_typed_value(var, ASN_INTEGER, &value, sizeof value);
}

void setAddress(netsnmp_variable_list* var, U32 hostOrder) {
  const u_char octets[4] = {static_cast<u_char>(hostOrder >> 24),
                            static_cast<u_char>(hostOrder >> 16),
                            static_cast<u_char>(hostOrder >> 8), static_cast<u_char>(hostOrder)};
  snmp_set_var_typed_value(var, ASN_IPADDRESS, octets, sizeof octets);
}

bool setColumn(netsnmp_variable_list* var, unsigned column, const OperRow& r) {
  switch (column) {
    case 2:
      snmp_set_var_typed_value(var, ASN_OCTET_STR, r.virtualMacAddr.data(),
                               r.virtualMacAddr.size());
      return true;
    case 3:
      setInteger(var, r.state);
      return true;
    case 4:
      setInteger(var, r.adminState);
      return true;
    case 5:
      setInteger(var, r.priority);
      return true;
    case 6:
      setInteger(var, r.ipAddrCount);
      return true;
    case 7:
      setAddress(var, r.masterIpAddr);
      return true;
    case 8:
      setAddress(var, 0);
      return true;
    case 9:
      setInteger(var, r.authType);
      return true;
    case 10:
      snmp_set_var_typed_value(var, ASN_OCTET_STR, "", 0);
      return true;
    case 11:
      setInteger(var, r.advertisementInterval);
      return true;
    case 12:
      setInteger(var, r.preempt ? 1 : 2);
      return true;
    case 13: {
      // Read live, as our module does: the time since the router came up.
      u_long ticks = r.upSince == 0 ? 0 : static_cast<u_long>((now() - r.upSince) * 100);
      snmp_set_var_typed_value(var, ASN_TIMETICKS, &ticks, sizeof ticks);
      return true;
    }
    case 14:
      setInteger(var, 1);
      return true;  // ip
    case 15:
      setInteger(var, 1);
      return true;  // active
    default:
      return false;
  }
}

bool setColumn(netsnmp_variable_list* var, unsigned column, const AssoRow&) {
  if (column != 2) return false;
  setInteger(var, 1);  // active
  return true;
}

// The table helper has already found the row (for GETNEXT, the next one) and turned the
// request into a GET of it; only the value is left to fill in.
template <class Entry>
int handler(netsnmp_mib_handler*, netsnmp_handler_registration*, netsnmp_agent_request_info* info,
            netsnmp_request_info* requests) {
  if (info->mode != MODE_GET) {
    for (netsnmp_request_info* r = requests; r; r = r->next) {
      if (!r->processed) netsnmp_set_request_error(info, r, SNMP_ERR_NOTWRITABLE);
    }
    return SNMP_ERR_NOERROR;
  }
  for (netsnmp_request_info* r = requests; r; r = r->next) {
    if (r->processed) continue;
    auto* entry = static_cast<Entry*>(netsnmp_container_table_row_extract(r));
    netsnmp_table_request_info* table = netsnmp_extract_table_info(r);
    if (!entry || !table) {
      netsnmp_set_request_error(info, r, SNMP_NOSUCHINSTANCE);
      continue;
    }
    if (!setColumn(r->requestvb, table->colnum, *entry->row)) {
      netsnmp_set_request_error(info, r, SNMP_NOSUCHOBJECT);
    }
  }
  return SNMP_ERR_NOERROR;
}

template <class Entry>
void registerTable(const char* name, const oid* tableOid, size_t tableOidLen,
                   Netsnmp_Node_Handler* nodeHandler, std::vector<u_char> indexTypes,
                   unsigned maxColumn, std::vector<Entry>& entries) {
  netsnmp_handler_registration* reg = netsnmp_create_handler_registration(
      name, nodeHandler, tableOid, tableOidLen, HANDLER_CAN_RONLY);
  // Allocated as net-snmp allocates it: the registration frees it with the table.
  netsnmp_table_registration_info* info = SNMP_MALLOC_TYPEDEF(netsnmp_table_registration_info);
  for (u_char type : indexTypes) netsnmp_table_helper_add_index(info, type);
  info->min_column = 2;
  info->max_column = maxColumn;
  netsnmp_container* container = netsnmp_container_find("table_container");
  if (!reg || !info || !container)
    throw Kiv::RangeException("cannot set up table " + std::string(name));
  for (Entry& e : entries) CONTAINER_INSERT(container, &e);
  // Takes ownership of the registration (and frees it itself on failure).
  if (netsnmp_container_table_register(reg, info, container, TABLE_CONTAINER_KEY_NETSNMP_INDEX) !=
      MIB_REGISTERED_OK) {
    throw Kiv::RangeException("cannot register table " + std::string(name));
  }
}

}  // namespace

ContainerTables::ContainerTables(StateRows rows) : rows_(std::move(rows)) {
  operEntries_.resize(rows_.oper.size());
  for (size_t i = 0; i < rows_.oper.size(); ++i) {
    OperEntry& e = operEntries_[i];
    const OperRow& r = rows_.oper[i];
    e.oids[0] = static_cast<oid>(r.ifIndex);
    e.oids[1] = r.vrId;
    e.index = {2, e.oids};
    e.row = &r;
  }
  assoEntries_.resize(rows_.asso.size());
  for (size_t i = 0; i < rows_.asso.size(); ++i) {
    AssoEntry& e = assoEntries_[i];
    const AssoRow& r = rows_.asso[i];
    e.oids[0] = static_cast<oid>(r.ifIndex);
    e.oids[1] = r.vrId;
    for (int b = 0; b < 4; ++b) e.oids[2 + b] = (r.ipAddr >> (24 - 8 * b)) & 0xff;
    e.index = {6, e.oids};
    e.row = &r;
  }
}

void ContainerTables::registerTables() {
  registerTable("vrrpOperTable", kOperTableOid, OID_LENGTH(kOperTableOid), handler<OperEntry>,
                {ASN_INTEGER, ASN_INTEGER}, 15, operEntries_);
  registerTable("vrrpAssoIpAddrTable", kAssoIpAddrTableOid, OID_LENGTH(kAssoIpAddrTableOid),
                handler<AssoEntry>, {ASN_INTEGER, ASN_INTEGER, ASN_IPADDRESS}, 2, assoEntries_);
}

}  // namespace Baseline
