// SPDX-License-Identifier: Apache-2.0
// Registers the two tables with net-snmp's table iterator, in the default context only.
#include <span>

#include "FhrpSnmp/VrrpMib.h"
#include "kiv/Assert.h"
#include "platform/Log.h"
#include "platform/Snmp/SnmpUtil.h"
#include "snmp/SnmpTrace.h"
#include "snmp/VrrpMIBInternal.h"
#include "snmp/VrrpMIBTableIterator.h"
#include "snmp/VrrpMibOids.h"

namespace {

using Snmp::snmpTrace;

const char kModelPath[] = "snmp/vrrp/vrrpMIB";

// Listed, not a range: the column records of every registration point here.
const unsigned int vrrpOperTable_columns[] = {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
const unsigned int vrrpAssoIpAddrTable_columns[] = {2};

struct IndexDef {
  const char* name;
  u_char type;
};
const IndexDef vrrpOperTable_indexes[] = {{.name = "ifIndex", .type = ASN_INTEGER},
                                          {.name = "vrrpOperVrId", .type = ASN_INTEGER}};
const IndexDef vrrpAssoIpAddrTable_indexes[] = {{.name = "ifIndex", .type = ASN_INTEGER},
                                                {.name = "vrrpOperVrId", .type = ASN_INTEGER},
                                                {.name = "vrrpAssoIpAddr", .type = ASN_IPADDRESS}};

struct TableDef {
  const char* name;
  std::span<const oid> rootOid;
  Netsnmp_Node_Handler* handler;
  std::span<const IndexDef> indexes;
  unsigned int minColumn;
  unsigned int maxColumn;
  std::span<const unsigned int> columns;
  Netsnmp_First_Data_Point* getFirst;
  Netsnmp_Next_Data_Point* getNext;
  Netsnmp_Make_Data_Context* makeDataContext;
  Netsnmp_Free_Data_Context* freeDataContext;
  Netsnmp_Free_Loop_Context* freeLoopContextAtEnd;
};

const FhrpSnmp::VrrpMib* findModel(const char* table) {
  Kiv::Ptr<Kiv::Entity> entity = SnmpUtil::getEntityRelative(kModelPath);
  if (!entity) {
    const Kiv::String8 message = Kiv::String8("Can not getEntityRelative( ") + kModelPath +
                                 " ) for table " + table + ". Is this path correct?";
    Log::error(message);
    KIV_ASSERT(entity, message);
  }
  auto* mib = dynamic_cast<const FhrpSnmp::VrrpMib*>(entity.ptr());
  if (!mib) {
    const Kiv::String8 message =
        Kiv::String8(kModelPath) + " does not appear to be of type FhrpSnmp::VrrpMib.";
    Log::error(message);
    KIV_ASSERT(mib, message);
  }
  return mib;
}

netsnmp_table_registration_info* describeTable(const TableDef& t, const Kiv::String8& context,
                                               netsnmp_column_info* columns) {
  auto* info = SNMP_MALLOC_TYPEDEF(netsnmp_table_registration_info);
  for (const IndexDef& index : t.indexes) {
    if (!snmp_varlist_add_variable(&info->indexes, nullptr, 0, index.type, nullptr, 0)) {
      KIV_TRACE(snmpTrace(), 0,
                "Failed to set up " << index.name << " in netsnmp table_info in context \""
                                    << context << "\"");
    }
  }
  info->min_column = t.minColumn;
  info->max_column = t.maxColumn;
  info->valid_columns = columns;
  return info;
}

void initializeTable(const TableDef& t, const Kiv::String8& context) {
  const Kiv::String8 function = Kiv::String8("initialize_table_") + t.name;
  if (snmpTrace().enabled(1)) {
    char oidText[200];
    snprint_objid(oidText, sizeof(oidText), t.rootOid.data(), t.rootOid.size());
    KIV_TRACE(snmpTrace(), 1,
              function << " initializing oid " << oidText << " in context \"" << context << "\"");
  }
  netsnmp_handler_registration* reg =
      netsnmp_create_handler_registration((Kiv::String8(t.name) + "_" + context).c_str(), t.handler,
                                          t.rootOid.data(), t.rootOid.size(), HANDLER_CAN_RWRITE);
  KIV_ASSERT(reg, "cannot create the registration");
  if (!context.empty()) {
    // The model serves the default context; other contexts get the scalars only.
    netsnmp_handler_registration_free(reg);
    KIV_TRACE(snmpTrace(), 2,
              function << " in context \"" << context << "\" zentraPathWithContext not specified ");
    return;
  }

  const FhrpSnmp::VrrpMib* mib = findModel(t.name);
  reg->my_reg_void = const_cast<FhrpSnmp::VrrpMib*>(mib);

  netsnmp_column_info* columns = VrrpMIBImpl::columnRecordNew(context, t.columns);

  auto* iinfo = SNMP_MALLOC_TYPEDEF(netsnmp_iterator_info);
  iinfo->get_first_data_point = t.getFirst;
  iinfo->get_next_data_point = t.getNext;
  iinfo->make_data_context = t.makeDataContext;
  iinfo->free_data_context = t.freeDataContext;
  iinfo->free_loop_context_at_end = t.freeLoopContextAtEnd;
  iinfo->myvoid = reg->my_reg_void;
  iinfo->table_reginfo = describeTable(t, context, columns);
  // Rows come in index order (the model's tables are ordered by their keys); with this flag
  // the iterator stops at the first row past the request and hands get-first its hint.
  iinfo->flags = NETSNMP_ITERATOR_FLAG_SORTED;

  const int result = netsnmp_register_table_iterator(reg, iinfo);
  if (result == MIB_DUPLICATE_REGISTRATION) {
    // A repeated initialisation of the context: the agent keeps serving the first
    // registration. It has freed this one with its handlers, but not the iterator
    // description that the iterator's handler was given.
    netsnmp_iterator_delete_table(iinfo);
    return;
  }
  KIV_ASSERT(result == 0, "cannot register table " + Kiv::String8(t.name));
  // The iterator's hint describes the first request of a call only; one request per call
  // makes it describe the request being answered.
  const int injected = netsnmp_inject_handler(reg, netsnmp_get_serialize_handler());
  KIV_ASSERT(injected == (0), "cannot serialize table " + Kiv::String8(t.name));
  KIV_TRACE(snmpTrace(), 8, "Initialized table " << t.name << " in context \"" << context << "\"");
}

}  // namespace

namespace VrrpMIBImpl {

Kiv::String8 modelPathText() {
  Kiv::Ptr<Kiv::Directory> root = SnmpUtil::mountRoot();
  return "/" + (root ? root->name().str() : Kiv::String8()) + "/" + kModelPath;
}

}  // namespace VrrpMIBImpl

void initialize_table_vrrpOperTable(Kiv::String8 context) {
  initializeTable({.name = "vrrpOperTable",
                   .rootOid = vrrpOperTable_oid,
                   .handler = vrrpOperTable_handler,
                   .indexes = vrrpOperTable_indexes,
                   .minColumn = 2,
                   .maxColumn = 15,
                   .columns = vrrpOperTable_columns,
                   .getFirst = vrrpOperTable_get_first_data_point,
                   .getNext = vrrpOperTable_get_next_data_point,
                   .makeDataContext = vrrpOperTable_make_data_context,
                   .freeDataContext = vrrpOperTable_free_data_context,
                   .freeLoopContextAtEnd = vrrpOperTable_free_loop_context_at_end},
                  context);
}

void initialize_table_vrrpAssoIpAddrTable(Kiv::String8 context) {
  initializeTable({.name = "vrrpAssoIpAddrTable",
                   .rootOid = vrrpAssoIpAddrTable_oid,
                   .handler = vrrpAssoIpAddrTable_handler,
                   .indexes = vrrpAssoIpAddrTable_indexes,
                   .minColumn = 2,
                   .maxColumn = 2,
                   .columns = vrrpAssoIpAddrTable_columns,
                   .getFirst = vrrpAssoIpAddrTable_get_first_data_point,
                   .getNext = vrrpAssoIpAddrTable_get_next_data_point,
                   .makeDataContext = vrrpAssoIpAddrTable_make_data_context,
                   .freeDataContext = vrrpAssoIpAddrTable_free_data_context,
                   .freeLoopContextAtEnd = vrrpAssoIpAddrTable_free_loop_context_at_end},
                  context);
}
