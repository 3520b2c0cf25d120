// SPDX-License-Identifier: Apache-2.0
#pragma once
// What the VRRP-MIB module's files share and its tests call directly: the net-snmp hooks,
// under the names net-snmp's code generator gives them, and the per-context bookkeeping.
#include <cstddef>
#include <span>

#include "FhrpSnmp/VrrpMib.h"
#include "kiv/Types.h"
#include "platform/Snmp/NetSnmp.h"

// Registration (VrrpMIB.cpp, VrrpMIBTables.cpp).
void initialize_table_vrrpOperTable(Kiv::String8 context);
void initialize_table_vrrpAssoIpAddrTable(Kiv::String8 context);

namespace VrrpMIBImpl {
// A valid-column record listing `columns` (which must outlive it), kept under the context
// until unregister_VrrpMIB frees it.
netsnmp_column_info* columnRecordNew(const Kiv::String8& context,
                                     std::span<const unsigned int> columns);
size_t columnRecordCount(const Kiv::String8& context);

// Registers vrrpNodeVersion and vrrpNotificationCntl for a context (VrrpMIBScalars.cpp).
void registerScalars(const Kiv::String8& context);
}  // namespace VrrpMIBImpl

// Scalars (VrrpMIBScalars.cpp).
int handle_vrrpNodeVersion(netsnmp_mib_handler* handler, netsnmp_handler_registration* reginfo,
                           netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests);
int handle_vrrpNotificationCntl(netsnmp_mib_handler* handler, netsnmp_handler_registration* reginfo,
                                netsnmp_agent_request_info* reqinfo,
                                netsnmp_request_info* requests);

// vrrpOperTable (VrrpMIBOperTable.cpp). Loop and data contexts are heap-allocated
// FhrpSnmp::OperTable::Iterator objects; the iterator info's myvoid is the FhrpSnmp::VrrpMib.
netsnmp_variable_list* vrrpOperTable_get_first_data_point(void** loopContext, void** dataContext,
                                                          netsnmp_variable_list* indexes,
                                                          netsnmp_iterator_info* info);
netsnmp_variable_list* vrrpOperTable_get_next_data_point(void** loopContext, void** dataContext,
                                                         netsnmp_variable_list* indexes,
                                                         netsnmp_iterator_info* info);
netsnmp_variable_list* vrrpOperTableIterationHelper(const FhrpSnmp::OperTable::Iterator* loop,
                                                    netsnmp_variable_list* indexes);
void* vrrpOperTable_make_data_context(void* loopContext, netsnmp_iterator_info* info);
void vrrpOperTable_free_data_context(void* dataContext, netsnmp_iterator_info* info);
void vrrpOperTable_free_loop_context_at_end(void* loopContext, netsnmp_iterator_info* info);
int vrrpOperTable_handler(netsnmp_mib_handler* handler, netsnmp_handler_registration* reginfo,
                          netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests);

// vrrpAssoIpAddrTable (VrrpMIBAssoIpAddrTable.cpp), the same over FhrpSnmp::AssoIpAddrTable.
netsnmp_variable_list* vrrpAssoIpAddrTable_get_first_data_point(void** loopContext,
                                                                void** dataContext,
                                                                netsnmp_variable_list* indexes,
                                                                netsnmp_iterator_info* info);
netsnmp_variable_list* vrrpAssoIpAddrTable_get_next_data_point(void** loopContext,
                                                               void** dataContext,
                                                               netsnmp_variable_list* indexes,
                                                               netsnmp_iterator_info* info);
netsnmp_variable_list* vrrpAssoIpAddrTableIterationHelper(
    const FhrpSnmp::AssoIpAddrTable::Iterator* loop, netsnmp_variable_list* indexes);
void* vrrpAssoIpAddrTable_make_data_context(void* loopContext, netsnmp_iterator_info* info);
void vrrpAssoIpAddrTable_free_data_context(void* dataContext, netsnmp_iterator_info* info);
void vrrpAssoIpAddrTable_free_loop_context_at_end(void* loopContext, netsnmp_iterator_info* info);
int vrrpAssoIpAddrTable_handler(netsnmp_mib_handler* handler, netsnmp_handler_registration* reginfo,
                                netsnmp_agent_request_info* reqinfo,
                                netsnmp_request_info* requests);
